// base/user.h - who uses this machine. Any thread.
#pragma once

#include <string>

namespace vespro::ModUser {

// The name under which the user is logged in, UTF-8: at most 24 characters of the code page. Empty
// for a longer one, and where there is none.
std::string Name();

}  // namespace vespro::ModUser
