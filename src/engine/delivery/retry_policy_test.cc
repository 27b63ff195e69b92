#include "engine/delivery/retry_policy.h"

#include <gtest/gtest.h>

#include "engine/delivery/server_quirks.h"

namespace vespro::engine {
namespace {

using std::chrono::seconds;

TEST(RetryPolicyTest, WhatComesNext) {
  constexpr seconds kNow{0};
  const RetryPolicy policy{.max_attempts = 3, .first_delay = seconds(30)};
  const struct {
    const char* why;
    Disposition disposition;
    bool another_server;
    int attempts_before, limit_hits_before;
    std::optional<State> final_state;
    seconds delay;
    int attempts;
  } rows[] = {
      {"refused for good", {.action = Action::kBounce}, true, 1, 0, State::kRefused, kNow, 1},
      {"may have been accepted",
       {.action = Action::kUnknown},
       true,
       1,
       0,
       State::kUnknown,
       kNow,
       1},
      {"another server may take it", {.action = Action::kTryOtherServer}, true, 1, 0, {}, kNow, 1},
      {"no other server",
       {.action = Action::kTryOtherServer},
       false,
       1,
       0,
       State::kRefused,
       kNow,
       1},
      {"the account's fault", {.action = Action::kDisableServer}, true, 3, 0, {}, kNow, 2},
      {"lost with the connection", {.action = Action::kRequeue}, true, 3, 0, {}, kNow, 2},
      {"deferred", {.action = Action::kDefer}, true, 1, 0, {}, seconds(30), 1},
      {"deferred again", {.action = Action::kDefer}, true, 2, 0, {}, seconds(60), 2},
      {"deferred too often", {.action = Action::kDefer}, true, 3, 0, State::kFailed, kNow, 3},
      {"no room beside the others",
       {.scope = Scope::kRecipient, .action = Action::kRequeue},
       true,
       1,
       2,
       {},
       kNow,
       0},
      {"no room once too often",
       {.scope = Scope::kRecipient, .action = Action::kRequeue},
       true,
       1,
       3,
       {},
       seconds(30),
       1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    AttemptState state;
    state.attempts = row.attempts_before;
    state.recipient_limit_hits = row.limit_hits_before;
    const NextStep next = policy.AfterFailure(row.disposition, 7, row.another_server, state);
    EXPECT_EQ(next.final_state, row.final_state);
    EXPECT_EQ(next.delay, row.delay);
    EXPECT_EQ(state.attempts, row.attempts);
    EXPECT_EQ(state.RejectedBy(7), row.disposition.action == Action::kTryOtherServer);
  }
}

TEST(RetryPolicyTest, ALimitThatHitsOneRecipientOnly) {
  constexpr Disposition kTooFast{.action = Action::kRequeue, .limit = Limit::kRate};
  const RetryPolicy policy;
  const auto action_after = [&](int hits, std::uint64_t served_between) {
    AttemptState state;
    Action last = Action::kRequeue;
    for (int i = 0; i < hits; ++i) {
      last = policy.ForRecipient(kTooFast, served_between * static_cast<unsigned>(i), state).action;
    }
    return last;
  };
  EXPECT_EQ(action_after(8, 1), Action::kRequeue);
  EXPECT_EQ(action_after(9, 1), Action::kDefer) << "everybody else is served";
  EXPECT_EQ(action_after(100, 0), Action::kRequeue) << "nobody is";
}

TEST(ServerQuirksTest, LockStepLastsLongerEachTime) {
  ServerQuirks quirks;
  EXPECT_FALSE(quirks.lock_step());
  for (const std::uint64_t lasts : {200U, 400U, 800U}) {
    quirks.OnDropped(lasts);
    for (std::uint64_t i = 0; i < lasts; ++i) {
      EXPECT_TRUE(quirks.lock_step()) << i << " of " << lasts;
      quirks.OnAccepted();
    }
    EXPECT_FALSE(quirks.lock_step()) << lasts;
  }
  // In lock-step already: it begins again and is not doubled.
  quirks.OnDropped(1);
  quirks.OnDropped(2);
  for (int i = 0; i < 1600; ++i) quirks.OnAccepted();
  EXPECT_FALSE(quirks.lock_step());
}

TEST(ServerQuirksTest, TwoClosesAtTheSameCountAreALimit) {
  ServerQuirks quirks;
  quirks.OnDropped(20);
  EXPECT_EQ(quirks.max_messages(), 0U);
  quirks.OnDropped(30);
  EXPECT_EQ(quirks.max_messages(), 0U);
  quirks.OnDropped(30);
  EXPECT_EQ(quirks.max_messages(), 30U);
  ServerQuirks at_once;
  at_once.OnDropped(0);
  at_once.OnDropped(0);
  EXPECT_EQ(at_once.max_messages(), 0U) << "a connection must carry something";
}

}  // namespace
}  // namespace vespro::engine
