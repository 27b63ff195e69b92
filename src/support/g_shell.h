// support/g_shell.h - the one way to open a document or a web address, and what went wrong with it.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/status.h"
#include "host/desktop.h"

namespace vespro {

// Who raises the failure, for logs.
inline constexpr char kGShellSource[] = "Vespro.GShell";

// The show command of somebody who wants none: the system's default.
inline constexpr int kDefaultWindow = 10;

// Opens `file` with the program that is meant for it, and does not wait for that. A program is
// started without a window of its own when it is given parameters or a folder; without these,
// everything opens in a normal window. Fails with GShellError of what the shell says.
Status GShell(Desktop& desktop, std::string_view file, int show_command,
              std::string_view parameters, std::string_view directory, std::string_view operation);

// The failure for a result of the shell's, 0 to 32. native() is the error's number, text() its
// description, both fixed. kNotFound when something is not there, otherwise kUnavailable.
Status GShellError(int shell_result);

}  // namespace vespro
