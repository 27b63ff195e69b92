// support/linux_facts.h - the facts of a Linux system, from the files in which it keeps them.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/system_facts.h"

namespace vespro {

//   OS         os-release(5); the build is the kernel's release, the service pack its own version
//   file       what the program answers to --version
//   browser    the package of WebKitGTK, which mail clients show pages with; its Debian revision
//   databases  none: there is no such thing for the whole system
//   installed  the packages of dpkg, each with its version
//   running    proc(5): the executable's path, or the name alone of another user's process
class LinuxFacts final : public SystemFacts {
 public:
  // `root` is "/", but for tests.
  explicit LinuxFacts(std::filesystem::path root) : root_(std::move(root)) {}

  OsRecord Os() override;
  std::string FileVersion(const std::filesystem::path& program) override;
  Browser BrowserFacts() override;
  std::string DataAccessVersion() override { return {}; }
  std::vector<std::string> InstalledPrograms() override;
  std::vector<std::string> RunningPrograms() override;

 private:
  struct Package {
    std::string name;
    std::string version;
  };
  const std::vector<Package>& Packages();

  const std::filesystem::path root_;
  std::vector<Package> packages_;
  bool packages_read_ = false;
};

}  // namespace vespro
