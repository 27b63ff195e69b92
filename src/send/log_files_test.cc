#include "send/log_files.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

class LogFilesTest : public testing::Test {
 protected:
  bool Write(const char* name) {
    fs::create_directories((folder_ / name).parent_path());
    return !folder_.Write(name, "x").empty();
  }
  bool IsEmpty() { return fs::is_directory(sessions_) && fs::is_empty(sessions_); }

  TemporaryFolder folder_;
  const fs::path sessions_ = folder_ / "session";
};

TEST_F(LogFilesTest, EverythingBelowGoesAndNothingElse) {
  EXPECT_TRUE(ModLogFiles::DeleteAll(folder_.path()).ok());
  EXPECT_TRUE(IsEmpty()) << "made, where there was none";

  for (const char* name : {"session/1/Vespro.cfg", "session/1/journal.lock", "session/1/a/b/c.txt",
                           "session/2/report.html", "session/index", "Vespro.db", "other/1/kept"}) {
    ASSERT_TRUE(Write(name));
  }
  fs::create_directories(sessions_ / "3");
  std::error_code error;
  fs::create_directory_symlink(folder_ / "other", sessions_ / "link", error);
  fs::create_directory_symlink(folder_ / "other", sessions_ / "2" / "link", error);
  fs::create_symlink(folder_ / "Vespro.db", sessions_ / "1" / "db.lock", error);
  const Status deleted = ModLogFiles::DeleteAll(folder_.path());
  EXPECT_TRUE(deleted.ok()) << deleted.text();
  EXPECT_TRUE(IsEmpty());
  EXPECT_TRUE(fs::exists(folder_ / "Vespro.db"));
  EXPECT_TRUE(fs::exists(folder_ / "other/1/kept"));
}

TEST_F(LogFilesTest, ASessionWhoseJobIsBeingSentStays) {
  ASSERT_TRUE(Write("session/1/Vespro.cfg"));
  ASSERT_TRUE(Write("session/1/journal.lock"));
  {
    const Result<FileLock> engine =
        FileLock::Take(sessions_ / "1" / "journal.lock", FileLock::Wait::kNo);
    ASSERT_TRUE(engine.ok());
    const Status deleted = ModLogFiles::DeleteAll(folder_.path());
    EXPECT_EQ(deleted.code(), Code::kResumable);
    EXPECT_NE(deleted.text().find("its job is being sent"), std::string::npos) << deleted.text();
    EXPECT_TRUE(fs::exists(sessions_ / "1" / "Vespro.cfg"));
  }
  EXPECT_TRUE(ModLogFiles::DeleteAll(folder_.path()).ok());
  EXPECT_TRUE(IsEmpty());
}

TEST_F(LogFilesTest, WhatIsReadOnlyIsNotForced) {
  ASSERT_TRUE(Write("session/1/report.html"));
  const fs::path report = sessions_ / "1" / "report.html";
  fs::permissions(report, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  const Status deleted = ModLogFiles::DeleteAll(folder_.path());
  EXPECT_EQ(deleted.code(), Code::kCannotWrite);
  EXPECT_NE(deleted.text().find("report.html': it is read-only"), std::string::npos)
      << deleted.text();
  EXPECT_TRUE(fs::exists(report));
  fs::permissions(report, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(LogFilesTest, AFileInTheFoldersPlaceIsAFailure) {
  ASSERT_TRUE(Write("session"));
  EXPECT_EQ(ModLogFiles::DeleteAll(folder_.path()).code(), Code::kCannotWrite);
  EXPECT_TRUE(fs::is_regular_file(sessions_));
}

}  // namespace
}  // namespace vespro
