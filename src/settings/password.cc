#include "settings/password.h"

#include "base/code_page.h"
#include "base/text.h"
#include "mime/base64.h"

namespace vespro::ModPassword {

std::string EncodePassword(std::string_view text) {
  return ModBase64::Encode(ModCodePage::FromUtf8(ModText::Trim(text)));
}

Result<std::string> DecodePassword(std::string_view encoded) {
  Result<std::string> bytes = ModBase64::Decode(ModText::Trim(encoded));
  if (!bytes.ok()) return bytes.status();
  return ModCodePage::ToUtf8(bytes.value());
}

}  // namespace vespro::ModPassword
