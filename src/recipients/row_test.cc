#include "recipients/row.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

using ModRow::Found;

TEST(RowTest, Address) {
  const ListKind text = ListKind::kText;
  const ListKind csv = ListKind::kCsv;
  const struct {
    std::string_view line;
    ListKind kind;
    std::int16_t column;
    Found found;
    std::string_view address;
  } rows[] = {
      {" Ann@Example.ORG  ", text, 0, Found::kAddress, "ann@example.org"},
      {"\"a@b\",'c'", text, 0, Found::kAddress, "\"a@b\",'c'"},
      {"\ta@b\t", text, 0, Found::kAddress, "\ta@b\t"},  // a tab is no blank
      {"   ", text, 0, Found::kEmpty, ""},
      {"Ann,\" Ann@B.org ' ',x", csv, 1, Found::kAddress, "ann@b.org"},
      {"O'Brien@b.org", csv, 0, Found::kAddress, "obrien@b.org"},
      {"\"Doe, John\",j@b.org", csv, 1, Found::kAddress, "john"},  // commas in quotes separate too
      {"a,b,c", csv, 2, Found::kAddress, "c"},
      {"a,b,", csv, 2, Found::kEmpty, ""},
      {"a,\"' '\"", csv, 1, Found::kEmpty, ""},
      {"a,b", csv, 2, Found::kShortRow, ""},
      {"a,b", csv, -1, Found::kShortRow, ""},
      {"", csv, 2, Found::kEmpty, ""},  // merged lists have blank lines between them
      {"  ", csv, 2, Found::kEmpty, ""},
  };
  std::string address = "left over";
  for (const auto& row : rows) {
    EXPECT_EQ(ModRow::AddressOf(row.line, row.kind, row.column, address), row.found) << row.line;
    EXPECT_EQ(address, row.address) << row.line;
  }
}

TEST(RowTest, WhatLooksLikeAnAddress) {
  for (const std::string_view address : {"a@b", "a@b@c", "@a@b", "\xC3\xBC'x@b.org"}) {
    EXPECT_TRUE(ModRow::LooksLikeAddress(address)) << address;
  }
  for (const std::string_view other : {"", "@", "a@", "@b", "a@@", "flat 2\"", "ab.org",
                                       "a b@c.org", "a@b.org;c@d.org", "<a@b.org>", "a@b.org\n"}) {
    EXPECT_FALSE(ModRow::LooksLikeAddress(other)) << other;
  }
}

TEST(RowTest, LettersBeyondAscii) {
  std::string address;
  ASSERT_EQ(ModRow::AddressOf("M\xC3\x9CLLER@B.org", ListKind::kText, 0, address), Found::kAddress);
  EXPECT_EQ(address, "m\xC3\xBCller@b.org");
  // A capital with more bytes than its small letter.
  ASSERT_EQ(ModRow::AddressOf("\xE1\xBA\x9E@B.org", ListKind::kText, 0, address), Found::kAddress);
  EXPECT_TRUE(address == "\xC3\x9F@b.org" || address == "\xE1\xBA\x9E@b.org") << address;
  // No UTF-8 at all: the ASCII letters at least.
  ASSERT_EQ(ModRow::AddressOf("X\xFF\x81Y", ListKind::kText, 0, address), Found::kAddress);
  EXPECT_EQ(address.front(), 'x');
  EXPECT_EQ(address.back(), 'y');
  // Each field by itself: a wrong byte in one does not tear the letters of the others.
  std::string row = "\xC3\x9FM@B,,X\xFF,\xC3\x9FM@B";
  ModRow::LowerRow(row, ListKind::kCsv);
  EXPECT_TRUE(row.starts_with("\xC3\x9Fm@b,,x")) << row;
  EXPECT_TRUE(row.ends_with(",\xC3\x9Fm@b")) << row;
}

TEST(RowTest, ByteOrderMark) {
  EXPECT_EQ(ModRow::StripByteOrderMark("\xEF\xBB\xBFName"), "Name");
  EXPECT_EQ(ModRow::StripByteOrderMark("\xEF\xBB"), "\xEF\xBB");
}

}  // namespace
}  // namespace vespro
