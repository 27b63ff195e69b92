// settings/password.h - logins and passwords as the account file and the job carry them: Base64
// over the bytes of the code page (RFC 4648 section 4, one line, padded). It hides them from a
// glance and from nothing else. Pure: any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/status.h"

namespace vespro::ModPassword {

// UTF-8 in. Blanks around it are dropped; nothing left gives "". Characters that the code page does
// not have become "?": ask ModCodePage::CanHold first where a person can be told.
std::string EncodePassword(std::string_view text);

// The inverse; blanks around it are dropped. kBadInput when it is no Base64; the text of the
// failure repeats none of it.
Result<std::string> DecodePassword(std::string_view encoded);

}  // namespace vespro::ModPassword
