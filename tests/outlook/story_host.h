// outlook/story_host.h - a story's mail client that is the stand-in, with the add-in's DLL in it:
// the steps go through COM, the dialogs are windows. Programs are not started but noted. Calls are
// named as in memory, as far as there is one of Outlook's for it.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlook/client.h"
#include "outlook/installed.h"
#include "outlook/loading.h"
#include "outlook/outlook_driver.h"
#include "stories/story_host.h"

namespace vespro::standin {

class OutlookStoryHost final : public StoryHost {
 public:
  OutlookStoryHost();
  ~OutlookStoryHost() override;

  void set_asks_for_ribbons(Client::Asks asks) { client_->asks_for_ribbons = asks; }
  // The add-in's calls, as the ledger has them, with {home} for the story's folder.
  std::vector<std::string> Calls();
  // Why there is no add-in to be had, if there is none.
  const Status& status() const { return installed_.status(); }

  std::filesystem::path Home() override { return root_ / "home"; }
  std::filesystem::path DataFolder() override { return installed_.data_folder(); }
  SettingsBackend& Backend() override { return installed_.backend(); }
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
  // On Outlook's thread. Ok when a dialog is open in it.
  Status Run(std::function<Status(Client&)> action);
  Status OnItem(const std::string& name, std::function<Status(Item&)> action);

  const std::filesystem::path root_;
  Installed installed_;
  OutlookDriver driver_;
  std::unique_ptr<Client> client_;
  std::unique_ptr<LoadedAddIn> loaded_;
};

}  // namespace vespro::standin
