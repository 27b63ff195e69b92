#include <windows.h>
// After windows.h, on which it depends.
#include <aclapi.h>
#include <sddl.h>

#include <string>

#include "base/files.h"
#include "base/testing.h"
#include "base/win32/system_programs.h"

namespace vespro {
namespace {

// Who may do what with the file, as the system writes it; empty when it can't be told.
std::wstring AccessList(const std::filesystem::path& path) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                            nullptr, nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
    return {};
  }
  std::wstring text;
  wchar_t* words = nullptr;
  if (ConvertSecurityDescriptorToStringSecurityDescriptorW(
          descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &words, nullptr)) {
    text = words;
    LocalFree(words);
  }
  LocalFree(descriptor);
  return text;
}

bool SetAccessList(const std::filesystem::path& path, const wchar_t* words) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(words, SDDL_REVISION_1, &descriptor,
                                                            nullptr)) {
    return false;
  }
  const bool done = SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor) != 0;
  LocalFree(descriptor);
  return done;
}

TEST(FilesWin32Test, AReplacedFileKeepsItsAccessListAndAttributes) {
  TemporaryFolder folder;
  const std::filesystem::path file = folder.Write("list.txt", "old");
  const std::wstring usual = AccessList(file);
  ASSERT_TRUE(SetAccessList(file, L"D:P(A;;FA;;;WD)"));
  ASSERT_TRUE(ModFiles::SetHidden(file).ok());
  const std::wstring own = AccessList(file);
  ASSERT_NE(own, usual) << "this system keeps no access lists";
  const Status replaced = ModFiles::ReplaceWith(file, "new");
  ASSERT_TRUE(replaced.ok()) << replaced.text();
  EXPECT_EQ(folder.Read("list.txt"), "new");
  EXPECT_EQ(AccessList(file), own);
  EXPECT_EQ(GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_HIDDEN, DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST(FilesWin32Test, APathIsTheSameInEitherCase) {
  EXPECT_EQ(ModFiles::PathKey("C:\\Lists\\M\xC3\xBCller.txt"),
            ModFiles::PathKey("c:/lists/M\xC3\x9CLLER.TXT"));
  EXPECT_NE(ModFiles::PathKey("C:\\a.txt"), ModFiles::PathKey("C:\\b.txt"));
  EXPECT_EQ(ModFiles::PathKey(""), "");
}

// Those that users start from our windows lie in two folders.
TEST(SystemProgramsTest, AreFoundWhereWindowsKeepsThem) {
  for (const wchar_t* name : {L"notepad.exe", L"hh.exe", L"explorer", L"cmd.exe"}) {
    EXPECT_TRUE(std::filesystem::is_regular_file(ModSystemPrograms::PathOf(name)))
        << ModFiles::ToUtf8(ModSystemPrograms::PathOf(name));
  }
  EXPECT_NE(ModSystemPrograms::PathOf(L"no such.exe").find(L"system32\\no such.exe"),
            std::wstring::npos);
}

TEST(FilesWin32Test, TheTimeOfMakingIsKnown) {
  TemporaryFolder folder;
  EXPECT_TRUE(ModFiles::EntryAt(folder.path()).created.has_value());
}

}  // namespace
}  // namespace vespro
