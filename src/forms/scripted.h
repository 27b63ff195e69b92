// forms/scripted.h - forms without windows. The renderer keeps, for each form, what a screen would
// show - by nothing but what it is told, so that a change it is not told of is missed in a test -
// and takes the user's actions from a FormDriver.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "forms/driver.h"
#include "forms/form.h"
#include "host/desktop.h"

namespace vespro {

class ScriptedRenderer;

class ScriptedView final : public FormView {
 public:
  ScriptedView(ScriptedRenderer& renderer, Form& form);
  ~ScriptedView() override;

  void ShowLoading() override;
  void Show() override;
  void Hide() override;
  void SetTakesInput(bool takes_input) override { takes_input_ = takes_input; }
  void Update(const Control& control, Change change, std::size_t row) override;
  void UpdateCaption() override;
  void SetFocus(const Control* control) override;

  // A box shows what is typed into it before anybody hears of it.
  void ShowTyped(const TextBox& box, std::string_view text);
  // A click into a box leaves nothing of its text selected.
  void Unmark(const Control& control) { looks_.at(&control).marked = false; }
  void Enlarge(int columns, int lines);

  Form& form() const { return form_; }
  bool visible() const { return visible_; }
  void set_visible() { visible_ = true; }
  bool takes_input() const { return takes_input_; }
  const std::string& caption() const { return caption_; }
  const std::map<const Control*, ControlLook>& looks() const { return looks_; }
  std::string Draw() const;

 private:
  ScriptedRenderer& renderer_;
  Form& form_;
  std::string caption_;
  bool visible_ = false;
  bool takes_input_ = false;
  std::map<const Control*, ControlLook> looks_;
  Size beyond_;  // what it needs, in letters and lines
};

class ScriptedRenderer final : public FormRenderer {
 public:
  // Does the next thing that the user does, within the program's waiting; false when nothing more
  // will come.
  std::function<bool()> next_action;

  std::unique_ptr<FormView> CreateView(Form& form, FormView* owner) override;
  void RunWhile(const std::function<bool()>& go_on) override;
  void ShowLoading() override;

  // The windows on the screen, from the bottom to the top.
  std::vector<ScriptedView*> visible() const;
  ScriptedView* top() const;

 private:
  friend class ScriptedView;
  std::vector<ScriptedView*> views_;  // also those that are loading, and not visible yet
};

// A desktop whose boxes are forms, too. What a real one does outside is recorded.
class ScriptedDesktop final : public Desktop {
 public:
  explicit ScriptedDesktop(FormRenderer& renderer) : screen_(renderer) {}

  std::vector<std::string> log;
  std::vector<CommandLine> started;
  Status start_fails;                   // what Start answers
  std::function<void()> while_working;  // called in DoEvents
  int do_events_calls = 0;
  bool hourglass = false;

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override;
  std::string InputBox(std::string_view prompt, std::string_view title,
                       std::string_view initial) override;
  std::string PickFile(const FileQuestion& question) override;
  FormScreen* Screen() override { return &screen_; }
  void SetHourglass(bool on) override { hourglass = on; }
  void DoEvents() override;
  Status Start(const CommandLine& command) override;
  void Log(std::string_view line) override { log.emplace_back(line); }

 private:
  FormScreen screen_;
};

// The program runs on a thread of its own, and only while the driver waits for it: what it uses
// needs no locks.
class ScriptedDriver final : public FormDriver {
 public:
  ScriptedDriver();
  ~ScriptedDriver() override { End(); }

  ScriptedDesktop& desktop() override { return desktop_; }
  void Start(std::function<void()> program) override;
  bool Ended() override { return !program_.joinable(); }
  // Something of the outside that happens while the program waits: runs on its thread.
  void Interrupt(std::function<void()> event);
  void End() override;
  std::vector<std::string> Windows() override;
  std::string Look() override;
  Result<ControlLook> Look(std::string_view control) override;
  Status Focus(std::string_view control) override;
  Status Type(std::string_view control, std::string_view text) override;
  Status Click(std::string_view control) override;
  Status Select(std::string_view control, int row) override;
  Status Press(Key key, char letter = 0) override;
  Status CloseByFrame() override;
  Status Enlarge(int columns, int lines) override;
  Status PickFile(std::string_view path) override;

 private:
  enum class Turn { kDriver, kProgram };

  // In the program's thread: gives the turn to the driver until there is something to do.
  bool WaitForAction();
  // In the driver's: lets the program go on until it waits or ends.
  void LetProgramRun();
  Status Do(const std::function<UserAction(Control&)>& action, std::string_view control);
  Status DoInTop(UserAction action);
  Result<Control*> Find(std::string_view name);

  ScriptedRenderer renderer_;
  ScriptedDesktop desktop_{renderer_};
  std::thread program_;
  std::mutex mutex_;
  std::condition_variable turned_;
  Turn turn_ = Turn::kDriver;
  bool ended_ = true;    // the program has returned
  bool ending_ = false;  // it is to return
  std::function<void()> action_;
};

}  // namespace vespro
