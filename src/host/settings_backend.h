// host/settings_backend.h - where the add-in's lasting settings live: named values under one key of
// the user's, Software\Tandrelix\Vespro2.0Beta in the registry and a file elsewhere. Names are
// compared without regard to case. Names and values are UTF-8. Nothing is cached: what one process
// writes, the next read of any other sees.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro {

class SettingsBackend {
 public:
  // What ReadValue's status and a failed write's native() say of a missing key or value.
  static constexpr std::int32_t kMissing = 2;
  // The types that can be written.
  static constexpr std::uint32_t kString = 1;
  static constexpr std::uint32_t kNumber = 4;

  struct Value {
    std::string text;         // a number as its signed decimal text; empty after a failure
    std::int32_t status = 0;  // 0, kMissing, another number of the system's, or -1: another type
  };

  virtual ~SettingsBackend() = default;
  // Makes the key with everything above it. Nothing is reported.
  virtual void CreateKey() = 0;
  // Makes the key when it is missing. kNumber writes the number with which `value` begins, as 32
  // bits; a type that is neither kString nor kNumber writes nothing. kCannotWrite with the system's
  // number.
  virtual Status WriteValue(std::string_view name, std::string_view value, std::uint32_t type) = 0;
  // Never makes the key.
  virtual Value ReadValue(std::string_view name) = 0;
  // The names, in the store's own order; none when the key is missing.
  virtual std::vector<std::string> ListValues() = 0;
};

}  // namespace vespro
