// engine/delivery/server.h - one server with the login that goes with it: all equal lines of the
// job. What is known of it while the job runs: its sessions, whether it fails, how it has to be
// treated. Time is passed in. One thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/delivery/allowance.h"
#include "engine/delivery/backoff.h"
#include "engine/delivery/concurrency.h"
#include "engine/delivery/credential_source.h"
#include "engine/delivery/delivery_end.h"
#include "engine/delivery/obstacle.h"
#include "engine/delivery/pace.h"
#include "engine/delivery/rate_limit.h"
#include "engine/delivery/server_limit.h"
#include "engine/delivery/server_quirks.h"
#include "engine/smtp/client.h"

namespace vespro::engine {

class Server {
 public:
  // `allowance` is nullptr where there are no limits.
  // `initial_backoff` is how long it is left alone after a failure, and the others how long before
  // it may get one connection more than it served, and when it wants to rest.
  struct Waits {
    std::chrono::milliseconds initial_backoff{1000}, more_connections{30'000}, rest{600'000};
  };
  Server(Account account, CredentialSource credentials, std::size_t rate_limit,
         Allowance* allowance, const Waits& waits, TimePoint now);

  const std::string& name() const { return name_; }  // "name:port"
  const Account& account() const { return account_; }
  bool IsFor(const Account& account) const;
  unsigned weight() const { return weight_; }
  void AddShare() { ++weight_; }
  std::size_t rate_limit() const { return rate_limit_; }
  ServerQuirks& quirks() { return quirks_; }
  const ServerQuirks& quirks() const { return quirks_; }
  CredentialSource& credentials() { return credentials_; }
  const CredentialSource& credentials() const { return credentials_; }
  const Pace& pace() const { return pace_; }
  const Concurrency& concurrency() const { return concurrency_; }
  // The day's count, see Allowance. Everything may be taken where there is none.
  std::size_t TakeQuota(std::size_t recipients, TimePoint now);
  void GiveBackQuota(std::size_t recipients);
  void CommitQuota(std::size_t recipients);
  void UpdateQuota(TimePoint now);
  bool AtQuota() const { return at_quota_; }
  // Of those that were taken some have no verdict yet, and may come back.
  bool QuotaOnItsWay() const { return taken_ > 0; }
  Allowance* allowance() const { return allowance_; }

  // What a new session has to know of it.
  void Configure(ClientOptions& options) const;

  // Its sessions: connecting, then ready, then closed.
  void OnConnecting(TimePoint now);
  void OnReady();
  // Some of them are told to leave before.
  void OnLeaving() { ++leaving_; }
  void OnClosed(bool was_ready, bool was_leaving);
  std::size_t open() const { return open_; }
  std::size_t ready() const { return ready_; }
  std::size_t connecting() const { return open_ - ready_; }

  // A message to so many recipients goes out; it is answered.
  void OnBegun(std::size_t recipients, TimePoint now);
  void OnFinished() { --in_flight_; }
  // Whether its pace has room for a message.
  bool MayBegin(TimePoint now) const;
  // How many may be on the wire of a session that has had so many accepted.
  std::size_t MaxInFlight(std::uint64_t accepted) const;

  // What it did.
  // It took what went out at `begun`. `in_clear`: without TLS, and not to this machine.
  void OnAccepted(TimePoint begun, bool in_clear, TimePoint now);
  // It wants fewer messages in a time than those of `begun`. Returns whether that is new.
  bool OnTooFast(TimePoint begun, TimePoint now, const std::string& why);
  // It refused a session or a transaction on one as one too many, while there are others. The
  // session is to leave.
  void OnTooMany(TimePoint now, const std::string& why);
  bool HasOthers() const { return open_ > leaving_ + 1; }
  // It wants to be left alone for long. Returns the same.
  bool OnRest(TimePoint now, const std::string& why);
  bool IsResting(TimePoint now) const { return now < rest_until_; }
  // What it has asked for in this run.
  bool is_limited() const { return !limit_words_.empty(); }
  ServerLimit limit() const;
  // What was learnt goes to its allowance.
  void Learn() const;
  // Returns whether it begins a wait; a failure during one belongs to the one that began it.
  bool OnThrottled(TimePoint now, const std::string& why);
  // A session ended before it was ready. Returns the same.
  bool OnConnectFailed(TimePoint now, const std::string& why);
  // It takes no further part; the code tells what kind of trouble it is. The first reason counts.
  void Disable(Status reason, AccountTally::Remedy remedy);

  bool enabled() const { return disabled_reason_.ok(); }
  const Status& disabled_reason() const { return disabled_reason_; }
  AccountTally::Remedy remedy() const { return remedy_; }
  // In a row, of either kind.
  int failures() const {
    return std::max({connect_backoff_.failures(), throttle_backoff_.failures(), rests_});
  }
  // No recent failures.
  bool IsHealthy() const;
  // Too many failures in a row.
  bool IsUnreachable() const;
  // It failed from the beginning.
  bool NeverConnected() const { return !ever_connected_ && connect_backoff_.failures() > 0; }
  bool sent_in_clear() const { return sent_in_clear_; }
  const std::string& last_error() const { return last_error_; }

  // No message before.
  TimePoint available_at() const;
  // No message and no connection before.
  TimePoint backoff_until() const;
  // No connection before.
  TimePoint connect_at() const;
  Obstacle WhyNotSending(TimePoint now) const;
  Obstacle WhyNotConnecting(TimePoint now) const;
  bool CanSend(TimePoint now) const { return WhyNotSending(now) == Obstacle::kNone; }
  bool CanConnect(TimePoint now) const { return WhyNotConnecting(now) == Obstacle::kNone; }
  // Has a connection that sends, or will soon: it keeps its share of the messages.
  bool KeepsShare(TimePoint now) const;

 private:
  bool BackOff(Backoff& backoff, TimePoint now, std::chrono::milliseconds initial,
               const std::string& why);

  Account account_;
  std::string name_;
  unsigned weight_ = 1;
  CredentialSource credentials_;
  std::size_t rate_limit_;
  Allowance* allowance_;
  std::size_t taken_ = 0;  // recipients of the day's count that have no verdict
  bool at_quota_ = false;
  Waits waits_;
  ServerQuirks quirks_;

  std::size_t open_ = 0, ready_ = 0, leaving_ = 0;
  TimePoint connecting_since_{};  // the first session that is not ready yet
  bool ever_connected_ = false, sent_in_clear_ = false;

  std::size_t in_flight_ = 0;  // messages
  Pace pace_;
  Concurrency concurrency_;
  TimePoint rest_until_{};
  int rests_ = 0;  // in a row
  Backoff connect_backoff_, throttle_backoff_;
  TimePoint connection_limited_until_{};  // it takes no more at a time than are open
  std::string last_error_, limit_words_;
  Status disabled_reason_;
  AccountTally::Remedy remedy_ = AccountTally::Remedy::kLater;
};

}  // namespace vespro::engine
