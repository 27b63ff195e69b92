#include <windows.h>

#include "base/files.h"
#include "base/win32/wide.h"
#include "settings/registry_backend.h"
#include "terminal/home.h"

namespace vespro::platform {
namespace {

std::string UserName() {
  std::wstring name(257, L'\0');  // UNLEN and its NUL
  auto length = static_cast<DWORD>(name.size());
  if (!GetUserNameW(name.data(), &length) || length < 2) return "unknown";
  return ModWide::ToUtf8(std::wstring_view(name).substr(0, length - 1));
}

}  // namespace

Result<Home> UsersHome() {
  Home home;
  home.data_folder = ModFiles::ProgramPath().parent_path() / ModFiles::FromUtf8(UserName());
  home.backend = std::make_unique<RegistryBackend>();
  home.settings_place = "HKEY_CURRENT_USER\\Software\\Tandrelix\\Vespro2.0Beta";
  return home;
}

std::filesystem::path DefaultsFile() { return {}; }

const char* EngineFile() { return "Vespro.exe"; }

}  // namespace vespro::platform
