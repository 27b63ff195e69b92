// win32/win32_driver.h - for tests only: a person in front of real windows. Mouse and keyboard
// are messages to the windows; what is seen is read from the windows, never from the form. (The
// kind of a list row's picture can't be read back: whether there is one can.)
//
// The program runs on a thread of its own. The driver acts only while that thread waits for input
// with nothing left to do, so what both use needs no locks. A program that does not come to rest
// within 30 seconds makes the action fail.
#pragma once

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "forms/driver.h"
#include "win32/win32_desktop.h"

namespace vespro {

// Knows whether the program is at work while it lets events run.
class DrivenDesktop final : public Win32Desktop {
 public:
  DrivenDesktop();

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override;
  std::string PickFile(const FileQuestion& question) override;
  void DoEvents() override;

  // Whether an event that runs now means that the program waits for the user.
  bool IsWaiting() const;

  HWND host = nullptr;  // the mail client's window, if there is one
  std::vector<std::string> log;

 private:
  bool working_ = false;
  bool in_box_ = false;
};

class Win32Driver : public FormDriver {
 public:
  Win32Driver() = default;
  ~Win32Driver() override { Win32Driver::End(); }

  DrivenDesktop& desktop() override { return desktop_; }
  void Start(std::function<void()> program) override;
  bool Ended() override;
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

  // A letter together with Ctrl, as capital.
  void PressWithCtrl(char letter);
  // The window on top; nullptr when there is none.
  HWND Top() const;

 protected:
  // Starts `program` and returns when its thread is there. Its forms may be those of a DLL that was
  // built from the same sources.
  void Run(std::function<void()> program);
  // Until everything posted has been handled, and all that was posted meanwhile.
  virtual Status Settle(std::chrono::milliseconds patience);
  // On the program's thread, while it lets events run: whether it waits for the user.
  virtual bool IsWaiting() const { return desktop_.IsWaiting(); }

 private:
  // What a name stands for in the window on top.
  struct Found {
    HWND window = nullptr;
    const Control* control = nullptr;  // nullptr: in a box of the system's
  };

  void RunProgram(const std::function<void()>& program);
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  // Asking windows of another thread takes long; it is done in the program's own, where it waits.
  void InProgram(const std::function<void()>& work) const;
  void HoldKeys(bool shift, bool control) const;

  std::vector<HWND> OnScreen() const;
  Win32View* ViewOf(HWND window) const;
  HWND FocusedWindow() const;
  std::string LookAtTop() const;
  Result<ControlLook> LookFor(std::string_view control) const;
  ControlLook LookAt(const Win32View& view, const Control& control) const;
  ControlLook LookAtBox(HWND window) const;
  std::string DrawBox(HWND box) const;
  Result<Found> Find(std::string_view name) const;
  Result<Found> FindUsable(std::string_view name) const;
  Result<Found> FindUsableHere(std::string_view name) const;
  Status ClickAt(HWND window, POINT point);
  Status ClickOn(const Found& found);
  Status SelectInCombo(HWND combo, int row);

  DrivenDesktop desktop_;
  std::thread program_;
  DWORD thread_id_ = 0;
  HWND helper_ = nullptr;  // a window of the program's thread without a place on the screen
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;    // `helper_` is there
  bool ended_ = true;     // the program has returned
  int asked_ = 0;         // how often the program was asked whether it is at rest
  int answered_ = 0;      // the last question that it answered
  bool at_rest_ = false;  // what it answered
};

}  // namespace vespro
