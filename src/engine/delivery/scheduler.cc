#include "engine/delivery/scheduler.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace vespro::engine {
namespace {

using Seconds = std::chrono::duration<double>;

// Positions are quotients; equal ones may differ in the last bits.
constexpr double kAlmost = 1e-6;
constexpr std::chrono::milliseconds kLongestDelay = std::chrono::hours(1);

}  // namespace

Shares::Shares(std::vector<unsigned> weights) {
  for (const unsigned weight : weights) {
    assert(weight > 0);
    targets_.push_back({.weight = static_cast<double>(weight)});
  }
}

std::optional<double> Shares::LowestPosition() const {
  std::optional<double> lowest;
  for (const Target& target : targets_) {
    if (!target.takes_part) continue;
    lowest = std::min(lowest.value_or(target.position()), target.position());
  }
  return lowest;
}

bool Shares::MayTake(std::size_t target, double slack) const {
  if (!targets_[target].takes_part) return false;
  const Target& own = targets_[target];
  return own.position() - slack / own.weight <= *LowestPosition() + kAlmost;
}

void Shares::Take(std::size_t target) { targets_[target].taken += 1; }

void Shares::SetTakingPart(std::size_t target, bool takes_part) {
  Target& own = targets_[target];
  if (takes_part && !own.takes_part) {
    own.taken = std::max(own.taken, LowestPosition().value_or(0) * own.weight);
  }
  own.takes_part = takes_part;
}

bool History::RefusedBy(std::size_t target) const {
  return std::find(refused_by.begin(), refused_by.end(), target) != refused_by.end();
}

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

std::chrono::milliseconds RetryDelay(std::chrono::milliseconds base, int attempts) {
  std::chrono::milliseconds delay = base;
  for (int i = 1; i < attempts && delay < kLongestDelay; ++i) delay *= 2;
  return std::min(delay, kLongestDelay);
}

TokenBucket::TokenBucket(double per_second, TimePoint now)
    : per_second_(per_second), capacity_(std::max(1.0, per_second / 10)), filled_at_(now) {}

void TokenBucket::Refill(TimePoint now) {
  tokens_ = std::min(capacity_, tokens_ + Seconds(now - filled_at_).count() * per_second_);
  filled_at_ = now;
}

bool TokenBucket::Take(TimePoint now) {
  if (per_second_ <= 0) return true;
  Refill(now);
  if (tokens_ < 1 - kAlmost) return false;
  tokens_ -= 1;
  return true;
}

std::size_t TokenBucket::Left(TimePoint now) const {
  if (per_second_ <= 0) return SIZE_MAX;
  const double tokens = tokens_ + Seconds(now - filled_at_).count() * per_second_;
  return static_cast<std::size_t>(std::min(capacity_, tokens) + kAlmost);
}

TimePoint TokenBucket::NextAt(TimePoint now) const {
  if (per_second_ <= 0) return now;
  const double missing = 1 - tokens_ - Seconds(now - filled_at_).count() * per_second_;
  if (missing <= 0) return now;
  return now +
         std::chrono::ceil<std::chrono::steady_clock::duration>(Seconds(missing / per_second_));
}

}  // namespace vespro::engine
