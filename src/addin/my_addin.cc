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
constexpr char kReportsCaption[] = "&Delivery Reports";
constexpr char kPaperClipCaption[] = "Vespro Attach";
constexpr char kSendCaption[] = "Send Vespro";

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

void MyAddIn::ThisInspector(std::shared_ptr<Inspector> window) {
  inspector = window;
  window->Listen({Holding(&MyAddIn::MyInspector_Activate),
                  Holding(&MyAddIn::MyInspector_Deactivate), Holding(&MyAddIn::MyInspector_Close)});
  const std::shared_ptr<CommandBars> bars = window->Bars();
  if (bars == nullptr) return;
  if (const auto bar = bars->Item(kMenuBar)) CreateMenu(*bar);
  const std::shared_ptr<CommandBar> bar = bars->Item(kStandardBar);
  if (bar == nullptr) return;

  if (const auto button = GetOrAddButton(*bar, kPaperClipCaption, true)) {
    CmdPaperClip = button;
    button->SetStyle(ButtonStyle::kIcon).Ignore();
    button->SetTooltipText("Vespro attachments for HTML email").Ignore();
    SetFace(button, "PAPERCLIP", PictureKind::kIcon);
    OnClick(button, kPaperClipCaption, &MyAddIn::CmdPaperClip_Click);
  }
  if (const auto button = GetOrAddButton(*bar, kSendCaption, false)) {
    CmdSend = button;
    button->SetStyle(ButtonStyle::kIconAndCaption).Ignore();
    button->SetCaption(kSendCaption).Ignore();
    SetFace(button, "MAILBMP", PictureKind::kBitmap);
    OnClick(button, kSendCaption, &MyAddIn::CmdSend_Click);
  }
  CreateMergeList(*bar);
  // The window may have been closed meanwhile.
  if (inspector == nullptr) Terminate();
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
  if (entries == nullptr) return;
  CmdDistFile = MenuEntry(*entries, "Distribution &File", is_new, &MyAddIn::CmdDistFile_Click);
  CmdAttachFile = MenuEntry(*entries, "&Insert Attachment", is_new, &MyAddIn::CmdAttachFile_Click);
  if (is_new && CmdAttachFile != nullptr) SetFace(CmdAttachFile, "PAPERCLIP", PictureKind::kIcon);
  CmdOptions = MenuEntry(*entries, "&Options ...", is_new, &MyAddIn::CmdOptions_Click);
  CreateReportsMenu(*entries, is_new);
  CmdHelp = MenuEntry(*entries, "&Help File", is_new, &MyAddIn::CmdHelp_Click);
  CmdSupportHelp = MenuEntry(*entries, "Tech &Support ...", is_new, &MyAddIn::CmdSupportHelp_Click);
  CmdAbout = MenuEntry(*entries, "&About", is_new, &MyAddIn::CmdAbout_Click);
  FitMenu();
}

void MyAddIn::CreateReportsMenu(CommandBar& menu, bool is_new) {
  if (HasEnded()) return;
  std::shared_ptr<CommandBarPopup> reports;
  if (is_new) {
    reports = As<CommandBarPopup>(Added(menu, ControlType::kPopup));
    if (reports != nullptr) Name(*reports, kReportsCaption, kReportsCaption, Action());
  } else {
    reports = As<CommandBarPopup>(menu.Find({.type = ControlType::kPopup, .tag = kReportsCaption}));
  }
  reports_menu_ = reports;
  const std::shared_ptr<CommandBar> entries = reports != nullptr ? reports->Bar() : nullptr;
  if (entries == nullptr) return;
  CmdViewReport = MenuEntry(*entries, "&View && Refresh", is_new, &MyAddIn::CmdViewReport_Click);
  CmdPurgeReport = MenuEntry(*entries, "&Purge All", is_new, &MyAddIn::CmdPurgeReport_Click);
  CmdLimitReport =
      MenuEntry(*entries, "&Entries per report page", is_new, &MyAddIn::CmdLimitReport_Click);
}

