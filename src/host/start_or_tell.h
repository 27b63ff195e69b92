// host/start_or_tell.h - starting a program for the user, who is told when that fails.
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include "host/desktop.h"
#include "host/tell_user.h"

namespace vespro {

// Does not wait for it. The message has the system's error number in hexadecimal.
inline void StartOrTell(Desktop& desktop, const CommandLine& command) {
  const Status started = desktop.Start(command);
  if (started.ok()) return;
  std::array<char, 16> number;
  std::snprintf(number.data(), number.size(), "0x%X", started.native());
  TellUser(desktop, std::string("Error ") + number.data() + ": " + started.text(),
           MessageIcon::kExclamation);
}

}  // namespace vespro
