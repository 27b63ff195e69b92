// base/charset_platform.h - what posix/ and win32/ provide to charset.cc; nobody else's.
#pragma once

#include <string>
#include <string_view>

namespace vespro::ModCharset::platform {

// `name` as iconv knows the charset, `code_page` its number on Windows. False when the system has
// no table for it; `out` is then unchanged.
bool ToUtf8(std::string_view bytes, const char* name, unsigned code_page, std::string* out);

}  // namespace vespro::ModCharset::platform
