#include "base/code_page.h"

#include "base/code_page_platform.h"
#include "base/text.h"

namespace vespro::ModCodePage {

std::string ToUtf8(std::string_view ansi) {
  if (ModText::IsAscii(ansi)) return std::string(ansi);
  return platform::ToUtf8(ansi);
}

std::string FromUtf8(std::string_view text) {
  if (ModText::IsAscii(text)) return std::string(text);
  return platform::FromUtf8(text);
}

bool CanHold(std::string_view text) {
  return ModText::IsAscii(text) || ToUtf8(FromUtf8(text)) == text;
}

void LowerInPlace(std::string& ansi) {
  bool ascii = true;
  for (char& c : ansi) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    ascii = ascii && (static_cast<unsigned char>(c) & 0x80) == 0;
  }
  if (!ascii) platform::MapCase(ansi, platform::Case::kLower);
}

void UpperInPlace(std::string& ansi) {
  bool ascii = true;
  for (char& c : ansi) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
    ascii = ascii && (static_cast<unsigned char>(c) & 0x80) == 0;
  }
  if (!ascii) platform::MapCase(ansi, platform::Case::kUpper);
}

}  // namespace vespro::ModCodePage
