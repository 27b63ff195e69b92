// forms/driver.h - a person in front of forms, for tests. A story told to a FormDriver runs against
// the scripted renderer and against real windows alike.
//
// Controls are named by their fixed name or their plain caption ("Yes"), and looked for in the
// window on top only: nobody can reach below it. An action that a person could not do is refused
// with the reason and leaves everything as it was; one without effect (the focus was kept, nobody
// wanted the key) is no failure. Every action returns when the program waits for the user again.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "forms/text_picture.h"

namespace vespro {

class Desktop;

class FormDriver {
 public:
  virtual ~FormDriver() = default;

  // Where the program shows its forms and message boxes.
  virtual Desktop& desktop() = 0;
  // Runs `program`, which shows forms, as the mail client would when a command is chosen. Not while
  // an earlier one runs.
  virtual void Start(std::function<void()> program) = 0;
  // Whether it has ended.
  virtual bool Ended() = 0;
  // Ends what still runs: forms are unloaded, questions answered No.
  virtual void End() = 0;

  // The titles of the windows on the screen, from the bottom to the top, message boxes and file
  // pickers included.
  virtual std::vector<std::string> Windows() = 0;
  // The window on top (forms/text_picture.h); empty when there is none.
  virtual std::string Look() = 0;
  virtual Result<ControlLook> Look(std::string_view control) = 0;

  // Clicks into a control, without effect on what it holds.
  virtual Status Focus(std::string_view control) = 0;
  // Clicks into a text box and replaces what it holds.
  virtual Status Type(std::string_view control, std::string_view text) = 0;
  virtual Status Click(std::string_view control) = 0;
  // Clicks on a row, an entry of a combo box, a tab; from 0.
  virtual Status Select(std::string_view control, int row) = 0;
  virtual Status Press(Key key, char letter = 0) = 0;
  virtual Status CloseByFrame() = 0;
  // Drags the frame's corner, so many letters to the right and lines down.
  virtual Status Enlarge(int columns, int lines) = 0;
  // Answers the file picker on top; an empty path cancels it, a bare name is one in the folder
  // where the picker begins.
  virtual Status PickFile(std::string_view path) = 0;
};

}  // namespace vespro
