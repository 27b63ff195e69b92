#include <pwd.h>
#include <unistd.h>

#include <array>

#include "base/text.h"
#include "base/user.h"

namespace vespro::ModUser {

std::string Name() {
  constexpr std::size_t kLongest = 24;
  std::array<char, 4096> buffer;
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr) {
    return {};
  }
  std::string name = entry.pw_name;
  return name.size() <= kLongest && ModText::IsUtf8(name) ? name : std::string();
}

}  // namespace vespro::ModUser
