#include "base/win32/registry.h"
#include "base/win32/system_info.h"
#include "support/windows_facts.h"

namespace vespro {
namespace {

class RealCalls final : public WindowsCalls {
 public:
  Version ThisWindows() override {
    ModSystemInfo::WindowsVersion version = ModSystemInfo::ThisWindows();
    return {version.platform, version.major, version.minor, version.build,
            std::move(version.service_pack)};
  }
  std::optional<FileVersionHalves> VersionOf(const std::filesystem::path& file) override {
    const auto version = ModSystemInfo::VersionOf(file);
    if (!version.has_value()) return std::nullopt;
    return FileVersionHalves{version->most_significant, version->least_significant};
  }
  std::string MachineValue(std::string_view key, std::string_view name) override {
    return ModRegistry::ReadValue(ModRegistry::Root::kLocalMachine, key, name).text;
  }
  std::vector<std::string> MachineKeys(std::string_view key) override {
    return ModRegistry::ListKeys(ModRegistry::Root::kLocalMachine, key);
  }
  std::vector<std::string> ProcessPaths() override { return ModSystemInfo::ProcessPaths(); }
  std::vector<std::string> ProcessNames() override { return ModSystemInfo::ProcessNames(); }
};

}  // namespace

std::unique_ptr<SystemFacts> ThisSystem() {
  return std::make_unique<WindowsFacts>(std::make_unique<RealCalls>());
}

}  // namespace vespro
