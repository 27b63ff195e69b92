#include <windows.h>

#include <array>
#include <cstring>

#include "base/code_page.h"
#include "base/user.h"

namespace vespro::ModUser {

std::string Name() {
  // Folders of earlier versions are named by what this size lets through, so it stays.
  std::array<char, 25> name{};
  auto length = static_cast<DWORD>(name.size());
  if (!GetUserNameA(name.data(), &length)) return {};
  return ModCodePage::ToUtf8(std::string_view(name.data(), strnlen(name.data(), name.size())));
}

}  // namespace vespro::ModUser
