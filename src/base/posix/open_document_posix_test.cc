#include "base/open_document.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "base/testing.h"

namespace vespro {
namespace {

// An opener of the test's own, found first.
class OpenDocumentTest : public testing::Test {
 protected:
  OpenDocumentTest() : path_(ModFiles::Environment("PATH")) {
    setenv("PATH", (ModFiles::ToUtf8(folder_.path()) + ":" + path_).c_str(), 1);
  }
  ~OpenDocumentTest() override { setenv("PATH", path_.c_str(), 1); }

  void SetOpener(const std::string& script) {
    const std::filesystem::path opener = folder_.Write("xdg-open", "#!/bin/sh\n" + script + "\n");
    ASSERT_EQ(chmod(opener.c_str(), 0700), 0);
  }
  static int Open(const std::string& file) { return OpenDocument({"open", file, "", "", 1}); }

  TemporaryFolder folder_;

 private:
  std::string path_;
};

TEST_F(OpenDocumentTest, ExitCodesBecomeShellResults) {
  const struct {
    const char* code;
    int result;
  } rows[] = {{"0", 33}, {"1", 4}, {"2", 2}, {"3", 31}, {"4", 4}, {"127", 31}};
  for (const auto& row : rows) {
    SetOpener(std::string("exit ") + row.code);
    EXPECT_EQ(Open("page.html"), row.result) << row.code;
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD) << "a child was left behind";
}

TEST_F(OpenDocumentTest, TheNameArrivesWholeAndIsNoOption) {
  const std::string got = ModFiles::ToUtf8(folder_ / "got");
  SetOpener("printf '%s|' \"$@\" > '" + got + "'");
  EXPECT_EQ(Open("-a 'b'\n$(c)"), 33);
  EXPECT_EQ(folder_.Read("got"), "./-a 'b'\n$(c)|");
}

TEST_F(OpenDocumentTest, ABrowserThatStaysOpenIsNotWaitedFor) {
  SetOpener("exec sleep 5");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Open("page.html"), 33);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST_F(OpenDocumentTest, WithoutAnOpenerThereIsNoProgram) {
  setenv("PATH", ModFiles::ToUtf8(folder_.path()).c_str(), 1);
  EXPECT_EQ(Open("page.html"), 31);
}

}  // namespace
}  // namespace vespro