// Each entry's tag is its own: one for all would have a click run all handlers.
std::shared_ptr<CommandBarButton> MyAddIn::MenuEntry(CommandBar& menu, const char* caption,
                                                     bool is_new, Handler handler) {
  if (HasEnded()) return nullptr;
  std::shared_ptr<CommandBarButton> entry;
  if (is_new) {
    entry = As<CommandBarButton>(Added(menu, ControlType::kButton));
    if (entry != nullptr) Name(*entry, caption, caption, Action());
  } else {
    entry = As<CommandBarButton>(menu.Find({.type = ControlType::kButton, .tag = caption}));
  }
  if (entry != nullptr) OnClick(entry, caption, handler);
  return entry;
}

// Reports are reached from the main window, attachments from compose windows.
void MyAddIn::FitMenu() {
  if (HasEnded()) return;
  const bool composes = inspector != nullptr;
  if (const auto reports = reports_menu_) {
    if (composes) {
      reports->SetVisible(false).Ignore();
    } else {
      reports->SetEnabled(true).Ignore();
    }
  }
  if (const auto attach = CmdAttachFile) {
    if (composes) {
      attach->SetEnabled(true).Ignore();
      attach
          ->SetTooltipText(
              "HTML mail can attach file here\r\nThe usual Outlook Insert File will not work")
          .Ignore();
    } else {
      attach->SetVisible(false).Ignore();
    }
  }
  const auto others = {CmdDistFile,    CmdOptions, CmdViewReport,  CmdPurgeReport,
                       CmdLimitReport, CmdHelp,    CmdSupportHelp, CmdAbout};
  for (const std::shared_ptr<CommandBarButton>& entry : others) {
    if (entry != nullptr) entry->SetEnabled(true).Ignore();
  }
}

std::shared_ptr<CommandBarButton> MyAddIn::GetOrAddButton(CommandBar& bar, const char* caption,
                                                          bool begins_group) {
  if (HasEnded() || inspector == nullptr) return nullptr;
  if (auto found = As<CommandBarButton>(bar.Find({.type = ControlType::kButton, .tag = caption}))) {
    return found;
  }
  const auto button = As<CommandBarButton>(Added(bar, ControlType::kButton));
  if (button == nullptr) return nullptr;
  button->SetCaption(caption).Ignore();
  button->SetBeginGroup(begins_group).Ignore();
  button->SetTag(caption).Ignore();
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
// is left out; the button has its caption or tooltip. The window may go meanwhile, so the button is
// held here.
void MyAddIn::SetFace(std::shared_ptr<CommandBarButton> button, std::string_view resource,
                      PictureKind kind) {
  if (HasEnded()) return;
  desktop().ClearClipboard().Ignore();
  if (desktop().SetClipboardPicture(resource, kind).ok()) button->PasteFace().Ignore();
  desktop().ClearClipboard().Ignore();
}

void MyAddIn::Terminate() {
  active = false;
  const auto window = std::exchange(inspector, nullptr);
  if (window != nullptr) window->Listen({});
  // The host may have dropped them with the window.
  if (const auto button = std::exchange(CmdSend, nullptr)) {
    button->OnClick({});
    button->Delete().Ignore();
  }
  if (const auto box = std::exchange(merge_list, nullptr)) {
    box->OnChange({});
    box->Delete().Ignore();
  }
  for (auto* entry : {&CmdDistFile, &CmdAttachFile, &CmdOptions, &CmdViewReport, &CmdPurgeReport,
                      &CmdLimitReport, &CmdHelp, &CmdSupportHelp, &CmdAbout}) {
    if (const auto button = std::exchange(*entry, nullptr)) button->OnClick({});
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

void MyAddIn::OnClick(const std::shared_ptr<CommandBarButton>& button, const char* tag,
                      Handler handler) {
  button->OnClick(WhenActive(tag, handler));
}

void MyAddIn::ComesToFront() {
  active = true;
  services_.clicks.ComesToFront(clicks_had_);
}

bool MyAddIn::HasUserProfile() {
  if (!services_.add_in.data_folder.empty()) return true;
  TellNoUserProfile(desktop());
  return false;
}

void MyAddIn::MyInspector_Activate() {
  ComesToFront();
  // Not every host tells the main window that it is behind.
  if (services_.add_in.main_window != nullptr) services_.add_in.main_window->active = false;
  for (const auto& [other_key, window] : services_.add_in.windows) {
    if (window.get() != this) window->active = false;
  }
}

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
