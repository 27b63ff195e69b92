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

}  // namespace
}  // namespace vespro::engine
