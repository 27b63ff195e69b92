#include "reports/report_commands.h"

#include <string>
#include <vector>

#include "base/text.h"
#include "host/desktop.h"
#include "host/hourglass.h"
#include "host/tell_user.h"
#include "reports/index_page.h"
#include "reports/report_index.h"
#include "reports/show_page.h"
#include "send/session.h"

namespace vespro::ModReports {
namespace {

namespace fs = std::filesystem;

// That there are no reports is no failure to the user.
void ShowError(AddIn& add_in, const Status& status) {
  const bool none = status.code() == Code::kNotFound;
  TellUser(*add_in.desktop, status.text(),
           none ? MessageIcon::kInformation : MessageIcon::kCritical);
}

fs::path IndexFile(const AddIn& add_in) { return add_in.data_folder / "index.html"; }

void Show(AddIn& add_in, const fs::path& page) {
  const Status shown = ShowPage(add_in, page);
  if (!shown.ok()) TellUser(*add_in.desktop, shown.text(), MessageIcon::kCritical);
}

// kNotFound when there are none.
Result<std::vector<fs::path>> ListFolders(const AddIn& add_in) {
  std::vector<fs::path> folders =
      ModReportIndex::ReportFolders(ModSession::SessionsFolder(add_in.data_folder));
  if (folders.empty()) return Status(Code::kNotFound, "No reports available");
  return folders;
}

Status RemoveReports(const std::vector<fs::path>& folders, const Remover& remove) {
  Status first;
  for (const fs::path& folder : folders) {
    for (const char* report : {ModReportIndex::kHtmlReport, ModReportIndex::kTextReport}) {
      const Status removed = remove(folder / report);
      if (first.ok()) first = removed;
    }
  }
  if (first.ok()) return first;
  return Status(first.code(),
                first.text() + ". Close the program that shows the report and purge again.",
                first.native());
}

// The page after a purge that left something. A session that lost one of its reports is not
// listed, so there may be nothing to list.
Status WriteWhatIsLeft(AddIn& add_in) {
  Status written = MakeIndex(add_in).status();
  if (written.code() != Code::kNotFound) return written;
  return ModIndexPage::WriteEmpty(IndexFile(add_in));
}

}  // namespace

Result<fs::path> MakeIndex(AddIn& add_in) {
  const Result<std::vector<fs::path>> folders = ListFolders(add_in);
  if (!folders.ok()) return folders.status();
  const fs::path page = IndexFile(add_in);
  const Status written = ModIndexPage::Write(page, folders.value(), add_in.install_folder,
                                             [&] { add_in.desktop->DoEvents(); });
  if (!written.ok()) return written;
  return page;
}

void ViewReports(AddIn& add_in) {
  const Hourglass hourglass(*add_in.desktop);
  const Result<fs::path> page = MakeIndex(add_in);
  if (!page.ok()) return ShowError(add_in, page.status());
  Show(add_in, page.value());
}

Purged Purge(AddIn& add_in, const Remover& remove) {
  constexpr std::string_view kQuestion =
      "Are you sure you want to delete all HTML and TEXT reports?";
  if (add_in.desktop->MsgBox(kQuestion, MessageIcon::kQuestion, MessageButtons::kYesNo,
                             kModuleName) != MessageAnswer::kYes) {
    return {Status(Code::kCancelled, "nothing was deleted")};
  }
  const Result<std::vector<fs::path>> folders = ListFolders(add_in);
  if (!folders.ok()) {
    ShowError(add_in, folders.status());
    return {folders.status()};
  }
  if (Status removed = RemoveReports(folders.value(), remove); !removed.ok()) {
    ShowError(add_in, removed);
    // Where the page can't be written either, enough was said.
    return {removed, WriteWhatIsLeft(add_in).ok()};
  }
  TellUser(*add_in.desktop, "Reports purged", MessageIcon::kInformation);
  const Status written = ModIndexPage::WriteEmpty(IndexFile(add_in));
  if (!written.ok()) ShowError(add_in, written);
  return {written, written.ok()};
}

void PurgeReports(AddIn& add_in, const Remover& remove) {
  if (Purge(add_in, remove).has_page) Show(add_in, IndexFile(add_in));
}

Status SetPerPage(Settings& settings, std::string_view answer) {
  const std::string most = std::to_string(kMaxPerPage);
  const double value = ModText::LeadingNumber(answer);
  if (value >= kMaxPerPage + 1) {
    return Status(Code::kUsage, "Cannot display more than  " + most + " status per page");
  }
  if (value < 1) return Status(Code::kUsage, "Cannot set value to  " + std::string(answer));
  const std::string number = std::to_string(static_cast<int>(value));
  const Status stored = settings.Write(setting::kReportPerPage, number);
  if (stored.ok()) return {};
  return Status(stored.code(), "Cannot set value to  " + number + ": " + stored.text(),
                stored.native());
}

void LimitPerPage(AddIn& add_in, Settings& settings) {
  const std::string name = kModuleName;
  const std::string answer = add_in.desktop->InputBox(
      "Enter the number of delivery status shown per page.\r\nMaximum allow: " +
          std::to_string(kMaxPerPage) +
          "\r\n\r\nThis setting will be effective the next time you run " + name,
      name + " - No. of entries per report page",
      ModText::Trim(settings.Read(setting::kReportPerPage)));
  if (answer.empty()) return;
  const Status stored = SetPerPage(settings, answer);
  if (!stored.ok()) TellUser(*add_in.desktop, stored.text(), MessageIcon::kCritical);
}

}  // namespace vespro::ModReports
