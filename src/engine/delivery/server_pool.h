// engine/delivery/server_pool.h - all servers of a job: which one may take a recipient, which one
// is to be connected to next, and whether one is left at all. Servers are indices. Time is passed
// in. One thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "engine/delivery/delivery_options.h"
#include "engine/delivery/fair_share.h"
#include "engine/delivery/rate_limit.h"
#include "engine/delivery/retry_policy.h"
#include "engine/delivery/server.h"

namespace vespro::engine {

class ServerPool {
 public:
  // Whether there is work that a server may take.
  using HasWork = std::function<bool(std::size_t server)>;

  ServerPool(const DeliveryOptions& options, const std::vector<Account>& accounts, TimePoint now);

  std::size_t size() const { return servers_.size(); }
  Server& operator[](std::size_t server) { return servers_[server]; }
  const Server& operator[](std::size_t server) const { return servers_[server]; }
  std::vector<std::string> Names() const;

  // Whether the recipient may go there now: not where it was rejected, and its last attempt not
  // where the one before it failed, while another server is healthy.
  bool IsEligible(std::size_t server, const AttemptState& state) const;
  // Whether it should: not where it was the last time, while another server is at work.
  bool IsPreferred(std::size_t server, const AttemptState& state) const;
  // Whether a server is enabled that has not rejected it, other than `except`.
  bool HasEligible(const AttemptState& state, std::size_t except = AttemptState::kNoServer) const;

  // Lets the servers that can't send leave their shares to the others.
  void UpdateShares(TimePoint now, const HasWork& has_work);
  // Whether the next message may be `server`'s by its share; takes it from the rate limits then.
  // `full`: all connections are in use, so that servers take turns on them.
  bool TakeTurn(std::size_t server, bool full, TimePoint now);
  Obstacle WhyNotSending(std::size_t server, bool full, TimePoint now) const;
  Obstacle WhyNotConnecting(std::size_t server, TimePoint now) const;
  // See Allowance; of each once.
  void UpdateQuotas(TimePoint now);
  void OnTaken(std::size_t server, std::size_t recipients, TimePoint now);

  // The server with the fewest connections for its weight; of equals the one furthest behind its
  // share. None when none may be connected to now.
  std::optional<std::size_t> NextToConnect(std::size_t connecting, TimePoint now,
                                           const HasWork& has_work);
  // Servers that have a share and no connection.
  std::size_t Starved() const;

  // Rate limits and paces that refused something since ForgetRefusals let it through then;
  // TimePoint::max() for never.
  TimePoint rate_limited_until() const { return std::min(limits_.retry_at(), pace_retry_at_); }
  void ForgetRefusals();
  // When the first enabled server may be used; TimePoint::max() for never.
  TimePoint AvailableAt() const;

  bool AllDisabled() const;
  // Why, when they are: kLogin when it was the login of each, kConfig or kBadInput when it is only
  // helped by another account or job.
  Status WhyDisabled() const;
  // Whether a server can be reached, as far as is known, that takes the recipient.
  bool HasReachable(const AttemptState& state) const;
  Status WhyUnreachable() const;

 private:
  double Lead(std::size_t server, bool full) const;

  int max_attempts_;
  bool wait_for_quota_;
  RateLimits limits_;
  std::vector<Server> servers_;
  FairShare shares_;
  TimePoint pace_retry_at_ = TimePoint::max();
};

}  // namespace vespro::engine
