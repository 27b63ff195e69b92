// base/shell_platform.h - what shell.cc needs from the operating system; shell_posix.cc and
// shell_win32.cc provide it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string>

#include "base/status.h"

namespace vespro::ModShell::platform {

inline constexpr std::size_t kMaxBytes = 64 * 1024;

// As RunForFirstLine in shell.h, but gives all that was written, and some more than kMaxBytes at
// most.
Result<std::string> Output(const std::string& command, std::chrono::milliseconds limit,
                           const std::atomic<bool>& stop);

}  // namespace vespro::ModShell::platform
