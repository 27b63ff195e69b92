#include "engine/smtp/secret_scanner.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

TEST(SecretScannerTest, FindsWhatRepeatsASecret) {
  const SecretScanner scanner({"correct horse battery staple", "s3cret", "abc", ""});
  const struct {
    const char* text;
    bool found;
  } rows[] = {{"5.7.8 no such user", false},
              {"bad password: correct horse battery staple", true},
              {"over two lines: correcthorsebat\nterystaple", true},
              {"cut off: ect horse batter", true},
              {"a word of it: horse", false},
              {"s3cret", true},
              {"s3-cret", false},
              {"s3c ret", true},
              {"too short to be one: abc", false},
              {"", false}};
  for (const auto& row : rows) EXPECT_EQ(scanner.FoundIn(row.text), row.found) << row.text;
  EXPECT_FALSE(SecretScanner().FoundIn("anything"));
  EXPECT_FALSE(SecretScanner({"abc"}).FoundIn("abc"));
}

}  // namespace
}  // namespace vespro::engine
