#include "engine/delivery/dispatcher.h"

#include <gtest/gtest.h>

#include "engine/delivery/test_job.h"

namespace vespro::engine {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

constexpr TimePoint kStart = TimePoint() + hours(1);

// A dispatcher with its list, messages and sink.
struct Desk {
  Desk(std::size_t recipients, std::vector<std::string> names, std::size_t per_message = 1)
      : source(recipients), renderer(per_message) {
    for (std::string& name : names) {
      Account account;
      account.server = std::move(name);
      accounts.push_back(account);
    }
  }
  Dispatcher& Open() {
    dispatcher.emplace(options, accounts, source, renderer, ledger, kStart);
    return *dispatcher;
  }
  Poll Next(std::size_t server, std::size_t max_recipients = 0, TimePoint now = kStart) {
    message.recipients.clear();
    message.states.clear();
    return dispatcher->NextMessage(server, max_recipients, false, now, message);
  }
  // The server's answer to the whole of the message.
  void Answered(std::size_t server, const Disposition& disposition, TimePoint now = kStart) {
    Answer answer;
    answer.disposition = disposition;
    answer.reply = "no";
    for (std::size_t i = 0; i < message.recipients.size(); ++i) {
      dispatcher->OnNotAccepted(server, message.recipients[i], message.states[i], answer, now);
    }
    dispatcher->OnMessageFinished(server, message.recipients.size());
  }
  State StateOf(std::size_t number) { return ledger.outcomes.at(AddressOf(number)).state; }

