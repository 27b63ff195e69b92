#include "settings/overlay_backend.h"

#include <algorithm>

#include "base/text.h"
#include "settings/number_text.h"

namespace vespro {

OverlayBackend::Own* OverlayBackend::Find(std::string_view name) {
  const auto own = std::find_if(own_.begin(), own_.end(), [name](const Own& candidate) {
    return ModText::EqualsIgnoringAsciiCase(candidate.name, name);
  });
  return own == own_.end() ? nullptr : &*own;
}

void OverlayBackend::Set(std::string_view name, std::string_view value) {
  if (Own* own = Find(name)) {
    own->value = value;
  } else {
    own_.push_back({std::string(name), std::string(value)});
  }
}

Status OverlayBackend::WriteValue(std::string_view name, std::string_view value,
                                  std::uint32_t type) {
  Own* const own = Find(name);
  if (own == nullptr) return below_.WriteValue(name, value, type);
  if (type == kString) own->value = value;
  if (type == kNumber) own->value = NumberText(value);
  return {};
}

SettingsBackend::Value OverlayBackend::ReadValue(std::string_view name) {
  if (const Own* const own = Find(name)) return {own->value, 0};
  return below_.ReadValue(name);
}

std::vector<std::string> OverlayBackend::ListValues() {
  std::vector<std::string> names = below_.ListValues();
  for (const Own& own : own_) {
    const bool known = std::any_of(names.begin(), names.end(), [&own](const std::string& name) {
      return ModText::EqualsIgnoringAsciiCase(name, own.name);
    });
    if (!known) names.push_back(own.name);
  }
  return names;
}

}  // namespace vespro
