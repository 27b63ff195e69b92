// outlook/outlook_driver.h - a person in front of the stand-in: Outlook has a thread of its own,
// and the dialogs that the add-in's DLL shows there are worked with mouse and keyboard, as any
// others.
#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <string_view>

#include "base/text.h"
#include "win32/win32_driver.h"

namespace vespro::standin {

class OutlookDriver final : public Win32Driver {
 public:
  // Outlook's thread runs from now on, in a single-threaded apartment.
  OutlookDriver();
  ~OutlookDriver() override;

  // Runs `work` on Outlook's thread, below the dialog that is open if one is. Returns when it is
  // over or waits for the person, and that person could do something; true: it is over. It may
  // outlast this call; what it refers to must, too.
  bool Do(std::function<void()> work);

  // Of Outlook's thread there is always more to come: it has ended when no dialog is open.
  void Start(std::function<void()> program) override { Do(std::move(program)); }
  bool Ended() override { return Top() == nullptr; }
  // Closes what is open.
  void End() override;
  // The system's own picker takes one separator only.
  Status PickFile(std::string_view path) override {
    return Win32Driver::PickFile(ModText::ReplaceAll(path, "/", "\\"));
  }

 private:
  void RunOutlook();
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  Status Settle(std::chrono::milliseconds patience) override;
  bool IsWaiting() const override;

  HWND works_ = nullptr;  // the window that takes work
  std::atomic<int> unfinished_ = 0;
};

}  // namespace vespro::standin
