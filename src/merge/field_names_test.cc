#include "merge/field_names.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

using ModMailMerge::FieldName;

TEST(FieldNamesTest, NameOfACell) {
  const struct {
    std::string_view cell, name;
  } rows[] = {
      {"e-mail", "E-MAIL"},
      {" First Name", "FIRST_NAME"},
      {"'City'", "CITY"},
      {"\" O'Hare \"", "OHARE"},  // trimmed once the quotes are gone
      {"a\tb", "A_B"},
      {"\tx", "_X"},  // a tab is no blank
      {"Gr\xC3\xB6sse", "GR\xC3\x96SSE"},
      {"Gr\xF6sse", "GR\xC3\x96SSE"},  // as a spreadsheet saves it
      {"\xE2\x82\xAC \xE8\xAA\x9E", "\xE2\x82\xAC_\xE8\xAA\x9E"},
      {"", ""},
      {" \"' '\" ", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(ModMailMerge::FieldNameOf(row.cell), row.name) << row.cell;
}

TEST(FieldNamesTest, ColumnsKeepTheirPlace) {
  const std::vector<FieldName> names = {{0, "NAME"}, {2, "MAIL"}, {3, "NAME"}};
  EXPECT_EQ(ModMailMerge::FieldNames("\xEF\xBB\xBFName,,\"Mail\",name, "), names);
  EXPECT_TRUE(ModMailMerge::FieldNames("").empty());
  EXPECT_TRUE(ModMailMerge::FieldNames(" , ").empty());
}

}  // namespace
}  // namespace vespro
