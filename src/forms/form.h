// forms/form.h - a dialog: a class with its controls as members, its layout beside them and its
// handlers as methods. See forms/README.md for an example.
//
// A form is loaded when it is first shown, and unloaded by Unload or by its frame's close button;
// then it may be shown and loaded again. Hidden forms stay loaded. Forms shown lie upon each other:
// only the top one takes the user's input. While an event of a form runs, the user can do nothing
// else in that form. A form that is being loaded is on top already, so that a long Form_Load that
// lets events run is not interfered with; it can then be seen, as waiting, without taking input.
// One thread: the mail client's own.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "forms/control.h"
#include "forms/layout.h"
#include "forms/renderer.h"

namespace vespro {

class Desktop;
class Form;

// What the user did in a form, as a renderer tells it.
struct UserAction {
  enum class Kind {
    kFocus,   // moved to `control`
    kText,    // edited the text box; `text` is what it holds now
    kClick,   // pressed a button, a link, an option, a check box
    kSelect,  // chose `row` of a list, combo box or tab strip, from 0; again, perhaps
    kKey,     // `key` in the control with the focus
    kClose,   // the frame's close button
  };
  Kind kind;
  Control* control = nullptr;
  std::string text = {};
  int row = -1;
  KeyPress key = {Key::kEnter};

  static UserAction Focus(Control& control) { return {Kind::kFocus, &control}; }
  static UserAction Text(Control& control, std::string_view text) {
    return {Kind::kText, &control, std::string(text)};
  }
  static UserAction Click(Control& control) { return {Kind::kClick, &control}; }
  static UserAction Select(Control& control, int row) { return {Kind::kSelect, &control, {}, row}; }
  static UserAction Press(Key key, char letter = 0) {
    return {Kind::kKey, nullptr, {}, -1, {key, letter}};
  }
  static UserAction Close() { return {Kind::kClose}; }
};

// The forms shown on one desktop, lying upon each other. The renderer must outlive it.
class FormScreen {
 public:
  explicit FormScreen(FormRenderer& renderer) : renderer_(renderer) {}
  FormScreen(const FormScreen&) = delete;
  FormScreen& operator=(const FormScreen&) = delete;
  ~FormScreen();

  // From the bottom to the top.
  const std::vector<Form*>& shown() const { return shown_; }
  Form* top() const { return shown_.empty() ? nullptr : shown_.back(); }
  FormRenderer& renderer() const { return renderer_; }

 private:
  friend class Form;
  void Raise(Form& form);
  void Remove(Form& form);

  FormRenderer& renderer_;
  std::vector<Form*> shown_;
};

class Form {
 public:
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;
  // Takes its window away, without events. Not within one of its own events.
  virtual ~Form();

  // Loads the form unless it is loaded, brings it to the front and waits until it is hidden or
  // unloaded. While an earlier call waits, the form only comes to the front. Without a screen (the
  // command line) nothing is shown: the desktop's log says so.
  void ShowModal(Desktop& desktop);
  // The same without waiting. Whatever lies below can't be used until this one has gone.
  void Show(Desktop& desktop);
  void Hide();
  // Raises Form_Unload and takes the window away.
  void Unload();
  bool loaded() const { return loaded_; }
  bool shown() const { return shown_; }

  const std::string& name() const { return name_; }
  const std::string& caption() const { return caption_; }
  void set_caption(std::string_view caption);
  // Whether the frame has a close button.
  bool closable() const { return closable_; }
  void set_closable(bool closable) { closable_ = closable; }  // before it is loaded
  // Whether the user can make it larger, for what has a Fill.
  bool resizable() const { return resizable_; }
  void set_resizable(bool resizable) { resizable_ = resizable; }  // before it is loaded
  // Escape closes it as its frame's button does. Not for a form whose frame gives up what its
  // close button keeps.
  void set_escape_closes(bool closes) { escape_closes_ = closes; }
  // What Enter and Escape press wherever they mean nothing else.
  const Button* default_button() const { return default_; }
  const Button* cancel_button() const { return cancel_; }
  void set_default(Button& button) { default_ = &button; }  // before it is shown
  void set_cancel(Button& button) { cancel_ = &button; }    // before it is shown
  // Without asking the one that has it. Nothing happens when the control can't have it.
  void SetFocus(Control& control);
  const Control* focus() const { return focus_; }

  // For renderers. Known from before Form_Load on; in the order of Tab.
  const std::vector<Control*>& controls() const { return controls_; }
  const Layout& layout() const { return layout_; }
  // The one door for all that the user does. False: it had no effect, since the form or the control
  // can't be used, the focus was kept, or nobody wanted the key.
  bool Do(const UserAction& action);
  // Whether Tab comes to it now.
  bool IsTabStop(const Control& control) const;

 protected:
  explicit Form(std::string_view name, std::string_view caption = {});

  // Every control once.
  virtual Layout Arrange() = 0;
  virtual void Form_Load() {}
  virtual void Form_Unload() {}
  // The user presses the frame's close button; false: the form stays.
  virtual bool Form_CloseByFrame() { return true; }

 private:
  friend class Control;
  friend class OptionButton;
  friend class FormScreen;
  class Running;

  bool Display(Desktop& desktop);
  void Load(FormScreen& screen);
  void AddControls(const Layout& layout, const Control* parent);
  void Tell(const Control& control, Change change, std::size_t row);
  void TellInside(const Control& outer, Change change);
  void ChooseOption(OptionButton& option);
  void AfterEvent();

  bool MayUse(const UserAction& action) const;
  bool Act(const UserAction& action);
  // Shows again what the form knows, where the user's action had no effect.
  void ResyncView(const UserAction& action);
  bool MayLeave();
  bool MoveFocus(Control& control, bool asks = true);
  bool EditText(Control& control, const std::string& text);
  bool Click(Control& control);
  bool SelectRow(Control& control, int row);
  bool Close();

  bool Press(const KeyPress& press);
  bool PressEnter();
  bool PressEscape();
  bool PressSpace();
  bool MoveByTab(bool back);
  bool PressArrow(Key key);
  bool MoveInOptions(bool back);
  bool TurnPage(bool back);
  bool PressAccessKey(char letter);

  static bool Raise(const std::function<void()>& handler);
  static bool CanFocus(const Control& control);
  // The next tab stop after (before) the control at `from`, round the form; nullptr: there is none.
  Control* NextStop(std::size_t from, bool back) const;
  std::size_t IndexOf(const Control& control) const;

  const std::string name_;
  std::string caption_;
  bool closable_ = true;
  bool resizable_ = false;
  bool escape_closes_ = false;
  Button* default_ = nullptr;
  Button* cancel_ = nullptr;

  std::size_t declared_ = 0;  // controls; each must be arranged
  std::vector<Control*> controls_;
  Layout layout_;
  FormScreen* screen_ = nullptr;    // where it was loaded
  std::unique_ptr<FormView> view_;  // while loaded
  // Views of a form that was unloaded by an event of its own, which they still wait for.
  std::vector<std::unique_ptr<FormView>> old_views_;
  Control* focus_ = nullptr;
  bool focus_stale_ = false;  // the native focus may be elsewhere
  bool loaded_ = false;
  bool loading_ = false;  // Form_Load runs
  bool shown_ = false;
  bool waiting_ = false;  // ShowModal runs
  int running_ = 0;       // events under way
};

}  // namespace vespro
