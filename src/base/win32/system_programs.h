// base/win32/system_programs.h - where Windows' own programs are. Include only from platform files.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace vespro::ModSystemPrograms {

// The full path of one of them, such as "cmd.exe". A bare name would be looked for in the current
// folder as well, where anybody's file may lie.
inline std::wstring PathOf(std::wstring_view name) {
  std::array<wchar_t, MAX_PATH> folder{};
  const UINT size = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
  std::wstring path(folder.data(), std::min<std::size_t>(size, folder.size() - 1));
  return path.append(L"\\").append(name);
}

}  // namespace vespro::ModSystemPrograms
