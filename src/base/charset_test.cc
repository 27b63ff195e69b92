#include "base/charset.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace vespro {
namespace {

TEST(CharsetTest, ReadsWhatMailNames) {
  const struct {
    std::string bytes;
    const char* charset;
    std::string text;
  } rows[] = {
      {"Gr\xFC\xDF"
       "e \x80",
       "windows-1252",
       "Gr\xC3\xBC\xC3\x9F"
       "e \xE2\x82\xAC"},
      {"Gr\xFC\xDF"
       "e \x80",
       "ISO-8859-1",
       "Gr\xC3\xBC\xC3\x9F"
       "e \xE2\x82\xAC"},
      {"\xA4", " iso-8859-15 ", "\xE2\x82\xAC"},
      {"\xB3", "ISO-8859-2", "\xC5\x82"},
      {"\xCF\xF0\xE8", "windows-1251", "\xD0\x9F\xD1\x80\xD0\xB8"},
      {"\xF0\xD2\xC9", "KOI8-R", "\xD0\x9F\xD1\x80\xD0\xB8"},
      {"\x93\xFA\x96\x7B", "Shift_JIS", "\xE6\x97\xA5\xE6\x9C\xAC"},
      {"\xD6\xD0", "gb2312", "\xE4\xB8\xAD"},
      {std::string("\xFF\xFE"
                   "A\0\x3D\xD8\x00\xDE",
                   8),
       "utf-16", "A\xF0\x9F\x98\x80"},
      {std::string("\0A\xD8\x3D", 4), "utf-16", "A\xEF\xBF\xBD"},
      {"\xEF\xBB\xBFz", "utf-8", "z"},
      {"a\xC3\xBC\xFF"
       "b\xC3",
       "utf-8",
       "a\xC3\xBC\xEF\xBF\xBD"
       "b\xEF\xBF\xBD"},
      {"\xC3\xBC", "us-ascii", "\xC3\xBC"},
      {"\xFC", "x-no-such-charset", "\xC3\xBC"},
      {"\xC3\xBC", "../../etc/passwd", "\xC3\xBC"},
      {"", "koi8-r", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModCharset::ToUtf8(row.bytes, row.charset), row.text) << row.charset;
  }
}

// Whatever the bytes and the label, what comes out is UTF-8.
TEST(CharsetTest, AlwaysGivesUtf8) {
  std::string bytes;
  for (unsigned i = 0; i < 5000; ++i) bytes += static_cast<char>((i * 2654435761U) >> 13 & 0xFF);
  for (const char* charset : {"utf-8", "utf-16", "utf-16le", "windows-1252", "shift_jis", "euc-jp",
                              "iso-2022-jp", "gb18030", "big5", "euc-kr", "utf-7", "koi8-u", "?"}) {
    const std::string text = ModCharset::ToUtf8(bytes, charset);
    EXPECT_TRUE(ModText::IsUtf8(text)) << charset;
    EXPECT_GT(text.size(), bytes.size() / 2) << charset;
  }
}

}  // namespace
}  // namespace vespro
