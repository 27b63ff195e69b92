#include "dialogs/samples.h"

#include <memory>
#include <utility>

#include "addin/frm_attach_file.h"
#include "base/files.h"
#include "engine_window/frm_progress.h"
#include "host/add_in.h"
#include "host/desktop_over.h"
#include "host/memory_client.h"
#include "host/memory_host.h"
#include "merge/frm_mail_merge.h"
#include "recipients/dlg_map_csv.h"
#include "recipients/dlg_select_file.h"
#include "recipients/frm_list_box.h"
#include "recipients/frm_wait.h"
#include "settings/file_backend.h"
#include "settings/frm_mail_setting.h"
#include "settings/frm_options.h"
#include "settings/settings.h"
#include "support/frm_about.h"
#include "support/frm_diagnostics.h"
#include "support/testing.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

// Somebody who always picks the same file.
class PickingDesktop final : public DesktopOver {
 public:
  PickingDesktop(Desktop& below, std::string picked)
      : DesktopOver(below), picked_(std::move(picked)) {}
  std::string PickFile(const FileQuestion&) override { return picked_; }

 private:
  std::string picked_;
};

// Settings of the sample's own, of which `MailList` is set.
struct SampleSettings {
  SampleSettings(const fs::path& work_folder, const std::string& mail_list)
      : backend(work_folder / "settings") {
    settings.Write(setting::kMailList, mail_list).Ignore();  // the picture would show it
  }
  FileBackend backend;
  Settings settings{backend};
};

void ShowSelectFile(const fs::path& work_folder, Desktop& desktop, bool advanced) {
  SampleSettings sample(work_folder, "C:\\Lists\\club.csv,CSV,1,HEADER");
  PickingDesktop picking(desktop, "C:\\Lists\\has left.txt");
  DlgSelectFile dialog(picking, sample.settings, {});
  dialog.Show(desktop);
  if (advanced) {
    dialog.Do(UserAction::Click(dialog.CmdAdvance));
    dialog.Do(UserAction::Click(dialog.CmdAdvancedFileSel));
  }
  dialog.ShowModal(desktop);
}

void ShowMapping(const fs::path& work_folder, Desktop& desktop, bool confirm_only) {
  const fs::path list = work_folder / "club.csv";
  ModFiles::ReplaceWith(list,
                        "Name,\"E-mail\",City\r\n"
                        "Ann,ann@example.org,Rome\r\n")
      .Ignore();  // the picture would show it
  SampleSettings sample(work_folder, ModFiles::ToUtf8(list) + ",CSV");
  DlgMapCSV dialog(desktop, sample.settings);
  dialog.set_confirm_only(confirm_only);
  dialog.ShowModal(desktop);
}

void ShowDuplicates(Desktop& desktop, int count) {
  ModRecipients::Loaded loaded;
  for (int i = 1; i <= count; ++i) {
    loaded.duplicate_addresses += "reader" + std::to_string(i) + "@example.org\n";
    ++loaded.duplicates;
  }
  FrmListBox dialog;
  dialog.Fill(loaded);
  dialog.ShowModal(desktop);
}

void ShowDiagnostics(const fs::path& work_folder, Desktop& desktop) {
  SampleSettings sample(work_folder, "C:\\Lists\\club.csv,CSV,1,HEADER");
  SampleFacts system;
  AddIn add_in;
  add_in.desktop = &desktop;
  add_in.mail_client = std::make_shared<MemoryHost>();
  add_in.install_folder = "C:\\Program Files\\Vespro";
  add_in.data_folder = "C:\\Program Files\\Vespro\\ann";
  frmDiagnostics(add_in, sample.settings, system).ShowModal(desktop);
}

