#include "settings/registry_backend.h"

#include "base/win32/registry.h"

namespace vespro {

using ModRegistry::Root;

void RegistryBackend::CreateKey() { ModRegistry::CreateKey(key_, Root::kCurrentUser); }

Status RegistryBackend::WriteValue(std::string_view name, std::string_view value,
                                   std::uint32_t type) {
  const std::int32_t error = ModRegistry::WriteValue(Root::kCurrentUser, key_, name, value, type);
  if (error == 0) return {};
  return Status(Code::kCannotWrite,
                "cannot write the setting '" + std::string(name) + "' to the registry (error " +
                    std::to_string(error) + ")",
                static_cast<std::uint32_t>(error));
}

SettingsBackend::Value RegistryBackend::ReadValue(std::string_view name) {
  ModRegistry::Value value = ModRegistry::ReadValue(Root::kCurrentUser, key_, name);
  return {std::move(value.text), value.status};
}

std::vector<std::string> RegistryBackend::ListValues() {
  return ModRegistry::ListValues(Root::kCurrentUser, key_);
}

}  // namespace vespro
