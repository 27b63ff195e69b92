// host/desktop_over.h - for tests only: a desktop that passes everything on to another one. What
// derives from it watches, or answers in its place.
#pragma once

#include <string>
#include <string_view>

#include "host/desktop.h"

namespace vespro {

class DesktopOver : public Desktop {
 public:
  // `below` must outlive it.
  explicit DesktopOver(Desktop& below) : below_(below) {}

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override {
    return below_.MsgBox(text, icon, buttons, title);
  }
  std::string InputBox(std::string_view prompt, std::string_view title,
                       std::string_view initial) override {
    return below_.InputBox(prompt, title, initial);
  }
  std::string PickFile(const FileQuestion& question) override { return below_.PickFile(question); }
  FormScreen* Screen() override { return below_.Screen(); }
  Status ClearClipboard() override { return below_.ClearClipboard(); }
  Status SetClipboardText(std::string_view text) override { return below_.SetClipboardText(text); }
  void SetHourglass(bool on) override { below_.SetHourglass(on); }
  std::string TextEditor() const override { return below_.TextEditor(); }
  std::string FolderViewer() const override { return below_.FolderViewer(); }
  void DoEvents() override { below_.DoEvents(); }
  Status Start(const CommandLine& command) override { return below_.Start(command); }
  int Shell(const ShellRequest& request) override { return below_.Shell(request); }
  void Log(std::string_view line) override { below_.Log(line); }

 private:
  Desktop& below_;
};

}  // namespace vespro
