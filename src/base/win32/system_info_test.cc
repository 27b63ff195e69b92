#include "base/win32/system_info.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/testing.h"

namespace vespro {
namespace {

bool Has(const std::vector<std::string>& names, const std::string& wanted) {
  return std::find(names.begin(), names.end(), wanted) != names.end();
}

TEST(SystemInfoTest, FindsItselfAmongWhatRuns) {
  const std::filesystem::path self = ModFiles::ProgramPath();
  EXPECT_TRUE(Has(ModSystemInfo::ProcessPaths(), ModFiles::ToUtf8(self)));
  EXPECT_TRUE(Has(ModSystemInfo::ProcessNames(), ModFiles::ToUtf8(self.filename())));
}

TEST(SystemInfoTest, VersionsOfWindowsAndOfFiles) {
  const ModSystemInfo::WindowsVersion windows = ModSystemInfo::ThisWindows();
  EXPECT_EQ(windows.platform, 2U);
  EXPECT_GE(windows.major, 5U);
  EXPECT_GT(windows.build, 0U);
  TemporaryFolder folder;
  EXPECT_FALSE(ModSystemInfo::VersionOf(folder.Write("no program.exe", "x")).has_value());
  EXPECT_FALSE(ModSystemInfo::VersionOf(folder / "missing.exe").has_value());
}

}  // namespace
}  // namespace vespro
