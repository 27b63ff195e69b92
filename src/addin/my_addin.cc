#include "addin/my_addin.h"

#include <utility>

#include "addin/frm_attach_file.h"
#include "base/files.h"
#include "host/start_or_tell.h"
#include "host/tell_user.h"
#include "merge/frm_mail_merge.h"
#include "merge/merge_list.h"
#include "recipients/dlg_select_file.h"
#include "reports/report_commands.h"
#include "send/log_files.h"
#include "send/send_command.h"
#include "send/session.h"
#include "settings/account_file.h"
#include "settings/frm_mail_setting.h"
#include "settings/frm_options.h"
#include "support/frm_about.h"
#include "support/frm_diagnostics.h"

namespace vespro {
namespace {

constexpr char kMenuCaption[] = "&Vespro";

template <class T>
std::shared_ptr<T> As(const std::shared_ptr<CommandBarControl>& control) {
  return std::dynamic_pointer_cast<T>(control);
}

std::shared_ptr<CommandBarControl> Added(CommandBar& bar, ControlType type) {
  Result<std::shared_ptr<CommandBarControl>> added = bar.Add(type);
  return added.ok() ? std::move(added).value() : nullptr;
}

// What of these a host refuses, the control does without.
void Name(CommandBarControl& control, const std::string& caption, const std::string& tag,
          const std::string& action) {
  control.SetCaption(caption).Ignore();
  control.SetTag(tag).Ignore();
  control.SetOnAction(action).Ignore();
}

}  // namespace

void TellNoUserProfile(Desktop& desktop) {
  TellUser(desktop, "Cannot create user profile", MessageIcon::kCritical);
}

// In the order in which people see them. Each one's tag is its own: one for all would have a click
// run all handlers.
std::span<const Command> MyAddIn::Commands() {
  using enum Command::Place;
  static constexpr Command kAll[] = {
      {.name = "CmdDistFile",
       .caption = "Distribution &File",
       .button = &MyAddIn::CmdDistFile,
       .click = &MyAddIn::CmdDistFile_Click},
      {.name = "CmdAttachFile",
       .caption = "&Insert Attachment",
       .in_main_window = false,
       .tooltip = "HTML mail can attach file here\r\nThe usual Outlook Insert File will not work",
       .picture = "PAPERCLIP",
       .button = &MyAddIn::CmdAttachFile,
       .click = &MyAddIn::CmdAttachFile_Click},
      {.name = "CmdOptions",
       .caption = "&Options ...",
       .button = &MyAddIn::CmdOptions,
       .click = &MyAddIn::CmdOptions_Click},
      {.name = "ReportsMenu", .caption = "&Delivery Reports", .in_compose_window = false},
      {.name = "CmdViewReport",
       .caption = "&View && Refresh",
       .place = kReportsMenu,
       .in_compose_window = false,
       .button = &MyAddIn::CmdViewReport,
       .click = &MyAddIn::CmdViewReport_Click},
      {.name = "CmdPurgeReport",
       .caption = "&Purge All",
       .place = kReportsMenu,
       .in_compose_window = false,
       .button = &MyAddIn::CmdPurgeReport,
       .click = &MyAddIn::CmdPurgeReport_Click},
      {.name = "CmdLimitReport",
       .caption = "&Entries per report page",
       .place = kReportsMenu,
       .in_compose_window = false,
       .button = &MyAddIn::CmdLimitReport,
       .click = &MyAddIn::CmdLimitReport_Click},
      {.name = "CmdHelp",
       .caption = "&Help File",
       .button = &MyAddIn::CmdHelp,
       .click = &MyAddIn::CmdHelp_Click},
      {.name = "CmdSupportHelp",
       .caption = "Tech &Support ...",
       .button = &MyAddIn::CmdSupportHelp,
       .click = &MyAddIn::CmdSupportHelp_Click},
      {.name = "CmdAbout",
       .caption = "&About",
       .button = &MyAddIn::CmdAbout,
       .click = &MyAddIn::CmdAbout_Click},
      {.name = "CmdPaperClip",
       .caption = "Vespro Attach",
       .place = kBar,
       .in_main_window = false,
       .tooltip = "Vespro attachments for HTML email",
       .picture = "PAPERCLIP",
       .style = ButtonStyle::kIcon,
       .begins_group = true,
       .button = &MyAddIn::CmdPaperClip,
       .click = &MyAddIn::CmdPaperClip_Click},
      {.name = "CmdSend",
       .caption = "Send Vespro",
       .place = kBar,
       .in_main_window = false,
       .picture = "MAILBMP",
       .picture_kind = PictureKind::kBitmap,
       .style = ButtonStyle::kIconAndCaption,
       .button = &MyAddIn::CmdSend,
       .click = &MyAddIn::CmdSend_Click},
  };
  return kAll;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the window is held
void MyAddIn::ThisInspector(std::shared_ptr<Inspector> window) {
  inspector = window;
  window->Listen({Holding(&MyAddIn::MyInspector_Activate),
                  Holding(&MyAddIn::MyInspector_Deactivate), Holding(&MyAddIn::MyInspector_Close)});
  if (!services_.ribbons.given()) CreateBars(*window);
  if (services_.ribbons.given()) UseRibbon();
  // The window may have been closed meanwhile.
  if (inspector == nullptr) Terminate();
}

void MyAddIn::CreateBars(Inspector& window) {
  const std::shared_ptr<CommandBars> bars = window.Bars();
  if (bars == nullptr) return;
  if (const auto bar = bars->Item(kMenuBar)) CreateMenu(*bar);
  const std::shared_ptr<CommandBar> bar = bars->Item(kStandardBar);
  if (bar == nullptr) return;
  for (const Command& command : Commands()) {
    if (command.place == Command::Place::kBar) CreateButton(*bar, command);
  }
  CreateMergeList(*bar);
}

void MyAddIn::UseRibbon() {
  const auto menu = menu_;
  LeaveBars();
  // It has the same commands. Where it stays the user sees them twice.
  if (menu != nullptr) menu->Delete().Ignore();
  if (inspector == nullptr) return;
  const auto box = std::make_shared<RibbonComboBox>([&ribbons = services_.ribbons] {
    ribbons.InvalidateControl(RibbonKind::kComposeWindow, kRibbonMergeList);
  });
  ribbon_merge_list_ = box;
  merge_list = box;
  ModMailMerge::LoadMergeList(services_.settings, *box);
}

void MyAddIn::CreateMenu(CommandBar& bar) {
  std::shared_ptr<CommandBarPopup> menu = As<CommandBarPopup>(bar.FindByCaption(kMenuCaption));
  const bool is_new = menu == nullptr;
  if (is_new) {
    menu = As<CommandBarPopup>(Added(bar, ControlType::kPopup));
    if (menu == nullptr) return;
    Name(*menu, kMenuCaption, kModuleName, Action());
  }
  menu_ = menu;
  const std::shared_ptr<CommandBar> entries = menu->Bar();
  std::shared_ptr<CommandBar> reports;
  if (entries == nullptr) return;
  for (const Command& command : Commands()) {
    if (command.place == Command::Place::kBar) continue;
    if (command.IsMenu()) {
      reports = CreateReportsMenu(*entries, command, is_new);
      continue;
    }
    const auto& parent = command.place == Command::Place::kReportsMenu ? reports : entries;
    if (parent != nullptr) CreateEntry(*parent, command, is_new);
  }
  FitMenu();
}

// Added to a new menu, or found in one that was there.
std::shared_ptr<CommandBar> MyAddIn::CreateReportsMenu(CommandBar& menu, const Command& command,
                                                       bool is_new) {
  if (HasEnded()) return nullptr;
  std::shared_ptr<CommandBarPopup> reports;
  if (is_new) {
    reports = As<CommandBarPopup>(Added(menu, ControlType::kPopup));
    if (reports != nullptr) Name(*reports, command.caption, command.caption, Action());
  } else {
    reports = As<CommandBarPopup>(menu.Find({.type = ControlType::kPopup, .tag = command.caption}));
  }
  reports_menu_ = reports;
  return reports != nullptr ? reports->Bar() : nullptr;
}

void MyAddIn::CreateEntry(CommandBar& menu, const Command& command, bool is_new) {
  if (HasEnded()) return;
  std::shared_ptr<CommandBarButton> entry;
  if (is_new) {
    entry = As<CommandBarButton>(Added(menu, ControlType::kButton));
    if (entry != nullptr) Name(*entry, command.caption, command.caption, Action());
  } else {
    entry = As<CommandBarButton>(menu.Find({.type = ControlType::kButton, .tag = command.caption}));
  }
  if (entry != nullptr) OnClick(entry, command);
  this->*command.button = entry;
  if (is_new && entry != nullptr && command.HasPicture()) SetFace(entry, command);
}

// Reports are reached from the main window, attachments from compose windows.
void MyAddIn::FitMenu() {
  if (HasEnded()) return;
  const auto fit = [&](const std::shared_ptr<CommandBarControl>& control, const Command& command) {
    // What is in a hidden menu needs no hiding.
    const bool is_inside = command.place == Command::Place::kReportsMenu;
    if (control == nullptr) return;
    if (is_inside || command.IsIn(inspector != nullptr)) {
      control->SetEnabled(true).Ignore();
      if (command.HasTooltip()) control->SetTooltipText(command.tooltip).Ignore();
    } else {
      control->SetVisible(false).Ignore();
    }
  };
  for (const Command& command : Commands()) {
    if (command.IsMenu()) fit(reports_menu_, command);
  }
  // Those first that are not in every window's menu.
  for (const bool own : {true, false}) {
    for (const Command& command : Commands()) {
      if (command.IsMenu() || command.place == Command::Place::kBar) continue;
      const bool is_own = command.place == Command::Place::kMenu && !command.IsEverywhere();
      if (is_own == own) fit(this->*command.button, command);
    }
  }
}

void MyAddIn::CreateButton(CommandBar& bar, const Command& command) {
  const std::shared_ptr<CommandBarButton> button = GetOrAddButton(bar, command);
  if (button == nullptr) return;
  this->*command.button = button;
  button->SetStyle(command.style).Ignore();
  if (command.HasTooltip()) button->SetTooltipText(command.tooltip).Ignore();
  if (command.style != ButtonStyle::kIcon) button->SetCaption(command.caption).Ignore();
  SetFace(button, command);
  OnClick(button, command);
}

std::shared_ptr<CommandBarButton> MyAddIn::GetOrAddButton(CommandBar& bar, const Command& command) {
  if (HasEnded() || inspector == nullptr) return nullptr;
  if (auto found =
          As<CommandBarButton>(bar.Find({.type = ControlType::kButton, .tag = command.caption}))) {
    return found;
  }
  auto button = As<CommandBarButton>(Added(bar, ControlType::kButton));
  if (button == nullptr) return nullptr;
  button->SetCaption(command.caption).Ignore();
  button->SetBeginGroup(command.begins_group).Ignore();
  button->SetTag(command.caption).Ignore();
  button->SetOnAction(Action()).Ignore();
  return button;
}

void MyAddIn::CreateMergeList(CommandBar& bar) {
  constexpr const char* kCaption = ModMailMerge::kMergeListCaption;
  if (HasEnded() || inspector == nullptr) return;
  auto box = As<CommandBarComboBox>(bar.Find({.type = ControlType::kComboBox, .tag = kCaption}));
  if (box == nullptr) {
    box = As<CommandBarComboBox>(Added(bar, ControlType::kComboBox));
    if (box == nullptr) return;
    Name(*box, kCaption, kCaption, Action());
  }
  merge_list = box;
  ModMailMerge::LoadMergeList(services_.settings, *box);
  box->OnChange(WhenActive(kCaption, &MyAddIn::CmdMergeDataList_Change));
}

// The way goes through the clipboard, which loses what the user had on it. A face that can't be set
// is left out; the button has its caption or tooltip. The window may go meanwhile, so the caller
// holds the button.
void MyAddIn::SetFace(const std::shared_ptr<CommandBarButton>& button, const Command& command) {
  if (HasEnded()) return;
  desktop().ClearClipboard().Ignore();
  if (desktop().SetClipboardPicture(command.picture, command.picture_kind).ok()) {
    button->PasteFace().Ignore();
  }
  desktop().ClearClipboard().Ignore();
}

void MyAddIn::Terminate() {
  active = false;
  const auto window = std::exchange(inspector, nullptr);
  if (window != nullptr) window->Listen({});
  ribbon_merge_list_ = nullptr;
  LeaveBars();
}

void MyAddIn::LeaveBars() {
  // The host may have dropped them with the window.
  if (const auto button = std::exchange(CmdSend, nullptr)) {
    button->OnClick({});
    button->Delete().Ignore();
  }
  if (const auto box = std::exchange(merge_list, nullptr)) {
    box->OnChange({});
    box->Delete().Ignore();
  }
  for (const Command& command : Commands()) {
    if (command.IsMenu() || command.place == Command::Place::kBar) continue;
    if (const auto entry = std::exchange(this->*command.button, nullptr)) entry->OnClick({});
  }
  if (const auto button = std::exchange(CmdPaperClip, nullptr)) {
    button->OnClick({});
    button->Delete().Ignore();
  }
  reports_menu_ = nullptr;
  menu_ = nullptr;
}

std::function<void()> MyAddIn::Holding(Handler handler) {
  return [weak = weak_from_this(), handler] {
    if (const auto self = weak.lock()) (self.get()->*handler)();
  };
}

std::function<void()> MyAddIn::WhenActive(const char* tag, Handler handler) {
  services_.clicks.Join(tag, clicks_had_);
  return [weak = weak_from_this(), tag, handler] {
    const auto self = weak.lock();
    if (self == nullptr) return;
    Clicks& clicks = self->services_.clicks;
    if (!clicks.IsFor(tag, self->clicks_had_, self->active)) return;
    const Clicks::Running running(clicks);
    (self.get()->*handler)();
  };
}

void MyAddIn::OnClick(const std::shared_ptr<CommandBarButton>& button, const Command& command) {
  button->OnClick(WhenActive(command.caption, command.click));
}

void MyAddIn::ComesToFront() {
  // Not every host tells the others that they are behind.
  const auto main_window = services_.add_in.main_window;
  if (main_window != nullptr && main_window.get() != this) main_window->active = false;
  for (const auto& [other_key, window] : services_.add_in.windows) {
    if (window.get() != this) window->active = false;
  }
  active = true;
  services_.clicks.ComesToFront(clicks_had_);
}

bool MyAddIn::RibbonClick(std::string_view name) {
  for (const Command& command : Commands()) {
    if (command.IsMenu() || name != command.name || !command.IsIn(inspector != nullptr)) continue;
    RunFromRibbon(command.click);
    return true;
  }
  return false;
}

bool MyAddIn::RibbonChange(std::string_view text) {
  if (ribbon_merge_list_ == nullptr) return false;
  ribbon_merge_list_->SetChosen(text);
  RunFromRibbon(&MyAddIn::CmdMergeDataList_Change);
  return true;
}

// Whose control is used is in front, whatever has been told.
void MyAddIn::RunFromRibbon(Handler handler) {
  ComesToFront();
  const Clicks::Running running(services_.clicks);
  (this->*handler)();
}

bool MyAddIn::HasUserProfile() {
  if (!services_.add_in.data_folder.empty()) return true;
  TellNoUserProfile(desktop());
  return false;
}

void MyAddIn::MyInspector_Activate() { ComesToFront(); }

void MyAddIn::MyInspector_Deactivate() { active = false; }

void MyAddIn::MyInspector_Close() {
  services_.add_in.RemoveWindow(key, *this);
  // While the window is still there: a handler may hold this object for longer.
  Terminate();
}

void MyAddIn::ShowDlgSelectFile() {
  DlgSelectFile dialog(desktop(), services_.settings, [this] { ReloadMergeLists(); });
  dialog.ShowModal(desktop());
}

void MyAddIn::ReloadMergeLists() {
  ModMailMerge::ReloadMergeLists(services_.add_in, services_.settings);
}

void MyAddIn::CmdDistFile_Click() {
  if (HasUserProfile()) ShowDlgSelectFile();
}

void MyAddIn::ShowfrmMailSetting() {
  frmMailSetting(desktop(), AccountFileIn(services_.add_in.data_folder)).ShowModal(desktop());
}

void MyAddIn::CmdAttachFile_Click() {
  if (HasUserProfile()) frmAttachFile(services_.add_in, services_.settings).ShowModal(desktop());
}

void MyAddIn::CmdPaperClip_Click() { CmdAttachFile_Click(); }

void MyAddIn::CmdOptions_Click() {
  if (!HasUserProfile()) return;
  const std::filesystem::path& data_folder = services_.add_in.data_folder;
  OptionsLinks links;
  links.account_file = AccountFileIn(data_folder);
  links.log_folder = ModSession::SessionsFolder(data_folder);
  links.settings_changed = [this] { ReloadMergeLists(); };
  links.edit_words = [this] {
    frmMailMerge(desktop(), services_.settings, [this] {
      ReloadMergeLists();
    }).ShowModal(desktop());
  };
  links.delete_log_files = [&data_folder] { return ModLogFiles::DeleteAll(data_folder); };
  frmOptions(desktop(), services_.settings, std::move(links)).ShowModal(desktop());
}

void MyAddIn::CmdViewReport_Click() {
  if (HasUserProfile()) ModReports::ViewReports(services_.add_in);
}

void MyAddIn::CmdPurgeReport_Click() {
  if (HasUserProfile()) ModReports::PurgeReports(services_.add_in);
}

void MyAddIn::CmdLimitReport_Click() {
  if (HasUserProfile()) ModReports::LimitPerPage(services_.add_in, services_.settings);
}

void MyAddIn::CmdSupportHelp_Click() {
  if (!HasUserProfile()) return;
  const std::unique_ptr<SystemFacts> system = ThisSystem();
  frmDiagnostics dialog(services_.add_in, services_.settings, *system);
  dialog.ShowModal(desktop());
}

void MyAddIn::CmdAbout_Click() {
  frmAbout dialog(desktop());
  dialog.ShowModal(desktop());
}

void MyAddIn::CmdHelp_Click() {
  const std::string file = ModFiles::ToUtf8(services_.add_in.install_folder / kHelpFile);
  StartOrTell(desktop(), {"hh.exe", {file}, "hh.exe " + file});
}

void MyAddIn::CmdSend_Click() {
  if (!HasUserProfile()) return;
  SendContext context{services_.add_in,     *this, services_.settings, *this, services_.clock,
                      services_.randomness, {}};
  const Status sent = ModSend::CmdSend_Click(context);
  if (sent.ok()) return;
  TellUser(desktop(), sent.text(), MessageIcon::kCritical);
}

void MyAddIn::CmdMergeDataList_Change() {
  // Both may go while the text is put in.
  const auto box = merge_list;
  const auto window = inspector;
  if (box == nullptr || window == nullptr) return;
  ModMailMerge::InsertChosen(*box, *window, desktop(), services_.clock);
}

}  // namespace vespro
