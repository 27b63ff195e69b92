// Servers that limit what an account may send, as providers do: nobody is called refused or failed
// for it, and it costs little.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "engine/delivery/fake_allowance.h"
#include "engine/delivery/fake_job.h"

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Reason = DeliveryEnd::Reason;
using Elapsed = std::chrono::duration<double>;

// Everybody is accepted once, without an attempt used up by the limit.
void ExpectAllSent(const FakeJob& job, const ScriptedServer& server, std::size_t people) {
  EXPECT_EQ(job.ledger.Count(State::kSent), people);
  EXPECT_EQ(job.ledger.outcomes.size(), people);
  std::set<std::string> served;
  for (const ScriptedServer::Message& message : server.messages()) {
    for (const std::string& address : message.recipients) {
      EXPECT_TRUE(served.insert(address).second) << address << " has it twice";
    }
  }
  for (const auto& [address, outcome] : job.ledger.outcomes) EXPECT_EQ(outcome.attempts, 1);
}

constexpr const char* kTooFast = "454 Throttling failure: Maximum sending rate exceeded.";

TEST(DeliveryLimitsTest, FourteenMessagesASecond) {
  for (const auto& offers : kOffers) {
    const bool chunking = !offers.empty() && std::count(offers.begin(), offers.end(), "CHUNKING");
    for (const std::size_t people : {280U, 1680U}) {
      SCOPED_TRACE((offers.empty() ? "plain" : offers.back()) + " " + std::to_string(people));
      FakeJob job(people);
      std::deque<Elapsed> accepted;
      std::size_t in_vain = 0;
      ScriptedServer server({offers, [&](const std::string& command) -> std::string {
                               if (command != (chunking ? "." : "DATA")) return "";
                               const Elapsed now = job.loop.elapsed();
                               while (!accepted.empty() && accepted.front() + seconds(1) <= now) {
                                 accepted.pop_front();
                               }
                               if (accepted.size() == 14) return ++in_vain, kTooFast;
                               accepted.push_back(now);
                               return "";
                             }});
      job.options.connections = 5;
      job.To(server);
      EXPECT_EQ(job.Run().reason, Reason::kDone);
      ExpectAllSent(job, server, people);
      const double ideal = static_cast<double>(people - 14) / 14;
      EXPECT_GE(ideal / job.loop.elapsed().count(), people == 280 ? 0.85 : 0.95);
      EXPECT_LE(in_vain, people / 20);
      EXPECT_LE(server.connections(), 15U);
    }
  }
}

// Counted by the server: transactions that have begun and not ended.
TEST(DeliveryLimitsTest, ThreeTransactionsAtATime) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    int transactions = 0;
    std::size_t in_vain = 0;
    ScriptedServer server({offers, [&](const std::string& command) -> std::string {
                             if (command == ".") --transactions;
                             if (!command.starts_with("MAIL")) return "";
                             if (transactions < 3) return ++transactions, "";
                             ++in_vain;
                             return "432 4.3.2 STOREDRV.ClientSubmit; sender thread limit exceeded";
                           }});
    FakeJob job(20'000);
    job.options.connections = 5;
    job.options.messages_per_connection = 100'000;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    ExpectAllSent(job, server, 20'000);
    EXPECT_LE(in_vain, 20U);
    EXPECT_LE(server.connections(), 8U) << "one more is tried ever more seldom";
  }
}

// It takes nothing for a while, then one connection, then one more at a time.
TEST(DeliveryLimitsTest, AnAccountThatIsToRest) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    FakeJob job(300);
    std::size_t accepted = 0, in_vain = 0, connected = 0;
    Elapsed resting_until{0};
    ScriptedServer server({offers, [&](const std::string& command) -> std::string {
                             const Elapsed now = job.loop.elapsed();
                             if (command == ".") ++accepted;
                             if (accepted == 40 && resting_until.count() == 0) {
                               resting_until = now + std::chrono::minutes(9);
                             }
                             const bool rested = resting_until.count() > 0 && now >= resting_until;
                             connected += command == "connect" && rested;
                             const bool begins =
                                 command.starts_with("MAIL") || command == "connect";
                             if (!begins || now >= resting_until) return "";
                             return ++in_vain, "421 4.7.28 unusual rate of mail";
                           }});
    job.options.connections = 5;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    ExpectAllSent(job, server, 300);
    EXPECT_LE(in_vain, 5U);
    EXPECT_EQ(connected, 1U) << "one at a time when it has rested";
    EXPECT_NEAR(job.loop.elapsed().count(), 600, 5);
  }
}

