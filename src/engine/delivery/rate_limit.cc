#include "engine/delivery/rate_limit.h"

#include <algorithm>

namespace vespro::engine {
namespace {

using Seconds = std::chrono::duration<double>;

// A token that lacks only a rounding error is one.
constexpr double kTolerance = 1e-6;

// Of a tenth of a second.
double CapacityOf(double per_second) { return std::max(1.0, per_second / 10); }

}  // namespace

TokenBucket::TokenBucket(double per_second, TimePoint now)
    : per_second_(per_second), capacity_(CapacityOf(per_second)), filled_at_(now) {}

void TokenBucket::Refill(TimePoint now) {
  tokens_ = std::min(capacity_, tokens_ + Seconds(now - filled_at_).count() * per_second_);
  filled_at_ = now;
}

bool TokenBucket::Take(TimePoint now) {
  if (per_second_ <= 0) return true;
  Refill(now);
  if (tokens_ < 1 - kTolerance) return false;
  tokens_ -= 1;
  return true;
}

void TokenBucket::Charge(double tokens, TimePoint now) {
  if (per_second_ <= 0) return;
  Refill(now);
  tokens_ -= tokens;
}

void TokenBucket::SetRate(double per_second, TimePoint now) {
  Refill(now);
  per_second_ = per_second;
  capacity_ = CapacityOf(per_second);
}

void TokenBucket::HoldUntil(TimePoint when, TimePoint now) {
  tokens_ = 1 - Seconds(when - now).count() * per_second_;
  filled_at_ = now;
}

std::size_t TokenBucket::Left(TimePoint now) const {
  if (per_second_ <= 0) return SIZE_MAX;
  const double tokens = tokens_ + Seconds(now - filled_at_).count() * per_second_;
  return static_cast<std::size_t>(std::clamp(tokens + kTolerance, 0.0, capacity_));
}

TimePoint TokenBucket::NextAt(TimePoint now) const {
  if (per_second_ <= 0) return now;
  const double missing = 1 - tokens_ - Seconds(now - filled_at_).count() * per_second_;
  if (missing <= 0) return now;
  return now +
         std::chrono::ceil<std::chrono::steady_clock::duration>(Seconds(missing / per_second_));
}

std::size_t RateLimits::Add(double messages_per_second, TimePoint now) {
  servers_.emplace_back(messages_per_second, now);
  return servers_.size() - 1;
}

bool RateLimits::Allows(std::size_t limit, TimePoint now) const {
  return limit == kUnlimited || servers_[limit].Ready(now);
}

bool RateLimits::Take(std::size_t limit, TimePoint now) {
  if (!Allows(limit, now)) return Refuse(servers_[limit], now);
  if (!all_.Take(now)) return Refuse(all_, now);
  if (limit != kUnlimited) servers_[limit].Take(now);
  return true;
}

bool RateLimits::MayConnect(std::size_t connecting, TimePoint now) {
  return connecting < all_.Left(now) || Refuse(all_, now);
}

bool RateLimits::MayConnectTo(std::size_t limit, std::size_t connecting, TimePoint now) {
  return limit == kUnlimited || connecting < servers_[limit].Left(now) ||
         Refuse(servers_[limit], now);
}

bool RateLimits::Refuse(const TokenBucket& bucket, TimePoint now) {
  // One that has tokens left is asked again when a connection that waits for them has used them.
  if (!bucket.Ready(now)) retry_at_ = std::min(retry_at_, bucket.NextAt(now));
  return false;
}

}  // namespace vespro::engine
