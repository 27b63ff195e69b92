// base/win32/system_info.h - the version of Windows and of files, and what runs. Text is UTF-8.
// What a version of Windows lacks is looked for at run time, and is empty there. Source: the
// Windows API's version, process status and tool help functions.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vespro::ModSystemInfo {

struct WindowsVersion {
  std::uint32_t platform = 0;  // 1: 95, 98, ME; 2: NT and all since
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;  // on 95, 98 and ME the high word says something else
  std::string service_pack;
};
// All 0 when it can't be had. Newer systems than a program knows of say that they are Windows 8.
WindowsVersion ThisWindows();

struct FileVersion {
  std::uint32_t most_significant = 0;
  std::uint32_t least_significant = 0;
};
// Nothing for a file without version information.
std::optional<FileVersion> VersionOf(const std::filesystem::path& file);

// The full path of each process's first module; processes that can't be opened are left out. Of
// Windows NT and its kind.
std::vector<std::string> ProcessPaths();
// The names of the executables of all processes, in lower case.
std::vector<std::string> ProcessNames();

}  // namespace vespro::ModSystemInfo
