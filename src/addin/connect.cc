#include "addin/connect.h"

#include <limits>
#include <utility>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "send/session.h"
#include "settings/user_folder.h"

namespace vespro {
namespace {

// From this version on a word processor is the client's own editor, and the only one.
constexpr double kWordIsTheEditor = 12;

}  // namespace

Connect::Connect(Desktop& desktop, SettingsBackend& backend, const Clock& clock,
                 Randomness& randomness, AddInPlace place)
    : settings_(backend),
      place_(std::move(place)),
      services_{add_in_, settings_, clock, randomness, clicks_} {
  add_in_.desktop = &desktop;
  add_in_.install_folder = place_.install_folder;
  add_in_.engine_file = place_.engine_file;
}

void Connect::IDTExtensibility2_OnConnection(std::shared_ptr<MailClient> application,
                                             std::optional<int> custom, std::string_view prog_id) {
  if (custom == 2 || custom == 3 || application == nullptr) return;
  CleanUp();
  // Each call may end the connection, so what is called is held here as well.
  const std::shared_ptr<MailClient> client = std::move(application);
  add_in_.mail_client = client;
  const auto has_ended = [&] { return add_in_.mail_client != client; };

  const std::shared_ptr<Inspectors> inspectors = client->Inspectors();
  if (has_ended()) return;
  inspectors_ = inspectors;
  if (inspectors != nullptr) {
    inspectors->OnNewInspector([this](const std::shared_ptr<Inspector>& inspector) {
      oAppInspectors_NewInspector(inspector);
    });
  }
  const std::shared_ptr<Explorer> explorer = client->ActiveExplorer();
  if (explorer == nullptr || has_ended()) return;
  explorer_ = explorer;
  explorer->Listen({[this] { oAppExplorer_Activate(); }, [this] { oAppExplorer_Deactivate(); },
                    [this](std::optional<int> type) { oAppExplorer_BeforeFolderSwitch(type); },
                    [this] { oAppExplorer_Close(); }});

  if (!EnsureUserProfile() || has_ended()) return;
  add_in_.prog_id = prog_id;
  const std::shared_ptr<MyAddIn> main_window = MainWindow();
  const std::shared_ptr<CommandBars> bars = explorer->Bars();
  if (const auto bar = bars != nullptr ? bars->Item(kMenuBar) : nullptr) {
    main_window->CreateMenu(*bar);
  }
  main_window->active = true;
  if (has_ended()) main_window->Terminate();
}

// Without a place for it the data folder stays empty.
bool Connect::EnsureUserProfile() {
  const auto& users = place_.users_folder.empty() ? place_.install_folder : place_.users_folder;
  const std::filesystem::path folder = ModUserFolder::Ensure(users, place_.user_name);
  if (ModFiles::EnsureFolder(ModSession::SessionsFolder(folder))) {
    add_in_.data_folder = folder;
    return true;
  }
  add_in_.data_folder.clear();
  TellNoUserProfile(*add_in_.desktop);
  return false;
}

void Connect::oAppExplorer_Activate() {
  MainWindow()->ComesToFront();
  for (const auto& [key, window] : add_in_.windows) window->active = false;
}

void Connect::oAppExplorer_Deactivate() { MainWindow()->active = false; }

void Connect::oAppExplorer_BeforeFolderSwitch(std::optional<int> default_item_type) {
  const std::shared_ptr<Explorer> explorer = explorer_;
  const std::shared_ptr<CommandBars> bars = explorer != nullptr ? explorer->Bars() : nullptr;
  const auto bar = bars != nullptr ? bars->Item(kMenuBar) : nullptr;
  const auto menu =
      bar != nullptr ? bar->Find({.type = ControlType::kPopup, .tag = kModuleName}) : nullptr;
  // A menu that can't be shown or hidden stays as it is; the user has lost nothing.
  if (menu != nullptr) menu->SetVisible(default_item_type == kMailFolder).Ignore();
}

void Connect::oAppExplorer_Close() {
  const std::shared_ptr<MailClient> client = add_in_.mail_client;
  if (client == nullptr) return;
  // A window that closes is still counted. Where the number can't be had the client is ending.
  const Result<int> count = client->ExplorerCount();
  if (!count.ok() || count.value() < 2) CleanUp();
}

void Connect::oAppInspectors_NewInspector(const std::shared_ptr<Inspector>& inspector) {
  const std::shared_ptr<MailClient> client = add_in_.mail_client;  // a call may end the connection
  if (inspector == nullptr || client == nullptr) return;
  const std::shared_ptr<MailItem> item = inspector->CurrentItem();
  if (item == nullptr) return;
  const Result<int> item_class = item->Class();
  if (!item_class.ok() || item_class.value() != kMailClass) return;
  const Result<bool> word_mail = inspector->IsWordMail();
  if (!word_mail.ok()) return;
  if (!word_mail.value() || ModText::LeadingNumber(client->Version()) >= kWordIsTheEditor) {
    AddWindow(inspector);
  }
}

void Connect::AddWindow(const std::shared_ptr<Inspector>& inspector) {
  if (add_in_.windows.count(add_in_.next_key) != 0) {  // the last key there is
    add_in_.desktop->Log("Too many compose windows were opened: close all of them once.");
    return;
  }
  const auto window = std::make_shared<MyAddIn>(services_);
  window->key = add_in_.next_key;
  window->ThisInspector(inspector);
  // It may have been closed, or the client ended, while its controls were made.
  if (window->inspector == nullptr || add_in_.mail_client == nullptr) {
    window->Terminate();
    return;
  }
  // Another one may have been opened meanwhile, and have got the key.
  window->key = add_in_.next_key;
  if (!add_in_.windows.emplace(window->key, window).second) return window->Terminate();
  if (add_in_.next_key < std::numeric_limits<std::int16_t>::max()) ++add_in_.next_key;
}

std::shared_ptr<MyAddIn> Connect::MainWindow() {
  if (add_in_.main_window == nullptr) add_in_.main_window = std::make_shared<MyAddIn>(services_);
  return std::static_pointer_cast<MyAddIn>(add_in_.main_window);
}

// Every release may let the host's events run, so each is taken out of its place first.
void Connect::CleanUp() {
  if (const auto main_window = std::exchange(add_in_.main_window, nullptr)) {
    std::static_pointer_cast<MyAddIn>(main_window)->Terminate();
  }
  if (const auto inspectors = std::exchange(inspectors_, nullptr)) inspectors->OnNewInspector({});
  if (const auto explorer = std::exchange(explorer_, nullptr)) explorer->Listen({});
  const auto windows = std::exchange(add_in_.windows, {});
  // A handler may still hold one; it must not call the host any more.
  for (const auto& [key, window] : windows) std::static_pointer_cast<MyAddIn>(window)->Terminate();
  add_in_.next_key = 0;
  add_in_.mail_client = nullptr;
}

}  // namespace vespro
