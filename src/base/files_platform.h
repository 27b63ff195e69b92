// base/files_platform.h - what posix/ and win32/ provide to files.cc; nobody else's.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "base/status.h"

namespace vespro::ModFiles::platform {

// A File's handle when there is none: -1, and INVALID_HANDLE_VALUE is the same.
inline constexpr std::intptr_t kClosed = -1;

// The system's words for an errno or GetLastError value, without a line end.
std::string ErrorText(std::uint32_t native);
// The last call's errno or GetLastError.
std::uint32_t LastError();
// Replaces `to` in one step. kCannotWrite on failure.
Status ReplaceByRename(const std::filesystem::path& from, const std::filesystem::path& to);
// Gives `to` the permissions (and where possible the owner) of `from`.
void CopyPermissions(const std::filesystem::path& from, const std::filesystem::path& to);
// 0700 or the umask's choice; false when it was not made.
bool MakeFolder(const std::filesystem::path& path, bool is_private);

Status Failure(Code code, const std::string& what, const std::filesystem::path& path,
               std::uint32_t native);

}  // namespace vespro::ModFiles::platform
