#include "recipients/list_text.h"

#include "base/charset.h"
#include "base/code_page.h"
#include "base/text.h"

namespace vespro {

bool CodePageIsUtf8() {
  static const bool is_utf8 = ModCodePage::FromUtf8("\xC3\xA9") == "\xC3\xA9";
  return is_utf8;
}

std::string ListText(std::string_view bytes) {
  if (ModText::IsUtf8(bytes)) return std::string(bytes);
  if (CodePageIsUtf8()) return ModCharset::ToUtf8(bytes, "windows-1252");
  return ModCodePage::ToUtf8(bytes);
}

}  // namespace vespro
