#include "engine/delivery/server_pool.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::seconds;

constexpr TimePoint kStart = TimePoint() + std::chrono::hours(1);
constexpr auto kBusy = [](std::size_t) { return true; };

// "a a b" are the accounts a, a and b, at port 25.
ServerPool MakePool(const std::vector<std::string>& names, DeliveryOptions options = {}) {
  std::vector<Account> accounts;
  for (const std::string& name : names) {
    Account account;
    account.server = name;
    accounts.push_back(account);
  }
  return ServerPool(options, accounts, kStart);
}

TEST(ServerPoolTest, EqualLinesAreOneServerWithMoreConnections) {
  ServerPool pool = MakePool({"a", "b", "a"});
  ASSERT_EQ(pool.Names(), (std::vector<std::string>{"a:25", "b:25"}));
  for (int i = 0; i < 9; ++i) pool[*pool.NextToConnect(0, kStart, kBusy)].OnConnecting(kStart);
  EXPECT_EQ(pool[0].open(), 6U);
  EXPECT_EQ(pool[1].open(), 3U);
}

TEST(ServerPoolTest, TheLastAttemptIsNotMadeWhereTheOneBeforeFailed) {
  DeliveryOptions options;
  options.max_attempts = 3;
  ServerPool pool = MakePool({"a", "b"}, options);
  AttemptState state;
  state.last_server = 0;
  state.attempts = 1;
  EXPECT_TRUE(pool.IsEligible(0, state));
  EXPECT_FALSE(pool.IsPreferred(0, state));
  state.attempts = 2;
  EXPECT_FALSE(pool.IsEligible(0, state));
  EXPECT_TRUE(pool.IsEligible(1, state));
  pool[1].OnConnectFailed(kStart, "down");
  EXPECT_TRUE(pool.IsEligible(0, state)) << "the other one is not well";
  state.rejected_by = {0};
  EXPECT_FALSE(pool.IsEligible(0, state));
}

TEST(ServerPoolTest, AServerThatCantSendLeavesItsShare) {
  DeliveryOptions options;
  options.account_rates = {{"slow", 1}};
  ServerPool pool = MakePool({"good", "bad", "slow"}, options);
  pool[1].OnThrottled(kStart, "454 slow down");
  pool.UpdateShares(kStart, kBusy);
  std::vector<int> sent(3);
  for (int i = 0; i < 30; ++i) {
    for (std::size_t server = 0; server < 3; ++server) {
      if (!pool.TakeTurn(server, false, kStart)) continue;
      pool.OnTaken(server, 1, kStart);
      ++sent[server];
    }
    pool.UpdateShares(kStart, kBusy);
  }
  EXPECT_EQ(sent, (std::vector{30, 0, 1}));
  EXPECT_EQ(pool.rate_limited_until(), TimePoint::max()) << "it has no turn, so it is not asked";
  EXPECT_EQ(pool.Starved(), 1U) << "the good one has a share and no connection";
}

TEST(ServerPoolTest, SaysWhyNoServerIsLeft) {
  const auto reason = [](Code first, Code second) {
    ServerPool pool = MakePool({"a", "b"});
    pool[0].Disable(Status(first, "one"), {});
    EXPECT_FALSE(pool.AllDisabled());
    pool[1].Disable(Status(second, "two"), {});
    EXPECT_TRUE(pool.AllDisabled());
    EXPECT_NE(pool.WhyDisabled().text().find(" a:25: one b:25: two"), std::string::npos);
    return pool.WhyDisabled().code();
  };
  EXPECT_EQ(reason(Code::kLogin, Code::kLogin), Code::kLogin);
  EXPECT_EQ(reason(Code::kLogin, Code::kConfig), Code::kConfig);
  EXPECT_EQ(reason(Code::kLogin, Code::kBadInput), Code::kBadInput);
  EXPECT_EQ(reason(Code::kUnavailable, Code::kLogin), Code::kUnavailable);

  ServerPool pool = MakePool({"a", "b", "c"});
  AttemptState rejected;
  rejected.rejected_by = {2};
  TimePoint now = kStart;
  for (int i = 0; i < 3; ++i, now += seconds(60)) pool[0].OnConnectFailed(now, "refused");
  pool[1].Disable(Status(Code::kConfig, "no TLS"), {});
  EXPECT_TRUE(pool.HasReachable({}));
  EXPECT_FALSE(pool.HasReachable(rejected));
  EXPECT_EQ(pool.WhyUnreachable().text(),
            "no server can be reached: a:25: refused b:25: no TLS c:25: it does not take what is "
            "left");
}

}  // namespace
}  // namespace vespro::engine
