#include "reports/report_index.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace vespro::ModReportIndex {
namespace {

namespace fs = std::filesystem;

// A title is in the first line; nobody's line is longer than this for a good reason.
constexpr std::size_t kHeadBytes = 64 * 1024;
constexpr std::size_t kBlockBytes = 1024;
constexpr char kFieldEnds[] = ",\r\n";

}  // namespace

std::vector<fs::path> ReportFolders(const fs::path& sessions_folder) {
  std::vector<fs::path> folders;
  for (fs::path& folder : ModFiles::PathsIn(sessions_folder)) {
    if (ModFiles::EntryAt(folder / kHtmlReport).is_file &&
        ModFiles::EntryAt(folder / kTextReport).is_file && ModFiles::EntryAt(folder).is_folder) {
      folders.push_back(std::move(folder));
    }
  }
  return folders;
}

std::string TitleOf(std::string_view html) {
  const std::string_view field = html.substr(0, html.find_first_of(kFieldEnds));
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
  std::string head;
  char block[kBlockBytes];
  while (head.size() < kHeadBytes) {
    Result<std::size_t> count = file->Read(block, sizeof block);
    if (!count.ok()) return {};
    const std::string_view read(block, count.value());
    head += read;
    if (read.empty() || read.find_first_of(kFieldEnds) != std::string_view::npos) break;
  }
  return TitleOf(head);
}

}  // namespace vespro::ModReportIndex
