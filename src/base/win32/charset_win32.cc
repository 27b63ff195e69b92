#include <windows.h>

#include <limits>

#include "base/charset_platform.h"
#include "base/win32/wide.h"

namespace vespro::ModCharset::platform {

bool ToUtf8(std::string_view bytes, const char*, unsigned code_page, std::string* out) {
  if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return false;
  const std::wstring wide = ModWide::From(bytes, code_page);
  if (wide.empty() && !bytes.empty()) return false;
  *out = ModWide::ToUtf8(wide);
  return true;
}

}  // namespace vespro::ModCharset::platform
