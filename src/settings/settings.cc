#include "settings/settings.h"

#include <algorithm>

#include "base/text.h"

namespace vespro {

std::string Settings::Read(std::string_view name) const {
  SettingsBackend::Value value = backend_.ReadValue(name);
  return value.status == 0 ? std::move(value.text) : std::string();
}

Status Settings::Write(std::string_view name, std::string_view value) {
  return backend_.WriteValue(name, value, SettingsBackend::kString);
}

std::vector<std::string> Settings::List() const { return backend_.ListValues(); }

Status CheckConnections(std::string_view text, int most) {
  const int connections = ModText::LeadingInt16(text);
  if (connections != 0 && connections <= most) return {};
  return Status(Code::kUsage, "Invalid number of connections configured");
}

const SettingRow* FindSetting(std::string_view name) {
  const auto row =
      std::find_if(kSettingRows.begin(), kSettingRows.end(), [name](const SettingRow& candidate) {
        return ModText::EqualsIgnoringAsciiCase(candidate.name, name);
      });
  return row == kSettingRows.end() ? nullptr : &*row;
}

}  // namespace vespro
