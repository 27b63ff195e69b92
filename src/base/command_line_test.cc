#include "base/command_line.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/shell.h"

namespace vespro {
namespace {

TEST(CommandLineTest, WordsForTheShellComeBackFromIt) {
  const std::atomic<bool> go{false};
  // Each must reach a program as it is here.
  for (const std::string word :
       {"plain", "/home/ann/session/2411260000001", "two words", "a&b", "$HOME"}) {
    const Result<std::string> echoed = ModShell::RunForFirstLine(
        "echo " + ModCommandLine::ForShell(word), std::chrono::minutes(1), go);
    ASSERT_TRUE(echoed.ok()) << echoed.status().text();
    std::string got = echoed.value();
    if (got == "\"" + word + "\"") got = word;  // the echo of Windows' shell keeps quotes
    EXPECT_EQ(got, word);
  }
}

TEST(CommandLineTest, CommandsNameAProgramThatCanBeFound) {
  const std::string command = ModCommandLine::VesproCommand({"run", "my job"});
  const std::string folder = ModFiles::ToUtf8(ModFiles::ProgramPath().parent_path());
  EXPECT_NE(command.find(folder), std::string::npos) << command;
  EXPECT_TRUE(command.ends_with(" run 'my job'") || command.ends_with(" run \"my job\""))
      << command;
}

}  // namespace
}  // namespace vespro
