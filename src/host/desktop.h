// host/desktop.h - the person in front of the screen and the programs beside us. All text is UTF-8.
// One thread: the mail client's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro {

enum class MessageIcon { kCritical, kQuestion, kExclamation, kInformation };
enum class MessageButtons { kOk, kYesNo };
enum class MessageAnswer { kOk, kYes, kNo };

// A program to start. `text` is the whole line, as a system takes it that starts programs by one;
// `executable` and `arguments` say the same for systems that take them apart.
struct CommandLine {
  std::string executable;
  std::vector<std::string> arguments;
  std::string text;
};

class Desktop {
 public:
  virtual ~Desktop() = default;

  virtual MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                               std::string_view title) = 0;
  // What was typed; empty when the box was cancelled, too.
  virtual std::string InputBox(std::string_view prompt, std::string_view title,
                               std::string_view initial) = 0;
  // Lets pending window events run. May be called once for every line of a long file: the host
  // pumps rarely enough for that to cost nothing.
  virtual void DoEvents() = 0;
  // Starts the program in a normal window and does not wait for it.
  virtual Status Start(const CommandLine& command) = 0;
  // A line for the host's log: what went wrong where nothing may interrupt the user. No secrets.
  virtual void Log(std::string_view line) = 0;
};

}  // namespace vespro
