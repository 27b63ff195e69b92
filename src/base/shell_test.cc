#include "base/shell.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLong{60'000};

// The first is known to one shell, in whose place it is and to which the rest is a comment, the
// second to the other. None starts a program: under Wine one whose parent is killed meanwhile
// hangs.
constexpr const char* kEndless = "exec sleep 60 # || for /L %i in (1,0,2) do @rem";

TEST(ShellTest, GivesTheFirstLineOrSaysWhyNot) {
  const std::atomic<bool> go{false};
  const struct {
    const char* command;
    const char* line;  // or the failure's text
    Code code;
  } cases[] = {
      {"echo secret", "secret", Code::kOk},
      {"echo one&& echo two", "one", Code::kOk},
      {"echo secret&& exit 3", "it ended with status 3", Code::kUnavailable},
      {"exit 0", "it wrote nothing", Code::kUnavailable},
      {"echo \"a b\"", nullptr, Code::kOk},  // the shells differ in what they leave of the quotes
  };
  for (const auto& one : cases) {
    const Result<std::string> line = ModShell::RunForFirstLine(one.command, kLong, go);
    ASSERT_EQ(line.ok() ? Code::kOk : line.status().code(), one.code) << one.command;
    if (one.line != nullptr) {
      EXPECT_EQ(line.ok() ? line.value() : line.status().text(), one.line) << one.command;
    } else {
      EXPECT_NE(line.value().find("a b"), std::string::npos);
    }
  }
}

TEST(ShellTest, EndsWhatTakesTooLongOrIsNotWantedAnyMore) {
  std::atomic<bool> stop{false};
  EXPECT_EQ(ModShell::RunForFirstLine(kEndless, milliseconds(50), stop).status().code(),
            Code::kTimedOut);
  stop = true;
  EXPECT_EQ(ModShell::RunForFirstLine(kEndless, kLong, stop).status().code(), Code::kCancelled);
}

}  // namespace
}  // namespace vespro
