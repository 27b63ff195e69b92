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
// And from this one on all windows have ribbons, in our form.
constexpr double kHasRibbons = 14;

}  // namespace

Connect::Connect(Desktop& desktop, SettingsBackend& backend, const Clock& clock,
                 Randomness& randomness, AddInPlace place)
    : settings_(backend), place_(std::move(place)), services_{add_in_,    settings_, clock,
                                                              randomness, clicks_,   ribbons_} {
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
  misses_menu_ = expects_ribbons_ && !ribbons_.given() && HasRibbonVersion();
  if (!ribbons_.given() && !misses_menu_) CreateMainMenu(*explorer, *main_window);
  shows_mail_folder_ = true;
  if (ribbons_.given()) {
    main_window->UseRibbon();
    ribbons_.InvalidateControl(RibbonKind::kMainWindow, kRibbonGroup);
  }
  main_window->active = true;
  if (has_ended()) main_window->Terminate();
}

void Connect::CreateMainMenu(Explorer& explorer, MyAddIn& main_window) {
  const std::shared_ptr<CommandBars> bars = explorer.Bars();
  if (const auto bar = bars != nullptr ? bars->Item(kMenuBar) : nullptr) {
    main_window.CreateMenu(*bar);
  }
}

void Connect::CreateMissedMenu() {
  const std::shared_ptr<Explorer> explorer = explorer_;
  if (!std::exchange(misses_menu_, false) || explorer == nullptr) return;
  const std::shared_ptr<MyAddIn> main_window = MainWindow();
  CreateMainMenu(*explorer, *main_window);
  // It may have asked, or ended, meanwhile.
  if (ribbons_.given()) main_window->UseRibbon();
  if (add_in_.mail_client == nullptr) main_window->Terminate();
}

bool Connect::HasRibbonVersion() {
  const std::shared_ptr<MailClient> client = add_in_.mail_client;
  return client != nullptr && ModText::LeadingNumber(client->Version()) >= kHasRibbons;
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
  CreateMissedMenu();
  MainWindow()->ComesToFront();
}

void Connect::oAppExplorer_Deactivate() { MainWindow()->active = false; }

void Connect::oAppExplorer_BeforeFolderSwitch(std::optional<int> default_item_type) {
  CreateMissedMenu();
  shows_mail_folder_ = default_item_type == kMailFolder;
  if (ribbons_.given()) {
    return ribbons_.InvalidateControl(RibbonKind::kMainWindow, kRibbonGroup);
  }
  const std::shared_ptr<Explorer> explorer = explorer_;
  const std::shared_ptr<CommandBars> bars = explorer != nullptr ? explorer->Bars() : nullptr;
  const auto bar = bars != nullptr ? bars->Item(kMenuBar) : nullptr;
  const auto menu =
      bar != nullptr ? bar->Find({.type = ControlType::kPopup, .tag = kModuleName}) : nullptr;
  // A menu that can't be shown or hidden stays as it is; the user has lost nothing.
  if (menu != nullptr) menu->SetVisible(shows_mail_folder_).Ignore();
}

void Connect::oAppExplorer_Close() {
  const std::shared_ptr<MailClient> client = add_in_.mail_client;
  if (client == nullptr) return;
  // A window that closes is still counted. Where the number can't be had the client is ending.
  const Result<int> count = client->ExplorerCount();
  if (count.ok() && count.value() >= 2) return;
  // Mails may still be open. Nothing of ours is to be seen in them any more.
  const std::vector<std::shared_ptr<Ribbon>> ribbons = ribbons_.Release();
  CleanUp();
  for (const auto& ribbon : ribbons) ribbon->InvalidateControl(kRibbonGroup).Ignore();
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
  // It may have been asked about the window already.
  ribbons_.InvalidateControl(RibbonKind::kComposeWindow, kRibbonGroup);
}

bool Connect::TakesRibbons(RibbonKind kind) {
  // Those before this version have no ribbons in their main windows, so they do not ask for one.
  if (add_in_.mail_client == nullptr) return kind == RibbonKind::kMainWindow;
  return HasRibbonVersion();
}

std::string Connect::GetCustomUI(std::string_view ribbon_id) {
  const std::optional<RibbonKind> kind = RibbonKindOf(ribbon_id);
  if (!kind) return {};
  if (!ribbons_.given()) {
    if (!TakesRibbons(*kind)) return {};
    ribbons_.Give();
    misses_menu_ = false;
    std::vector<std::shared_ptr<ComposeWindow>> with_bars{add_in_.main_window};
    for (const auto& [key, window] : add_in_.windows) with_bars.push_back(window);
    for (const auto& window : with_bars) {
      if (window != nullptr) std::static_pointer_cast<MyAddIn>(window)->UseRibbon();
    }
  }
  return RibbonXml(*kind, MyAddIn::Commands());
}

std::shared_ptr<MyAddIn> Connect::OnRibbonOf(const Inspector* window) {
  if (add_in_.mail_client == nullptr || !ribbons_.given()) return nullptr;
  if (window == nullptr) return shows_mail_folder_ ? MainWindow() : nullptr;
  for (const auto& [key, followed] : add_in_.windows) {
    const auto& inspector = followed->inspector;
    if (inspector != nullptr && inspector->Identity() == window->Identity()) {
      return std::static_pointer_cast<MyAddIn>(followed);
    }
  }
  return nullptr;
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
  shows_mail_folder_ = misses_menu_ = false;
}

}  // namespace vespro
