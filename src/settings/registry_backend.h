// settings/registry_backend.h - the settings in the registry, under the current user. Windows only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/settings_backend.h"

namespace vespro {

class RegistryBackend final : public SettingsBackend {
 public:
  static constexpr std::string_view kKey = "Software\\Tandrelix\\Vespro2.0Beta";

  // Another key is for tests.
  explicit RegistryBackend(std::string_view key = kKey) : key_(key) {}

  void CreateKey() override;
  Status WriteValue(std::string_view name, std::string_view value, std::uint32_t type) override;
  Value ReadValue(std::string_view name) override;
  std::vector<std::string> ListValues() override;

 private:
  std::string key_;
};

}  // namespace vespro
