// windows_forms/screenshot.h - a window as the screen shows it, in a PNG file. For programs of our
// own, on any thread with COM.
#pragma once

#include <windows.h>

#include <filesystem>

#include "base/status.h"

namespace vespro::ModScreenshot {

// The window must be visible and not covered. kCannotWrite with the HRESULT when no file comes of
// it.
Status Save(HWND window, const std::filesystem::path& file);

}  // namespace vespro::ModScreenshot
