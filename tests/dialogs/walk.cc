#include "dialogs/walk.h"

#include <istream>
#include <map>
#include <ostream>
#include <utility>

#include "base/text.h"
#include "merge/frm_mail_merge.h"
#include "recipients/dlg_map_csv.h"
#include "recipients/dlg_select_file.h"
#include "send/log_files.h"
#include "send/session.h"
#include "settings/frm_mail_setting.h"
#include "settings/frm_options.h"
#include "settings/settings.h"
#include "support/frm_about.h"
#include "support/frm_diagnostics.h"

namespace vespro {
namespace {

Status Press(FormDriver& driver, const std::string& name) {
  static const std::map<std::string, Key> kKeys = {
      {"enter", Key::kEnter},     {"escape", Key::kEscape},    {"tab", Key::kTab},
      {"backtab", Key::kBackTab}, {"space", Key::kSpace},      {"delete", Key::kDelete},
      {"up", Key::kUp},           {"down", Key::kDown},        {"left", Key::kLeft},
      {"right", Key::kRight},     {"ctrl+tab", Key::kNextPage}};
  if (name.size() == 5 && name.starts_with("alt+")) return driver.Press(Key::kAccess, name[4]);
  const auto key = kKeys.find(name);
  if (key != kKeys.end()) return driver.Press(key->second);
  return Status(Code::kUsage, "there is no key '" + name + "'");
}

Status Select(FormDriver& driver, const std::string& control, const std::string& row) {
  Result<ControlLook> look = driver.Look(control);
  if (!look.ok()) return look.status();
  for (std::size_t i = 0; i < look->rows.size(); ++i) {
    if (look->rows[i].text == row) return driver.Select(control, static_cast<int>(i));
  }
  std::uint64_t number = 0;
  if (ModText::ParseUnsigned(row, look->rows.size(), &number) && number > 0) {
    return driver.Select(control, static_cast<int>(number) - 1);
  }
  return Status(Code::kUsage, control + " has no row '" + row + "'");
}

Status Show(FormDriver& driver, const std::string& control, std::ostream& out) {
  if (control.empty()) {
    out << driver.Look();
    return {};
  }
  Result<ControlLook> look = driver.Look(control);
  if (!look.ok()) return look.status();
  out << control << ": '" << (look->text.empty() ? look->caption : look->text) << "'"
      << (look->visible ? "" : ", hidden") << (look->enabled ? "" : ", disabled")
      << (look->checked ? ", checked" : "") << (look->focused ? ", has the focus" : "") << "\n";
  if (!look->tooltip.empty()) out << "  tooltip: " << look->tooltip << "\n";
  for (std::size_t i = 0; i < look->rows.size(); ++i) {
    out << (static_cast<int>(i) == look->selected ? "  * " : "    ") << look->rows[i].text << "\n";
  }
  return {};
}

}  // namespace

std::string TakeWord(std::string_view& line) {
  line = ModText::Trim(line);
  const bool quoted = line.starts_with('"');
  if (quoted) line.remove_prefix(1);
  const std::size_t end = std::min(line.find(quoted ? '"' : ' '), line.size());
  std::string word(line.substr(0, end));
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

Status DoDialogStep(FormDriver& driver, std::string_view line, std::ostream& out) {
  const std::string verb = TakeWord(line);
  if (verb == "pick") return driver.PickFile(ModText::Trim(line));
  if (verb == "close") return driver.CloseByFrame();
  const std::string control = TakeWord(line);
  if (verb == "look") return Show(driver, control, out);
  if (verb == "press") return Press(driver, control);
  if (verb == "focus") return driver.Focus(control);
  if (verb == "click" || verb == "answer") return driver.Click(control);
  if (verb == "type") return driver.Type(control, TakeWord(line));
  if (verb == "select") return Select(driver, control, TakeWord(line));
  return Status(Code::kUsage, "there is no step '" + verb + "'");
}

namespace {

void ShowWords(Desktop& desktop, Home& home) {
  Settings settings(*home.backend);
  frmMailMerge(desktop, settings, {}).ShowModal(desktop);
}

void ShowOptions(Desktop& desktop, Home& home) {
  Settings settings(*home.backend);
  OptionsLinks links;
  links.account_file = home.AccountFile();
  links.log_folder = ModSession::SessionsFolder(home.data_folder);
  links.edit_words = [&] { ShowWords(desktop, home); };
  links.delete_log_files = [&] { return ModLogFiles::DeleteAll(home.data_folder); };
  frmOptions(desktop, settings, std::move(links)).ShowModal(desktop);
}

}  // namespace

std::vector<HomeDialog> HomeDialogs() {
  return {
      {"DlgSelectFile",
       [](Desktop& desktop, Home& home) {
         Settings settings(*home.backend);
         DlgSelectFile(desktop, settings, {}).ShowModal(desktop);
       }},
      {"DlgMapCSV",
       [](Desktop& desktop, Home& home) {
         Settings settings(*home.backend);
         DlgMapCSV(desktop, settings).ShowModal(desktop);
       }},
      {"frmMailMerge", ShowWords},
      {"frmMailSetting",
       [](Desktop& desktop, Home& home) {
         frmMailSetting(desktop, home.AccountFile()).ShowModal(desktop);
       }},
      {"frmOptions", ShowOptions},
      {"frmDiagnostics",
       [](Desktop& desktop, Home& home) {
         Settings settings(*home.backend);
         AddIn add_in = InstalledAddIn(home);
         add_in.desktop = &desktop;
         const std::unique_ptr<SystemFacts> system = ThisSystem();
         frmDiagnostics(add_in, settings, *system).ShowModal(desktop);
       }},
      {"frmAbout", [](Desktop& desktop, Home&) { frmAbout(desktop).ShowModal(desktop); }},
  };
}

int WalkThrough(FormDriver& driver, const std::string& name, const std::string& folder,
                std::istream& steps, std::ostream& out) {
  std::string names;
  const HomeDialog* chosen = nullptr;
  const std::vector<HomeDialog> dialogs = HomeDialogs();
  for (const HomeDialog& dialog : dialogs) {
    if (dialog.name == name) chosen = &dialog;
    names += " " + dialog.name;
  }
  if (chosen == nullptr) {
    out << "there is no dialog '" << name << "'; there are:" << names << "\n";
    return 2;
  }
  Result<Home> home = OpenHome(folder);
  if (!home.ok()) {
    out << home.status().text() << "\n";
    return 2;
  }
  driver.Start([&] { chosen->show(driver.desktop(), home.value()); });
  int code = 0;
  for (std::string line; std::getline(steps, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (ModText::Trim(line).empty() || line.front() == '#') continue;
    out << "> " << line << "\n";
    const Status done = DoDialogStep(driver, line, out);
    if (done.ok()) continue;
    out << "cannot: " << done.text() << "\n";
    code = 1;
  }
  out << (driver.Ended() ? "closed\n" : "still open\n");
  driver.End();
  return code;
}

}  // namespace vespro
