#include "settings/frm_options.h"

#include <string>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/add_in.h"
#include "host/hourglass.h"
#include "host/start_or_tell.h"
#include "host/tell_user.h"
#include "settings/frm_mail_setting.h"
#include "settings/store_trimmed.h"

namespace vespro {
namespace {

enum Tab { kOperatingMode, kSenderInfo, kMailServer, kLogFile };

void SetTooltip(std::string_view tooltip, Label& label, TextBox& box) {
  label.set_tooltip(tooltip);
  box.set_tooltip(tooltip);
}

// The number with which a stored mode begins, as text.
std::string NumberOf(std::string_view stored) {
  constexpr char kNumber[] = "+-.0123456789";
  if (ModText::LeadingNumber(stored) == 0) return "0";
  stored.remove_prefix(stored.find_first_of(kNumber));
  return std::string(stored.substr(0, stored.find_first_not_of(kNumber)));
}

}  // namespace

frmOptions::frmOptions(Desktop& desktop, Settings& settings, OptionsLinks links)
    : Form("frmOptions", "Vespro Options"),
      desktop_(desktop),
      settings_(settings),
      links_(std::move(links)) {
  LabelPersonalisedMode.set_size(52);
  TextBccTo.set_size(40);
  TextNumConnection.set_size(8);
  TextBccTo.set_tooltip("This text will appear in the TO: field");
  OptionPersonalisedMode.set_tooltip("Click here for mail merge");
  CmdMailMerge.set_tooltip("Add custom mail merge words");
  SetTooltip("Email alias", LabelSenderName, TextSenderName);
  SetTooltip("Sender's email address (required)", LabelSenderEmailAddress, TextSenderEmailAddress);
  SetTooltip("Return email address if different to sender's email address", LabelReplyEmailAddress,
             TextReplyEmailAddress);
  TextNumConnection.set_tooltip("Number of simulatneous thread connections to the SMTP server");
  set_default(cmdOK);
  set_cancel(cmdCancel);
  TabOptions.OnClick([this] { TabOptions_Click(); });
  OptionTurboMode.OnClick([this] { OptionTurboMode_Click(); });
  OptionPersonalisedMode.OnClick([this] { OptionPersonalisedMode_Click(); });
  TextBccTo.OnLeave([this] { return TextBccTo_Leave(); });
  TextNumConnection.OnLeave([this] { return TextNumConnection_Leave(); });
  CmdMailMerge.OnClick([this] {
    if (links_.edit_words) links_.edit_words();
  });
  CmdMailSetting.OnClick([this] { CmdMailSetting_Click(); });
  CmdShowLogFiles.OnClick([this] { CmdShowLogFiles_Click(); });
  CmdDeleteTempFiles.OnClick([this] { CmdDeleteTempFiles_Click(); });
  cmdOK.OnClick([this] { cmdOK_Click(); });
  cmdCancel.OnClick([this] { Unload(); });
}

Layout frmOptions::Arrange() {
  const Layout mode = Columns(
      {Rows({ImageMailInBox, Space()}),
       Fill(Rows({OptionTurboMode, Indent(LabelTurboMode), Indent(Rows({LabelBccTo, TextBccTo})),
                  OptionPersonalisedMode, Indent(LabelPersonalisedMode),
                  Indent(Columns({CmdMailMerge, LabelMailMerge, Space()}))}))});
  const Layout sender =
      Columns({Rows({ImageMailInfo, Space()}),
               Fill(Rows({LabelSenderInfo,
                          Grid(2, {LabelSenderName, Fill(TextSenderName), LabelSenderEmailAddress,
                                   Fill(TextSenderEmailAddress), LabelReplyEmailAddress,
                                   Fill(TextReplyEmailAddress)})}))});
  const Layout connection = Grid(
      2,
      {ImageServer, Fill(Columns({LabelServer, CmdMailSetting, Space()})), ImageConnection,
       Fill(Rows({Columns({LabelNumConnection, TextNumConnection, Space()}), LabelConnection}))});
  const Layout log_files = Rows({LabelLogFiles, Columns({CmdShowLogFiles, Space()}),
                                 LabelDeleteLogFiles, Columns({CmdDeleteTempFiles, Space()})});
  return Rows({Inside(TabOptions, Pages({Inside(FrameOpMode, mode), Inside(FrameSenderInfo, sender),
                                         Inside(FrameConnection, connection),
                                         Inside(FrameLogFiles, log_files)})),
               Columns({Space(), cmdOK, cmdCancel})});
}

void frmOptions::Form_Load() {
  TextSenderName.set_text(settings_.Read(setting::kSenderName));
  TextSenderEmailAddress.set_text(settings_.Read(setting::kSenderEmail));
  TextReplyEmailAddress.set_text(settings_.Read(setting::kReplyEmail));
  TextBccTo.set_text(settings_.Read(setting::kCommonToField));
  mode_ = NumberOf(settings_.Read(setting::kBccMode));
  std::string connections = settings_.Read(setting::kNumConnect);
  if (connections.empty()) connections = settings_.Read(setting::kDefaultNumConnect);
  TextNumConnection.set_text(connections);
  max_connections_ = ModText::LeadingInt16(settings_.Read(setting::kMaxNumConnect));
  LabelNumConnection.set_caption("No. of connection(1-" + std::to_string(max_connections_) + "):");
  asked_common_to_ = false;
  TabOptions.Clear();
  for (const char* tab : {"Operating Mode", "Sender Info", "Mail Server", "Log File"}) {
    TabOptions.AddTab(tab);
  }
  TabOptions.Select(kOperatingMode);
  TabOptions_Click();
}

void frmOptions::TabOptions_Click() {
  const int tab = TabOptions.selected();
  if (tab == kOperatingMode) ShowMode();
  FrameOpMode.set_visible(tab == kOperatingMode);
  FrameSenderInfo.set_visible(tab == kSenderInfo);
  FrameConnection.set_visible(tab == kMailServer);
  FrameLogFiles.set_visible(tab == kLogFile);
}

bool frmOptions::IsTurbo() const { return ModText::LeadingNumber(mode_) >= 1; }

// The number stays as it is stored until the user chooses.
void frmOptions::ShowMode() {
  const bool turbo = IsTurbo();
  (turbo ? OptionTurboMode : OptionPersonalisedMode).Choose();
  EnableCommonTo(turbo);
}

void frmOptions::EnableCommonTo(bool enabled) {
  TextBccTo.set_enabled(enabled);
  TextBccTo.set_background(enabled ? Background::kWindow : Background::kSilver);
}

void frmOptions::OptionPersonalisedMode_Click() {
  mode_ = "0";
  EnableCommonTo(false);
}

void frmOptions::OptionTurboMode_Click() {
  EnableCommonTo(true);
  mode_ = std::to_string(ModText::LeadingInt16(settings_.Read(setting::kDefaultBccMode)));
}

Leave frmOptions::TextBccTo_Leave() {
  if (asked_common_to_ || !TextBccTo.text().empty() || !IsTurbo()) return Leave::kAllow;
  const MessageAnswer wanted = desktop_.MsgBox(
      "Missing common To: field for operation in Turbo Mode.  Do you want to set this value?",
      MessageIcon::kQuestion, MessageButtons::kYesNo, kModuleName);
  if (wanted == MessageAnswer::kYes) return Leave::kKeepFocus;
  asked_common_to_ = true;
  return Leave::kAllow;
}

Leave frmOptions::TextNumConnection_Leave() {
  const Status valid = CheckConnections(TextNumConnection.text(), max_connections_);
  if (valid.ok()) return Leave::kAllow;
  TellUser(desktop_, valid.text(), MessageIcon::kExclamation);
  return Leave::kKeepFocus;
}

void frmOptions::CmdMailSetting_Click() {
  frmMailSetting(desktop_, links_.account_file).ShowModal(desktop_);
}

void frmOptions::CmdShowLogFiles_Click() {
  ModFiles::EnsureFolder(links_.log_folder);
  std::filesystem::path native = links_.log_folder;
  const std::string folder = ModFiles::ToUtf8(native.make_preferred());
  const std::string explorer = desktop_.FolderViewer();
  StartOrTell(desktop_, {explorer, {folder}, explorer + " \"" + folder + "\""});
}

Status frmOptions::DeleteLogFiles() {
  const Hourglass hourglass(desktop_);
  return links_.delete_log_files ? links_.delete_log_files() : Status();
}

void frmOptions::CmdDeleteTempFiles_Click() {
  const Status deleted = DeleteLogFiles();
  if (deleted.ok()) {
    TellUser(desktop_, "Log files deleted", MessageIcon::kInformation);
    return;
  }
  TellUser(desktop_,
           deleted.text() + "\r\nMake sure " + kModuleName + ", or explorer is not running.",
           MessageIcon::kExclamation);
}

void frmOptions::cmdOK_Click() {
  StoreTrimmed(desktop_, settings_, setting::kSenderName, TextSenderName.text());
  StoreTrimmed(desktop_, settings_, setting::kSenderEmail, TextSenderEmailAddress.text());
  StoreTrimmed(desktop_, settings_, setting::kReplyEmail, TextReplyEmailAddress.text());
  StoreTrimmed(desktop_, settings_, setting::kCommonToField, TextBccTo.text());
  StoreTrimmed(desktop_, settings_, setting::kBccMode, mode_);
  StoreTrimmed(desktop_, settings_, setting::kNumConnect, TextNumConnection.text());
  if (links_.settings_changed) links_.settings_changed();
  Unload();
}

}  // namespace vespro
