#include "engine/delivery/scheduler.h"

#include <algorithm>

namespace vespro::engine {
bool RetryQueue::Later(const Entry& a, const Entry& b) {
  return a.due != b.due ? a.due > b.due : a.number > b.number;
}

void RetryQueue::Add(Item item, TimePoint due) {
  heap_.push_back({due, next_number_++, std::move(item)});
  std::push_heap(heap_.begin(), heap_.end(), Later);
}

std::optional<Item> RetryQueue::TakeDue(TimePoint now) {
  if (heap_.empty() || heap_.front().due > now) return std::nullopt;
  std::pop_heap(heap_.begin(), heap_.end(), Later);
  Item item = std::move(heap_.back().item);
  heap_.pop_back();
  return item;
}

std::optional<TimePoint> RetryQueue::NextDue() const {
  if (heap_.empty()) return std::nullopt;
  return heap_.front().due;
}

}  // namespace vespro::engine
