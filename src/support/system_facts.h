// support/system_facts.h - what a diagnostic report says of the system. Each answer is looked up
// when it is asked for; what can't be found out is empty. Text is UTF-8. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vespro {

struct OsRecord {
  // Of Windows: 1 is 95, 2 is 98, 3 is NT, 4 is ME, 5 is 2000, 6 is XP. 0 is any other system.
  std::int16_t code = 0;
  std::string name;
  std::string version;
  std::string service_pack;
  std::string build;
};

class SystemFacts {
 public:
  virtual ~SystemFacts() = default;

  virtual OsRecord Os() = 0;
  // As FileVersionText gives it.
  virtual std::string FileVersion(const std::filesystem::path& program) = 0;
  // The system's own web browser, in which the mail client shows pages.
  struct Browser {
    std::string version;
    std::string build;
  };
  virtual Browser BrowserFacts() = 0;
  // The system's access to databases.
  virtual std::string DataAccessVersion() = 0;
  // In the system's order.
  virtual std::vector<std::string> InstalledPrograms() = 0;
  virtual std::vector<std::string> RunningPrograms() = 0;
};

// Those of this machine.
std::unique_ptr<SystemFacts> ThisSystem();

// The four numbers of a file's version, in two halves each, as people read them: "2.00.05.12", and
// "2.00.0000" where the last two are 0 (or the third is beyond 32767).
std::string FileVersionText(std::uint32_t most_significant, std::uint32_t least_significant);

}  // namespace vespro
