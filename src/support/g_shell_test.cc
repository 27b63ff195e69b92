#include "support/g_shell.h"

#include <gtest/gtest.h>

#include "host/memory_host.h"

namespace vespro {
namespace {

TEST(GShellTest, ProgramsWithParametersAreHidden) {
  MemoryHost host;
  const struct {
    const char *file, *parameters, *directory;
    int show;
    const char* asked;
  } rows[] = {
      {"notepad.exe", "", "", 1, "Shell open notepad.exe () in () as 1"},
      {"NotePad.eXe", "a.txt", "", 1, "Shell open NotePad.eXe (a.txt) in () as 0"},
      {"notepad.exe", "", "C:\\", 10, "Shell open notepad.exe () in (C:\\) as 0"},
      {"C:\\my.exe.notes\\a.txt", "x", "", 5, "Shell open C:\\my.exe.notes\\a.txt (x) in () as 0"},
      {"a.txt", "x", "C:\\", 7, "Shell open a.txt (x) in (C:\\) as 7"},
      {"https://example.org/", "", "", 10, "Shell open https://example.org/ () in () as 1"},
  };
  for (const auto& row : rows) {
    EXPECT_TRUE(GShell(host, row.file, row.show, row.parameters, row.directory, "open").ok());
    EXPECT_EQ(host.events.back(), row.asked);
  }
}

TEST(GShellTest, ResultsUpTo32AreFailures) {
  MemoryHost host;
  const struct {
    int result;
    std::uint32_t number;
    const char* description;
  } rows[] = {
      {0, 7, "Out of memory"},
      {2, 53, "File not found"},
      {4, 0x8004041C,
       "An error occurred occurred whilst trying to open or print the selected file."},
      {8, 7, "Out of memory"},
      {31, 0x80040437, "No application is associated with this file type."},
      {32, 48, "The specified dynamic-link library was not found."},
  };
  for (const auto& row : rows) {
    host.shell_result = row.result;
    const Status failed = GShell(host, "file", 1, "", "", "open");
    EXPECT_FALSE(failed.ok());
    EXPECT_EQ(failed.native(), row.number) << row.result;
    EXPECT_EQ(failed.text(), row.description) << row.result;
  }
}

}  // namespace
}  // namespace vespro
