// win32/pictures.h - the add-in's own pictures, drawn at any size, so that there are no files of
// fixed sizes to keep.
#pragma once

#include <windows.h>

#include <string_view>

#include "win32/owned.h"

namespace vespro {

// "TIP", "SERVER", "CONNECTION", "MAILINFO", "MAILINBOX" or "PAPERCLIP"; for other names a sheet of
// paper. `size` is in pixels, both ways. Any thread.
Owned<HICON> DrawPicture(std::string_view name, int size);

}  // namespace vespro
