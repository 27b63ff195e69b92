#include "support/windows_facts.h"

#include <algorithm>
#include <iterator>

namespace vespro {
namespace {

constexpr std::uint32_t kAny = 0xFFFFFFFF;

constexpr std::int16_t kNt = 3, k2000 = 5, kXp = 6;

// The first row that fits counts. What none fits has no code and no name, and that is how it is
// meant: Windows XP is the last one with a name.
struct Known {
  std::uint32_t platform, major, minor;
  std::int16_t code;
  const char* name;
};
constexpr Known kKnown[] = {
    {1, kAny, 0, 1, "Windows 95"},    {1, kAny, 90, 4, "Windows ME"},
    {1, kAny, kAny, 2, "Windows 98"}, {2, 4, kAny, kNt, "Windows NT"},
    {2, 5, 0, k2000, "Windows 2000"}, {2, 5, 1, kXp, "Windows XP"},
};

constexpr char kUninstall[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

bool Fits(const Known& known, const WindowsCalls::Version& version) {
  const auto same = [](std::uint32_t wanted, std::uint32_t is) {
    return wanted == kAny || wanted == is;
  };
  return same(known.platform, version.platform) && same(known.major, version.major) &&
         same(known.minor, version.minor);
}

}  // namespace

OsRecord WindowsFacts::Os() {
  const WindowsCalls::Version version = calls_->ThisWindows();
  OsRecord record;
  const auto* const known = std::find_if(std::begin(kKnown), std::end(kKnown),
                                         [&](const Known& row) { return Fits(row, version); });
  if (known != std::end(kKnown)) {
    record.code = known->code;
    record.name = known->name;
  }
  record.version = std::to_string(version.major) + "." + std::to_string(version.minor);
  record.service_pack = version.service_pack;
  record.build = std::to_string(version.build & 0xFFFF);
  return record;
}

std::string WindowsFacts::FileVersion(const std::filesystem::path& program) {
  const auto version = calls_->VersionOf(program);
  return version.has_value()
             ? FileVersionText(version->most_significant, version->least_significant)
             : std::string();
}

SystemFacts::Browser WindowsFacts::BrowserFacts() {
  constexpr char kKey[] = "Software\\Microsoft\\Internet Explorer";
  return {calls_->MachineValue(kKey, "Version"), calls_->MachineValue(kKey, "Build")};
}

std::string WindowsFacts::DataAccessVersion() {
  return calls_->MachineValue("Software\\Microsoft\\DataAccess", "FullInstallVer");
}

std::vector<std::string> WindowsFacts::InstalledPrograms() {
  std::vector<std::string> programs;
  for (const std::string& key : calls_->MachineKeys(kUninstall)) {
    std::string name = calls_->MachineValue(std::string(kUninstall) + "\\" + key, "DisplayName");
    if (!name.empty()) programs.push_back(std::move(name));
  }
  return programs;
}

std::vector<std::string> WindowsFacts::RunningPrograms() {
  const std::int16_t code = Os().code;
  return code == kNt || code == k2000 || code == kXp ? calls_->ProcessPaths()
                                                     : calls_->ProcessNames();
}

}  // namespace vespro
