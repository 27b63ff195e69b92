// base/code_page_platform.h - what posix/ and win32/ provide to code_page.cc; nobody else's.
// Called only with text that is not pure ASCII.
#pragma once

#include <string>
#include <string_view>

namespace vespro::ModCodePage::platform {

enum class Case { kLower, kUpper };

std::string ToUtf8(std::string_view ansi);
std::string FromUtf8(std::string_view text);
// False, with the text as it was, when the code page does not hold it or the mapped one.
bool MapCase(std::string& ansi, Case to);

}  // namespace vespro::ModCodePage::platform
