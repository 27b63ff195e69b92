// outlook/installed.h - for tests: the add-in installed for a user who has nothing else: the DLL in
// a folder with a blank in its name, registered in a hive that goes away again.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

#include "base/status.h"
#include "base/win32/registry_testing.h"
#include "settings/registry_backend.h"
#include "settings/settings.h"

namespace vespro::standin {

// In place of one of the registry's roots, for this process.
class Hive {
 public:
  Hive(HKEY root, const std::string& name);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

 private:
  TestKey place_;
  const HKEY root_;
  HKEY key_ = nullptr;
};

class Installed {
 public:
  // Has the built DLL beside this program register itself for the user. `name` tells tests apart;
  // the folder is made, and goes away again.
  explicit Installed(const char* name);
  // The same in that folder.
  explicit Installed(const std::filesystem::path& into);
  ~Installed();
  Installed(const Installed&) = delete;
  Installed& operator=(const Installed&) = delete;

  // What went wrong, if anything.
  const Status& status() const { return status_; }
  const std::filesystem::path folder;  // of the installation; the DLL is in x64 or x86 below it
  const std::filesystem::path dll;
  // Of the user, once the add-in was connected.
  std::filesystem::path data_folder() const;
  RegistryBackend& backend() { return backend_; }
  Settings& settings() { return settings_; }

 private:
  Hive user_;
  RegistryBackend backend_;
  Settings settings_{backend_};
  Status status_;
};

}  // namespace vespro::standin
