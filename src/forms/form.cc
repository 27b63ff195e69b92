#include "forms/form.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "base/text.h"
#include "host/desktop.h"

namespace vespro {

// An event of the form, while it runs.
class Form::Running {
 public:
  explicit Running(Form& form) : form_(form) { ++form_.running_; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() {
    if (--form_.running_ == 0) form_.AfterEvent();
  }

 private:
  Form& form_;
};

FormScreen::~FormScreen() {
  assert(shown_.empty() && "forms outlive the screen they are shown on");
}

void FormScreen::Raise(Form& form) {
  if (Form* before = top(); before != nullptr && before != &form) {
    before->view_->SetTakesInput(false);
  }
  std::erase(shown_, &form);
  shown_.push_back(&form);
  form.view_->SetTakesInput(!form.loading_);
  if (form.loading_) {
    form.view_->ShowLoading();
    return;
  }
  form.view_->Show();
  form.view_->SetFocus(form.focus_);
}

void FormScreen::Remove(Form& form) {
  const bool was_top = top() == &form;
  std::erase(shown_, &form);
  // First the one below, or the system would bring some other program's window to the front.
  Form* now = was_top ? top() : nullptr;
  const bool takes_input = now != nullptr && !now->loading_;
  if (takes_input) now->view_->SetTakesInput(true);
  form.view_->Hide();
  if (takes_input) now->view_->SetFocus(now->focus_);
}

Form::Form(std::string_view name, std::string_view caption) : name_(name), caption_(caption) {}

Form::~Form() {
  assert(running_ == 0 && "a form is destroyed within its own event");
  if (shown_) screen_->Remove(*this);
}

void Form::set_caption(std::string_view caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  if (view_) view_->UpdateCaption();
}

bool Form::Display(Desktop& desktop) {
  FormScreen* screen = desktop.Screen();
  if (screen == nullptr) {
    desktop.Log("There is no screen to show " + name_ + " on");
    return false;
  }
  if (!loaded_) Load(*screen);
  if (!loaded_) {  // Form_Load thought better of it
    if (running_ == 0) old_views_.clear();
    return false;
  }
  if (loading_) return false;  // it shows itself when it is through
  if (focus_ == nullptr || !CanFocus(*focus_)) focus_ = NextStop(controls_.size(), false);
  shown_ = true;
  screen_->Raise(*this);
  return true;
}

void Form::Load(FormScreen& screen) {
  screen_ = &screen;
  if (controls_.empty()) {
    layout_ = Arrange();
    AddControls(layout_, nullptr);
    assert(controls_.size() == declared_ && "each control stands in the layout once");
  }
  Form* owner = screen.top();
  view_ = screen.renderer().CreateView(*this, owner == nullptr ? nullptr : owner->view_.get());
  loaded_ = loading_ = shown_ = true;
  screen.Raise(*this);
  const Running running(*this);
  Form_Load();
  loading_ = false;
}

void Form::AddControls(const Layout& layout, const Control* parent) {
  if (Control* control = layout.control()) {
    control->parent_ = parent;
    controls_.push_back(control);
    if (layout.kind() == Layout::Kind::kInside) parent = control;
  }
  for (const Layout& part : layout.parts()) AddControls(part, parent);
}

void Form::ShowModal(Desktop& desktop) {
  if (!Display(desktop) || waiting_) return;
  waiting_ = true;
  screen_->renderer().RunWhile([this] { return shown_; });
  waiting_ = false;
  if (shown_) Unload();  // the program ends
  old_views_.clear();
}

void Form::Show(Desktop& desktop) { Display(desktop); }

void Form::Hide() {
  if (!std::exchange(shown_, false)) return;
  screen_->Remove(*this);
}

void Form::Unload() {
  if (!std::exchange(loaded_, false)) return;
  {
    const Running running(*this);
    Form_Unload();
  }
  Hide();
  focus_ = nullptr;
  if (running_ > 0 && view_) {
    old_views_.push_back(std::move(view_));
  } else {
    view_.reset();
  }
}

void Form::SetFocus(Control& control) {
  if (!CanFocus(control)) return;
  focus_ = &control;
  if (view_ && screen_->top() == this) view_->SetFocus(focus_);
}

// What changes -----------------------------------------------------------------------------------

void Form::Tell(const Control& control, Change change, std::size_t row) {
  if (!view_) return;
  view_->Update(control, change, row);
  const bool usable = change == Change::kEnabled || change == Change::kVisible;
  if (!usable) return;
  TellInside(control, change);
  if (running_ == 0) AfterEvent();
}

void Form::TellInside(const Control& outer, Change change) {
  for (const Control* control : controls_) {
    if (control->IsInside(outer)) view_->Update(*control, change, 0);
  }
}

void Form::ChooseOption(OptionButton& option) {
  assert(loaded_ && "which options belong together is known when the form is loaded");
  for (Control* other : controls_) {
    if (other == &option || other->kind() != ControlKind::kOptionButton) continue;
    if (other->parent() == option.parent()) static_cast<OptionButton*>(other)->Set(false);
  }
  option.Set(true);
}

// A handler may have disabled or hidden what has the focus; and what the user did meanwhile may
// have moved the native one.
void Form::AfterEvent() {
  if (!shown_ || !view_) return;
  if (focus_ == nullptr || !CanFocus(*focus_)) {
    focus_ = NextStop(focus_ == nullptr ? controls_.size() : IndexOf(*focus_), false);
    focus_stale_ = true;
  }
  if (focus_stale_ && screen_->top() == this) {
    focus_stale_ = false;
    view_->SetFocus(focus_);
  }
}

// What the user does -----------------------------------------------------------------------------

bool Form::Do(const UserAction& action) {
  if (MayUse(action)) {
    const Running running(*this);
    if (Act(action)) return true;
    ResyncView(action);
  } else {
    ResyncView(action);
    if (running_ == 0) AfterEvent();
  }
  return false;
}

bool Form::MayUse(const UserAction& action) const {
  if (!shown_ || running_ > 0 || screen_->top() != this) return false;
  if (action.kind == UserAction::Kind::kClose) return closable_;
  return action.control == nullptr || (action.control->IsVisible() && action.control->IsEnabled());
}

bool Form::Act(const UserAction& action) {
  switch (action.kind) {
    case UserAction::Kind::kFocus:
      return MoveFocus(*action.control);
    case UserAction::Kind::kText:
      return EditText(*action.control, action.text);
    case UserAction::Kind::kClick:
      return Click(*action.control);
    case UserAction::Kind::kSelect:
      return SelectRow(*action.control, action.row);
    case UserAction::Kind::kKey:
      return Press(action.key);
    case UserAction::Kind::kClose:
      return Close();
  }
  return false;
}

void Form::ResyncView(const UserAction& action) {
  if (!view_ || action.control == nullptr) return;
  focus_stale_ = true;
  const ControlKind kind = action.control->kind();
  if (action.kind == UserAction::Kind::kText) {
    view_->Update(*action.control, Change::kText, 0);
  } else if (action.kind == UserAction::Kind::kSelect) {
    view_->Update(*action.control, Change::kSelection, 0);
  } else if (kind == ControlKind::kCheckBox || kind == ControlKind::kOptionButton) {
    view_->Update(*action.control, Change::kChecked, 0);
  }
}

bool Form::Raise(const std::function<void()>& handler) {
  if (handler) handler();
  return true;
}

bool Form::MayLeave() {
  return focus_ == nullptr || !focus_->leave_ || focus_->leave_() == Leave::kAllow;
}

bool Form::MoveFocus(Control& control, bool asks) {
  if (focus_ == &control) return true;
  if (!CanFocus(control) || (asks && !MayLeave())) return false;
  // The handlers that were asked may have changed the form.
  if (!shown_ || !CanFocus(control)) return false;
  focus_ = &control;
  view_->SetFocus(focus_);
  return true;
}

bool Form::EditText(Control& control, const std::string& text) {
  if (control.kind() != ControlKind::kTextBox) return false;
  auto& box = static_cast<TextBox&>(control);
  if (box.read_only() || !MoveFocus(control)) return false;
  if (std::exchange(box.text_, text) == text) return true;
  return Raise(control.change_);
}

bool Form::Click(Control& control) {
  switch (control.kind()) {
    case ControlKind::kButton:
      break;
    case ControlKind::kLabel:
      if (!CanFocus(control)) return false;
      break;
    case ControlKind::kCheckBox: {
      if (!MoveFocus(control)) return false;
      auto& box = static_cast<CheckBox&>(control);
      box.set_checked(!box.checked());
      return Raise(control.click_);
    }
    case ControlKind::kOptionButton: {
      if (!MoveFocus(control)) return false;
      auto& option = static_cast<OptionButton&>(control);
      if (option.checked()) return true;
      option.Choose();
      return Raise(control.click_);
    }
    default:
      return false;
  }
  // Who gives up need not put right first what will be forgotten.
  return MoveFocus(control, &control != cancel_) && Raise(control.click_);
}

bool Form::SelectRow(Control& control, int row) {
  switch (control.kind()) {
    case ControlKind::kComboBox:
    case ControlKind::kListBox:
    case ControlKind::kListView:
    case ControlKind::kTabStrip:
      break;
    default:
      return false;
  }
  auto& list = static_cast<RowsControl&>(control);
  if (row < -1 || row >= static_cast<int>(list.rows_.size()) || !MoveFocus(control)) return false;
  list.Select(row);
  return Raise(control.click_);
}

bool Form::Close() {
  if (!Form_CloseByFrame()) return false;
  Unload();
  return true;
}

// Keys -------------------------------------------------------------------------------------------

bool Form::Press(const KeyPress& press) {
  if (focus_ != nullptr && focus_->key_ && focus_->key_(press.key)) return true;
  if (!shown_) return true;
  switch (press.key) {
    case Key::kEnter:
      return PressEnter();
    case Key::kEscape:
      return PressEscape();
    case Key::kSpace:
      return PressSpace();
    case Key::kTab:
    case Key::kBackTab:
      return MoveByTab(press.key == Key::kBackTab);
    case Key::kUp:
    case Key::kDown:
    case Key::kLeft:
    case Key::kRight:
      return PressArrow(press.key);
    case Key::kNextPage:
    case Key::kPreviousPage:
      return TurnPage(press.key == Key::kPreviousPage);
    case Key::kAccess:
      return PressAccessKey(press.letter);
    case Key::kDelete:
      break;
  }
  return false;
}

bool Form::PressEnter() {
  if (focus_ != nullptr) {
    const ControlKind kind = focus_->kind();
    if (kind == ControlKind::kButton || kind == ControlKind::kLabel) return Click(*focus_);
    if (kind == ControlKind::kTextBox &&
        static_cast<TextBox*>(focus_)->style() == TextBox::Style::kMultiLine) {
      return false;
    }
  }
  if (default_ == nullptr || !CanFocus(*default_)) return false;
  // The focus stays, but the button acts on what is in the box.
  if (!MayLeave() || !shown_ || !CanFocus(*default_)) return true;
  return Raise(default_->click_);
}

bool Form::PressEscape() {
  if (cancel_ != nullptr && CanFocus(*cancel_)) return Raise(cancel_->click_);
  if (!escape_closes_ || !closable_) return false;
  Close();
  return true;
}

bool Form::PressSpace() {
  if (focus_ == nullptr) return false;
  switch (focus_->kind()) {
    case ControlKind::kButton:
    case ControlKind::kLabel:
    case ControlKind::kCheckBox:
    case ControlKind::kOptionButton:
      return Click(*focus_);
    default:
      return false;
  }
}

bool Form::MoveByTab(bool back) {
  Control* next = NextStop(focus_ == nullptr ? controls_.size() : IndexOf(*focus_), back);
  if (next == nullptr) return false;
  if (!MoveFocus(*next)) focus_stale_ = true;
  return true;
}

bool Form::PressArrow(Key key) {
  if (focus_ == nullptr) return false;
  const bool back = key == Key::kUp || key == Key::kLeft;
  if (focus_->kind() == ControlKind::kOptionButton) return MoveInOptions(back);
  const bool sideways = key == Key::kLeft || key == Key::kRight;
  if (focus_->kind() != ControlKind::kTabStrip || !sideways) return false;
  auto& tabs = static_cast<TabStrip&>(*focus_);
  const int row = tabs.selected() + (back ? -1 : 1);
  const bool exists = row >= 0 && row < static_cast<int>(tabs.rows().size());
  return !exists || SelectRow(tabs, row);
}

bool Form::MoveInOptions(bool back) {
  const std::size_t count = controls_.size();
  std::size_t index = IndexOf(*focus_);
  for (std::size_t i = 1; i < count; ++i) {
    index = (index + (back ? count - 1 : 1)) % count;
    Control& other = *controls_[index];
    if (other.kind() != ControlKind::kOptionButton || other.parent() != focus_->parent()) continue;
    if (CanFocus(other)) return Click(other);
  }
  return true;
}

// Where the page that had the focus is turned away, the first control of the new one gets it.
bool Form::TurnPage(bool back) {
  const auto found = std::find_if(controls_.begin(), controls_.end(), [](const Control* control) {
    return control->kind() == ControlKind::kTabStrip && CanFocus(*control) &&
           !static_cast<const TabStrip*>(control)->rows().empty();
  });
  if (found == controls_.end()) return false;
  auto& tabs = static_cast<TabStrip&>(**found);
  const bool within = focus_ != nullptr && focus_->IsInside(tabs);
  if (within && (!MayLeave() || !shown_ || !CanFocus(tabs))) {
    focus_stale_ = true;
    return true;
  }
  const int count = static_cast<int>(tabs.rows().size());
  const int before = tabs.selected();
  tabs.Select(!back ? (before + 1) % count : before > 0 ? before - 1 : count - 1);
  Raise(tabs.click_);
  if (!within || !shown_) return true;
  Control* first = NextStop(IndexOf(tabs), false);
  if (first != nullptr && first->IsInside(tabs)) SetFocus(*first);
  return true;
}

bool Form::PressAccessKey(char letter) {
  const char wanted = ModText::LowerAscii({&letter, 1}).front();
  const std::size_t count = controls_.size();
  const std::size_t start = focus_ == nullptr ? count - 1 : IndexOf(*focus_);
  for (std::size_t i = 1; i <= count; ++i) {
    const std::size_t index = (start + i) % count;
    Control& control = *controls_[index];
    if (!control.IsVisible() || !control.IsEnabled()) continue;
    if (ModCaption::AccessKey(control.caption()) != wanted) continue;
    if (Click(control)) return true;
    // A label's key is for what it labels, a frame's for the first control within.
    if (!CanFocus(control)) {
      Control* next = NextStop(index, false);
      if (next != nullptr) MoveFocus(*next);
    }
    focus_stale_ = true;
    return true;
  }
  return false;
}

bool Form::CanFocus(const Control& control) {
  if (control.kind() == ControlKind::kFrame || control.kind() == ControlKind::kImage) return false;
  if (control.kind() == ControlKind::kLabel &&
      static_cast<const Label&>(control).style() != Label::Style::kLink) {
    return false;
  }
  return control.IsVisible() && control.IsEnabled();
}

// Of the options that belong together Tab comes to the chosen one only, or to the first.
bool Form::IsTabStop(const Control& control) const {
  if (!CanFocus(control)) return false;
  if (control.kind() != ControlKind::kOptionButton) return true;
  const Control* first = nullptr;
  for (const Control* other : controls_) {
    if (other->kind() != ControlKind::kOptionButton || other->parent() != control.parent() ||
        !CanFocus(*other)) {
      continue;
    }
    if (static_cast<const OptionButton*>(other)->checked()) return other == &control;
    if (first == nullptr) first = other;
  }
  return first == &control;
}

Control* Form::NextStop(std::size_t from, bool back) const {
  const std::size_t count = controls_.size();
  for (std::size_t i = 1; i <= count; ++i) {
    // From after the last control the first comes next.
    const std::size_t forward = from == count ? i - 1 : (from + i) % count;
    const std::size_t index = back ? (from + count - i) % count : forward;
    if (IsTabStop(*controls_[index])) return controls_[index];
  }
  return nullptr;
}

std::size_t Form::IndexOf(const Control& control) const {
  return static_cast<std::size_t>(std::find(controls_.begin(), controls_.end(), &control) -
                                  controls_.begin());
}

}  // namespace vespro
