// engine/delivery/rate_limit.h - ceilings on messages a second: one for the whole job, and one for
// each server that has its own. Pure: time is passed in. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/delivery/backoff.h"

namespace vespro::engine {

// Lets through `per_second` messages a second, smoothly: what was not used is kept for a tenth of a
// second only. Zero lets everything through.
class TokenBucket {
 public:
  TokenBucket(double per_second, TimePoint now);
  bool Take(TimePoint now);
  // Takes so many, also more than there are: then the next Take has to wait for all of them.
  void Charge(double tokens, TimePoint now);
  // What there is or is owed stays.
  void SetRate(double per_second, TimePoint now);
  // The next Take succeeds then.
  void HoldUntil(TimePoint when, TimePoint now);
  bool Ready(TimePoint now) const { return NextAt(now) <= now; }
  // How many Takes would succeed.
  std::size_t Left(TimePoint now) const;
  // When the next Take will succeed.
  TimePoint NextAt(TimePoint now) const;

 private:
  void Refill(TimePoint now);

  double per_second_, capacity_;
  double tokens_ = 1;
  TimePoint filled_at_;
};

// Remembers when to ask again, so that its owner has one time to wait for.
class RateLimits {
 public:
  static constexpr std::size_t kUnlimited = SIZE_MAX;

  RateLimits(double messages_per_second, TimePoint now) : all_(messages_per_second, now) {}
  // The index by which a server is known below; kUnlimited for one without a limit of its own.
  std::size_t Add(double messages_per_second, TimePoint now);

  // Takes a token of both, or of none.
  bool Take(std::size_t limit, TimePoint now);
  // Whether a server's own limit lets a message through.
  bool Allows(std::size_t limit, TimePoint now) const;
  // Whether the job's limit does.
  bool AllowsAny(TimePoint now) const { return all_.Ready(now); }
  // Many a server drops a connection that waits long for its first message. So no more are opened
  // than there are messages to be let through at once.
  bool MayConnect(std::size_t connecting, TimePoint now);
  bool MayConnectTo(std::size_t limit, std::size_t connecting, TimePoint now);

  // When to try again what was refused since ForgetRefusals; TimePoint::max() for never.
  TimePoint retry_at() const { return retry_at_; }
  void ForgetRefusals() { retry_at_ = TimePoint::max(); }

 private:
  bool Refuse(const TokenBucket& bucket, TimePoint now);

  TokenBucket all_;
  std::vector<TokenBucket> servers_;
  TimePoint retry_at_ = TimePoint::max();
};

}  // namespace vespro::engine
