// engine/delivery/backoff.h - how long a server is left alone after failures in a row. Pure: time
// is passed in. One thread.
#pragma once

#include <chrono>

namespace vespro::engine {

using TimePoint = std::chrono::steady_clock::time_point;

struct BackoffPolicy {
  std::chrono::milliseconds initial{
      1000};  // after the first failure; doubles with each further one
  std::chrono::milliseconds max{60'000};
};

// `failures` is at least 1.
std::chrono::milliseconds ExponentialDelay(const BackoffPolicy& policy, int failures);

class Backoff {
 public:
  // A failure at `now`. While the wait for an earlier one runs it counts as the same: sessions that
  // break together are one failure. The policy may differ from call to call.
  void Failed(TimePoint now, const BackoffPolicy& policy);
  // The next failure is a first one again. A wait that has begun runs on.
  void Succeeded() { failures_ = 0; }

  int failures() const { return failures_; }  // in a row
  TimePoint release_time() const { return release_time_; }

 private:
  int failures_ = 0;
  TimePoint release_time_{};
};

}  // namespace vespro::engine
