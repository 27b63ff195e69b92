#include "mime/html_reference.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

TEST(HtmlReferenceTest, ReadsWhatEditorsWrite) {
  const struct {
    std::string_view text;
    std::size_t length;
    char32_t character;
  } rows[] = {
      {"&Auml;rger", 6, 0xC4},
      {"&nbsp;", 6, 0xA0},
      {"&yuml;", 6, 0xFF},
      {"&amp;amp;", 5, '&'},
      {"&#228;", 6, 0xE4},
      {"&#xE4;x", 6, 0xE4},
      {"&#X1F600;", 9, 0x1F600},
      {"&Yuml;", 6, 0x178},
      {"&auml", 0, 0},
      {"&Auml ;", 0, 0},
      {"&;", 0, 0},
      {"&#;", 0, 0},
      {"&#x;", 0, 0},
      {"&#0;", 0, 0},
      {"&#xD800;", 0, 0},
      {"&#1114112;", 0, 0},
      {"&#-5;", 0, 0},
      {"&#99999999999999;", 0, 0},
      {"&nothing;", 0, 0},
      {"x&amp;", 0, 0},
      {"", 0, 0},
  };
  for (const auto& row : rows) {
    char32_t character = 0;
    EXPECT_EQ(ModReference::Read(row.text, character), row.length) << row.text;
    EXPECT_EQ(character, row.character) << row.text;
  }
}

}  // namespace
}  // namespace vespro
