#include "settings/account_file.h"

#include "base/code_page.h"
#include "base/testing.h"
#include "settings/password.h"

namespace vespro {
namespace {

AccountEntry Entry(std::string server, std::string port, std::string login, std::string password) {
  AccountEntry entry;
  entry.server = std::move(server);
  entry.port = std::move(port);
  entry.login = std::move(login);
  entry.password = std::move(password);
  return entry;
}

std::vector<AccountEntry> Read(const std::filesystem::path& path) {
  Result<std::vector<AccountEntry>> entries = ReadAccountFile(path);
  EXPECT_TRUE(entries.ok()) << entries.status().text();
  return entries.ok() ? std::move(entries).value() : std::vector<AccountEntry>();
}

TEST(AccountFileTest, BytesOfTheFile) {
  TemporaryFolder folder;
  const std::filesystem::path path = folder / "Vespro.db";
  const std::vector<AccountEntry> entries = {
      Entry(" smtp.example.org ", "25", "", ""),
      Entry("smtp.example.org", " abc", " ann ", " a\"b, c "),
      Entry("m\xC3\xBCller.example", "587", "ann", "p\xC3\xA4ss"),
      Entry("smtp.example.org", "25", "", ""),
  };
  ASSERT_TRUE(WriteAccountFile(path, entries).ok());
  const std::string umlaut = ModCodePage::FromUtf8("\xC3\xBC");
  EXPECT_EQ(folder.Read("Vespro.db"),
            "\"smtp.example.org\",\"25\",\"\",\"\"\r\n"
            "\"smtp.example.org\",\"abc\",\"YW5u\",\"YSJiLCBj\"\r\n"
            "\"m" +
                umlaut + "ller.example\",\"587\",\"YW5u\",\"" +
                (umlaut.size() == 1 ? "cORzcw==" : "cMOkc3M=") +
                "\"\r\n"
                "\"smtp.example.org\",\"25\",\"\",\"\"\r\n");
  const std::vector<AccountEntry> read = Read(path);
  ASSERT_EQ(read.size(), 4U);
  EXPECT_EQ(read[1].port, "abc");
  EXPECT_EQ(read[1].login, "ann");
  EXPECT_EQ(read[1].password, "a\"b, c");
  EXPECT_EQ(read[2].server, "m\xC3\xBCller.example");
  EXPECT_EQ(read[2].password, "p\xC3\xA4ss");
  EXPECT_EQ(ReadAccountsForJob(path).value()[1], "smtp.example.org,abc,YW5u,YSJiLCBj");

  ASSERT_TRUE(WriteAccountFile(path, {}).ok());
  EXPECT_EQ(folder.Read("Vespro.db"), "");
  EXPECT_TRUE(Read(path).empty());
  EXPECT_TRUE(Read(folder / "missing").empty());
  EXPECT_TRUE(ReadAccountsForJob(folder / "missing").value().empty());
  EXPECT_FALSE(ReadAccountFile(folder.path()).ok());
}

TEST(AccountFileTest, FieldsAsTheyMayStand) {
  TemporaryFolder folder;
  const struct {
    std::string_view line;
    std::string_view for_job;  // empty: left out
    bool damaged;
  } rows[] = {
      {"smtp.b,25,YW5u,eA==", "smtp.b,25,YW5u,eA==", false},
      {" \"smtp.b\" , 25 ,\"\",", "smtp.b,25,,", false},
      {"\"a,b\",\"25\",\"\",\"\"", "a,b,25,,", false},
      {"\"s\",\"25\",\"!\",\"eA==\"", "s,25,!,eA==", true},
      {"\"s\",\"25\",\"eA==\",\"eA\"", "s,25,eA==,eA", true},
      {"\"s\",\"25\",\"eA==\",", "s,25,eA==,", false},
      {"\"s\",\"25\",\"eA==\"", "", true},
      {"\"s\",\"25\",\"eA==\",\"eA==\",\"\"", "", true},
      {"\"s\",\"25\",\"eA==\",\"eA==", "", true},
      {"\"s\"x,\"25\",\"\",\"\"", "", true},
      {"s", "", true},
  };
  for (const auto& row : rows) {
    const std::filesystem::path path = folder.Write("db", row.line);
    const std::vector<AccountEntry> entries = Read(path);
    ASSERT_EQ(entries.size(), 1U) << row.line;
    EXPECT_EQ(entries[0].damaged, row.damaged) << row.line << ": " << entries[0].damage;
    EXPECT_EQ(entries[0].damage.find("eA"), std::string::npos) << entries[0].damage;
    const std::vector<std::string> job = ReadAccountsForJob(path).value();
    EXPECT_EQ(job.empty() ? "" : job[0], row.for_job) << row.line;
  }
  EXPECT_TRUE(Read(folder.Write("db", "\r\n  \r\n")).empty());
}

// The command line warns with the same function by which the engine decides.
TEST(AccountFileTest, WhatTheEngineLeavesOut) {
  TemporaryFolder folder;
  const struct {
    std::string_view line;
    std::string_view why;
  } rows[] = {
      {"s,25,YW5u,eA==", ""},
      {"s,25,YW5u,", ""},
      {" m\xC3\xBCller.example , 65535 ,,", ""},
      {"[2001:db8::25],25,,", ""},
      {"s,25,YW5u,eA", "line 1: the password is not stored as it should be"},
      {"s,25,!,eA==", "line 1: the login name is not stored as it should be"},
      {"s,25,YW5u", "line 1: the line has fewer than four fields"},
      {" ,25,,", "it names no server"},
      {"\"a,b\",25,,", "its server can't be a name"},
      {"a b,25,,", "its server can't be a name"},
      {"s,abc,,", "its port is not a number from 1 to 65535"},
      {"s,0,,", "its port is not a number from 1 to 65535"},
      {"s,65536,,", "its port is not a number from 1 to 65535"},
      {"s,,,", "its port is not a number from 1 to 65535"},
  };
  for (const auto& row : rows) {
    const std::vector<AccountEntry> entries = Read(folder.Write("db", row.line));
    ASSERT_EQ(entries.size(), 1U) << row.line;
    EXPECT_EQ(WhyLeftOut(entries[0]), row.why) << row.line;
  }
}

TEST(AccountFileTest, AnEditLeavesTheOthersAsTheyWere) {
  TemporaryFolder folder;
  // A damaged line, and a password of bytes that need not mean anything in today's code page.
  const std::string bytes =
      "\"s\",\"25\",\"broken\r\n\"t\",\"25\",\"YW5u\",\"gf8=\"\r\n\"u\",\"25\",\"!\",\"eA==\"\r\n";
  const std::filesystem::path path = folder.Write("db", bytes);
  AccountList list;
  ASSERT_TRUE(list.Load(path).ok());
  ASSERT_TRUE(WriteAccountFile(path, list.entries()).ok());
  EXPECT_EQ(folder.Read("db"), bytes);
  list.Remove(7);
  list.Remove(0);
  ASSERT_TRUE(list.Add(Entry("v", "25", "a", "b")).ok());
  std::vector<AccountEntry> edited = list.entries();
  edited[0].password = "new";
  ASSERT_TRUE(WriteAccountFile(path, edited).ok());
  EXPECT_EQ(folder.Read("db"),
            "\"t\",\"25\",\"YW5u\",\"bmV3\"\r\n\"u\",\"25\",\"!\",\"eA==\"\r\n"
            "\"v\",\"25\",\"YQ==\",\"Yg==\"\r\n");
}

TEST(AccountFileTest, CutAtEveryByte) {
  TemporaryFolder folder;
  const std::string whole =
      "\"smtp.a\",\"25\",\"YW5u\",\"eHl6\"\r\n\"smtp.b\",\"587\",\"\",\"\"\r\n";
  const std::string_view whole_view = whole;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const std::vector<AccountEntry> entries = Read(folder.Write("db", whole_view.substr(0, size)));
    for (const AccountEntry& entry : entries) {
      if (entry.damaged) continue;
      // What passes for an account is one that was there, never a piece of it.
      EXPECT_TRUE((entry.server == "smtp.a" && entry.login == "ann" &&
                   (entry.password == "xyz" || entry.password.empty())) ||
                  (entry.server == "smtp.b" && entry.port == "587" && entry.login.empty()))
          << size << ": " << entry.server << ":" << entry.port;
    }
  }
}

TEST(AccountFileTest, RefusesWhatTearsALine) {
  TemporaryFolder folder;
  const std::filesystem::path path = folder.Write("db", "\"s\",\"25\",\"\",\"\"\r\n");
  EXPECT_EQ(WriteAccountFile(path, {Entry("a\r\nb", "25", "", "")}).code(), Code::kBadInput);
  EXPECT_EQ(folder.Read("db"), "\"s\",\"25\",\"\",\"\"\r\n");
  for (const AccountEntry& entry :
       {Entry("a\"b", "25", "", ""), Entry("a,b", "25", "", ""), Entry("a", "2\n5", "", ""),
        Entry("a", "25", std::string("x\0y", 3), "p"), Entry("a", "25", "x", "p\r")}) {
    EXPECT_EQ(AccountList::CheckFields(entry).code(), Code::kUsage) << entry.server;
  }
  EXPECT_TRUE(AccountList::CheckFields(Entry("a", "25", "x,\"y\"", "p'\"")).ok());
}

TEST(AccountListTest, Validate) {
  const struct {
    std::string_view server, port, login, password;
    bool no_authentication;
    std::string_view text;
  } rows[] = {
      {"", "25", "a", "b", false, "Missing server name/port setting"},
      {"s", "", "", "", true, "Missing server name/port setting"},
      {"s", "25", "", "b", false, "Miss login name and password pair"},
      {"s", "25", "a", "", false, "Miss login name and password pair"},
      {"s", "25", "", "", true, ""},
      {" ", " ", " ", " ", false, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(
        AccountList::Validate(row.server, row.port, row.login, row.password, row.no_authentication)
            .text(),
        row.text);
  }
}

TEST(AccountListTest, TheBound) {
  TemporaryFolder folder;
  std::string bytes;
  for (int i = 0; i < 32703; ++i) bytes += "\"s\",\"25\",\"\",\"\"\r\n";
  AccountList list;
  std::vector<std::string> messages;
  ASSERT_TRUE(list.Load(folder.Write("db", bytes),
                        [&messages](const Status& status) { messages.push_back(status.text()); })
                  .ok());
  EXPECT_EQ(list.entries().size(), 32701U);
  const std::string text =
      "Cannot add anymore entries, reached the maximum number of mail server (32700)";
  EXPECT_EQ(messages, (std::vector<std::string>{text, text}));
  EXPECT_EQ(list.Add(Entry("s", "25", "", "")).text(), text);
  list.Remove(0);
  EXPECT_TRUE(list.Add(Entry("s", "25", "", "")).ok());

  AccountList whole;
  ASSERT_TRUE(whole.LoadAll(folder / "db").ok());
  whole.Remove(32702);
  EXPECT_EQ(whole.entries().size(), 32702U);
  EXPECT_EQ(whole.Add(Entry("s", "25", "", "")).text(), text);
}

// A person has the list open while others change the file. Letters are servers; "!" is a damaged
// line.
TEST(AccountListTest, ChangesMeetThoseOfOthers) {
  const struct {
    std::string_view loaded;
    std::vector<std::size_t> removed;  // row by row, each counted when the ones before have gone
    std::string_view added, meanwhile, saved;
    const char* why;
  } cases[] = {
      {"abc", {}, "d", "abc", "abcd", "nobody else"},
      {"abac", {2}, "", "abac", "abc", "the second of two"},
      {"aaba", {0, 0}, "a", "aaba", "baa", "the first two, and another one at the end"},
      {"abc", {1}, "d", "xabc", "xacd", "one more in front meanwhile"},
      {"abc", {1}, "", "ac", "ac", "both remove the same"},
      {"abc", {0, 0, 0}, "", "cabz", "z", "in another order"},
      {"aa", {0}, "b", "aaa", "aab", "equal ones stay as many as they should"},
      {"a!b", {0}, "c", "a!b", "!bc", "a damaged line comes back"},
      {"a!b", {1}, "", "ax!b", "axb", "or goes when it was meant to"},
      {"abc", {1}, "d", "", "d", "all gone meanwhile"},
      {"", {}, "a", "b", "ba", ""},
  };
  const auto bytes_of = [](std::string_view servers) {
    std::string bytes;
    for (const char server : servers) {
      bytes += server == '!' ? std::string("\"broken\r\n")
                             : "\"" + std::string(1, server) + "\",\"25\",\"YQ==\",\"gf8=\"\r\n";
    }
    return bytes;
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    TemporaryFolder folder;
    const std::filesystem::path path = folder.Write("db", bytes_of(c.loaded));
    AccountList list;
    ASSERT_TRUE(list.Load(path).ok());
    for (const std::size_t row : c.removed) list.Remove(row);
    for (const char server : c.added) {
      AccountEntry entry = Entry(std::string(1, server), "25", "", "");
      entry.encoded_login = "YQ==";
      entry.encoded_password = "gf8=";
      entry.login = ModPassword::DecodePassword(entry.encoded_login).value();
      entry.password = ModPassword::DecodePassword(entry.encoded_password).value();
      ASSERT_TRUE(list.Add(entry).ok());
    }
    folder.Write("db", bytes_of(c.meanwhile));
    ASSERT_TRUE(list.SaveChanges(path).ok());
    EXPECT_EQ(folder.Read("db"), bytes_of(c.saved));
  }
}

TEST(AccountListTest, WhatWasNoRowStaysInTheFile) {
  TemporaryFolder folder;
  const std::string line = "\"s\",\"25\",\"\",\"\"\r\n";
  std::string bytes;
  for (int i = 0; i < 32703; ++i) bytes += line;
  const std::filesystem::path path = folder.Write("db", bytes + "last,25,,");
  AccountList list;
  ASSERT_TRUE(list.Load(path).ok());
  list.Remove(32700);
  ASSERT_TRUE(list.SaveChanges(path).ok());
  EXPECT_EQ(folder.Read("db"), bytes.substr(line.size()) + "\"last\",\"25\",\"\",\"\"\r\n");

  // A file that can't be read is not taken for an empty one.
  std::filesystem::remove(path);
  std::filesystem::create_directories(path);
  EXPECT_FALSE(list.Load(path).ok());
  EXPECT_TRUE(list.entries().empty());
  EXPECT_FALSE(list.SaveChanges(path).ok());
}

}  // namespace
}  // namespace vespro