void ShowAttachments(const fs::path& work_folder, Desktop& desktop) {
  SampleSettings sample(work_folder, "");
  MemoryClient client;
  client.OpenItem("mail", {}).Ignore();  // the picture would show it
  AddIn add_in;
  add_in.desktop = &desktop;
  add_in.mail_client = client.Application();
  const auto window = std::make_shared<ComposeWindow>();
  window->inspector = add_in.mail_client->ActiveInspector();
  window->attachment_list = ",/home/ann/Terms.pdf,/home/ann/Prices 2026.pdf";
  add_in.windows[0] = window;
  frmAttachFile(add_in, sample.settings).ShowModal(desktop);
}

void AddRecipients(std::vector<DialogSample>& samples, const fs::path& work_folder) {
  const auto add = [&](std::string name, std::string explanation,
                       std::function<void(Desktop&)> show) {
    samples.push_back({std::move(name), std::move(show), std::move(explanation)});
  };
  add("DlgSelectFile", "Who gets the mail: a text file with an address per line, or a table.",
      [=](Desktop& desktop) { ShowSelectFile(work_folder, desktop, false); });
  add("DlgSelectFile-advanced",
      "A second file is added to the first, or its addresses are taken out of it.",
      [=](Desktop& desktop) { ShowSelectFile(work_folder, desktop, true); });
  add("DlgMapCSV", "Where in a table the addresses stand; the answer is proposed.",
      [=](Desktop& desktop) { ShowMapping(work_folder, desktop, false); });
  add("DlgMapCSV-confirm", "The same before addresses are taken out of a table.",
      [=](Desktop& desktop) { ShowMapping(work_folder, desktop, true); });
  add("FrmListBox", "Addresses that stood in the list more than once.",
      [](Desktop& desktop) { ShowDuplicates(desktop, 3); });
  add("FrmListBox-many", "Of very many the first are shown; all are removed.",
      [](Desktop& desktop) { ShowDuplicates(desktop, 40000); });
  add("frmWait", "While a list is read and rewritten.",
      [](Desktop& desktop) { frmWait().ShowModal(desktop); });
}

void ShowAccounts(const fs::path& work_folder, Desktop& desktop) {
  const fs::path accounts = work_folder / "accounts";
  ModFiles::ReplaceWith(accounts,
                        "\"smtp.example.org\",\"587\",\"YW5u\",\"c2VjcmV0\"\r\n"
                        "\"relay.example.net\",\"25\",\"\",\"\"\r\n"
                        "\"relay.example.net\",\"25\",\"\",\"\"\r\n")
      .Ignore();  // the picture would show it
  frmMailSetting dialog(desktop, accounts);
  dialog.Show(desktop);
  dialog.Do(UserAction::Select(dialog.ListServer, 1));
  dialog.ShowModal(desktop);
}

void ShowWords(const fs::path& work_folder, Desktop& desktop) {
  SampleSettings sample(work_folder, "");
  sample.settings.Write(setting::kCustomWord1, "Kind regards").Ignore();  // seen in the picture
  frmMailMerge(desktop, sample.settings, {}).ShowModal(desktop);
}

void ShowOptions(const fs::path& work_folder, Desktop& desktop, int tab) {
  SampleSettings sample(work_folder, "");
  for (const auto& [name, value] : {std::pair{setting::kBccMode, "100"},
                                    {setting::kCommonToField, "All members"},
                                    {setting::kSenderName, "The Club"},
                                    {setting::kSenderEmail, "club@example.org"},
                                    {setting::kNumConnect, "5"},
                                    {setting::kMaxNumConnect, "50"}}) {
    sample.settings.Write(name, value).Ignore();  // seen in the picture
  }
  frmOptions dialog(desktop, sample.settings, {});
  dialog.Show(desktop);
  if (tab > 0) dialog.Do(UserAction::Select(dialog.TabOptions, tab));
  dialog.ShowModal(desktop);
}

void ShowRun(Desktop& desktop, const engine::RunLook& look, bool stopped) {
  engine::frmProgress dialog(desktop, {[] {}, [] {}});
  dialog.Set(look);
  dialog.Show(desktop);
  if (stopped) dialog.Do(UserAction::Click(dialog.CmdStop));
  dialog.ShowModal(desktop);
}

