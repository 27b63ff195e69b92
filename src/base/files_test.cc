#include "base/files.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

TEST(FilesTest, ReplacesWholeOrNotAtAll) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("a.txt", "old");
  {
    Result<AtomicFile> file = AtomicFile::Create(path);
    ASSERT_TRUE(file.ok());
    ASSERT_TRUE(file->Write(std::string(1000000, 'x')).ok());
    EXPECT_EQ(folder.Read("a.txt"), "old");
  }
  EXPECT_EQ(folder.Read("a.txt"), "old");
  EXPECT_EQ(folder.Count(), 1);
  ASSERT_TRUE(ModFiles::ReplaceWith(path, "new").ok());
  EXPECT_EQ(folder.Read("a.txt"), "new");
  EXPECT_EQ(folder.Count(), 1);
}

TEST(FilesTest, FailuresNameTheFileAndItsKind) {
  TemporaryFolder folder;
  const struct {
    Status status;
    Code code;
  } rows[] = {
      {ModFiles::ReadAll(folder / "missing.txt").status(), Code::kNotFound},
      {ModFiles::ReadAll(folder.path()).status(), Code::kBadInput},
      {ModFiles::ReadAll(folder.Write("big", "12345"), 4).status(), Code::kBadInput},
      {ModFiles::ReplaceWith(folder.path(), "x"), Code::kCannotWrite},
      {ModFiles::ReplaceWith(folder / "no such folder/a.txt", "x"), Code::kCannotWrite},
      {ModFiles::MakeFolders(folder / "big/below"), Code::kCannotWrite},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.status.code(), row.code) << row.status.text();
    EXPECT_NE(row.status.text().find(ModFiles::ToUtf8(folder.path())), std::string::npos)
        << row.status.text();
  }
}

TEST(FilesTest, EnsureFolder) {
  TemporaryFolder folder;
  EXPECT_FALSE(ModFiles::EnsureFolder(""));
  EXPECT_TRUE(ModFiles::EnsureFolder(folder / "a"));
  EXPECT_TRUE(ModFiles::EnsureFolder(folder / "a"));
  EXPECT_FALSE(ModFiles::EnsureFolder(folder / "b/c"));
  folder.Write("file", "");
  EXPECT_FALSE(ModFiles::EnsureFolder(folder / "file"));
  EXPECT_TRUE(ModFiles::MakeFolders(folder / "b/c/d").ok());
  EXPECT_TRUE(ModFiles::Remove(folder / "b").ok());
  EXPECT_TRUE(ModFiles::Remove(folder / "b").ok());
  EXPECT_FALSE(ModFiles::IsFolder(folder / "b"));
}

TEST(FilesTest, EntriesAndWhenTheyWereMade) {
  TemporaryFolder folder;
  const auto before = std::chrono::system_clock::now() - std::chrono::seconds(10);
  const ModFiles::Entry file = ModFiles::EntryAt(folder.Write("file", ""));
  const ModFiles::Entry made = ModFiles::EntryAt(folder.path());
  const ModFiles::Entry missing = ModFiles::EntryAt(folder / "missing");
  EXPECT_TRUE(file.is_file && !file.is_folder);
  EXPECT_TRUE(made.is_folder && !made.is_file);
  EXPECT_TRUE(!missing.is_file && !missing.is_folder && !missing.created);
  for (const ModFiles::Entry& entry : {file, made}) {
    if (!entry.created.has_value()) continue;  // this file system does not tell
    EXPECT_GT(*entry.created, before);
    EXPECT_LT(*entry.created, before + std::chrono::minutes(2));
  }
}

TEST(FilesTest, TheLockIsForOneAtATime) {
  TemporaryFolder folder;
  {
    Result<FileLock> first = FileLock::Take(folder / "lock", FileLock::Wait::kNo);
    ASSERT_TRUE(first.ok()) << first.status().text();
    EXPECT_EQ(FileLock::Take(folder / "lock", FileLock::Wait::kNo).status().code(),
              Code::kResumable);
  }
  EXPECT_TRUE(FileLock::Take(folder / "lock", FileLock::Wait::kNo).ok());
}

TEST(FilesTest, ALockedFileIsForOneWriterAndAllReaders) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("log", "a");
  {
    Result<File> file = File::OpenLocked(path);
    ASSERT_TRUE(file.ok()) << file.status().text();
    ASSERT_TRUE(file->Write("b").ok());
    EXPECT_EQ(File::OpenLocked(path).status().code(), Code::kResumable);
    EXPECT_EQ(folder.Read("log"), "ab");
  }
  Result<File> next = File::OpenLocked(path);
  ASSERT_TRUE(next.ok());
  ASSERT_TRUE(next->Write("c").ok());
  EXPECT_EQ(folder.Read("log"), "abc") << "nothing was emptied";
  EXPECT_EQ(FileLock::TakeFolder(folder / "nowhere").status().code(), Code::kNotFound);
}

TEST(FilesTest, AppendsAfterTheEnd) {
  TemporaryFolder folder;
  const fs::path path = folder.Write("log", "a");
  Result<File> file = File::Open(path, File::Mode::kAppend);
  ASSERT_TRUE(file.ok());
  ASSERT_TRUE(file->Write("b").ok());
  ASSERT_TRUE(file->Sync().ok());
  ASSERT_TRUE(file->Close().ok());
  EXPECT_EQ(folder.Read("log"), "ab");
}

}  // namespace
}  // namespace vespro
