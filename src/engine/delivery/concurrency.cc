#include "engine/delivery/concurrency.h"

#include <algorithm>

namespace vespro::engine {
namespace {

constexpr std::chrono::milliseconds kMaxWait = std::chrono::hours(1);

}  // namespace

Concurrency::Concurrency(std::chrono::milliseconds wait, std::size_t learnt, TimePoint now)
    : wait_(wait), most_(learnt > 0 ? learnt : SIZE_MAX), more_at_(now + wait) {}

bool Concurrency::Allows(std::size_t open, TimePoint now) const {
  return open < most_ || (open == most_ && now >= more_at_);
}

void Concurrency::OnOpened(std::size_t open, TimePoint now) {
  if (open <= most_) return;
  most_ = open;
  trying_ = true;
  more_at_ = now + wait_;
}

void Concurrency::OnRefused(std::size_t others, TimePoint now) {
  most_ = std::min(most_, std::max<std::size_t>(others, 1));
  if (trying_) wait_ = std::min(2 * wait_, kMaxWait);
  trying_ = false;
  more_at_ = now + wait_;
}

void Concurrency::BeginAgain(TimePoint when) {
  most_ = 1;
  trying_ = false;
  more_at_ = when + wait_;
}

}  // namespace vespro::engine
