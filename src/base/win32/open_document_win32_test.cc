#include "base/open_document.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro {
namespace {

TEST(OpenDocumentWin32Test, SaysWhyNot) {
  TemporaryFolder folder;
  const std::string unknown = ModFiles::ToUtf8(folder.Write("file.nobodyknows", "x"));
  const std::string broken = ModFiles::ToUtf8(folder.Write("broken.exe", "no program"));
  const struct {
    std::string file;
    int result;
  } rows[] = {{ModFiles::ToUtf8(folder / "missing.txt"), 2},
              {unknown, 31},
              {"nobodyknows://example.org", 31},
              {broken, 11}};
  for (const auto& row : rows) {
    EXPECT_EQ(OpenDocument({"open", row.file, "", "", 1}), row.result) << row.file;
  }
}

TEST(OpenDocumentWin32Test, StartsAProgram) {
  EXPECT_GT(OpenDocument({"open", "cmd.exe", "/c exit", "", 0}), 32);
}

}  // namespace
}  // namespace vespro
