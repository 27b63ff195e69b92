#include "support/windows_facts.h"

#include <gtest/gtest.h>

#include <map>

namespace vespro {
namespace {

using Names = std::vector<std::string>;

struct PlayedWindows final : WindowsCalls {
  Version ThisWindows() override { return version; }
  std::optional<FileVersionHalves> VersionOf(const std::filesystem::path&) override {
    return file_version;
  }
  std::string MachineValue(std::string_view key, std::string_view name) override {
    const auto found = values.find(std::string(key) + "|" + std::string(name));
    return found == values.end() ? std::string() : found->second;
  }
  Names MachineKeys(std::string_view) override { return {"{1}", "{2}", "{3}"}; }
  Names ProcessPaths() override { return {"C:\\a.exe"}; }
  Names ProcessNames() override { return {"a.exe"}; }

  Version version;
  std::optional<FileVersionHalves> file_version;
  std::map<std::string, std::string> values;
};

class WindowsFactsTest : public testing::Test {
 protected:
  PlayedWindows* windows_ = new PlayedWindows;
  WindowsFacts facts_{std::unique_ptr<WindowsCalls>(windows_)};
};

TEST_F(WindowsFactsTest, EachWindows) {
  const struct {
    WindowsCalls::Version version;
    std::int16_t code;
    const char *name, *text, *build;
    bool paths;
  } rows[] = {
      {{1, 4, 0, 0x040003B6, " C"}, 1, "Windows 95", "4.0", "950", false},
      {{1, 4, 10, 0x040A08AE, ""}, 2, "Windows 98", "4.10", "2222", false},
      {{1, 4, 90, 0x045A0BB8, ""}, 4, "Windows ME", "4.90", "3000", false},
      {{2, 4, 0, 1381, "Service Pack 6"}, 3, "Windows NT", "4.0", "1381", true},
      {{2, 5, 0, 2195, "Service Pack 4"}, 5, "Windows 2000", "5.0", "2195", true},
      {{2, 5, 1, 2600, "Service Pack 3"}, 6, "Windows XP", "5.1", "2600", true},
      {{2, 5, 2, 3790, ""}, 0, "", "5.2", "3790", false},
      {{2, 3, 51, 1057, ""}, 0, "", "3.51", "1057", false},
      {{2, 6, 2, 9200, ""}, 0, "", "6.2", "9200", false},
      {{}, 0, "", "0.0", "0", false},
  };
  for (const auto& row : rows) {
    windows_->version = row.version;
    const OsRecord os = facts_.Os();
    EXPECT_EQ(os.code, row.code) << row.text;
    EXPECT_EQ(os.name, row.name) << row.text;
    EXPECT_EQ(os.version, row.text);
    EXPECT_EQ(os.build, row.build);
    EXPECT_EQ(os.service_pack, row.version.service_pack);
    EXPECT_EQ(facts_.RunningPrograms(), row.paths ? Names{"C:\\a.exe"} : Names{"a.exe"})
        << row.text;
  }
}

TEST_F(WindowsFactsTest, FileVersions) {
  EXPECT_EQ(facts_.FileVersion("no version.exe"), "");
  const struct {
    std::uint32_t most, least;
    const char* text;
  } rows[] = {
      {0x00020000, 0x0005000C, "2.00.05.12"}, {0x00020000, 0, "2.00.0000"},
      {0x000A000B, 1, "10.11.00.01"},         {0x00010064, 0x7FFFFFFF, "1.100.32767.65535"},
      {0x00010002, 0x80000001, "1.02.0000"},
  };
  for (const auto& row : rows) {
    windows_->file_version = WindowsCalls::FileVersionHalves{row.most, row.least};
    EXPECT_EQ(facts_.FileVersion("Vespro.exe"), row.text);
  }
}

TEST_F(WindowsFactsTest, InstalledProgramsAreThoseWithAName) {
  const std::string uninstall = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
  windows_->values = {{uninstall + "{1}|DisplayName", "One"},
                      {uninstall + "{2}|DisplayName", ""},
                      {uninstall + "{3}|DisplayName", "Three"}};
  EXPECT_EQ(facts_.InstalledPrograms(), (Names{"One", "Three"}));
}

}  // namespace
}  // namespace vespro
