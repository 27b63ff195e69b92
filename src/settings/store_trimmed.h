// settings/store_trimmed.h - how a dialog's OK writes what is in its boxes.
#pragma once

#include <string>
#include <string_view>

#include "base/text.h"
#include "host/desktop.h"
#include "settings/settings.h"

namespace vespro {

// Stores the text without the blanks around it. The user is not interrupted when that fails; the
// desktop's log says so.
inline void StoreTrimmed(Desktop& desktop, Settings& settings, std::string_view name,
                         std::string_view text) {
  const Status written = settings.Write(name, ModText::Trim(text));
  if (!written.ok()) desktop.Log(std::string(name) + " is not stored: " + written.text());
}

}  // namespace vespro
