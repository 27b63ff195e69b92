#include "settings/file_backend.h"

#include <random>
#include <thread>

#include "base/testing.h"

namespace vespro {
namespace {

constexpr std::uint32_t kString = SettingsBackend::kString;

TEST(FileBackendTest, AnyValueSurvives) {
  TemporaryFolder folder;
  FileBackend backend(folder / "settings");
  const std::string_view values[] = {
      "",
      "plain",
      "/home/ann/my = list.csv,CSV,2,HEADER",
      " leading",
      "trailing ",
      "   ",
      "\"quoted\"",
      "say \"hi\"",
      "C:\\new\\x41\\",
      "\\n",
      "# no comment",
      "two\r\nlines\n\tand a tab",
      std::string_view("N\0L", 3),
      "J\xC3\xBCrgen \xF0\x9F\x98\x80 \xE8\xAA\x9E",
      " \xF0\x9F\x98\x80 ",
      "Latin-1 \xFC and torn \xE2\x82",
      "\x7F",
  };
  for (const std::string_view value : values) {
    ASSERT_TRUE(backend.WriteValue("Value", value, kString).ok());
    const SettingsBackend::Value read = FileBackend(folder / "settings").ReadValue("value");
    EXPECT_EQ(read.text, value);
    EXPECT_EQ(read.status, 0);
  }
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string value(random() % 12, '\0');
    for (char& c : value) c = static_cast<char>(random());
    const auto lines = ModSettingsFile::Parse(ModSettingsFile::FormatLine("N", value) + "\n");
    ASSERT_EQ(lines.size(), 1U) << testing::PrintToString(value);
    ASSERT_EQ(lines[0].name, "N");
    ASSERT_EQ(lines[0].value, value);
  }
}

TEST(FileBackendTest, KeepsWhatItDoesNotUnderstand) {
  TemporaryFolder folder;
  folder.Write("settings",
               "\xEF\xBB\xBF# my notes\r\n\r\nno sense\r\nA = \"torn\r\nB=1\r\nb = 2\r\n = x\r\nC "
               "= \"\\q\"\n"
               "D = \"x\" y\n  E   =   \"f\"  ");
  FileBackend backend(folder / "settings");
  EXPECT_EQ(backend.ListValues(), (std::vector<std::string>{"b", "E"}));
  EXPECT_EQ(backend.ReadValue("B").text, "2");  // the last one counts
  EXPECT_EQ(backend.ReadValue("E").text, "f");
  for (const char* name : {"A", "C", "D", "", "# my notes", "no sense"}) {
    EXPECT_EQ(backend.ReadValue(name).status, SettingsBackend::kMissing) << name;
  }
  ASSERT_TRUE(backend.WriteValue("B", "3 ", kString).ok());
  ASSERT_TRUE(backend.WriteValue("A", "", kString).ok());
  ASSERT_TRUE(backend.WriteValue("N", "-12.7 apples", SettingsBackend::kNumber).ok());
  ASSERT_TRUE(backend.WriteValue("X", "other", 3).ok());
  EXPECT_EQ(folder.Read("settings"),
            "# my notes\n\nno sense\nA = \"torn\nB=1\nB = \"3 \"\n = x\nC = \"\\q\"\nD = \"x\" y\n"
            "  E   =   \"f\"  \nA =\nN = -12\n");
}

TEST(FileBackendTest, CutAtEveryByte) {
  const std::string whole =
      "# note\nMailList = /a b/c.csv,CSV,0,VALUE\nWord = \" x\\\"\\x41\\n\xC3\xA9\"\nBccMode = "
      "100\n";
  const auto complete = ModSettingsFile::Parse(whole);
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const auto lines = ModSettingsFile::Parse(std::string_view(whole).substr(0, size));
    // Only the last line can suffer; a quoted value is whole or not there.
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const bool is_last = i + 1 == lines.size();
      if (is_last && (lines[i].name != "Word" || lines[i].value.empty())) continue;
      EXPECT_EQ(lines[i].name, complete[i].name) << size;
      EXPECT_EQ(lines[i].value, complete[i].value) << size;
    }
  }
}

TEST(FileBackendTest, RefusesWhatItCannotKeep) {
  TemporaryFolder folder;
  FileBackend backend(folder / "settings");
  for (const std::string_view name : {"", " a", "a ", "#a", "a=b", "a\nb", "\xFF"}) {
    EXPECT_EQ(backend.WriteValue(name, "x", kString).code(), Code::kUsage) << name;
  }
  EXPECT_EQ(folder.Count(), 0);
  // A store that can't be read is not replaced.
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "taken"));
  FileBackend taken(folder / "taken");
  EXPECT_EQ(taken.WriteValue("A", "x", kString).code(), Code::kCannotWrite);
  EXPECT_NE(taken.ReadValue("A").status, 0);
  EXPECT_TRUE(taken.ListValues().empty());
}

TEST(FileBackendTest, TheKeyIsTheFile) {
  TemporaryFolder folder;
  FileBackend backend(folder / "below/settings");
  backend.CreateKey();
  EXPECT_TRUE(ModFiles::IsFile(folder / "below/settings"));
  ASSERT_TRUE(backend.WriteValue("A", "1", kString).ok());
  backend.CreateKey();
  EXPECT_EQ(backend.ReadValue("A").text, "1");
}

TEST(FileBackendTest, NoWriteOfAnotherIsLost) {
  TemporaryFolder folder;
  constexpr int kWrites = 200;
  const std::filesystem::path path = folder / "settings";
  // Each has its own object, as two processes would; the lock does not know threads from processes.
  const auto write = [&path](const std::string& name) {
    FileBackend backend(path);
    for (int i = 1; i <= kWrites; ++i) {
      const std::string own = name + std::to_string(i);
      EXPECT_TRUE(backend.WriteValue(own, name, kString).ok());
      EXPECT_EQ(backend.ReadValue(own).text, name);
    }
  };
  std::thread other(write, "Other");
  write("Mine");
  other.join();
  EXPECT_EQ(FileBackend(path).ListValues().size(), 2U * kWrites);
}

}  // namespace
}  // namespace vespro
