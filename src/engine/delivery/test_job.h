// engine/delivery/test_job.h - for tests only: a job with a list, messages and a sink that holds
// the delivery to its contract.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/delivery/delivery.h"

namespace vespro::engine {

inline std::string AddressOf(std::size_t number) {
  return "r" + std::to_string(number) + "@list.example";
}

class Numbers final : public WorkSource {
 public:
  explicit Numbers(std::size_t count) : count_(count) {}
  Result<std::vector<Recipient>> Next(std::size_t max) override {
    if (given_ >= fails_after) return Status(Code::kBadInput, "disk gone");
    std::vector<Recipient> next;
    while (given_ < count_ && next.size() < max) {
      next.push_back({given_ + 1, AddressOf(given_), "", given_ < 10 ? suspected : 0});
      ++given_;
    }
    return next;
  }
  std::size_t fails_after = SIZE_MAX;
  int suspected = 0;  // the first ten, in so many runs

 private:
  std::size_t count_, given_ = 0;
};

// Names its recipients, has a line that begins with a dot, and a part that all messages share.
class Letters final : public Renderer {
 public:
  explicit Letters(std::size_t per_message) : per_message_(per_message) {}
  const std::string& sender() const override { return sender_; }
  std::size_t recipients_per_message() const override { return per_message_; }
  void Render(std::span<const Recipient> recipients, RenderedMessage& out) override {
    out.own = Head(recipients);
    out.pieces.assign({std::string_view(out.own), std::string_view(shared_)});
    out.bytes = out.own.size() + shared_.size();
  }
  static std::string Head(std::span<const Recipient> recipients) {
    std::string head;
    for (const Recipient& recipient : recipients) head += "X-For: " + recipient.address + "\r\n";
    return head + "\r\n";
  }
  const std::string& shared() const { return shared_; }
  std::uint64_t least_bytes() const override { return tell_least ? shared_.size() : 0; }
  bool tell_least = false;

 private:
  std::size_t per_message_;
  std::string sender_ = "news@list.example";
  std::string shared_ = ".dots\r\n" + std::string(70, 'x') + "\r\n..\r\n";
};

// Holds delivery to its contract.
class Ledger final : public ResultSink {
 public:
  Status Sending(std::span<const Recipient> recipients, std::string_view) override {
    for (const Recipient& recipient : recipients) {
      EXPECT_FALSE(outcomes.contains(recipient.address)) << "sent after its verdict";
      EXPECT_TRUE(on_the_wire.insert(recipient.address).second) << "twice at the same time";
    }
    if (sending_fails) return Status(Code::kCannotWrite, "disk full");
    return {};
  }
  Status PutBack(const Recipient& recipient, const Deferral& why) override {
    const bool announced = on_the_wire.erase(recipient.address) == 1;
    EXPECT_TRUE(announced || why.attempts > 0 || !why.mark.empty())
        << "put back, not sent and no attempt used";
    EXPECT_FALSE(outcomes.contains(recipient.address)) << "put back after its verdict";
    if (!why.mark.empty()) suspected[recipient.address] = why.mark;
    EXPECT_FALSE(why.server.empty());
    EXPECT_FALSE(why.reply.empty());
    return {};
  }
  Status Record(const Recipient& recipient, const Outcome& outcome) override {
    EXPECT_TRUE(outcomes.emplace(recipient.address, outcome).second) << "a second verdict";
    on_the_wire.erase(recipient.address);
    if (outcome.state == State::kSent || outcome.state == State::kUnknown) {
      EXPECT_TRUE(committed.contains(recipient.address)) << "accepted before it was noted";
    }
    EXPECT_GE(outcome.attempts, 1);
    EXPECT_FALSE(outcome.server.empty());
    if (on_record) on_record();
    return {};
  }
  // The last word counts.
  Status Correct(const Recipient& recipient, const Outcome& outcome) override {
    const auto told = outcomes.find(recipient.address);
    if (told == outcomes.end()) {
      ADD_FAILURE() << "corrected before it was told";
      return {};
    }
    EXPECT_TRUE(told->second.state == State::kSent || told->second.state == State::kRefused);
    EXPECT_EQ(outcome.state, State::kUnknown);
    EXPECT_EQ(outcome.attempts, told->second.attempts);
    EXPECT_EQ(outcome.server, told->second.server);
    told->second = outcome;
    ++corrections;
    return {};
  }
  Status Commit() override {
    committed.insert(on_the_wire.begin(), on_the_wire.end());
    return {};
  }
  std::size_t Count(State state) const {
    return static_cast<std::size_t>(std::count_if(
        outcomes.begin(), outcomes.end(), [&](const auto& o) { return o.second.state == state; }));
  }

  std::map<std::string, Outcome> outcomes;
  std::set<std::string> on_the_wire;             // sent, without a verdict or a way back
  std::set<std::string> committed;               // of those that ever were
  std::map<std::string, std::string> suspected;  // the last mark of each that was put back with one
  std::size_t corrections = 0;
  std::function<void()> on_record;
  bool sending_fails = false;
};

// One run with everything that belongs to it.
struct Job {
  explicit Job(std::size_t recipients, std::size_t recipients_per_message = 1)
      : source(recipients), renderer(recipients_per_message) {
    options.connections = 3;
  }
  void To(std::uint16_t port, const std::string& server = "127.0.0.1") {
    Account account;
    account.server = server;
    account.port = port;
    accounts.push_back(account);
  }
  DeliveryEnd Run(EventLoop& loop) {
    Delivery delivery(loop, options, accounts, source, renderer, ledger);
    running = &delivery;
    DeliveryEnd end = delivery.Run([this](const Progress& now) {
      progress = now;
      if (on_tick) on_tick();
    });
    // Whoever has no verdict was put back.
    EXPECT_TRUE(ledger.on_the_wire.empty() || !end.status.ok());
    std::uint64_t told = 0;
    for (const AccountTally& tally : end.accounts) {
      told += tally.sent + tally.refused + tally.failed + tally.unknown;
    }
    EXPECT_EQ(told, ledger.outcomes.size());
    return end;
  }

  Numbers source;
  Letters renderer;
  Ledger ledger;
  DeliveryOptions options;
  std::vector<Account> accounts;
  Delivery* running = nullptr;
  std::function<void()> on_tick;
  Progress progress;  // of the last tick
};

inline const std::vector<std::string> kOffers[] = {
    {}, {"PIPELINING", "SIZE 100000"}, {"PIPELINING", "CHUNKING", "8BITMIME"}, {"CHUNKING"}};

}  // namespace vespro::engine
