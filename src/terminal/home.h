// terminal/home.h - where the command line keeps settings and data.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "base/status.h"
#include "host/add_in.h"
#include "host/settings_backend.h"

namespace vespro {

struct Home {
  std::filesystem::path data_folder;         // accounts and sessions; private to the user
  std::unique_ptr<SettingsBackend> backend;  // the settings
  std::string settings_place;                // for people: a file's path, or the registry key

  std::filesystem::path AccountFile() const;
};

// `folder` (from --home, UTF-8) or else VESPRO_HOME holds everything when given. Otherwise the
// user's own place: on Linux the XDG folders for settings and data, on Windows the registry and the
// install folder. Makes the data folder, and at first use the installation's default values.
// kCannotWrite when that fails.
Result<Home> OpenHome(const std::string& folder);

// The add-in's state before anything is composed: the home's data folder, and the engine beside the
// running program.
AddIn InstalledAddIn(const Home& home);

// What home_posix.cc and home_win32.cc provide: the user's own place, nothing made yet. kConfig
// when the system does not say where that is.
namespace platform {
Result<Home> UsersHome();
// The file that an installation may bring to change the default values; empty where the installer
// writes them itself.
std::filesystem::path DefaultsFile();
// The engine's file name.
const char* EngineFile();
}  // namespace platform

}  // namespace vespro
