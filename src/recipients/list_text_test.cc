#include "recipients/list_text.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

TEST(ListTextTest, WhateverTheListWasSavedAs) {
  EXPECT_EQ(ListText("plain"), "plain");
  EXPECT_EQ(ListText("J\xC3\xBCrgen \xF0\x9F\x98\x80"), "J\xC3\xBCrgen \xF0\x9F\x98\x80");
  // The tests run where the code page is UTF-8 or Windows-1252: a spreadsheet's bytes read alike.
  EXPECT_EQ(ListText("J\xFCrgen \x80"), "J\xC3\xBCrgen \xE2\x82\xAC");
}

}  // namespace
}  // namespace vespro
