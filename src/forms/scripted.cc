#include "forms/scripted.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "forms/boxes.h"
#include "forms/input_form.h"

namespace vespro {

ScriptedView::ScriptedView(ScriptedRenderer& renderer, Form& form)
    : renderer_(renderer), form_(form), caption_(form.caption()) {
  for (const Control* control : form.controls()) looks_[control] = LookOf(*control, nullptr);
}

ScriptedView::~ScriptedView() { Hide(); }

void ScriptedView::ShowLoading() { renderer_.views_.push_back(this); }

void ScriptedView::Show() {
  Hide();
  renderer_.views_.push_back(this);
  visible_ = true;
}

void ScriptedView::Hide() {
  std::erase(renderer_.views_, this);
  visible_ = false;
}

void ScriptedView::Update(const Control& control, Change change, std::size_t row) {
  ControlLook& look = looks_[&control];
  switch (change) {
    case Change::kCaption:
      look.caption = control.caption();
      break;
    case Change::kText:
      look.text = LookOf(control, nullptr).text;
      look.marked = false;
      break;
    case Change::kTooltip:
      look.tooltip = control.tooltip();
      break;
    case Change::kEnabled:
      look.enabled = control.IsEnabled();
      break;
    case Change::kVisible:
      look.visible = control.IsVisible();
      break;
    case Change::kBackground:
      look.background = control.background();
      break;
    case Change::kChecked:
      look.checked = static_cast<const Choice&>(control).checked();
      break;
    case Change::kIcon:
      look.icon = static_cast<const Image&>(control).icon();
      break;
    case Change::kSelection:
      look.selected = static_cast<const RowsControl&>(control).selected();
      break;
    case Change::kRowInserted:
      look.rows.insert(look.rows.begin() + static_cast<std::ptrdiff_t>(row),
                       static_cast<const RowsControl&>(control).rows()[row]);
      break;
    case Change::kRowRemoved:
      look.rows.erase(look.rows.begin() + static_cast<std::ptrdiff_t>(row));
      break;
    case Change::kRowsCleared:
      look.rows.clear();
      look.selected = -1;
      break;
  }
}

void ScriptedView::ShowTyped(const TextBox& box, std::string_view text) {
  looks_[&box].text = ShownText(box, text);
  looks_[&box].marked = false;
}

void ScriptedView::Enlarge(int columns, int lines) {
  beyond_ = {beyond_.width + columns, beyond_.height + lines};
}

void ScriptedView::UpdateCaption() { caption_ = form_.caption(); }

void ScriptedView::SetFocus(const Control* control) {
  for (auto& [other, look] : looks_) {
    const bool gets_it = other == control && !look.focused;
    look.focused = other == control;
    if (gets_it && other->kind() == ControlKind::kTextBox) {
      look.marked = !static_cast<const TextBox*>(other)->multi_line() && !look.text.empty();
    }
  }
}

std::string ScriptedView::Draw() const {
  return DrawForm(
      form_, caption_,
      [this](const Control& control) -> const ControlLook& { return looks_.at(&control); },
      beyond_);
}

std::unique_ptr<FormView> ScriptedRenderer::CreateView(Form& form, FormView*) {
  return std::make_unique<ScriptedView>(*this, form);
}

void ScriptedRenderer::RunWhile(const std::function<bool()>& go_on) {
  while (go_on() && next_action && next_action()) {
  }
}

void ScriptedRenderer::ShowLoading() {
  for (ScriptedView* view : views_) view->set_visible();
}

std::vector<ScriptedView*> ScriptedRenderer::visible() const {
  std::vector<ScriptedView*> visible;
  std::copy_if(views_.begin(), views_.end(), std::back_inserter(visible),
               [](const ScriptedView* view) { return view->visible(); });
  return visible;
}

ScriptedView* ScriptedRenderer::top() const {
  const std::vector<ScriptedView*> all = visible();
  return all.empty() ? nullptr : all.back();
}

MessageAnswer ScriptedDesktop::MsgBox(std::string_view text, MessageIcon icon,
                                      MessageButtons buttons, std::string_view title) {
  return MessageForm(text, icon, buttons, title).Ask(*this);
}

std::string ScriptedDesktop::InputBox(std::string_view prompt, std::string_view title,
                                      std::string_view initial) {
  return InputForm(prompt, title, initial).Ask(*this);
}

std::string ScriptedDesktop::PickFile(const FileQuestion& question) {
  return PickerForm(question).Ask(*this);
}

void ScriptedDesktop::DoEvents() {
  ++do_events_calls;
  screen_.renderer().ShowLoading();
  if (while_working) while_working();
}

Status ScriptedDesktop::Start(const CommandLine& command) {
  if (!start_fails.ok()) return start_fails;
  started.push_back(command);
  return {};
}

ScriptedDriver::ScriptedDriver() {
  renderer_.next_action = [this] { return WaitForAction(); };
}

void ScriptedDriver::End() {
  if (Ended()) return;
  ending_ = true;
  LetProgramRun();
  ending_ = false;
}

void ScriptedDriver::Start(std::function<void()> program) {
  assert(Ended() && "an earlier program still runs");
  ended_ = false;
  program_ = std::thread([this, run = std::move(program)] {
    {
      std::unique_lock lock(mutex_);
      turned_.wait(lock, [this] { return turn_ == Turn::kProgram; });
    }
    run();
    const std::lock_guard lock(mutex_);
    ended_ = true;
    turn_ = Turn::kDriver;
    turned_.notify_all();
  });
  LetProgramRun();
}

void ScriptedDriver::Interrupt(std::function<void()> event) {
  assert(!Ended() && "no program waits");
  action_ = std::move(event);
  LetProgramRun();
}

bool ScriptedDriver::WaitForAction() {
  if (ending_) return false;
  {
    std::unique_lock lock(mutex_);
    turn_ = Turn::kDriver;
    turned_.notify_all();
    turned_.wait(lock, [this] { return turn_ == Turn::kProgram; });
  }
  if (ending_) return false;
  std::exchange(action_, nullptr)();
  return true;
}

void ScriptedDriver::LetProgramRun() {
  bool ended;
  {
    std::unique_lock lock(mutex_);
    turn_ = Turn::kProgram;
    turned_.notify_all();
    turned_.wait(lock, [this] { return turn_ == Turn::kDriver; });
    ended = ended_;
  }
  if (ended) program_.join();
}

std::vector<std::string> ScriptedDriver::Windows() {
  std::vector<std::string> titles;
  for (const ScriptedView* view : renderer_.visible()) titles.push_back(view->caption());
  return titles;
}

std::string ScriptedDriver::Look() {
  return renderer_.top() == nullptr ? std::string() : renderer_.top()->Draw();
}

Result<Control*> ScriptedDriver::Find(std::string_view name) {
  const ScriptedView* view = renderer_.top();
  if (Ended() || view == nullptr) return Status(Code::kNotFound, "there is no window");
  Control* found = nullptr;
  for (Control* control : view->form().controls()) {
    const ControlLook& look = view->looks().at(control);
    if (control->name() == name) return control;
    if (look.visible && ModCaption::Plain(look.caption) == name) found = control;
  }
  if (found != nullptr) return found;
  return Status(Code::kNotFound, "'" + view->caption() + "' has no " + std::string(name));
}

Result<ControlLook> ScriptedDriver::Look(std::string_view control) {
  Result<Control*> found = Find(control);
  if (!found.ok()) return found.status();
  return renderer_.top()->looks().at(found.value());
}

// Refuses by what the screen shows, not by what the form knows.
Status ScriptedDriver::Do(const std::function<UserAction(Control&)>& action,
                          std::string_view control) {
  Result<Control*> found = Find(control);
  if (!found.ok()) return found.status();
  const ControlLook& look = renderer_.top()->looks().at(found.value());
  const std::string name(control);
  if (!look.visible) return Status(Code::kUnavailable, name + " is not to be seen");
  if (!look.enabled) return Status(Code::kUnavailable, name + " is disabled");
  return DoInTop(action(*found.value()));
}

Status ScriptedDriver::DoInTop(UserAction action) {
  ScriptedView* view = renderer_.top();
  if (Ended() || view == nullptr) return Status(Code::kNotFound, "there is no window");
  if (!view->takes_input()) return Status(Code::kUnavailable, view->caption() + " takes no input");
  action_ = [view, action = std::move(action)] {
    if (action.kind == UserAction::Kind::kText) {
      view->ShowTyped(static_cast<TextBox&>(*action.control), action.text);
    }
    view->form().Do(action);
    if (action.kind == UserAction::Kind::kFocus) view->Unmark(*action.control);
  };
  LetProgramRun();
  return {};
}

Status ScriptedDriver::Focus(std::string_view control) {
  return Do([](Control& target) { return UserAction::Focus(target); }, control);
}

Status ScriptedDriver::Type(std::string_view control, std::string_view text) {
  Result<Control*> found = Find(control);
  if (found.ok() && (found.value()->kind() != ControlKind::kTextBox ||
                     static_cast<TextBox*>(found.value())->read_only())) {
    return Status(Code::kUnavailable, "nothing can be typed into " + std::string(control));
  }
  return Do([&](Control& target) { return UserAction::Text(target, text); }, control);
}

Status ScriptedDriver::Click(std::string_view control) {
  return Do([](Control& target) { return UserAction::Click(target); }, control);
}

Status ScriptedDriver::Select(std::string_view control, int row) {
  Result<ControlLook> look = Look(control);
  if (look.ok() && (row < 0 || static_cast<std::size_t>(row) >= look->rows.size())) {
    return Status(Code::kUnavailable, std::string(control) + " has no such row");
  }
  return Do([&](Control& target) { return UserAction::Select(target, row); }, control);
}

Status ScriptedDriver::Press(Key key, char letter) {
  return DoInTop(UserAction::Press(key, letter));
}

Status ScriptedDriver::CloseByFrame() {
  const ScriptedView* view = renderer_.top();
  if (view != nullptr && !view->form().closable()) {
    return Status(Code::kUnavailable, view->caption() + " has no close button");
  }
  return DoInTop(UserAction::Close());
}

Status ScriptedDriver::Enlarge(int columns, int lines) {
  ScriptedView* view = renderer_.top();
  if (view == nullptr || !view->takes_input() || !view->form().resizable()) {
    return Status(Code::kUnavailable, "there is no frame to drag");
  }
  view->Enlarge(columns, lines);
  return {};
}

Status ScriptedDriver::PickFile(std::string_view path) {
  if (path.empty()) return Click("CmdCancel");
  if (Status typed = Type("TextPath", path); !typed.ok()) return typed;
  return Click("CmdOpen");
}

}  // namespace vespro
