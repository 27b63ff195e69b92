#include "support/diagnostic_report.h"

#include <memory>

#include "base/code_page.h"
#include "base/files.h"
#include "base/text.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "settings/account_file.h"
#include "support/product.h"

namespace vespro::ModDiagnostics {
namespace {

constexpr char kLineEnd[] = "\r\n";
// Outlook's own number for the version that is called 2002.
constexpr double kOutlook2002 = 10;

class Lines {
 public:
  void Add(std::string_view label, std::string_view value = {}) {
    if (!text_.empty()) text_ += kLineEnd;
    text_.append(label).append(value);
  }
  std::string& text() { return text_; }

 private:
  std::string text_;
};

std::string ClientName(const MailClient& client) {
  std::string name = client.Name();
  if (name != "Outlook") return name;
  return ModText::LeadingNumber(client.Version()) < kOutlook2002 ? "Outlook 2000" : "Outlook 2002";
}

std::string Number(const Result<int>& count) {
  return count.ok() ? std::to_string(count.value()) : std::string();
}

// Other people's names may hold anything.
std::string Line(const std::string& name) { return ModText::Printable(name, name.size()); }

// All of it, as it is, without the blanks and line ends around.
std::string AccountsText(const AddIn& add_in) {
  const Result<std::string> bytes = ModFiles::ReadAll(AccountFileIn(add_in.data_folder));
  if (!bytes.ok()) return {};
  const std::string text = ModCodePage::ToUtf8(bytes.value());
  constexpr char kAround[] = " \r\n";
  const std::size_t begin = text.find_first_not_of(kAround);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kAround) + 1 - begin);
}

void AddVersions(Lines& lines, AddIn& add_in, SystemFacts& system) {
  lines.Add("Vespro Version: ", product::kVersion);
  lines.Add("Vespro.exe File Version: ",
            system.FileVersion(add_in.install_folder / add_in.engine_file));
  const std::shared_ptr<MailClient> client = add_in.mail_client;  // it may end below
  lines.Add(client != nullptr ? ClientName(*client) : std::string(),
            " Version: " + (client != nullptr ? client->Version() : std::string()));
  const SystemFacts::Browser browser = system.BrowserFacts();
  lines.Add("Internet Explorer Version: ", browser.version + " Build " + browser.build);
  lines.Add("MDAC Version: ", system.DataAccessVersion());
  const OsRecord os = system.Os();
  lines.Add("OS: ", os.name);
  lines.Add("OS Version: ",
            os.version + ", Build No: " + os.build + ", Service Pack: " + os.service_pack);
}

void AddWindows(Lines& lines, AddIn& add_in) {
  const std::shared_ptr<MailClient> client = add_in.mail_client;  // it may end below
  const std::shared_ptr<Inspectors> inspectors = client != nullptr ? client->Inspectors() : nullptr;
  lines.Add("Explorer Count: ", client != nullptr ? Number(client->ExplorerCount()) : "");
  lines.Add("Inspector Count: ", inspectors != nullptr ? Number(inspectors->Count()) : "");
  lines.Add("Vespro Inspector Count: ", std::to_string(add_in.windows.size()));
  lines.Add("Vespro Install Directory: ", ModFiles::ToUtf8(add_in.install_folder));
  lines.Add("Vespro User Directory: ", ModFiles::ToUtf8(add_in.data_folder));
}

void AddSettings(Lines& lines, const Settings& settings) {
  const struct {
    const char* label;
    std::string_view name;
  } rows[] = {
      {"Mode: ", setting::kBccMode},
      {"No. of Connections: ", setting::kNumConnect},
      {"Distribution File: ", setting::kMailList},
      {"Report Per Page: ", setting::kReportPerPage},
      {"To: ", setting::kCommonToField},
      {"Sender Email: ", setting::kSenderEmail},
      {"Sender Name: ", setting::kSenderName},
  };
  for (const auto& row : rows) lines.Add(row.label, settings.Read(row.name));
}

}  // namespace

std::string Report(AddIn& add_in, const Settings& settings, SystemFacts& system,
                   Accounts accounts) {
  Lines lines;
  AddVersions(lines, add_in, system);
  add_in.desktop->DoEvents();
  AddWindows(lines, add_in);
  AddSettings(lines, settings);
  lines.Add("Accounts: ", accounts == Accounts::kIncluded ? AccountsText(add_in) : "(left out)");
  add_in.desktop->DoEvents();
  lines.Add("");
  lines.Add("Installed Applications:");
  for (const std::string& name : system.InstalledPrograms()) lines.Add(Line(name));
  add_in.desktop->DoEvents();
  lines.Add("");
  lines.Add("Running Applications: ");
  for (const std::string& name : system.RunningPrograms()) {
    if (ModText::CountCharacters(ModText::Trim(name)) > 1) lines.Add(Line(name));
  }
  return std::move(lines.text());
}

std::string MailBody(std::string_view report) {
  std::string body = "Enter your problem description: ";
  for (int line = 0; line < 10; ++line) body += kLineEnd;
  return body.append("*** Diagnostic Information ***").append(kLineEnd).append(report);
}

}  // namespace vespro::ModDiagnostics
