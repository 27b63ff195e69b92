// engine/delivery/concurrency.h - how many connections at a time a server serves, learnt from its
// refusals. Nothing is held back until the first one. Pure: time is passed in. One thread.
//
// A refusal lowers the number to the others that are served. After a while one more is tried, and
// when that is refused the while doubles.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "engine/delivery/backoff.h"

namespace vespro::engine {

class Concurrency {
 public:
  // `wait` is the while. `learnt` is what an earlier run has learnt; 0 for nothing.
  Concurrency(std::chrono::milliseconds wait, std::size_t learnt, TimePoint now);

  bool known() const { return most_ < SIZE_MAX; }
  // At least 1.
  std::size_t most() const { return most_; }

  // Whether there may be one more than `open`.
  bool Allows(std::size_t open, TimePoint now) const;
  // There are so many now.
  void OnOpened(std::size_t open, TimePoint now);
  // One was refused, or a transaction on it, while there were so many others.
  void OnRefused(std::size_t others, TimePoint now);
  // From `when` on one, and then one more at a time.
  void BeginAgain(TimePoint when);

 private:
  std::chrono::milliseconds wait_;
  std::size_t most_;
  TimePoint more_at_;
  bool trying_ = false;  // one more than was served before
};

}  // namespace vespro::engine
