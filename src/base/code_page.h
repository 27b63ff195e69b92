// base/code_page.h - the edge between UTF-8 text in memory and files "in the ANSI code page".
// On Windows that is the active code page; elsewhere the charset of the user's locale (LC_ALL,
// LC_CTYPE, LANG), and UTF-8 where the locale names none or plain ASCII. Read once, at first use.
// Any thread after the first call.
#pragma once

#include <string>
#include <string_view>

namespace vespro::ModCodePage {

// What can't be converted becomes U+FFFD in text and "?" in a file.
std::string ToUtf8(std::string_view ansi);
std::string FromUtf8(std::string_view text);
// Whether FromUtf8 keeps the text whole.
bool CanHold(std::string_view text);

// Lower and upper case of bytes in the code page. Pure ASCII takes a fast path. Bytes that are not
// valid in the code page stay as they are, and so does a text of which no letter has another case.
void LowerInPlace(std::string& ansi);
void UpperInPlace(std::string& ansi);

}  // namespace vespro::ModCodePage
