#include "engine/usage_book.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "base/testing.h"

namespace vespro::engine {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr auto kStart = std::chrono::system_clock::time_point(seconds(1'764'040'000));

Account AccountOf(const std::string& server, std::uint16_t port = 25,
                  const std::string& login = "ann") {
  Account account;
  account.server = server;
  account.port = port;
  account.login = login;
  return account;
}

// A data folder, a machine with its clocks, and the programs that send.
class UsageBookTest : public testing::Test {
 protected:
  std::unique_ptr<UsageBook> Open() {
    Result<Limits> limits = Limits::Parse("vespro-limits 1\n" + limits_ + "end\n", "limits");
    EXPECT_TRUE(limits.ok()) << limits.status().text();
    Result<std::unique_ptr<UsageBook>> book =
        UsageBook::Open(folder_ / kUsageFile, limits.value(), {AccountOf("mx")}, clock_);
    EXPECT_TRUE(book.ok()) << book.status().text();
    return book.ok() ? std::move(book).value() : nullptr;
  }
  // For programs that last.
  TimePoint Steady() const { return TimePoint(clock_.since_boot + hours(1)); }
  void Pass(milliseconds time) {
    clock_.now += time;
    clock_.since_boot += time;
  }
  void SetClock(std::chrono::seconds by) { clock_.now += by; }
  void Reboot(milliseconds off) {
    clock_.boot_id += "'";
    clock_.since_boot = seconds(20);
    clock_.now += off;
  }
  // Sends as many as it may, up to `most`, and ends.
  std::size_t Send(std::size_t most, const Account& account = AccountOf("mx")) {
    const auto book = Open();
    Allowance& allowance = *book->Of(account);
    std::size_t sent = 0;
    while (sent < most) {
      const std::size_t taken = allowance.Take(std::min<std::size_t>(most - sent, 3), Steady());
      if (taken == 0) break;
      allowance.Commit(taken);
      sent += taken;
    }
    EXPECT_TRUE(book->Close().ok());
    return sent;
  }

  TemporaryFolder folder_;
  FixedClock clock_{kStart};
  std::string limits_ = "mx per-day=100\n";
};

TEST_F(UsageBookTest, TheDayRollsOver) {
  EXPECT_EQ(Send(60), 60U);
  Pass(hours(10));
  EXPECT_EQ(Send(60), 40U);
  Pass(hours(13));
  EXPECT_EQ(Send(60), 0U);
  Pass(minutes(66));
  EXPECT_EQ(Send(100), 60U);
  Pass(hours(10));
  EXPECT_EQ(Send(100), 40U);
}

TEST_F(UsageBookTest, WhatWasRefusedIsGivenBackAndWhatIsUnsureCounts) {
  const auto book = Open();
  Allowance& allowance = *book->Of(AccountOf("MX"));
  std::size_t accepted = 0;
  for (int i = 0; accepted < 100 && i < 1000; ++i) {
    ASSERT_EQ(allowance.Take(1, Steady()), 1U) << accepted;
    if (i % 3 == 0) {
      allowance.Commit(1);
      ++accepted;
    } else {
      allowance.GiveBack(1);
    }
  }
  EXPECT_EQ(allowance.Take(1, Steady()), 0U);
  EXPECT_EQ(allowance.available_at() - Steady(), hours(24) + minutes(5) - seconds(100))
      << "the span began 200 s ago";
  EXPECT_NE(allowance.WhyNone().find("limit of 100 recipients a day"), std::string::npos);
  // One that was said to be refused may have been accepted.
  allowance.Add(1);
  Pass(hours(25));
  allowance.Update(Steady());
  EXPECT_TRUE(book->Close().ok());
  EXPECT_EQ(Send(200), 99U);
}

TEST_F(UsageBookTest, ALoginHasOneCountWhateverThePort) {
  limits_ = "mx per-day=100\nmx:465 per-day=30\nmx per-day=10 login=ben\n";
  EXPECT_EQ(Send(50, AccountOf("mx", 25)), 50U);
  EXPECT_EQ(Send(50, AccountOf("MX", 465, "ANN")), 0U) << "they may have gone over this port";
  EXPECT_EQ(Send(99, AccountOf("mx", 587)), 50U);
  EXPECT_EQ(Send(99, AccountOf("mx", 465, "ben")), 10U);
  EXPECT_EQ(Send(99, AccountOf("mx", 465, "cid\tand\nmore")), 30U);
  EXPECT_EQ(Send(99, AccountOf("mx", 25, "cid\tand\nmore")), 70U);
  EXPECT_EQ(Send(99, AccountOf("other")), 99U) << "no limit";
}

TEST_F(UsageBookTest, AProgramThatDiesCostsItsPartAndNoMore) {
  {
    const auto killed = Open();
    Allowance& allowance = *killed->Of(AccountOf("mx"));
    EXPECT_EQ(allowance.Take(1, Steady()), 1U);
    allowance.Commit(1);
  }
  EXPECT_EQ(Send(200), 100U - 100 / 16) << "what it had taken counts";

  const auto waits = Open();
  Allowance& allowance = *waits->Of(AccountOf("mx"));
  EXPECT_EQ(allowance.Take(1, Steady()), 0U);
  Pass(hours(25));
  allowance.Update(Steady());
  EXPECT_EQ(allowance.available_at(), TimePoint());
  EXPECT_EQ(allowance.Take(1, Steady()), 1U);
}

TEST_F(UsageBookTest, WhoWaitsGetsWhatAnotherProgramGivesBack) {
  const auto one = Open(), two = Open();
  Allowance& first = *one->Of(AccountOf("mx"));
  Allowance& second = *two->Of(AccountOf("mx"));
  std::size_t taken = 0;
  while (const std::size_t some = first.Take(1, Steady())) taken += some;
  EXPECT_EQ(taken, 100U);
  EXPECT_EQ(second.Take(1, Steady()), 0U);
  first.Commit(90);
  first.GiveBack(10);
  EXPECT_TRUE(one->Close().ok());
  Pass(seconds(30));
  second.Update(Steady());
  EXPECT_EQ(second.Take(20, Steady()), 10U);
}

// What is on its way is counted by the server when it ends, not when it was taken.
TEST_F(UsageBookTest, WhatIsOnItsWayStaysRecent) {
  auto slow = Open();
  Allowance& allowance = *slow->Of(AccountOf("mx"));
  EXPECT_EQ(allowance.Take(100, Steady()), 100U);
  for (int i = 0; i < 12; ++i) {
    Pass(minutes(5));
    allowance.Update(Steady());
  }
  allowance.Commit(100);
  slow.reset();
  Pass(hours(24));
  EXPECT_EQ(Send(1), 0U);
  Pass(minutes(6));
  EXPECT_EQ(Send(100), 100U);
}

TEST_F(UsageBookTest, SettingTheClockFreesNothing) {
  const struct {
    const char* what;
    std::function<void()> happens;
    milliseconds left;  // until something is free
  } rows[] = {{"set forward while it runs", [&] { SetClock(hours(48)); }, hours(24)},
              {"set back while it runs", [&] { SetClock(-hours(48)); }, hours(24)},
              {"set forward, looked at, started anew",
               [&] {
                 SetClock(hours(48));
                 Send(1);
                 Reboot(hours(1));
               },
               hours(23)},
              {"set back while it was off", [&] { Reboot(-hours(48)); }, hours(24)},
              {"started anew, and runs longer than before",
               [&] {
                 Reboot(hours(1));
                 Pass(hours(4));
               },
               hours(19)},
              {"no time of day when it starts",
               [&] {
                 Send(1);
                 Reboot(-kStart.time_since_epoch() / milliseconds(1) * milliseconds(1));
                 Send(1);
                 SetClock(kStart.time_since_epoch() / seconds(1) * seconds(1));
               },
               hours(24)}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ModFiles::Remove(folder_ / kUsageFile).Ignore();  // there may be none yet
    clock_ = FixedClock(kStart);
    ASSERT_EQ(Send(100), 100U);
    row.happens();
    EXPECT_EQ(Send(1), 0U);
    Pass(row.left - minutes(1));
    EXPECT_EQ(Send(1), 0U);
    Pass(minutes(7));
    EXPECT_EQ(Send(100), 100U);
  }
}

TEST_F(UsageBookTest, ADamagedFileIsNeverNothingUsed) {
  ASSERT_EQ(Send(100), 100U);
  const std::string whole = folder_.Read(kUsageFile);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    EXPECT_FALSE(Usage::Parse(whole.substr(0, at)).ok()) << "cut off after " << at;
    std::string other = whole;
    other[at] ^= 1;
    EXPECT_FALSE(Usage::Parse(other).ok()) << "changed at " << at;
  }
  EXPECT_EQ(Usage::Parse(whole).value().Text(), whole);

  const auto before = Open();
  folder_.Write(kUsageFile, whole.substr(0, whole.size() / 2));
  EXPECT_EQ(before->Of(AccountOf("mx"))->Take(1, Steady()), 0U) << "damaged while it runs";
  EXPECT_EQ(before->Of(AccountOf("mx"))->available_at(), TimePoint::max());
  const Limits limits = Limits::Parse("vespro-limits 1\nmx per-day=1\nend\n", "f").value();
  const auto open = [&](const std::string& server) {
    return UsageBook::Open(folder_ / kUsageFile, limits, {AccountOf(server)}, clock_);
  };
  const Status status = open("mx").status();
  EXPECT_EQ(status.code(), Code::kBadInput);
  EXPECT_NE(status.text().find(kUsageFile), std::string::npos) << status.text();
  // A job without a limit of the day goes out, and writes nothing over it.
  const auto other = open("other");
  ASSERT_TRUE(other.ok());
  Allowance& free = *other.value()->Of(AccountOf("other"));
  EXPECT_EQ(free.Take(7, Steady()), 7U);
  free.Learn({3.5, 2});
  EXPECT_FALSE(other.value()->Close().ok());
  EXPECT_EQ(folder_.Read(kUsageFile), whole.substr(0, whole.size() / 2));
}

TEST_F(UsageBookTest, WhatWasLearntIsKept) {
  limits_ = "";
  const Account account = AccountOf("mx", 587);
  {
    const auto book = Open();
    EXPECT_EQ(book->Of(account)->learnt().connections, 0U);
    EXPECT_TRUE(book->Close().ok());
    EXPECT_EQ(folder_.Count(), 0) << "nothing to write";
    book->Of(account)->Learn({1.0 / 3, 4});
    EXPECT_TRUE(book->Close().ok());
  }
  Pass(hours(100));
  limits_ = "mx:587 per-day=5 rate=14/s connections=2\n";
  EXPECT_EQ(Send(9, account), 5U);
  const auto book = Open();
  EXPECT_EQ(book->Of(account)->learnt().messages_per_second, 1.0 / 3);
  EXPECT_EQ(book->Of(account)->learnt().connections, 4U);
  EXPECT_EQ(book->Of(account)->configured().messages_per_second, 14);
  EXPECT_EQ(book->Of(account)->configured().connections, 2U);
}

TEST_F(UsageBookTest, WhoStoodStillHasNoClaim) {
  const auto stopped = Open();
  Allowance& allowance = *stopped->Of(AccountOf("mx"));
  EXPECT_EQ(allowance.Take(1, Steady()), 1U) << "and has five more";
  allowance.Commit(1);
  Pass(hours(25));
  EXPECT_EQ(Send(200), 100U);
  EXPECT_EQ(allowance.Take(3, Steady()), 0U);
  EXPECT_TRUE(stopped->Close().ok());
  EXPECT_EQ(Send(1), 0U);

  const auto late = Open();
  Allowance& none = *late->Of(AccountOf("mx"));
  none.Update(Steady());
  EXPECT_GT(none.available_at(), Steady() + hours(23)) << "known before it connects";
}

// Whatever happens, in no 24 hours are more accepted than the limit says.
TEST_F(UsageBookTest, NeverOneMore) {
  struct Program {
    std::unique_ptr<UsageBook> book;
    std::size_t on_its_way = 0;
  };
  constexpr std::size_t kPerDay = 40;
  limits_ = "mx per-day=" + std::to_string(kPerDay) + "\n";
  for (unsigned seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto pick = [&](std::size_t n) { return std::size_t{random() % n}; };
    ModFiles::Remove(folder_ / kUsageFile).Ignore();  // there may be none yet
    std::vector<Program> programs;
    std::deque<milliseconds> accepted;  // in true time
    milliseconds truth{0};
    std::size_t total = 0;
    const auto accept = [&](std::size_t count) {
      while (!accepted.empty() && accepted.front() + hours(24) <= truth) accepted.pop_front();
      accepted.insert(accepted.end(), count, truth);
      total += count;
      ASSERT_LE(accepted.size(), kPerDay);
    };
    const auto die = [&](std::size_t which) {
      accept(pick(programs[which].on_its_way + 1));  // the server may have got some
      programs.erase(programs.begin() + static_cast<std::ptrdiff_t>(which));
    };
    for (int step = 0; step < 400 && !HasFatalFailure(); ++step) {
      const std::size_t what = pick(40);
      if (programs.empty() || (what == 0 && programs.size() < 4)) {
        programs.push_back({Open()});
      } else if (what == 1) {
        die(pick(programs.size()));
        continue;
      } else if (what == 2) {
        SetClock(seconds(pick(200'000)) - seconds(100'000));
        Send(0);
        accept(Send(1));  // a program has seen it
      } else if (what == 3) {
        while (!programs.empty()) die(programs.size() - 1);
        const milliseconds off = minutes(pick(300));
        truth += off;
        Reboot(off);
        continue;
      }
      Program& program = programs[pick(programs.size())];
      Allowance& allowance = *program.book->Of(AccountOf("mx"));
      if (what < 15) {
        program.on_its_way += allowance.Take(1 + pick(5), Steady());
      } else if (what < 25) {
        const std::size_t some = pick(program.on_its_way + 1);
        allowance.Commit(some);
        program.on_its_way -= some;
        accept(some);
      } else if (what < 29) {
        const std::size_t some = pick(program.on_its_way + 1);
        allowance.GiveBack(some);
        program.on_its_way -= some;
      } else {
        const milliseconds time = what < 32 ? minutes(pick(400)) : seconds(pick(400));
        truth += time;
        Pass(time);
        for (Program& each : programs) each.book->Of(AccountOf("mx"))->Update(Steady());
      }
    }
    EXPECT_GT(total, kPerDay) << "it was put to use";
    while (!programs.empty()) die(programs.size() - 1);
    Pass(hours(24) + minutes(5));
    EXPECT_EQ(Send(1000), kPerDay) << "nothing is lost for good";
  }
}

}  // namespace
}  // namespace vespro::engine
