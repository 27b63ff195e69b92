// base/shell.h - the answer of a command that the user has written down, such as one that asks a
// password store.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "base/status.h"

namespace vespro::ModShell {

// Runs `command` (UTF-8) in the system's shell - /bin/sh, or cmd.exe - with nothing to read and
// with our standard error, and gives the first line of what it writes, at most 64 KiB, without its
// line end. kUnavailable when it can't be started, ends with another status than 0, or writes
// nothing; kTimedOut when it takes longer than `limit`; kCancelled soon after `stop` is set; in
// both cases it is killed. No failure's text repeats the command or its output. Any thread; blocks.
Result<std::string> RunForFirstLine(const std::string& command, std::chrono::milliseconds limit,
                                    const std::atomic<bool>& stop);

}  // namespace vespro::ModShell
