#include "base/code_page.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

std::string Lower(std::string text) {
  std::string ansi = ModCodePage::FromUtf8(text);
  ModCodePage::LowerInPlace(ansi);
  return ModCodePage::ToUtf8(ansi);
}

std::string Upper(std::string text) {
  std::string ansi = ModCodePage::FromUtf8(text);
  ModCodePage::UpperInPlace(ansi);
  return ModCodePage::ToUtf8(ansi);
}

// The letters of these are in every code page that the tests run in: UTF-8 and Windows-1252.
TEST(CodePageTest, CaseFollowsTheCodePage) {
  EXPECT_EQ(Lower("M\xC3\x9CLLER@X.De"), "m\xC3\xBCller@x.de");
  EXPECT_EQ(Upper("m\xC3\xBCller"), "M\xC3\x9CLLER");
  EXPECT_EQ(Lower("ABC[\\]_`xyz{"), "abc[\\]_`xyz{");
}

TEST(CodePageTest, ConvertsThereAndBack) {
  const std::string text =
      "Gr\xC3\xBC\xC3\x9F"
      "e, \xE2\x82\xAC";
  EXPECT_EQ(ModCodePage::ToUtf8(ModCodePage::FromUtf8(text)), text);
  EXPECT_TRUE(ModCodePage::CanHold(text));
}

TEST(CodePageTest, BadBytesNeverFail) {
  std::string cut = "ABC\xC3";
  ModCodePage::LowerInPlace(cut);
  EXPECT_EQ(cut.substr(0, 3), "abc");
  for (int byte = 0x80; byte < 0x100; ++byte) {
    std::string ansi = "A" + std::string(1, static_cast<char>(byte)) + "B";
    ModCodePage::LowerInPlace(ansi);
    EXPECT_EQ(ansi.front(), 'a') << byte;
    EXPECT_EQ(ansi.back(), 'b') << byte;
    EXPECT_FALSE(ModCodePage::ToUtf8(ansi).empty());
  }
}

}  // namespace
}  // namespace vespro
