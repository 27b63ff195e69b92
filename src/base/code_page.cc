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

namespace {

void MapAscii(std::string& text, platform::Case to) {
  const char first = to == platform::Case::kLower ? 'A' : 'a';
  for (char& c : text) {
    if (c >= first && c <= first + ('Z' - 'A')) c = static_cast<char>(c ^ ('a' - 'A'));
  }
}

// In some code pages a character's second byte looks like a letter, so bytes are taken one by one
// only where that is all they are, or where they make no sense as characters.
void MapInPlace(std::string& ansi, platform::Case to) {
  if (ModText::IsAscii(ansi)) return MapAscii(ansi, to);
  if (platform::MapCase(ansi, to)) return;
  std::string text = platform::ToUtf8(ansi);
  if (platform::FromUtf8(text) != ansi) return MapAscii(ansi, to);
  MapAscii(text, to);
  ansi = platform::FromUtf8(text);
}

}  // namespace

void LowerInPlace(std::string& ansi) { MapInPlace(ansi, platform::Case::kLower); }

void UpperInPlace(std::string& ansi) { MapInPlace(ansi, platform::Case::kUpper); }

}  // namespace vespro::ModCodePage
