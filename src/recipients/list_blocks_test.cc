#include "recipients/list_blocks.h"

#include <gtest/gtest.h>

namespace vespro::ModRecipients {
namespace {

// Bytes that differ from LF by a bit or by one are what a search by words could take for it.
TEST(ListBlocksTest, FindsTheFirstLineEndAmongLookAlikes) {
  for (const char filler : {'x', '\x0B', '\x09', '\x8A', '\x00', '\xFF', '\x0A'}) {
    for (std::size_t length = 0; length < 70; ++length) {
      for (const std::size_t behind : {0U, 1U, 7U, 40U}) {
        const std::string text =
            std::string(length, 'x') + "\n" + std::string(behind, filler) + "\n";
        std::string_view lines = text;
        ASSERT_EQ(TakeLine(lines), std::string(length, 'x')) << int{filler} << " " << behind;
        ASSERT_EQ(lines.size(), behind + 1);
        if (filler == '\n') continue;
        ASSERT_EQ(TakeLine(lines), std::string(behind, filler));
        ASSERT_TRUE(lines.empty());
      }
    }
  }
}

}  // namespace
}  // namespace vespro::ModRecipients
