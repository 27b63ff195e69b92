#include "terminal/send_job.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "base/text.h"
#include "settings/settings.h"

namespace vespro {
namespace {

class SendJobTest : public testing::Test {
 protected:
  SendJobTest() {
    folder.Write("home/Vespro.db", "\"127.0.0.1\",\"25\",\"\",\"\"\r\n");
    Result<Home> opened = OpenHome(ModFiles::ToUtf8(folder / "home"));
    EXPECT_TRUE(opened.ok()) << opened.status().text();
    home = std::move(opened).value();
    request.compose.text_file = folder.Write("body.txt", "Hello #NAME");
    request.compose.subject = "News";
    request.compose.has_subject = true;
    request.from = "club@example.org";
  }
  void UseList(const char* name, const char* bytes) {
    request.list = ListChoice{folder.Write(name, bytes), "", {}};
  }
  Result<WrittenJob> Write() { return ModSendJob::WriteJob(home, {.no_input = true}, request); }

  // Made first, gone last.
  struct MadeFolder : TemporaryFolder {
    MadeFolder() { EXPECT_TRUE(ModFiles::EnsureFolder(*this / "home")); }
  } folder;
  Home home;
  SendRequest request;
};

TEST_F(SendJobTest, TheRequestGoesBeforeTheSettingsAndLeavesThemAlone) {
  Settings settings(*home.backend);
  ASSERT_TRUE(settings.Write(setting::kMailList, "other.txt,TEXT").ok());
  UseList("members.csv", "Name,Email\r\nA,a@example.org\r\n");
  request.turbo = true;
  request.to = "All members";
  Result<WrittenJob> job = Write();
  ASSERT_TRUE(job.ok()) << job.status().text();
  const std::string file = ModFiles::ReadAll(ModFiles::FromUtf8(job->job_file)).value();
  EXPECT_NE(file.find("members.csv,CSV,1,HEADER\r\nBCC MODE=100\r\n"), std::string::npos) << file;
  const std::string message =
      ModFiles::ReadAll(ModFiles::FromUtf8(job->job_file).parent_path() / "Vespro.eml").value();
  EXPECT_EQ(message.substr(0, 47), "TO: All members\r\nFROM: club@example.org\r\nMIME-V");
  EXPECT_EQ(settings.Read(setting::kMailList), "other.txt,TEXT");
  EXPECT_EQ(settings.Read(setting::kSenderEmail), "");
  EXPECT_EQ(job->engine.arguments, (std::vector<std::string>{"-s", job->job_file, "-p", ""}));
}

TEST_F(SendJobTest, ListsThatCannotBeUsed) {
  const struct {
    const char* name;
    const char* bytes;  // nullptr: no such file
    const char* column;
    Code code;
    const char* word;
  } rows[] = {
      {"missing.csv", nullptr, "", Code::kNotFound, "missing.csv"},
      {"empty.csv", "", "", Code::kBadInput, "blank"},
      {"blank.csv", "\r\na@example.org\r\n", "", Code::kBadInput, "Incorrect CSV file format"},
      {"list.dat", "a@example.org\r\n", "", Code::kBadInput, "Unknown file type"},
      {"comma,list.txt", "a@example.org\r\n", "", Code::kBadInput, "comma"},
      {"members.csv", "a@example.org,A\r\n", "3", Code::kBadInput, "out of range"},
      {"members.csv", "a@example.org,A\r\n", "Name", Code::kBadInput, "'Name'"},
      {"members.txt", "a@example.org\r\n", "1", Code::kUsage, "--column"},
  };
  for (const auto& row : rows) {
    if (row.bytes != nullptr) folder.Write(row.name, row.bytes);
    request.list = ListChoice{folder / row.name, row.column, {}};
    const Status status = Write().status();
    EXPECT_EQ(status.code(), row.code) << row.name << ": " << status.text();
    EXPECT_NE(status.text().find(row.word), std::string::npos) << status.text();
    EXPECT_FALSE(ModFiles::IsFolder(folder / "home/session")) << row.name;
  }
}

TEST_F(SendJobTest, ColumnsByNumberAndName) {
  const auto file =
      folder.Write("members.csv", "Name,\"E-Mail\",Other mail\r\nA,a@x.org,b@x.org\r\n");
  const struct {
    const char* column;
    int found;
  } rows[] = {{"1", 0}, {"e-mail", 1}, {"3", 2}};
  for (const auto& row : rows) {
    Result<Distribution> chosen = ModSendJob::ChooseList({file, row.column, {}});
    ASSERT_TRUE(chosen.ok()) << chosen.status().text();
    EXPECT_EQ(chosen->column, row.found) << row.column;
    EXPECT_TRUE(chosen->header);
  }
  EXPECT_FALSE(ModSendJob::ChooseList({file, "1", false})->header);
  // Nobody can be asked which of two it is.
  const Status several = ModSendJob::ChooseList({file, "", {}}).status();
  EXPECT_EQ(several.code(), Code::kBadInput);
  EXPECT_NE(several.text().find("--column 2"), std::string::npos) << several.text();
}

TEST_F(SendJobTest, AMappingHoldsForTheStoredList) {
  Settings settings(*home.backend);
  const auto store = [&](const char* name, const char* bytes, const char* kind) {
    const std::string path = ModFiles::ToUtf8(folder.Write(name, bytes));
    EXPECT_TRUE(settings.Write(setting::kMailList, path + kind).ok());
  };
  store("members.csv", "Name,Home,Work\r\nA,a@x.org,b@x.org\r\n", ",CSV,1,HEADER");
  for (const std::string column : {"Home", "Work"}) {
    request.list = ListChoice{{}, column, {}};
    const Result<WrittenJob> job = Write();
    ASSERT_TRUE(job.ok()) << job.status().text();
    EXPECT_EQ(job->distribution.column, column == "Home" ? 1 : 2);
    EXPECT_TRUE(job->distribution.header);
  }
  store("members.txt", "a@example.org\r\n", ",TEXT");
  EXPECT_EQ(Write().status().code(), Code::kUsage);
}

TEST_F(SendJobTest, WhatIsMissingIsSaidBeforeAnythingIsWritten) {
  EXPECT_EQ(Write().status().code(), Code::kConfig) << "no list";
  UseList("members.txt", "a@example.org\r\n");
  request.from = "";
  EXPECT_NE(Write().status().text().find("--from"), std::string::npos);
  request.from = "not an address";
  EXPECT_EQ(Write().status().code(), Code::kConfig);
  request.from = "club@example.org";
  folder.Write("home/Vespro.db", "");
  EXPECT_NE(Write().status().text().find("accounts add"), std::string::npos);
  folder.Write("home/Vespro.db", "\"127.0.0.1\"\r\n");
  EXPECT_NE(Write().status().text().find("line 1"), std::string::npos);
  EXPECT_FALSE(ModFiles::IsFolder(folder / "home/session"));
}

}  // namespace
}  // namespace vespro
