#include <windows.h>

#include <string>

#include "base/code_page_platform.h"
#include "base/win32/wide.h"

namespace vespro::ModCodePage::platform {

std::string ToUtf8(std::string_view ansi) { return ModWide::ToUtf8(ModWide::From(ansi, CP_ACP)); }

std::string FromUtf8(std::string_view text) { return ModWide::To(ModWide::FromUtf8(text), CP_ACP); }

bool MapCase(std::string& ansi, Case to) {
  std::wstring wide = ModWide::From(ansi, CP_ACP);
  if (ModWide::To(wide, CP_ACP) != ansi) return false;
  const auto length = static_cast<DWORD>(wide.size());
  if (to == Case::kLower) {
    CharLowerBuffW(wide.data(), length);
  } else {
    CharUpperBuffW(wide.data(), length);
  }
  if (std::string back = ModWide::To(wide, CP_ACP); ModWide::From(back, CP_ACP) == wide) {
    ansi = std::move(back);
    return true;
  }
  return false;
}

}  // namespace vespro::ModCodePage::platform
