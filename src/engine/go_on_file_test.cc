#include "engine/go_on_file.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/testing.h"

namespace vespro::engine {
namespace {

TEST(GoOnFileTest, NoNameOfAFolderSpoilsTheScripts) {
  const std::string below = ModGoOnFile::WindowsScript(
      "/apps/100% Müller/ann/session/2511260000001", "/apps/100% Müller/vespro-cli.exe");
  // Nothing in it but ASCII, whatever the folders are called.
  EXPECT_NE(below.find("\r\n\"%~dp0..\\..\\..\\vespro-cli.exe\" run --window \"%~dp0.\"\r\n"),
            std::string::npos)
      << below;
  const std::string elsewhere = ModGoOnFile::WindowsScript(
      "/jobs/1", ModFiles::FromUtf8("/apps/100% M\xC3\xBCller & Co/vespro-cli.exe"));
  EXPECT_NE(elsewhere.find("chcp 65001 >nul\r\n"
                           "\"\\apps\\100%% M\xC3\xBCller & Co\\vespro-cli.exe\" run "),
            std::string::npos)
      << elsewhere;
  EXPECT_EQ(below.find("chcp"), std::string::npos);

  const std::string shell =
      ModGoOnFile::ShellScript("/home/o'hara/$(touch x)\n`id`", "/opt/\"v\"/vespro");
  EXPECT_NE(
      shell.find("\nprogram='/opt/\"v\"/vespro'\nsession='/home/o'\\''hara/$(touch x)\n`id`'\n"),
      std::string::npos)
      << shell;
}

TEST(GoOnFileTest, IsForTheUserAloneAndCanBeRun) {
  const TemporaryFolder folder;
  for (int times = 0; times < 2; ++times) {
    const Status written = ModGoOnFile::Write(folder.path());
    ASSERT_TRUE(written.ok()) << written.text();
  }
  EXPECT_TRUE(ModGoOnFile::IsThere(folder.path()));
  const auto rights = std::filesystem::status(ModGoOnFile::PathIn(folder.path())).permissions();
  EXPECT_NE(rights & std::filesystem::perms::owner_exec, std::filesystem::perms::none);
  ASSERT_TRUE(ModGoOnFile::Remove(folder.path()).ok());
  EXPECT_EQ(folder.Count(), 0);
}

}  // namespace
}  // namespace vespro::engine
