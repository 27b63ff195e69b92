// base/win32/system_programs.h - where Windows' own programs are. Include only from platform files.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace vespro::ModSystemPrograms {

// The full path of one of them, such as "cmd.exe" or "explorer" (then ".exe" is meant); some are in
// the system's folder and some in Windows' own. A bare name would be looked for in the current
// folder as well, where anybody's file may lie. Where there is none: where it should be.
inline std::wstring PathOf(std::wstring_view name) {
  using GetFolder = UINT(WINAPI*)(LPWSTR, UINT);
  const auto in = [&](GetFolder get_folder) {
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT size = get_folder(folder.data(), static_cast<UINT>(folder.size()));
    std::wstring path(folder.data(), std::min<std::size_t>(size, folder.size() - 1));
    path.append(L"\\").append(name);
    if (name.find(L'.') == name.npos) path += L".exe";
    return path;
  };
  std::wstring in_system = in(GetSystemDirectoryW);
  if (GetFileAttributesW(in_system.c_str()) != INVALID_FILE_ATTRIBUTES) return in_system;
  std::wstring in_windows = in(GetSystemWindowsDirectoryW);
  return GetFileAttributesW(in_windows.c_str()) != INVALID_FILE_ATTRIBUTES ? in_windows : in_system;
}

}  // namespace vespro::ModSystemPrograms
