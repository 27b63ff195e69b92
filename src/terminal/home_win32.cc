#include "base/files.h"
#include "base/user.h"
#include "settings/registry_backend.h"
#include "settings/user_folder.h"
#include "terminal/home.h"

namespace vespro::platform {

Result<Home> UsersHome() {
  Home home;
  home.data_folder = ModUserFolder::Ensure(ModFiles::ProgramPath().parent_path(), ModUser::Name());
  home.backend = std::make_unique<RegistryBackend>();
  home.settings_place = "HKEY_CURRENT_USER\\Software\\Tandrelix\\Vespro2.0Beta";
  return home;
}

std::filesystem::path DefaultsFile() { return {}; }

const char* EngineFile() { return "Vespro.exe"; }

}  // namespace vespro::platform
