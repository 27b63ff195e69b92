// base/win32/registry.h - four operations on the registry's values, as narrow as the settings need
// them. Text is UTF-8 here and wide in the registry. Source: the Windows API's registry functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::ModRegistry {

enum class Root { kCurrentUser, kLocalMachine };

inline constexpr std::int32_t kFileNotFound = 2;  // ERROR_FILE_NOT_FOUND
inline constexpr std::uint32_t kString = 1;       // REG_SZ
inline constexpr std::uint32_t kNumber = 4;       // REG_DWORD

// Makes the key and its missing parents. Nothing is reported.
void CreateKey(std::string_view key, Root root);

// Makes the key when it is missing. kString writes the text and a NUL, kNumber the text's leading
// number as 32 bits; any other type writes nothing. 0 or the Windows error.
std::int32_t WriteValue(Root root, std::string_view key, std::string_view name,
                        std::string_view value, std::uint32_t type);

struct Value {
  std::string text;         // a REG_DWORD as its signed decimal text
  std::int32_t status = 0;  // 0, a Windows error, or -1 for a type that is neither
};
// A REG_SZ loses its last character, which is its NUL when it was written with one.
Value ReadValue(Root root, std::string_view key, std::string_view name);

// In the registry's own order; empty when the key is missing.
std::vector<std::string> ListValues(Root root, std::string_view key);
// The names of the keys directly below, likewise.
std::vector<std::string> ListKeys(Root root, std::string_view key);

}  // namespace vespro::ModRegistry
