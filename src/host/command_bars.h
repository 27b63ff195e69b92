// host/command_bars.h - the menus and toolbars of the mail client's windows, as Office has them.
// Text is UTF-8. One thread: the mail client's own.
//
// A shared pointer keeps the host's object, and the events of it, alive; the host may drop a
// control or a window all the same, and every call on it fails from then on. A property that can't
// be read is empty, false or 0. Any call may let the host's events run.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"

namespace vespro {

// The numbers are Office's (MsoControlType, MsoButtonStyle).
enum class ControlType { kButton = 1, kEdit = 2, kDropDown = 3, kComboBox = 4, kPopup = 10 };
enum class ButtonStyle { kAutomatic = 0, kIcon = 1, kCaption = 2, kIconAndCaption = 3 };

class CommandBarControl {
 public:
  virtual ~CommandBarControl() = default;

  virtual ControlType Type() const = 0;
  // The built-in command that it stands for; 1 for any control that an add-in has added.
  virtual int Id() const = 0;
  virtual std::string Caption() const = 0;
  virtual std::string Tag() const = 0;
  virtual bool Enabled() const = 0;
  virtual bool Visible() const = 0;

  virtual Status SetCaption(std::string_view text) = 0;
  virtual Status SetTag(std::string_view text) = 0;
  // "<!ProgID>" has the host load that add-in when the control is used.
  virtual Status SetOnAction(std::string_view text) = 0;
  virtual Status SetTooltipText(std::string_view text) = 0;
  // Draws a line before it.
  virtual Status SetBeginGroup(bool begins) = 0;
  virtual Status SetEnabled(bool enabled) = 0;
  virtual Status SetVisible(bool visible) = 0;
  // As the user's click or choice.
  virtual Status Execute() = 0;
  virtual Status Delete() = 0;
};

class CommandBarButton : public CommandBarControl {
 public:
  virtual Status SetStyle(ButtonStyle style) = 0;
  // Takes the picture that is on the clipboard.
  virtual Status PasteFace() = 0;
  // Called for a click on any control with this one's tag, in any window. One handler a control; an
  // empty one ends it. Only while this object lives.
  virtual void OnClick(std::function<void()> handler) = 0;
};

class CommandBarComboBox : public CommandBarControl {
 public:
  virtual Status Clear() = 0;
  virtual Status AddItem(std::string_view text) = 0;
  // What is shown: an entry, or what was typed or set. Setting it chooses nothing and raises no
  // change.
  virtual std::string Text() const = 0;
  virtual Status SetText(std::string_view text) = 0;
  // Called after the user has chosen or typed, in any window with a box of this one's tag.
  virtual void OnChange(std::function<void()> handler) = 0;
};

// Which control is looked for; what is not set does not matter.
struct ControlQuery {
  std::optional<ControlType> type = {};
  std::optional<int> id = {};
  std::string tag = {};
  bool recursive = false;  // in the popups of the bar, too
};

class CommandBar {
 public:
  virtual ~CommandBar() = default;
  // The English one, such as "Menu Bar".
  virtual std::string Name() const = 0;
  // The first control that fits; nullptr when there is none or the bar is gone. It is a
  // CommandBarButton, CommandBarComboBox or CommandBarPopup where its type says so.
  virtual std::shared_ptr<CommandBarControl> Find(const ControlQuery& query) = 0;
  // At the end, temporary: the host forgets it when it ends.
  virtual Result<std::shared_ptr<CommandBarControl>> Add(ControlType type) = 0;
  // The first control of that caption at the top level, without regard to case and "&"; nullptr as
  // above.
  virtual std::shared_ptr<CommandBarControl> FindByCaption(std::string_view caption) = 0;
  virtual Status SetVisible(bool visible) = 0;
};

class CommandBarPopup : public CommandBarControl {
 public:
  // What it opens; nullptr when it is gone.
  virtual std::shared_ptr<CommandBar> Bar() = 0;
};

// Those of one window.
class CommandBars {
 public:
  virtual ~CommandBars() = default;
  // nullptr when there is none of that name.
  virtual std::shared_ptr<CommandBar> Item(std::string_view name) = 0;
};

}  // namespace vespro
