// win32/win32_desktop.h - the person in front of a Windows screen.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>

#include "forms/form.h"
#include "host/desktop.h"
#include "win32/win32_renderer.h"

namespace vespro {

class Win32Desktop : public Desktop {
 public:
  // `host_window` gives the mail client's window in front, or nullptr; forms and boxes stay before
  // it. `log` takes lines of UTF-8 without line ends.
  Win32Desktop(std::function<HWND()> host_window, std::function<void(std::string_view)> log)
      : renderer_(std::move(host_window)), screen_(renderer_), log_(std::move(log)) {}

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override;
  std::string InputBox(std::string_view prompt, std::string_view title,
                       std::string_view initial) override;
  std::string PickFile(const FileQuestion& question) override;
  FormScreen* Screen() override { return &screen_; }
  Status ClearClipboard() override;
  Status SetClipboardText(std::string_view text) override;
  // kNotFound where our module has no such picture; the clipboard stays then.
  Status SetClipboardPicture(std::string_view resource, PictureKind kind) override;
  void SetHourglass(bool on) override;
  // Runs pending events if 15 ms have passed since it last did: more often than the screen is drawn
  // nobody sees a difference, and a call for each line of a list of millions must cost nothing.
  void DoEvents() override;
  // kUnavailable with the system's error number when it can't be started.
  Status Start(const CommandLine& command) override;
  int Shell(const ShellRequest& request) override;
  void Log(std::string_view line) override { log_(line); }

  Win32Renderer& renderer() { return renderer_; }

 private:
  Win32Renderer renderer_;
  FormScreen screen_;
  std::function<void(std::string_view)> log_;
  DWORD last_events_ = GetTickCount();
};

}  // namespace vespro
