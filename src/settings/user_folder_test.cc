#include "settings/user_folder.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/testing.h"
#include "base/user.h"

namespace vespro {
namespace {

TEST(UserFolderTest, IsNamedAfterTheUserOrUnknown) {
  TemporaryFolder folder;
  folder.Write("taken", "a file");
  const struct {
    const char* why;
    const char* user;
    const char* name;
  } rows[] = {
      {"a name", "J\xC3\xBCrgen O'Neil", "J\xC3\xBCrgen O'Neil"},
      {"no name", "", "unknown"},
      {"a file is in its place", "taken", "unknown"},
      {"a way out of the folder", "..", "unknown"},
      {"more than one component", "a/b", "unknown"},
  };
  for (const auto& row : rows) {
    const auto made = ModUserFolder::Ensure(folder.path(), row.user);
    EXPECT_EQ(made, folder / row.name) << row.why;
    EXPECT_TRUE(ModFiles::IsFolder(made)) << row.why;
  }
  EXPECT_EQ(ModUserFolder::Ensure(folder / "nowhere", "x"), folder / "nowhere/unknown");
  EXPECT_FALSE(ModFiles::IsFolder(folder / "nowhere/unknown"));
}

TEST(UserTest, HasANameThatFitsAFolder) {
  const std::string name = ModUser::Name();
  EXPECT_LE(name.size(), 24u * 4);
  EXPECT_EQ(ModFiles::LastName(name), name);
}

}  // namespace
}  // namespace vespro
