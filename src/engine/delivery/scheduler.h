// engine/delivery/scheduler.h - the recipients that wait for another attempt. Pure: time is passed
// in. One thread.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/delivery/backoff.h"
#include "engine/delivery/retry_policy.h"
#include "engine/message.h"

namespace vespro::engine {

// A recipient that has not got its verdict.
struct Item {
  Recipient recipient;
  AttemptState history;
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

}  // namespace vespro::engine
