#include "reports/session_files.h"

#include <algorithm>
#include <string_view>

#include "base/files.h"
#include "reports/report_index.h"
#include "send/session.h"

namespace vespro::ModSessionFiles {
namespace {

namespace fs = std::filesystem;

std::string JobFile() { return ModFiles::ToUtf8(ModSession::JobFileIn({})); }

bool IsPage(std::string_view name) { return name.starts_with("report") && name.ends_with(".html"); }

bool IsResult(std::string_view name) {
  return IsPage(name) || name == ModReportIndex::kTextReport || name == "failed.csv" ||
         name == "engine.log" || name.starts_with("go-on-sending.") || name == "journal" ||
         name.starts_with("journal.");
}

std::vector<std::string> NamesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const fs::path& path : ModFiles::PathsIn(folder)) {
    names.push_back(ModFiles::ToUtf8(path.filename()));
  }
  std::sort(names.begin(), names.end());
  // The job first, whatever comes next.
  std::stable_partition(names.begin(), names.end(),
                        [](const std::string& name) { return name == JobFile(); });
  return names;
}

}  // namespace

Result<Cleaned> RemoveResults(const fs::path& session_folder) {
  Cleaned cleaned;
  Status first;
  for (const std::string& name : NamesIn(session_folder)) {
    const fs::path path = session_folder / ModFiles::FromUtf8(name);
    const bool goes = (name == JobFile() || IsResult(name)) && !ModFiles::EntryAt(path).is_folder;
    if (!goes) {
      cleaned.left.push_back(name);
      continue;
    }
    const Status removed = ModFiles::Remove(path);
    if (removed.ok()) {
      cleaned.removed.push_back(name);
    } else if (name == JobFile()) {
      return removed;
    } else if (first.ok()) {
      first = removed;
    }
  }
  if (!first.ok()) return first;
  return cleaned;
}

}  // namespace vespro::ModSessionFiles
