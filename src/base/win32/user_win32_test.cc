#include "base/user.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>

#include "base/code_page.h"
#include "base/win32/wide.h"

namespace vespro {
namespace {

TEST(UserTest, HasTheSystemsNameUnlessItIsLong) {
  std::array<wchar_t, 512> wide{};
  auto size = static_cast<DWORD>(wide.size());
  ASSERT_NE(GetUserNameW(wide.data(), &size), 0);
  // Through the code page: what it can't hold is replaced.
  const std::string bytes = ModCodePage::FromUtf8(ModWide::ToUtf8(wide.data()));
  EXPECT_EQ(ModUser::Name(), bytes.size() <= 24 ? ModCodePage::ToUtf8(bytes) : "");
}

}  // namespace
}  // namespace vespro
