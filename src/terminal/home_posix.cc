#include "base/files.h"
#include "settings/file_backend.h"
#include "terminal/home.h"

namespace vespro::platform {
namespace {

namespace fs = std::filesystem;

// XDG Base Directory: an unset, empty or relative variable means the default below the home folder.
fs::path XdgFolder(const char* variable, const char* below_home) {
  const fs::path folder = ModFiles::FromUtf8(ModFiles::Environment(variable));
  const fs::path base = folder.is_absolute()
                            ? folder
                            : ModFiles::FromUtf8(ModFiles::Environment("HOME")) / below_home;
  return base / "vespro";
}

}  // namespace

Result<Home> UsersHome() {
  Home home;
  home.data_folder = XdgFolder("XDG_DATA_HOME", ".local/share");
  const fs::path file = XdgFolder("XDG_CONFIG_HOME", ".config") / "settings";
  if (!home.data_folder.is_absolute() || !file.is_absolute()) {
    return Status(Code::kConfig,
                  "HOME is not set, so there is no place for settings and data: set it, or name a "
                  "folder with --home DIR or VESPRO_HOME");
  }
  home.backend = std::make_unique<FileBackend>(file);
  home.settings_place = ModFiles::ToUtf8(file);
  return home;
}

fs::path DefaultsFile() { return "/etc/vespro/defaults"; }

const char* EngineFile() { return "vespro-engine"; }

}  // namespace vespro::platform
