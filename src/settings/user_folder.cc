#include "settings/user_folder.h"

#include "base/files.h"

namespace vespro::ModUserFolder {

std::filesystem::path Ensure(const std::filesystem::path& base, std::string_view user_name) {
  constexpr char kUnknown[] = "unknown";
  // A name is one component and no way out of the folder.
  if (!user_name.empty() && ModFiles::LastName(user_name) == user_name) {
    std::filesystem::path folder = base / ModFiles::FromUtf8(user_name);
    if (ModFiles::EnsureFolder(folder)) return folder;
  }
  std::filesystem::path folder = base / kUnknown;
  ModFiles::EnsureFolder(folder);
  return folder;
}

}  // namespace vespro::ModUserFolder
