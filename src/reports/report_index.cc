#include "reports/report_index.h"

#include <system_error>

#include "base/files.h"
#include "base/text.h"

namespace vespro::ModReportIndex {
namespace {

namespace fs = std::filesystem;

// A title stands in the first line; nobody's line is longer than this for a good reason.
constexpr std::size_t kHeadBytes = 64 * 1024;

}  // namespace

std::vector<fs::path> ReportFolders(const fs::path& sessions_folder) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator entry(sessions_folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path& folder = entry->path();
    if (ModFiles::IsFile(folder / kHtmlReport) && ModFiles::IsFile(folder / kTextReport)) {
      folders.push_back(folder);
    }
  }
  return folders;
}

std::string TitleOf(std::string_view html) {
  const std::string_view field = html.substr(0, html.find_first_of(",\r\n"));
  constexpr std::string_view kOpen = "<title>";
  const std::size_t open = ModText::FindIgnoringAsciiCase(field, kOpen);
  const std::size_t close = ModText::FindIgnoringAsciiCase(field, "</title>");
  if (open == std::string_view::npos || close == std::string_view::npos) return {};
  const std::size_t from = open + kOpen.size();
  return close < from ? std::string() : std::string(field.substr(from, close - from));
}

std::string TitleOfReport(const fs::path& report) {
  Result<File> file = File::Open(report, File::Mode::kRead);
  if (!file.ok()) return {};
  std::string head(kHeadBytes, '\0');
  Result<std::size_t> count = file->Read(head.data(), head.size());
  if (!count.ok()) return {};
  head.resize(count.value());
  return TitleOf(head);
}

}  // namespace vespro::ModReportIndex