  Numbers source;
  Letters renderer;
  Ledger ledger;
  DeliveryOptions options;
  std::vector<Account> accounts;
  std::optional<Dispatcher> dispatcher;
  InFlightMessage message;
};

constexpr Disposition kElsewhere{.scope = Scope::kRecipient, .action = Action::kTryOtherServer};
constexpr Disposition kLater{.scope = Scope::kRecipient, .action = Action::kDefer};
constexpr Disposition kUnusable{.scope = Scope::kAccount, .action = Action::kDisableServer};

TEST(DispatcherTest, AMessageIsAsLargeAsEverybodyTakes) {
  Desk desk(500, {"a"}, 80);
  desk.options.recipients_per_transaction = 60;
  Dispatcher& dispatcher = desk.Open();
  dispatcher.Update(kStart);
  const struct {
    std::size_t server_says, learnt, size;
  } rows[] = {{0, 0, 60}, {20, 0, 20}, {100, 0, 80}, {20, 7, 7}, {0, 50, 50}};
  for (const auto& row : rows) {
    dispatcher.servers()[0].quirks().OnRecipientLimit(row.learnt);
    ASSERT_EQ(desk.Next(0, row.server_says), Poll::kReady);
    EXPECT_EQ(desk.message.recipients.size(), row.size);
    EXPECT_EQ(desk.message.states.size(), row.size);
    EXPECT_EQ(desk.message.states.back().attempts, 1);
  }
}

TEST(DispatcherTest, SaysWhetherThereIsWorkForAServer) {
  Desk desk(2, {"a", "b"});
  Dispatcher& dispatcher = desk.Open();
  dispatcher.Update(kStart);
  ASSERT_EQ(desk.Next(0), Poll::kReady);
  desk.Answered(0, kElsewhere);
  EXPECT_EQ(desk.Next(0), Poll::kBlocked) << "it is b's turn";
  ASSERT_EQ(desk.Next(1), Poll::kReady);
  EXPECT_EQ(desk.message.recipients[0].line, 1U) << "whom a has rejected";
  ASSERT_EQ(desk.Next(0), Poll::kReady);
  EXPECT_EQ(desk.message.recipients[0].line, 2U);
  EXPECT_EQ(desk.Next(0), Poll::kExhausted);
  dispatcher.Stop();
  EXPECT_EQ(desk.Next(1), Poll::kExhausted);
  EXPECT_FALSE(dispatcher.IsOver()) << "two are on their way";
}

TEST(DispatcherTest, ADeferredRecipientIsWaitedFor) {
  Desk desk(1, {"a"});
  desk.options.retry_delay = seconds(30);
  Dispatcher& dispatcher = desk.Open();
  dispatcher.Update(kStart);
  ASSERT_EQ(desk.Next(0), Poll::kReady);
  EXPECT_EQ(dispatcher.GoesOn(), TimePoint()) << "it is on its way";
  desk.Answered(0, kLater);
  EXPECT_FALSE(dispatcher.IsOver());
  EXPECT_EQ(dispatcher.NextWake(), kStart + seconds(30));
  EXPECT_EQ(dispatcher.GoesOn(), kStart + seconds(30));
  EXPECT_EQ(dispatcher.HowFar(0).waiting_for_retry, 1U);
  dispatcher.Update(kStart + seconds(29));
  EXPECT_FALSE(dispatcher.HasWork(0));
  dispatcher.Update(kStart + seconds(30));
  EXPECT_EQ(desk.Next(0, 0, kStart + seconds(30)), Poll::kReady);
  EXPECT_EQ(desk.message.states[0].attempts, 2);
}

TEST(DispatcherTest, WhomNoServerIsLeftForIsRefusedAtOnce) {
  Desk desk(2, {"a", "b"});
  Dispatcher& dispatcher = desk.Open();
  dispatcher.Update(kStart);
  ASSERT_EQ(desk.Next(0), Poll::kReady);
  desk.Answered(0, kElsewhere);
  EXPECT_TRUE(desk.ledger.outcomes.empty()) << "b may take it";
  SessionEnd end;
  end.disposition = kUnusable;
  end.text = "503 go away";
  dispatcher.OnFailed(1, end, kStart);
  EXPECT_EQ(desk.StateOf(0), State::kRefused);
  EXPECT_FALSE(dispatcher.IsOver()) << "a has the other recipient";
  dispatcher.OnFailed(0, end, kStart);
  EXPECT_TRUE(dispatcher.IsOver());
  const DeliveryEnd ended = dispatcher.End();
  EXPECT_EQ(ended.reason, DeliveryEnd::Reason::kStopped);
  EXPECT_EQ(ended.accounts[1].disabled, "503 go away");
  EXPECT_EQ(ended.accounts[0].refused, 1U);
}

TEST(DispatcherTest, WhatTheEndOfASessionMeansForItsServer) {
  const auto failed = [](Fault fault, bool was_ready, bool was_used, Disposition disposition = {}) {
    SessionEnd end;
    end.was_ready = was_ready;
    end.was_used = was_used;
    end.failure.fault = fault;
    end.disposition = disposition;
    end.text = "why";
    return end;
  };
  const struct {
    const char* why;
    SessionEnd end;
    bool enabled, backs_off;
  } rows[] = {
      {"it can't be reached", failed(Fault::kUnreachable, false, false), true, true},
      {"it lets us in and drops us", failed(Fault::kClosed, true, false), true, true},
      {"it drops us after a message", failed(Fault::kClosed, true, true), true, false},
      {"TLS is gone that it had", failed(Fault::kNoTls, false, false, kUnusable), true, true},
      {"its certificate is wrong", failed(Fault::kUntrusted, false, false, kUnusable), false,
       false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    Desk desk(3, {"a"});
    Dispatcher& dispatcher = desk.Open();
    dispatcher.Update(kStart);
    dispatcher.OnFailed(0, row.end, kStart);
    EXPECT_EQ(dispatcher.servers()[0].enabled(), row.enabled);
    EXPECT_EQ(dispatcher.servers()[0].backoff_until() > kStart, row.backs_off);
  }
}

TEST(DispatcherTest, AMessageThatIsTooLargeForAServerIsNotTried) {
  Desk desk(3, {"a"});
  desk.renderer.tell_least = true;
  Dispatcher& dispatcher = desk.Open();
  const std::uint64_t least = desk.renderer.least_bytes();
  dispatcher.OnReady(0, 1, least, kStart);
  EXPECT_TRUE(dispatcher.servers()[0].enabled());
  dispatcher.OnReady(0, 1, 0, kStart);
  EXPECT_TRUE(dispatcher.servers()[0].enabled()) << "it names no limit";
  dispatcher.OnReady(0, 1, least - 1, kStart);
  EXPECT_FALSE(dispatcher.servers()[0].enabled());
  EXPECT_EQ(dispatcher.End().status.code(), Code::kBadInput);
}

}  // namespace
}  // namespace vespro::engine