// The next run begins with what this one has learnt.
TEST(DeliveryLimitsTest, WhatWasLearntIsKept) {
  FakeAllowanceBook book;
  book.by_server["mx1"].per_day = 100'000;
  for (const bool again : {false, true}) {
    FakeJob job(280);
    int transactions = 0;
    std::size_t too_fast = 0, too_many = 0;
    std::deque<Elapsed> accepted;
    ScriptedServer server({{}, [&](const std::string& command) -> std::string {
                             if (command == "." || command == "RSET") --transactions;
                             if (command.starts_with("MAIL")) {
                               if (transactions < 3) return ++transactions, "";
                               return ++too_many, "432 4.3.2 sender thread limit exceeded";
                             }
                             if (command != "DATA") return "";
                             const Elapsed now = job.loop.elapsed();
                             while (!accepted.empty() && accepted.front() + seconds(1) <= now) {
                               accepted.pop_front();
                             }
                             if (accepted.size() == 14) return ++too_fast, kTooFast;
                             accepted.push_back(now);
                             return "";
                           }});
    job.options.connections = 5;
    job.options.allowances = &book;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    ExpectAllSent(job, server, 280);
    EXPECT_NEAR(book.by_server["mx1"].known.messages_per_second, 14, 1);
    EXPECT_EQ(book.by_server["mx1"].known.connections, 3U);
    EXPECT_EQ(too_fast > 0, !again);
    EXPECT_EQ(too_many > 0, !again);
  }
}

constexpr const char* kUnknownWords = "554 5.3.0 not on a Tuesday";

// Words that nobody knows: after three messages it is the account's trouble or the message's.
TEST(DeliveryLimitsTest, RefusedAlikeInARow) {
  for (const auto& offers : kOffers) {
    for (const std::size_t per_message : {1U, 10U}) {
      for (const bool with_other : {false, true}) {
        SCOPED_TRACE(testing::Message() << (offers.empty() ? "plain" : offers.back()) << " "
                                        << per_message << " " << with_other);
        std::size_t accepted = 0, refused = 0;
        ScriptedServer server({offers, [&](const std::string& command) -> std::string {
                                 if (command != "." || ++accepted <= 5) return "";
                                 return kUnknownWords + std::to_string(++refused);
                               }});
        ScriptedServer other;
        FakeJob job(200, per_message);
        job.To(server);
        if (with_other) job.To(other);
        const DeliveryEnd end = job.Run();
        EXPECT_EQ(job.ledger.Count(State::kRefused), 0U);
        EXPECT_NE(end.accounts[0].disabled.find(kUnknownWords), std::string::npos);
        if (with_other) {
          EXPECT_EQ(end.reason, Reason::kDone);
          EXPECT_EQ(job.ledger.Count(State::kSent), 200U);
        } else {
          EXPECT_EQ(end.reason, Reason::kStopped);
          EXPECT_EQ(end.status.code(), Code::kUnavailable);
          EXPECT_EQ(job.ledger.Count(State::kSent), 5 * per_message);
          EXPECT_EQ(job.ledger.outcomes.size(), 5 * per_message);
          EXPECT_EQ(job.ledger.suspected.size() % per_message, 0U);
          EXPECT_GE(job.ledger.suspected.size(), 3 * per_message);
        }
      }
    }
  }
}

