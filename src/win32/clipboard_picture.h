// win32/clipboard_picture.h - pictures of our own as the clipboard takes them: a mail client has no
// other way to get one for a button.
#pragma once

#include <windows.h>

#include <string_view>

#include "host/desktop.h"
#include "win32/owned.h"

namespace vespro::ModClipboardPicture {

// The resource of our module in the size of a button's face; an icon lies on the colour of a
// button. Nothing where there is no such resource.
Owned<HBITMAP> Load(std::string_view resource, PictureKind kind);

// The same picture independent of any device, as CF_DIB has it; nullptr when memory runs out. The
// caller frees it.
HGLOBAL ToDib(HBITMAP bitmap);

}  // namespace vespro::ModClipboardPicture
