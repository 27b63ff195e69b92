// engine/delivery/scheduler.h - who sends what next: the shares of the servers, the recipients that
// wait for another attempt, the ceiling on messages a second. Pure: time is passed in. One thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/message.h"

namespace vespro::engine {

using TimePoint = std::chrono::steady_clock::time_point;

// Deals messages to targets in proportion to their weights: after any number of messages no target
// that took part all along is more than one message ahead of its share.
class Shares {
 public:
  explicit Shares(std::vector<unsigned> weights);

  // Whether `target` is the next, or as near to its turn as any target that takes part, when it may
  // be `slack` messages ahead.
  bool MayTake(std::size_t target, double slack = 0) const;
  void Take(std::size_t target);
  // A target that does not take part leaves its share to the others. One that returns begins where
  // they are: it does not catch up.
  void SetTakingPart(std::size_t target, bool takes_part);
  bool takes_part(std::size_t target) const { return targets_[target].takes_part; }
  // Messages taken per weight: the lowest one's turn is next.
  double Position(std::size_t target) const { return targets_[target].position(); }

 private:
  struct Target {
    double weight = 1;
    double taken = 0;
    bool takes_part = true;
    double position() const { return taken / weight; }
  };
  std::optional<double> LowestPosition() const;

  std::vector<Target> targets_;
};

// What has been tried for a recipient.
struct History {
  static constexpr std::size_t kNowhere = SIZE_MAX;
  int attempts = 0;
  int splits = 0;  // how often there was no room in a message for it
  std::size_t last_target = kNowhere;
  std::vector<std::size_t> refused_by;  // targets that can't take it, while others may
  std::string last_reply;
  bool announced = false;  // in this attempt: the sink knows that the message is on its way
  bool RefusedBy(std::size_t target) const;
};

// A recipient that has not got its verdict.
struct Item {
  Recipient recipient;
  History history;
};

// Items that wait until their time has come. Its owner stops reading the list while kFull wait.
class RetryQueue {
 public:
  static constexpr std::size_t kFull = 10'000;

  void Add(Item item, TimePoint due);
  // The item that is due longest, if one is.
  std::optional<Item> TakeDue(TimePoint now);
  std::optional<TimePoint> NextDue() const;
  template <class Holds>
  bool AnyOf(Holds holds) const {
    return std::any_of(heap_.begin(), heap_.end(),
                       [&](const Entry& entry) { return holds(entry.item); });
  }
  // Every item for which `settled` says true is gone. It is asked once for each.
  template <class Settled>
  void RemoveIf(Settled settled) {
    std::erase_if(heap_, [&](const Entry& entry) { return settled(entry.item); });
    std::make_heap(heap_.begin(), heap_.end(), Later);
  }
  std::size_t size() const { return heap_.size(); }
  bool empty() const { return heap_.empty(); }

 private:
  struct Entry {
    TimePoint due;
    std::uint64_t number;  // first come, first served among equals
    Item item;
  };
  static bool Later(const Entry& a, const Entry& b);

  std::vector<Entry> heap_;
  std::uint64_t next_number_ = 0;
};

// `base` before the second attempt, twice that before the third, and so on; at most an hour.
std::chrono::milliseconds RetryDelay(std::chrono::milliseconds base, int attempts);

// Lets through `per_second` messages a second, smoothly: what was not used is kept for a tenth of a
// second only. Zero lets everything through.
class TokenBucket {
 public:
  explicit TokenBucket(double per_second, TimePoint now);
  bool Take(TimePoint now);
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

}  // namespace vespro::engine