// Fewer than three, or somebody accepted between them, or words about the recipient: each for
// himself.
TEST(DeliveryLimitsTest, RefusalsThatAreTheRecipients) {
  const struct {
    const char* why;
    const char* at;
    const char* reply;
    std::function<bool(int message)> refuses;
    std::size_t refused;
  } rows[] = {
      {"every other one", ".", kUnknownWords, [](int n) { return n % 2 == 0; }, 20},
      {"two in a row", ".", kUnknownWords, [](int n) { return n % 3 != 0; }, 26},
      {"the last two", ".", kUnknownWords, [](int n) { return n >= 38; }, 2},
      {"mailboxes", "RCPT", "550 5.1.1 no such user", [](int) { return true; }, 40},
      {"full ones", "RCPT", "552 5.2.2 full", [](int) { return true; }, 40},
      {"without a code", "RCPT", "550 no", [](int) { return true; }, 40},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    int message = -1;
    ScriptedServer server({{}, [&](const std::string& command) -> std::string {
                             if (!command.starts_with(row.at)) return "";
                             return row.refuses(++message) ? row.reply : "";
                           }});
    FakeJob job(40);
    job.options.connections = 1;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(State::kRefused), row.refused);
    EXPECT_EQ(job.ledger.Count(State::kSent), 40 - row.refused);
  }
}

// They are refused when somebody is accepted, and stay put back where the run is stopped before.
TEST(DeliveryLimitsTest, TheFirstTwoWaitForTheVerdict) {
  for (const bool stopped : {false, true}) {
    SCOPED_TRACE(stopped);
    FakeJob job(40);
    int message = 0;
    ScriptedServer server({{}, [&](const std::string& command) -> std::string {
                             if (command != "." || ++message == 3) return "";
                             if (stopped && message == 2) job.running->RequestStop();
                             return kUnknownWords;
                           }});
    job.options.connections = 1;
    job.To(server);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, Reason::kStopped);
    EXPECT_EQ(end.status.code(), stopped ? Code::kOk : Code::kUnavailable) << end.status.text();
    EXPECT_EQ(job.ledger.Count(State::kRefused), stopped ? 0U : 2U);
    EXPECT_EQ(job.ledger.outcomes.size(), stopped ? 0U : 3U);
    // The last one's message confirmed the answer of the one before.
    EXPECT_EQ(job.ledger.suspected.size(), stopped ? 2U : 6U);
  }
}

// Those whom an earlier run has put back for it come last, and are judged for themselves as soon as
// somebody is accepted, or when it was so in three runs.
TEST(DeliveryLimitsTest, SuspectsOfEarlierRuns) {
  const auto refuses_all = [](const std::string& command) -> std::string {
    return command == "." ? kUnknownWords : "";
  };
  const auto refuses_ten = [count = 0](const std::string& command) mutable -> std::string {
    const bool first_ten = command.starts_with("RCPT") && command.size() == 25;
    if (command.starts_with("RCPT")) count = first_ten;
    return command == "." && count ? kUnknownWords : "";
  };
  const struct {
    const char* why;
    std::function<std::string(const std::string&)> server;
    std::size_t people;
    int suspected;  // the first ten, in so many runs
    std::size_t sent, refused;
  } rows[] = {
      {"accepted after somebody else", {}, 20, 1, 20, 0},
      {"refused after somebody else was accepted", refuses_ten, 20, 1, 10, 10},
      {"nobody else is left", refuses_all, 10, 2, 0, 0},
      {"nobody else is left, for the fourth time", refuses_all, 10, 3, 0, 10},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    ScriptedServer server({{}, row.server});
    FakeJob job(row.people);
    job.source.suspected = row.suspected;
    job.options.connections = 1;
    job.To(server);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(job.ledger.Count(State::kSent), row.sent);
    EXPECT_EQ(job.ledger.Count(State::kRefused), row.refused);
    EXPECT_EQ(end.reason, row.sent + row.refused == row.people ? Reason::kDone : Reason::kStopped);
    if (row.sent > 0) {
      EXPECT_EQ(server.messages()[0].recipients.at(0), AddressOf(10)) << "the ten come last";
    }
    if (end.reason == Reason::kStopped) {
      EXPECT_EQ(job.ledger.suspected[AddressOf(0)], "suspected 3");
    }
  }
}

}  // namespace
}  // namespace vespro::engine
