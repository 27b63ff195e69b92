#include "terminal/home.h"

#include "base/files.h"
#include "settings/account_file.h"
#include "settings/file_backend.h"
#include "settings/settings.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

Home HomeIn(const std::string& folder) {
  Home home;
  home.data_folder = ModFiles::FullPath(ModFiles::FromUtf8(folder));
  const fs::path file = home.data_folder / "settings";
  home.backend = std::make_unique<FileBackend>(file);
  home.settings_place = ModFiles::ToUtf8(file);
  return home;
}

}  // namespace

fs::path Home::AccountFile() const { return AccountFileIn(data_folder); }

Result<Home> OpenHome(const std::string& folder) {
  const std::string chosen = folder.empty() ? ModFiles::Environment("VESPRO_HOME") : folder;
  Result<Home> found = chosen.empty() ? platform::UsersHome() : HomeIn(chosen);
  if (!found.ok()) return found;
  Home home = std::move(found).value();
  if (Status made = ModFiles::MakeFolders(home.data_folder); !made.ok()) return made;
  // Settings read as empty then, and a list that was chosen would be said to be none.
  const std::int32_t read = home.backend->ReadValue(setting::kMailList).status;
  if (read > 0 && read != SettingsBackend::kMissing) {
    return Status(Code::kConfig, "cannot read the settings in '" + home.settings_place + "'");
  }
  if (Status written = WriteInstallerDefaults(*home.backend, platform::DefaultsFile());
      !written.ok()) {
    return written;
  }
  return home;
}

AddIn InstalledAddIn(const Home& home) {
  AddIn add_in;
  add_in.data_folder = home.data_folder;
  add_in.install_folder = ModFiles::ProgramPath().parent_path();
  add_in.engine_file = platform::EngineFile();
  return add_in;
}

}  // namespace vespro
