#include "settings/user_folder.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/testing.h"

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

}  // namespace
}  // namespace vespro
