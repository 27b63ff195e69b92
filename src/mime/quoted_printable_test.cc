#include "mime/quoted_printable.h"

#include <gtest/gtest.h>

#include "mime/testing.h"

namespace vespro {
namespace {

TEST(QuotedPrintableTest, Encodes) {
  const std::string x75(75, 'x');
  const std::string x76(76, 'x');
  const struct {
    std::string text;
    std::string encoded;
  } rows[] = {
      {"", ""},
      {"a\r\nb\rc\nd", "a\r\nb\r\nc\r\nd"},
      {"a\n\n", "a\r\n\r\n"},
      {"1=1 \xC3\xBC", "1=3D1 =C3=BC"},
      {"blank \ntab\t\n \nend ", "blank=20\r\ntab=09\r\n=20\r\nend=20"},
      {".\n..\nFrom me\nFromage", "=2E\r\n=2E.\r\n=46rom me\r\nFromage"},
      {x76, x76},
      {x76 + "y", x75 + "=\r\nxy"},
      {x76 + "\r\n", x76 + "\r\n"},
      {x75 + ".", x75 + "."},
      {x75 + ".y", x75 + "=\r\n=2Ey"},  // the break would have put the dot at a line's start
      {x75.substr(5) + "\xC3\xBC", x75.substr(5) + "=C3=BC"},
      {x75.substr(4) + "\xC3\xBC", x75.substr(4) + "=\r\n=C3=BC"},  // one character, one line
      {std::string("\0\x1B", 2), "=00=1B"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModQuotedPrintable::Encode(row.text), row.encoded);
}

TEST(QuotedPrintableTest, DecodesWhatOthersWrite) {
  const struct {
    const char* text;
    const char* decoded;
  } rows[] = {
      {"a=\r\nb=\nc", "abc"},
      {"a= \t\r\nb", "ab"},
      {"=c3=bc=C3=BC", "\xC3\xBC\xC3\xBC"},
      {"a  \r\nb\t\nc ", "a\r\nb\nc"},
      {"100% =zz = x", "100% =zz = x"},
      {"=3", "=3"},
      {"=", ""},
      {"raw \xFC", "raw \xFC"},
      {"a\rb", "a\rb"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(ModQuotedPrintable::Decode(row.text), row.decoded) << row.text;
}

TEST(QuotedPrintableTest, RoundTripsWithinTheLines) {
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    TestNumbers numbers(seed);
    std::string text = numbers.Text(numbers.Below(200)) + "\r\n" + numbers.Text(numbers.Below(200));
    if (seed % 3 == 0) {  // bytes that are no UTF-8 must survive as well
      text = numbers.Bytes(500);
      std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    }
    const std::string encoded = ModQuotedPrintable::Encode(text);
    EXPECT_LE(LongestLine(encoded), 76U) << seed;
    EXPECT_EQ(ModQuotedPrintable::Decode(encoded), text) << seed;
  }
}

}  // namespace
}  // namespace vespro
