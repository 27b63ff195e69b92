// win32/resolution.h - dots per inch, of which Windows knows one number per window, or one for
// all on older systems. One thread.
#pragma once

#include <windows.h>

namespace vespro::ModResolution {

// Of the window; nullptr: of the whole screen.
UINT Of(HWND window);
// A size in pixels at 96 dots per inch.
inline int Scale(int pixels, UINT dpi) { return MulDiv(pixels, static_cast<int>(dpi), 96); }
// GetSystemMetrics at that resolution.
int Metric(int index, UINT dpi);
// The whole window around an area of that size.
SIZE Outer(SIZE inner, DWORD style, DWORD extended_style, UINT dpi);
// The font in which the system writes messages.
LOGFONTW MessageFont(UINT dpi);

}  // namespace vespro::ModResolution
