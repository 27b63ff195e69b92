// win32/file_picker.h - the system's dialog for opening a file. The mail client's own thread.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "base/status.h"
#include "host/desktop.h"

namespace vespro::ModFilePicker {

// The kinds of files as the system takes them: each name and each list of patterns ends in a NUL,
// the last in one more. Blanks stay, and so does a name without patterns, which then shows all
// files.
std::wstring SystemFilter(std::string_view filter);

// The full path, UTF-8; empty when the user chose none. `owner` is disabled meanwhile. kUnavailable
// when the dialog can't be shown, with the common dialogs' error number.
Result<std::string> Ask(HWND owner, const FileQuestion& question);

}  // namespace vespro::ModFilePicker
