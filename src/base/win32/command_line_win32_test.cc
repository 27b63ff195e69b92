#include <gtest/gtest.h>

#include "base/win32/command_line_split.h"

namespace vespro {
namespace {

TEST(CommandLineSplitTest, TheProgramMayStandBareWithBlanks) {
  const std::wstring program = L"C:\\The Club\\Vespro.exe";
  using Words = std::vector<std::string>;
  const struct {
    const char* why;
    const wchar_t* line;
    Words words;
  } rows[] = {
      {"as the add-in starts it",
       L"C:/The Club/vespro.exe -s \"C:/a b/Vespro.cfg\" -p \"\"",
       {"C:\\The Club\\Vespro.exe", "-s", "C:/a b/Vespro.cfg", "-p", ""}},
      {"in quotes",
       L"\"C:\\The Club\\Vespro.exe\" -p 20",
       {"C:\\The Club\\Vespro.exe", "-p", "20"}},
      {"nothing behind it", L"C:\\The Club\\Vespro.exe", {"C:\\The Club\\Vespro.exe"}},
      {"by its name", L"Vespro a", {"Vespro", "a"}},
      {"a longer name is another program",
       L"C:\\The Club\\Vespro.exe.old x",
       {"C:\\The", "Club\\Vespro.exe.old", "x"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModCommandLine::Split(row.line, program), row.words) << row.why;
  }
}

}  // namespace
}  // namespace vespro
