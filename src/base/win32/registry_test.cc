#include "base/win32/registry.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "base/win32/registry_testing.h"

namespace vespro {
namespace {

constexpr char kKey[] = "Software\\Tandrelix\\VesproTest\\Registry";

class RegistryTest : public testing::Test {
 protected:
  // A value as another program may have left it.
  void WriteRaw(const wchar_t* name, DWORD type, const void* data, DWORD size) {
    ModRegistry::CreateKey(kKey, ModRegistry::Root::kCurrentUser);
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Tandrelix\\VesproTest\\Registry", name,
                              type, data, size),
              ERROR_SUCCESS);
  }
  static ModRegistry::Value Read(const char* name) {
    return ModRegistry::ReadValue(ModRegistry::Root::kCurrentUser, kKey, name);
  }
  static std::int32_t Write(const char* name, const char* value,
                            std::uint32_t type = ModRegistry::kString) {
    return ModRegistry::WriteValue(ModRegistry::Root::kCurrentUser, kKey, name, value, type);
  }
  const TestKey key{"Registry"};
};

TEST_F(RegistryTest, ReadingDoesNotMakeTheKeyAndWritingDoes) {
  EXPECT_EQ(Read("A").status, ModRegistry::kFileNotFound);
  EXPECT_TRUE(ModRegistry::ListValues(ModRegistry::Root::kCurrentUser, kKey).empty());
  EXPECT_EQ(Read("A").status, ModRegistry::kFileNotFound);
  EXPECT_EQ(Write("Report Per Page", "20"), 0);
  EXPECT_EQ(Read("report per page").text, "20");
  EXPECT_EQ(Read("Missing").status, ModRegistry::kFileNotFound);
  EXPECT_EQ(ModRegistry::ListValues(ModRegistry::Root::kCurrentUser, kKey),
            std::vector<std::string>{"Report Per Page"});
}

TEST_F(RegistryTest, TextSurvives) {
  for (const char* text : {"", "x", "M\xC3\xBCller \xE2\x82\xAC \xF0\x9F\x98\x80", "a\\b\"c"}) {
    ASSERT_EQ(Write("T", text), 0);
    EXPECT_EQ(Read("T").text, text);
    EXPECT_EQ(Read("T").status, 0);
  }
}

TEST_F(RegistryTest, ValuesOfOtherPrograms) {
  // After the three letters no NUL: Windows would take it for the forgotten end and write it too.
  WriteRaw(L"Unterminated", REG_SZ, L"abcd", 3 * sizeof(wchar_t));
  EXPECT_EQ(Read("Unterminated").text, "ab");
  const DWORD number = 4294967295U;
  WriteRaw(L"Number", REG_DWORD, &number, sizeof number);
  EXPECT_EQ(Read("Number").text, "-1");
  WriteRaw(L"Binary", REG_BINARY, "xyz", 3);
  EXPECT_EQ(Read("Binary").text, "");
  EXPECT_EQ(Read("Binary").status, -1);
  WriteRaw(L"Odd", REG_SZ, "abc", 3);
  EXPECT_EQ(Read("Odd").text, "");
}

TEST_F(RegistryTest, NumbersAndOtherTypes) {
  EXPECT_EQ(Write("N", "12abc", ModRegistry::kNumber), 0);
  EXPECT_EQ(Read("N").text, "12");
  EXPECT_EQ(Write("B", "x", REG_BINARY), 0);
  EXPECT_EQ(Read("B").status, ModRegistry::kFileNotFound);
}

}  // namespace
}  // namespace vespro
