// recipients/list_text.h - a list's bytes as text, for what people read: dialogs, letters, reports.
// Any thread.
#pragma once

#include <string>
#include <string_view>

namespace vespro {

// UTF-8, whatever the list was saved as: well-formed UTF-8 stays; other bytes are taken for the
// code page, and for Windows-1252 where the code page is UTF-8 itself, since spreadsheets save
// that. Never fails; a byte without meaning becomes U+FFFD.
std::string ListText(std::string_view bytes);

// Whether the code page is UTF-8. Found out once.
bool CodePageIsUtf8();

}  // namespace vespro
