// support/windows_facts.h - the facts of a Windows, from what it answers. Portable, so that each
// Windows can be played in a test.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/system_facts.h"

namespace vespro {

// What is asked. Text is UTF-8; what can't be had is empty.
class WindowsCalls {
 public:
  virtual ~WindowsCalls() = default;

  struct Version {
    std::uint32_t platform = 0, major = 0, minor = 0, build = 0;
    std::string service_pack;
  };
  virtual Version ThisWindows() = 0;
  struct FileVersionHalves {
    std::uint32_t most_significant = 0, least_significant = 0;
  };
  // Nothing for a file without version information.
  virtual std::optional<FileVersionHalves> VersionOf(const std::filesystem::path& file) = 0;
  // A value, and the keys, below HKEY_LOCAL_MACHINE.
  virtual std::string MachineValue(std::string_view key, std::string_view name) = 0;
  virtual std::vector<std::string> MachineKeys(std::string_view key) = 0;
  // The full path of each process's first module, where it can be had.
  virtual std::vector<std::string> ProcessPaths() = 0;
  // The names of all processes' executables, in lower case.
  virtual std::vector<std::string> ProcessNames() = 0;
};

class WindowsFacts final : public SystemFacts {
 public:
  explicit WindowsFacts(std::unique_ptr<WindowsCalls> calls) : calls_(std::move(calls)) {}

  OsRecord Os() override;
  std::string FileVersion(const std::filesystem::path& program) override;
  Browser BrowserFacts() override;
  std::string DataAccessVersion() override;
  std::vector<std::string> InstalledPrograms() override;
  std::vector<std::string> RunningPrograms() override;

 private:
  std::unique_ptr<WindowsCalls> calls_;
};

}  // namespace vespro
