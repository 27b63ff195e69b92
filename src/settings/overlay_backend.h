// settings/overlay_backend.h - settings that hold for one run only, on top of the stored ones.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/settings_backend.h"

namespace vespro {

// Answers the names given to Set itself, and keeps what is written to them; every other name is
// read from and WRITTEN TO the backend below. One thread.
class OverlayBackend final : public SettingsBackend {
 public:
  // `below` must outlive the overlay.
  explicit OverlayBackend(SettingsBackend& below) : below_(below) {}

  // From now on `name` has this value here, and below it stays as it is.
  void Set(std::string_view name, std::string_view value);

  void CreateKey() override { below_.CreateKey(); }
  Status WriteValue(std::string_view name, std::string_view value, std::uint32_t type) override;
  Value ReadValue(std::string_view name) override;
  // Those below first, then those that are only here.
  std::vector<std::string> ListValues() override;

 private:
  struct Own {
    std::string name;
    std::string value;
  };
  Own* Find(std::string_view name);

  SettingsBackend& below_;
  std::vector<Own> own_;
};

}  // namespace vespro
