#include "support/linux_facts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>

#include "base/testing.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class LinuxFactsTest : public testing::Test {
 protected:
  void Write(const std::string& name, const std::string& bytes) {
    fs::create_directories((root_ / name).parent_path());
    root_.Write(name, bytes);
  }
  fs::path Program(const std::string& script) {
    const fs::path program = root_.Write("vespro-engine", "#!/bin/sh\n" + script + "\n");
    EXPECT_EQ(chmod(program.c_str(), 0700), 0);
    return program;
  }
  TemporaryFolder root_;
  LinuxFacts facts_{root_.path()};
};

TEST_F(LinuxFactsTest, TheSystem) {
  EXPECT_EQ(facts_.Os().name, "");
  Write("etc/os-release",
        "# made by hand\nNAME=Wheel\nPRETTY_NAME=\"Wheel \\\"of\\\" Linux\"\nVERSION_ID='12'\n");
  Write("proc/sys/kernel/osrelease", "6.1.0-28-amd64\n");
  Write("proc/sys/kernel/version", "#1 SMP Debian 6.1.119-1\n");
  const OsRecord os = facts_.Os();
  EXPECT_EQ(os.code, 0);
  EXPECT_EQ(os.name, "Wheel \"of\" Linux");
  EXPECT_EQ(os.version, "12");
  EXPECT_EQ(os.build, "6.1.0-28-amd64");
  EXPECT_EQ(os.service_pack, "#1 SMP Debian 6.1.119-1");
}

TEST_F(LinuxFactsTest, PackagesAndTheBrowserAmongThem) {
  Write("var/lib/dpkg/status",
        "Package: gone\nStatus: deinstall ok config-files\nVersion: 1\n\n"
        "Package: half\nStatus: install ok half-installed\nVersion: 1\n\n"
        "Package: mawk\nStatus: install ok installed\nConffiles:\n /etc/a 12\nVersion: 1.3-2\n"
        "Description: an awk\n Version: not this one\n\n"
        "Package: libwebkit2gtk-4.1-0\nStatus: install ok installed\nVersion: 2.48.1-2~deb12u1\n");
  EXPECT_EQ(facts_.InstalledPrograms(),
            (Names{"mawk 1.3-2", "libwebkit2gtk-4.1-0 2.48.1-2~deb12u1"}));
  EXPECT_EQ(facts_.BrowserFacts().version, "2.48.1");
  EXPECT_EQ(facts_.BrowserFacts().build, "2~deb12u1");
}

TEST_F(LinuxFactsTest, RunningProgramsAreThoseWithAnExecutable) {
  for (const char* process : {"proc/12", "proc/13", "proc/self"}) {
    fs::create_directories(root_ / process);
  }
  fs::create_symlink("/usr/bin/evolution", root_ / "proc/12/exe");
  Write("proc/13/comm", "kworker/0:1\n");
  fs::create_symlink("/usr/bin/self", root_ / "proc/self/exe");
  EXPECT_EQ(facts_.RunningPrograms(), Names{"/usr/bin/evolution"});
  const Names all = LinuxFacts("/").RunningPrograms();
  EXPECT_NE(std::find(all.begin(), all.end(), ModFiles::ToUtf8(ModFiles::ProgramPath())),
            all.end());
}

TEST_F(LinuxFactsTest, TheEngineIsAskedForItsVersion) {
  EXPECT_EQ(facts_.FileVersion(root_ / "missing"), "");
  const struct {
    const char *script, *text;
  } rows[] = {
      {"[ \"$*\" = --version ] && echo vespro-engine 2.0.5", "2.00.05.00"},
      {"echo vespro-engine 0.1.0", "0.01.0000"},
      {"echo no version here", ""},
      {"echo 1.2.3.4.5", ""},
      {"exit 1", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(facts_.FileVersion(Program(row.script)), row.text);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(facts_.FileVersion(Program("exec sleep 10")), "");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

}  // namespace
}  // namespace vespro
