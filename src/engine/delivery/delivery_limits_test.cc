// Servers that limit what an account may send, as providers do: nobody is called refused or failed
// for it, and it costs little.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

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

}  // namespace
}  // namespace vespro::engine
