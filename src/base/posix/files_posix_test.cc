#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "base/files.h"
#include "base/testing.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

mode_t ModeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0);
  return info.st_mode & 07777;
}

TEST(FilesPosixTest, ReplacingKeepsPermissionsAndFollowsLinks) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("list.txt", "old");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  fs::create_symlink("list.txt", folder / "link");
  ASSERT_TRUE(ModFiles::ReplaceWith(folder / "link", "new").ok());
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(folder.Read("list.txt"), "new");
  EXPECT_EQ(ModeOf(path), 0640U);
}

TEST(FilesPosixTest, TheTimeOfMakingIsKnownWhereTheFileSystemTells) {
  TemporaryFolder folder;
  struct statx facts {};
  ASSERT_EQ(statx(AT_FDCWD, folder.path().c_str(), 0, STATX_BTIME, &facts), 0);
  EXPECT_EQ(ModFiles::EntryAt(folder.path()).created.has_value(),
            (facts.stx_mask & STATX_BTIME) != 0);
}

TEST(FilesPosixTest, ALinkIsNoEntryOfItsTargetsKind) {
  TemporaryFolder folder;
  folder.Write("file", "");
  fs::create_symlink("file", folder / "link");
  fs::create_directory_symlink(".", folder / "folder link");
  for (const char* name : {"link", "folder link"}) {
    const ModFiles::Entry entry = ModFiles::EntryAt(folder / name);
    EXPECT_FALSE(entry.is_file || entry.is_folder) << name;
  }
}

TEST(FilesPosixTest, ReplacingKeepsWhoElseMayRead) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("list.txt", "old");
  // user::rw- user:65534:r-- group::--- mask::rw- other::---, as acl(5) and the kernel's
  // posix_acl_xattr.h lay it out.
  const unsigned char list[] = {2, 0,   0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                0, 254, 255, 0,   0,   4,   0,  0, 0,   255, 255, 255, 255, 16, 0,
                                6, 0,   255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
  constexpr const char* kName = "system.posix_acl_access";
  if (setxattr(path.c_str(), kName, list, sizeof list, 0) != 0) {
    GTEST_SKIP() << "this file system has no access lists";
  }
  ASSERT_TRUE(ModFiles::ReplaceWith(path, "new").ok());
  unsigned char kept[sizeof list] = {};
  ASSERT_EQ(getxattr(path.c_str(), kName, kept, sizeof kept), ssize_t{sizeof list});
  EXPECT_TRUE(std::equal(std::begin(list), std::end(list), kept));
}

TEST(FilesPosixTest, AFolderIsLockedWhateverBecomesOfItsFiles) {
  TemporaryFolder folder;
  const fs::path inner = folder / "session";
  ASSERT_TRUE(ModFiles::EnsureFolder(inner));
  {
    const Result<FileLock> first = FileLock::TakeFolder(inner);
    ASSERT_TRUE(first.ok()) << first.status().text();
    ASSERT_TRUE(ModFiles::Rename(inner, folder / "renamed").ok());
    EXPECT_EQ(FileLock::TakeFolder(folder / "renamed").status().code(), Code::kResumable);
  }
  EXPECT_TRUE(FileLock::TakeFolder(folder / "renamed").ok());
}

TEST(FilesPosixTest, AProtectedFileIsNotReplaced) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("list.txt", "old");
  // Nothing is protected from root, so somebody else tries.
  constexpr uid_t kNobody = 65534;
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(chown(folder.path().c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(seteuid(kNobody), 0);
  }
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const Status refused = ModFiles::ReplaceWith(path, "new");
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  const Status replaced = ModFiles::ReplaceWith(path, "newer");
  ASSERT_TRUE(!root || seteuid(0) == 0);
  EXPECT_EQ(refused.code(), Code::kCannotWrite);
  EXPECT_NE(refused.text().find("list.txt"), std::string::npos) << refused.text();
  EXPECT_TRUE(replaced.ok()) << replaced.text();
  EXPECT_EQ(folder.Count(), 1);
}

TEST(FilesPosixTest, PrivateFilesAreForTheUserAlone) {
  TemporaryFolder folder;
  ASSERT_TRUE(ModFiles::ReplaceWith(folder / "secret", "x", Access::kPrivate).ok());
  EXPECT_EQ(ModeOf(folder / "secret"), 0600U);
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "data"));
  EXPECT_EQ(ModeOf(folder / "data"), 0700U);
}

// /dev/full takes no byte, as a full disk does.
TEST(FilesPosixTest, AFullDiskIsAFailure) {
  Result<File> file = File::Open("/dev/full", File::Mode::kAppend);
  ASSERT_TRUE(file.ok());
  const Status status = file->Write("x");
  EXPECT_EQ(status.code(), Code::kCannotWrite);
  EXPECT_NE(status.text().find("No space left"), std::string::npos) << status.text();
}

TEST(FilesPosixTest, DevicesAndPipesAreNoFiles) {
  TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const fs::path& path : {fs::path("/dev/zero"), folder / "pipe"}) {
    EXPECT_EQ(ModFiles::ReadAll(path).status().code(), Code::kBadInput) << path;
  }
}

TEST(FilesPosixTest, APathInAnotherCaseIsAnotherOne) {
  EXPECT_NE(ModFiles::PathKey("/a.txt"), ModFiles::PathKey("/A.txt"));
}

}  // namespace
}  // namespace vespro
