// A server that sends replies too many, against the whole delivery: what was told last of everybody
// must agree with what the servers have accepted.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "engine/delivery/fake_job.h"

namespace vespro::engine {
namespace {

using Reason = DeliveryEnd::Reason;

constexpr std::size_t kPeople = 80;

struct Plan {
  explicit Plan(std::uint32_t seed) : random(seed) {
    static constexpr const char* kCommands[] = {"EHLO", "MAIL", "RCPT", "DATA", ".", "RSET"};
    static constexpr const char* kTexts[] = {"", "250 ok", "550 no", "451 4.3.0 wait"};
    offers = kOffers[Below(std::size(kOffers))];
    at = kCommands[Below(std::size(kCommands))];
    text = kTexts[Below(std::size(kTexts))];
    replies = 1 + Below(8);
    always = Below(2) == 1;
    connections = 1 + Below(3);
    skipped = always ? 0 : Below(at == "EHLO" ? connections : 20);
    per_message = Below(2) == 1 ? 5 : 1;
    second_server = Below(3) == 0;
    salt = static_cast<std::uint32_t>(random());
  }
  std::size_t Below(std::size_t end) { return random() % end; }
  // A third of them is refused, and of the others a few have to wait.
  bool IsRefused(const std::string& address) const { return Hash(address) % 3 == 0; }
  bool IsDeferredOnce(const std::string& address) const { return Hash(address) % 13 == 1; }
  std::uint32_t Hash(const std::string& address) const {
    const auto number = static_cast<std::uint32_t>(std::stoul(address.substr(1)));
    return ((number ^ salt) * 2654435761U) >> 16;
  }

  std::mt19937 random;
  std::vector<std::string> offers;
  std::string at;           // the command after whose reply they come
  std::string text;         // of each; empty: the reply itself once more
  std::size_t replies = 0;  // too many
  bool always = false;      // or once in the run,
  std::size_t skipped = 0;  // after so many of these commands
  std::size_t per_message = 1, connections = 1;
  bool second_server = false;  // one that answers as often as it is asked
  std::uint32_t salt = 0;
};

std::ostream& operator<<(std::ostream& out, const Plan& plan) {
  out << plan.replies << (plan.always ? " always" : " once") << " at " << plan.at << " '"
      << plan.text << "' skipped " << plan.skipped << ", " << plan.per_message << " a message, "
      << plan.connections << " connections, second " << plan.second_server;
  for (const std::string& offer : plan.offers) out << ' ' << offer;
  return out;
}

std::string TrueReply(const Plan& plan, std::set<std::string>& deferred,
                      const std::string& command) {
  if (command == ".") return "250 2.0.0 queued";
  const std::string verb = command.substr(0, 4);
  if (verb == "DATA") return "354 go";
  if (verb == "MAIL" || verb == "RSET") return "250 2.0.0 ok";
  if (verb == "RCPT") {
    const std::string address = command.substr(9, command.size() - 10);
    if (plan.IsRefused(address)) return "550 5.1.1 no such mailbox";
    const bool waits = plan.IsDeferredOnce(address) && deferred.insert(address).second;
    return waits ? "450 4.2.0 busy" : "250 2.1.5 ok";
  }
  if (verb != "EHLO") return "";
  std::string reply = "250-test\r\n";
  for (const std::string& offer : plan.offers) reply += "250-" + offer + "\r\n";
  return reply + "250 HELP";
}

struct Totals {
  std::size_t corrected = 0, unknown = 0;
};

void CheckRun(const Plan& plan, Totals& totals) {
  std::size_t seen = 0;
  std::set<std::string> deferred;
  ScriptedServer odd({plan.offers, [&](const std::string& command) {
                        std::string answer = TrueReply(plan, deferred, command);
                        if (!command.starts_with(plan.at)) return answer;
                        if (seen++ != plan.skipped && !plan.always) return answer;
                        const std::string surplus = plan.text.empty() ? answer : plan.text;
                        for (std::size_t i = 0; i < plan.replies; ++i) answer += "\r\n" + surplus;
                        return answer;
                      }});
  ScriptedServer even({plan.offers, [&](const std::string& command) {
                         return TrueReply(plan, deferred, command);
                       }});
  FakeJob job(kPeople, plan.per_message);
  job.options.connections = plan.connections;
  job.To(odd);
  if (plan.second_server) job.To(even);
  const DeliveryEnd end = job.Run();

  const std::size_t told = job.ledger.outcomes.size();
  EXPECT_TRUE(end.reason == Reason::kDone || end.reason == Reason::kStopped) << end.status.text();
  EXPECT_EQ(end.reason == Reason::kDone, told == kPeople) << end.status.text();
  EXPECT_TRUE(end.reason == Reason::kDone || (plan.always && !plan.second_server));
  EXPECT_LT(job.loop.elapsed(), std::chrono::minutes(5));

  std::map<std::string, int> accepted;
  for (const ScriptedServer* server : {&odd, &even}) {
    for (const ScriptedServer::Message& message : server->messages()) {
      for (const std::string& address : message.recipients) {
        ++accepted[address];
        EXPECT_NE(message.text.find("X-For: " + address + "\r\n"), std::string::npos)
            << address << " has a message for others";
      }
    }
  }
  for (std::size_t i = 0; i < kPeople; ++i) {
    const std::string address = AddressOf(i);
    const int times = accepted.contains(address) ? accepted[address] : 0;
    EXPECT_LE(times, 1) << address;
    const auto last = job.ledger.outcomes.find(address);
    if (last == job.ledger.outcomes.end()) {
      EXPECT_EQ(times, 0) << address << " is left over";
      continue;
    }
    switch (last->second.state) {
      case State::kSent:
        EXPECT_EQ(times, 1) << address << " is called sent";
        break;
      case State::kRefused:
        EXPECT_EQ(times, 0) << address << " is called refused";
        EXPECT_TRUE(plan.IsRefused(address)) << address << ": " << last->second.reply;
        break;
      case State::kFailed:
        EXPECT_EQ(times, 0) << address << " is called failed";
        break;
      default:
        break;
    }
  }
  totals.corrected += job.ledger.corrections;
  totals.unknown += job.ledger.Count(State::kUnknown);
}

TEST(DeliverySurplusTest, WhatIsToldLastAgreesWithTheServers) {
  constexpr std::uint32_t kRuns = 1500;
  Totals totals;
  for (std::uint32_t seed = 1; seed <= kRuns; ++seed) {
    const Plan plan(seed);
    SCOPED_TRACE(testing::Message() << "seed " << seed << ": " << plan);
    CheckRun(plan, totals);
  }
  EXPECT_GT(totals.corrected, kRuns) << "nothing was put right";
  EXPECT_LT(totals.unknown, kRuns * kPeople / 4) << "too many lost their verdict";
}

}  // namespace
}  // namespace vespro::engine