void AddRun(std::vector<DialogSample>& samples) {
  const auto add = [&](std::string name, std::string explanation, engine::RunLook look,
                       bool stopped = false) {
    samples.push_back({std::move(name), [=](Desktop& desktop) { ShowRun(desktop, look, stopped); },
                       std::move(explanation)});
  };
  add("frmProgress", "A mailing begins; the engine's window, where it has no console.", {});
  engine::RunLook look;
  look.subject = "The club's winter programme, and what else is new in the year to come";
  look.list = "club.csv";
  look.counts = "1204 sent, 3 refused, 0 failed, 793 left, 14.2/s, 0:56 to go";
  add("frmProgress-sending", "It is on its way.", look);
  look.goes_on = "14:05";
  add("frmProgress-waiting", "A limit is reached, so it waits.", look);
  look.goes_on.clear();
  add("frmProgress-stopping", "Somebody has pressed Stop.", look, true);
  look.report = "report.html";
  look.counts = "1209 sent, 3 refused, 0 failed, 0 skipped, 0 unknown";
  look.said = {
      "interrupted, 788 left; go on with: \"C:\\Vespro\\vespro-cli.exe\" run "
      "C:\\Vespro\\ann\\session\\2611250905001"};
  look.exit = engine::kExitInterrupted;
  add("frmProgress-stopped", "It has stopped, and can go on.", look);
  look.counts = "2000 sent, 0 refused, 0 failed, 0 skipped, 0 unknown";
  look.said.clear();
  look.exit = engine::kExitAllSent;
  add("frmProgress-finished", "Everybody has it.", look);
  look.counts = "0 sent, 0 refused, 0 failed, 0 skipped, 0 unknown";
  look.said = {
      "stopped (no server takes the login: smtp.example.org: 535 5.7.8 wrong name or password; "
      "correct "
      "it with 'vespro accounts remove' and 'vespro accounts add'), 2000 left; go on with: "
      "\"C:\\Vespro\\vespro-cli.exe\" run C:\\Vespro\\ann\\session\\2611250905001"};
  look.exit = engine::kExitLogin;
  add("frmProgress-failed", "It could not be done.", look);
}

}  // namespace

std::vector<DialogSample> DialogSamples(const fs::path& work_folder) {
  std::vector<DialogSample> samples;
  AddRecipients(samples, work_folder);
  samples.push_back({"frmMailMerge", [=](Desktop& desktop) { ShowWords(work_folder, desktop); },
                     "The user's own words for the list of merge words."});
  samples.push_back({"frmMailSetting",
                     [=](Desktop& desktop) { ShowAccounts(work_folder, desktop); },
                     "The mail servers; a row that is clicked comes back into the boxes."});
  const std::pair<const char*, const char*> tabs[] = {
      {"frmOptions", "How mail is sent: one message to many, or one to each."},
      {"frmOptions-sender", "Who sends it."},
      {"frmOptions-server", "By which servers, and over how many connections at once."},
      {"frmOptions-log", "What is kept of it."}};
  for (int tab = 0; tab < 4; ++tab) {
    samples.push_back({tabs[tab].first,
                       [=](Desktop& desktop) { ShowOptions(work_folder, desktop, tab); },
                       tabs[tab].second});
  }
  samples.push_back({"frmDiagnostics",
                     [=](Desktop& desktop) { ShowDiagnostics(work_folder, desktop); },
                     "What the makers need to know to help."});
  samples.push_back({"frmAbout", [](Desktop& desktop) { frmAbout(desktop).ShowModal(desktop); },
                     "Which version it is, and who answers questions."});
  samples.push_back({"frmAttachFile",
                     [=](Desktop& desktop) { ShowAttachments(work_folder, desktop); },
                     "Files that go with one mail, besides what the mail client attaches."});
  AddRun(samples);
  return samples;
}

}  // namespace vespro
