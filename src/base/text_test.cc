#include "base/text.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

TEST(TextTest, TrimTakesBlanksOnly) {
  EXPECT_EQ(ModText::Trim("  a b  "), "a b");
  EXPECT_EQ(ModText::Trim("\ta "), "\ta");
  EXPECT_EQ(ModText::Trim("   "), "");
}

TEST(TextTest, SplitKeepsEmptyPieces) {
  using Pieces = std::vector<std::string_view>;
  EXPECT_EQ(ModText::Split("", ','), Pieces{});
  EXPECT_EQ(ModText::Split(",a,,b,", ','), (Pieces{"", "a", "", "b", ""}));
}

TEST(TextTest, LeadingNumbers) {
  const struct {
    const char* text;
    double number;
    std::int16_t rounded;
  } rows[] = {
      {"", 0, 0},         {"abc", 0, 0},           {"12abc", 12, 12},
      {"  7", 7, 7},      {"-3", -3, -3},          {"+4", 4, 4},
      {"2.5", 2.5, 2},    {"3.5", 3.5, 4},         {"-2.5", -2.5, -2},
      {"-3.5", -3.5, -4}, {"9.0.0.3821", 9, 9},    {".5", 0.5, 0},
      {"1e9", 1, 1},      {"99999", 99999, 32767}, {"-99999", -99999, -32768},
      {"-", 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_DOUBLE_EQ(ModText::LeadingNumber(row.text), row.number) << row.text;
    EXPECT_EQ(ModText::LeadingInt16(row.text), row.rounded) << row.text;
  }
}

TEST(TextTest, ParseUnsignedWantsTheWholeText) {
  std::uint64_t value = 0;
  EXPECT_TRUE(ModText::ParseUnsigned("65535", 65535, &value));
  EXPECT_EQ(value, 65535U);
  for (const char* bad : {"", "65536", "1 ", " 1", "-1", "+1", "1x", "99999999999999999999"}) {
    EXPECT_FALSE(ModText::ParseUnsigned(bad, 65535, &value)) << bad;
  }
}

TEST(TextTest, Utf8IsStrict) {
  for (const char* good : {"", "a", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
    EXPECT_TRUE(ModText::IsUtf8(good)) << good;
  }
  for (const char* bad : {"\xFC", "\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80",
                          "\xF4\x90\x80\x80", "\xC3", "\xE2\x82", "\x80"}) {
    EXPECT_FALSE(ModText::IsUtf8(bad)) << bad;
  }
}

TEST(TextTest, SearchAndReplace) {
  EXPECT_EQ(ModText::ReplaceAll("a\\b\\\\c", "\\", "/"), "a/b//c");
  EXPECT_EQ(ModText::ReplaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(ModText::FindIgnoringAsciiCase("x<TITLE>", "<title>"), 1U);
  EXPECT_EQ(ModText::FindIgnoringAsciiCase("x", "<title>"), std::string::npos);
}

TEST(TextTest, HtmlEscapesThereAndBack) {
  const std::string text = "<a href=\"x\">O'Neil & Co &lt;</a>";
  EXPECT_EQ(ModText::EscapeHtml("<&>\"'"), "&lt;&amp;&gt;&quot;&#39;");
  EXPECT_EQ(ModText::UnescapeHtml(ModText::EscapeHtml(text)), text);
  EXPECT_EQ(ModText::UnescapeHtml("&nbsp;&"), "&nbsp;&");
}

TEST(TextTest, PrintableCutsAtACharacter) {
  EXPECT_EQ(ModText::Printable("a\r\nb\x7F"), "a??b?");
  EXPECT_EQ(ModText::Printable("\xC2\x9B[1m\xE2\x80\xAE\xE2\x81\xA6\xE2\x82\xAC\xC2"),
            "?[1m??\xE2\x82\xAC?");
  EXPECT_EQ(ModText::Printable("ab\xC3\xBC", 3), "ab...");
  EXPECT_EQ(ModText::Printable("ab\xC3\xBC", 4), "ab\xC3\xBC");
}

}  // namespace
}  // namespace vespro
