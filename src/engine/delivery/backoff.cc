#include "engine/delivery/backoff.h"

#include <algorithm>

namespace vespro::engine {

std::chrono::milliseconds ExponentialDelay(const BackoffPolicy& policy, int failures) {
  std::chrono::milliseconds delay = policy.initial;
  for (int i = 1; i < failures && delay < policy.max; ++i) delay *= 2;
  return std::min(delay, policy.max);
}

void Backoff::Failed(TimePoint now, const BackoffPolicy& policy) {
  if (now < release_time_) return;
  release_time_ = now + ExponentialDelay(policy, ++failures_);
}

}  // namespace vespro::engine
