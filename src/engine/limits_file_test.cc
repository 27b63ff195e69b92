#include "engine/limits_file.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro::engine {
namespace {

constexpr std::string_view kFile =
    "vespro-limits 1\r\n"
    "# ours, since 2019\n"
    "\n"
    "smtp.example.org per-day=500 rate=14/s connections=3\n"
    "smtp.example.org:587 per-day=400\n"
    "smtp.example.org per-day=2000 login=Big Sender@example.org\n"
    "smtp.example.org:587 rate=30/min login=ann\n"
    "[2001:DB8::25]:25 connections=1\n"
    "2001:db8::26 connections=2\n"
    "end\n";

Limits Parsed(std::string_view bytes) {
  Result<Limits> limits = Limits::Parse(bytes, "f");
  EXPECT_TRUE(limits.ok()) << limits.status().text();
  return limits.ok() ? limits.value() : Limits();
}

TEST(LimitsFileTest, TheMostParticularLimitHolds) {
  const Limits limits = Parsed(kFile);
  const struct {
    const char* server;
    std::uint16_t port;
    const char* login;
    std::uint64_t per_day;
    const char* rate;
    std::size_t connections;
  } rows[] = {{"smtp.example.org", 25, "", 500, "14/s", 3},
              {"SMTP.example.org", 587, "ben", 400, "14/s", 3},
              {"smtp.example.org", 25, "BIG sender@example.org", 2000, "14/s", 3},
              {"smtp.example.org", 587, "ann", 400, "30/min", 3},
              {"[2001:db8::25]", 25, "", 0, "", 1},
              {"2001:DB8::26", 465, "x", 0, "", 2}};
  for (const auto& row : rows) {
    Account account;
    account.server = row.server;
    account.port = row.port;
    account.login = row.login;
    const AccountLimit limit = limits.For(account);
    EXPECT_EQ(limit.per_day, row.per_day) << row.login;
    EXPECT_EQ(limit.rate, row.rate) << row.login;
    EXPECT_EQ(limit.connections, row.connections) << row.server;
  }
  Account other;
  other.server = "example.org";
  EXPECT_EQ(limits.For(other).rate, "");
  other.server = "2001:db8::25";
  other.port = 26;
  EXPECT_EQ(limits.For(other).connections, 0U);
}

TEST(LimitsFileTest, AChangeKeepsTheRest) {
  Limits limits = Parsed(kFile);
  AccountLimit at_587 = ParseLimitServer("SMTP.Example.org:587").value();
  at_587.per_day = 9;
  limits.Set(at_587);
  AccountLimit ann = at_587;
  ann.login = "ANN";
  EXPECT_TRUE(limits.Remove(ann));
  EXPECT_FALSE(limits.Remove(ann));
  AccountLimit ipv6 = ParseLimitServer("[2001:db8::27]:465").value();
  ipv6.rate = "1/min";
  limits.Set(ipv6);
  EXPECT_EQ(limits.Text(),
            "vespro-limits 1\n"
            "# ours, since 2019\n"
            "\n"
            "smtp.example.org per-day=500 rate=14/s connections=3\n"
            "smtp.example.org:587 per-day=9\n"
            "smtp.example.org per-day=2000 login=Big Sender@example.org\n"
            "[2001:DB8::25]:25 connections=1\n"
            "2001:db8::26 connections=2\n"
            "[2001:db8::27]:465 rate=1/min\n"
            "end\n");
  EXPECT_EQ(Parsed(limits.Text()).Text(), limits.Text());
}

// A limit that was overlooked would be no limit.
TEST(LimitsFileTest, DamageIsNeverNoLimit) {
  for (std::size_t length = 0; length < kFile.size() - 1; ++length) {
    EXPECT_EQ(Limits::Parse(kFile.substr(0, length), "f").status().code(), Code::kBadInput)
        << "cut off after " << length;
  }
  const struct {
    const char* line;
    const char* why;
  } rows[] = {{"a per-day=0", "per-day is a number from 1"},
              {"a per-day=-1", "per-day is a number from 1"},
              {"a per-day=5e2", "per-day is a number from 1"},
              {"a per-day=99999999999", "per-day is a number from 1"},
              {"a rate=0/day", "a rate is a number and"},
              {"a rate=14", "a rate is a number and"},
              {"a connections=0", "connections is a number from 1"},
              {"a", "it sets no limit"},
              {"a login=ann", "it sets no limit"},
              {"a Per-Day=5", "'Per-Day=5' is none of"},
              {"a per-day=5\tconnections=2", "per-day is a number from 1"},
              {"a per-day=5 500", "'500' is none of"},
              {"a:0 per-day=5", "has no port"},
              {"a:smtp per-day=5", "has no port"},
              {"per-day=5", "is no server's name"},
              {"smtps://a per-day=5", "has no port"},
              {"a per-day=1\nA per-day=2", "a second limit"},
              {"end\na per-day=1", "after the line 'end'"},
              {"a per-day=5 login=\xff", "not UTF-8"}};
  for (const auto& row : rows) {
    const std::string file = std::string("vespro-limits 1\n") + row.line + "\nend\n";
    const Status status = Limits::Parse(file, "the file").status();
    EXPECT_EQ(status.code(), Code::kBadInput) << row.line;
    EXPECT_NE(status.text().find(row.why), std::string::npos) << status.text();
    EXPECT_NE(status.text().find("'the file'"), std::string::npos) << status.text();
  }
  EXPECT_FALSE(Limits::Parse("vespro-limits 2\nend\n", "f").ok());

  TemporaryFolder folder;
  EXPECT_TRUE(Limits::Read(folder / kLimitsFile).ok()) << "nobody has set a limit";
  EXPECT_FALSE(Limits::Read(folder.path()).ok()) << "a folder";
}

}  // namespace
}  // namespace vespro::engine
