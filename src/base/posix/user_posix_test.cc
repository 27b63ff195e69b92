#include "base/user.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace vespro {
namespace {

TEST(UserTest, HasTheSystemsNameUnlessItIsLong) {
  const passwd* const entry = getpwuid(geteuid());
  const std::string name = entry != nullptr ? entry->pw_name : "";
  EXPECT_EQ(ModUser::Name(), name.size() <= 24 ? name : "");
}

}  // namespace
}  // namespace vespro
