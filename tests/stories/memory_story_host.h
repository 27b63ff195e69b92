// tests/stories/memory_story_host.h - a story's mail client in memory, with dialogs as text.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "addin/connect.h"
#include "base/clock.h"
#include "base/random.h"
#include "forms/scripted.h"
#include "host/desktop_over.h"
#include "host/memory_client.h"
#include "settings/file_backend.h"
#include "stories/memory_ribbons.h"
#include "stories/story_host.h"

namespace vespro {

// Stands still, so that several things happen within one second. Who waits for the next second
// looks at it again and again: after ten looks it goes on by a second with each.
class StoryClock final : public Clock {
 public:
  std::chrono::system_clock::time_point Now() const override;
  void BeginStep() { looks_ = 0; }

 private:
  mutable int looks_ = 0;
  // 1 January 2026, 12:00:00 UTC.
  mutable std::chrono::system_clock::time_point now_ =
      std::chrono::system_clock::from_time_t(1767268800);
};

// The driver's desktop, with what is outside of it in memory; each call is noted.
class StoryDesktop final : public DesktopOver {
 public:
  StoryDesktop(ScriptedDesktop& below, MemoryClient& client)
      : DesktopOver(below), client_(client) {}

  std::vector<std::string> started;
  bool no_engine = false;

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override;
  std::string InputBox(std::string_view prompt, std::string_view title,
                       std::string_view initial) override;
  std::string PickFile(const FileQuestion& question) override;
  Status ClearClipboard() override;
  Status SetClipboardText(std::string_view text) override;
  Status SetClipboardPicture(std::string_view resource, PictureKind kind) override;
  Status Start(const CommandLine& command) override;
  int Shell(const ShellRequest& request) override;
  void Log(std::string_view line) override;

 private:
  void Note(const char* name, std::string_view details);
  Status Did(const char* name, const std::string& details);

  MemoryClient& client_;
};

class MemoryStoryHost final : public StoryHost {
 public:
  MemoryStoryHost();
  ~MemoryStoryHost() override;

  MemoryClient& client() { return client_; }
  const MemoryRibbons& ribbons() const { return ribbons_; }
  // The add-in is told before its connection that ribbons exist.
  bool announces_ribbons = true;
  // The last add-in that was loaded is asked for ribbons now.
  void AskForRibbons() { ribbons_.Attach(*connections_.back()); }

  std::filesystem::path Home() override { return root_ / "home"; }
  std::filesystem::path DataFolder() override { return Home() / "app" / "user"; }
  SettingsBackend& Backend() override { return backend_; }
  FormDriver& Driver() override { return driver_; }
  Status SetVersion(std::string_view version) override;
  Status Lack(std::string_view bar) override;
  Status Without(std::string_view what) override;
  Status Fail(std::string_view call, int n) override;
  Status Connect(int mode) override;
  Status Disconnect() override;
  Status OpenExplorer(const std::string& name) override;
  Status OpenItem(const std::string& name, const StoryItem& item) override;
  Status Write(const std::string& name, MailPart part, std::string_view text) override;
  Status Attach(const std::string& name, const std::filesystem::path& file) override;
  Status Activate(const std::string& name) override;
  Status CloseWindow(const std::string& name) override;
  Status SwitchFolder(std::optional<int> item_type) override;
  Status Command(std::string_view caption) override;
  Status Choose(std::string_view entry) override;
  Status Quit() override;
  Result<std::vector<StoryControl>> Controls(const std::string& name) override;
  Result<StoryMail> Mail(const std::string& name) override;
  std::vector<StoryMail> Sent() override;
  Status SetClipboard(std::string_view text) override;
  std::string Clipboard() override;
  std::vector<std::string> Held() override;
  std::vector<std::string> TakeCalls() override;
  std::vector<std::string> TakeStarted() override;

 private:
  Status OnBarsOr(Status done, const std::function<Status(RibbonView&)>& on_ribbon);
  // On the program's thread: at once, or below the dialog that is open.
  Status Run(std::function<Status()> action);

  const std::filesystem::path root_;
  FileBackend backend_{root_ / "settings"};
  StoryClock clock_;
  SystemRandomness randomness_;
  MemoryClient client_;
  MemoryRibbons ribbons_{client_};
  bool asks_for_ribbons_ = true;
  ScriptedDriver driver_;
  StoryDesktop desktop_{driver_.desktop(), client_};
  // Each connection; the last one may be on.
  std::vector<std::unique_ptr<vespro::Connect>> connections_;
};

}  // namespace vespro
