// host/tell_user.h - a message to the user under the product's name, to be answered with OK.
#pragma once

#include <string_view>

#include "host/add_in.h"
#include "host/desktop.h"

namespace vespro {

inline void TellUser(Desktop& desktop, std::string_view text, MessageIcon icon) {
  desktop.MsgBox(text, icon, MessageButtons::kOk, kModuleName);
}

}  // namespace vespro
