#include "engine/delivery/server.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr TimePoint kStart = TimePoint() + std::chrono::hours(1);

Server MakeServer() {
  Account account;
  account.server = "mx.example";
  return Server(account, CredentialSource("x"), RateLimits::kUnlimited, nullptr, Server::Waits{},
                kStart);
}

TEST(ServerTest, BacksOffAndCountsAsUnreachable) {
  Server server = MakeServer();
  EXPECT_TRUE(server.CanConnect(kStart));
  TimePoint now = kStart;
  for (const int wait : {1, 2, 4}) {
    EXPECT_FALSE(server.IsUnreachable());
    server.OnConnecting(now);
    server.OnClosed(false, false);
    server.OnConnectFailed(now, "connection refused");
    EXPECT_FALSE(server.CanConnect(now + seconds(wait) - milliseconds(1)));
    now += seconds(wait);
    EXPECT_TRUE(server.CanConnect(now));
  }
  EXPECT_TRUE(server.IsUnreachable());
  EXPECT_TRUE(server.NeverConnected());
  EXPECT_EQ(server.last_error(), "connection refused");

  // One that has served gets more patience.
  server.OnConnecting(now);
  server.OnReady();
  EXPECT_TRUE(server.IsHealthy());
  server.OnClosed(true, false);
  for (int i = 0; i < 7; ++i) {
    now += seconds(60);
    server.OnConnectFailed(now, "connection refused");
  }
  EXPECT_FALSE(server.IsUnreachable());
  now += seconds(60);
  server.OnConnectFailed(now, "connection refused");
  EXPECT_TRUE(server.IsUnreachable());
}

TEST(ServerTest, OneSessionTriesForAllAfterAFailure) {
  Server server = MakeServer();
  server.OnConnecting(kStart);
  server.OnClosed(false, false);
  server.OnConnectFailed(kStart, "no");
  const TimePoint later = kStart + seconds(2);
  server.OnConnecting(later);
  EXPECT_FALSE(server.CanConnect(later));
  server.OnReady();
  EXPECT_TRUE(server.CanConnect(later));
  // Where others of ours are served a refusal is about one connection too many.
  server.OnConnecting(later);
  server.OnClosed(false, false);
  server.OnConnectFailed(later, "421 too many connections");
  EXPECT_FALSE(server.CanConnect(later + seconds(4)));
  EXPECT_TRUE(server.CanSend(later + seconds(4)));
  EXPECT_TRUE(server.CanConnect(later + seconds(5)));
  EXPECT_TRUE(server.IsHealthy());
}

TEST(ServerTest, AThrottleStopsMessagesUntilOneIsAccepted) {
  Server server = MakeServer();
  server.OnThrottled(kStart, "454 slow down");
  server.OnThrottled(kStart + milliseconds(1), "454 slow down");
  server.OnConnectFailed(kStart + milliseconds(2), "part of the same trouble");
  EXPECT_FALSE(server.CanSend(kStart + milliseconds(999)));
  EXPECT_TRUE(server.CanSend(kStart + seconds(1)));
  EXPECT_FALSE(server.IsHealthy());
  server.OnAccepted(kStart, false, kStart);
  EXPECT_TRUE(server.IsHealthy());
}

TEST(ServerTest, TheFirstReasonToBeDisabledCounts) {
  Server server = MakeServer();
  server.Disable(Status(Code::kLogin, "535 no"), AccountTally::Remedy::kLater);
  server.Disable(Status(Code::kConfig, "too late"), AccountTally::Remedy::kAnotherJob);
  EXPECT_FALSE(server.CanSend(kStart));
  EXPECT_EQ(server.disabled_reason().text(), "535 no");
  EXPECT_EQ(server.remedy(), AccountTally::Remedy::kLater);
}

TEST(ServerTest, ConfiguresItsSessionsByWhatWasLearnt) {
  Server server = MakeServer();
  ClientOptions options;
  server.Configure(options);
  EXPECT_TRUE(options.use_pipelining && options.use_chunking);
  EXPECT_FALSE(options.tls_from_start);
  server.quirks().OnDropped(3);
  server.quirks().OnChunkingFailed();
  server.Configure(options);
  EXPECT_FALSE(options.use_pipelining || options.use_chunking);

  Account account;
  account.server = "mx.example";
  account.port = 465;
  const Server tls(account, CredentialSource("x"), RateLimits::kUnlimited, nullptr, Server::Waits{},
                   kStart);
  tls.Configure(options);
  EXPECT_TRUE(options.tls_from_start);
  options.tls = TlsUse::kOff;
  tls.Configure(options);
  EXPECT_FALSE(options.tls_from_start);
}

}  // namespace
}  // namespace vespro::engine
