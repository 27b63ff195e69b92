#include "engine/delivery/pace.h"

#include <algorithm>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Seconds = std::chrono::duration<double>;

// Of the pace that was too fast.
constexpr double kFallTo = 0.97, kRiseTo = 0.985, kBeyond = 1.03;
constexpr seconds kRiseEvery{5};
constexpr Seconds kBeyondAfter{15}, kBeyondAfterLearnt{120}, kMaxBeyondAfter{3600}, kMaxPause{60};
// As long as no pace has proved too fast, only more than what was accepted at once.
constexpr double kBelowMeasured = 0.95, kSearch = 1.3;
constexpr seconds kSearchEvery{2};
// After a complaint before anything was accepted.
constexpr double kFirstPace = 1;
// A pace rises only where so much of it is used, but for a few messages.
constexpr double kUsed = 0.8, kUnusedMessages = 2;
// A pace is measured over at least so many messages.
constexpr double kMeasuredMessages = 30;
// What is measured over so much of the time asked for is taken for all of it.
constexpr double kMostOf = 0.9;
constexpr milliseconds kMomentEvery{100};
// Moments are as far apart as a part of their age.
constexpr int kAgeParts = 10;

constexpr std::size_t kFewInFlight = 2;
// Accepted ones that let one more be on the wire.
constexpr std::uint64_t kPerInFlight = 4;

TimePoint After(TimePoint now, Seconds duration) {
  return now + std::chrono::ceil<TimePoint::duration>(duration);
}

}  // namespace

Pace::Pace(double learnt, TimePoint now)
    : per_second_(kRiseTo * learnt),
      too_fast_(learnt / kRiseTo),
      proven_(learnt > 0),
      bucket_(per_second_, now),
      rise_at_(now + kRiseEvery),
      beyond_after_(learnt > 0 ? kBeyondAfterLearnt : kBeyondAfter) {
  beyond_at_ = After(now, beyond_after_);
}

// Accepted messages

void Pace::OnAccepted(TimePoint begun, TimePoint now) {
  if (moments_.empty() || now - moments_.back().when >= kMomentEvery) Remember(now);
  ++accepted_;
  if (in_a_row_ == 0) return;
  if (begun <= complained_at_) {
    // It was on the wire at the first complaint, and counts like what was accepted before.
    if (!proven_ && in_a_row_ == 1) SetFirstPace(measured_ + 1 / window_.count(), now);
    return;
  }
  // The complaints are over. They have lasted for about as long as the server looks back.
  const Seconds lasted = begun - row_began_;
  if (lasted > 1.5 * window_) window_ = lasted;
  in_a_row_ = 0;
}

void Pace::Remember(TimePoint now) {
  moments_.push_back({now, accepted_});
  std::size_t kept = 1;
  for (std::size_t i = 1; i + 1 < moments_.size(); ++i) {
    const auto apart = moments_[i + 1].when - moments_[kept - 1].when;
    if (apart > (now - moments_[i].when) / kAgeParts) moments_[kept++] = moments_[i];
  }
  if (moments_.size() > 1) moments_[kept++] = moments_.back();
  moments_.resize(kept);
}

double Pace::Measured(Seconds over, TimePoint now) const {
  const auto first = std::find_if(moments_.begin(), moments_.end(),
                                  [&](const Moment& moment) { return now - moment.when <= over; });
  if (first == moments_.end()) return 0;
  const Seconds span = now - first->when;
  return static_cast<double>(accepted_ - first->before) /
         (span > kMostOf * over ? span : over).count();
}

// Complaints

bool Pace::OnComplaint(TimePoint begun, TimePoint now) {
  if (complained_ && begun <= complained_at_) return false;
  const bool was_known = known();
  if (in_a_row_++ == 0) {
    row_began_ = now;
    OnFirstOfRow(now);
  } else if (const Seconds lasted = now - row_began_; lasted > measured_over_) {
    // It looks back at least as long as it has gone on complaining.
    const double too_fast = measured_ * (measured_over_ / lasted);
    if (too_fast > 0 && too_fast < per_second_) SetPace(kFallTo * too_fast, too_fast, now);
  }
  complained_ = true;
  complained_at_ = now;
  // After a pace that was only a little too fast a short pause is enough.
  Seconds pause = window_;
  if (was_known) pause = std::max(window_ / 10, Seconds(2 / per_second_));
  for (int i = 1; i < in_a_row_ && pause < kMaxPause; ++i) pause *= 2;
  resumed_at_ = After(now, std::min(pause, kMaxPause));
  bucket_.HoldUntil(resumed_at_, now);
  return true;
}

void Pace::OnFirstOfRow(TimePoint now) {
  measured_over_ = window_;
  if (!known()) return SetFirstPace(Measured(window_, now), now);
  proven_ = true;
  if (safe_ > 0) {
    beyond_after_ = std::min(2 * beyond_after_, kMaxBeyondAfter);
    measured_ = per_second_;
    return SetPace(safe_, per_second_, now);
  }
  measured_over_ = std::clamp(Seconds(now - resumed_at_), window_,
                              std::max(window_, Seconds(kMeasuredMessages / per_second_)));
  measured_ = Measured(measured_over_, now);
  // That nothing was accepted says nothing about a pace.
  if (measured_ <= 0) return;
  const double too_fast = std::min(per_second_, measured_);
  SetPace(kFallTo * too_fast, too_fast, now);
}

void Pace::SetFirstPace(double measured, TimePoint now) {
  measured_ = measured;
  SetPace(measured > 0 ? kBelowMeasured * measured : kFirstPace, measured, now);
}

void Pace::SetPace(double per_second, double too_fast, TimePoint now) {
  per_second_ = per_second;
  too_fast_ = too_fast;
  safe_ = 0;
  bucket_.SetRate(per_second_, now);
  bucket_.HoldUntil(resumed_at_, now);
  rise_at_ = now + (proven_ ? kRiseEvery : kSearchEvery);
  beyond_at_ = After(now, beyond_after_);
}

// Sending

std::size_t Pace::MaxInFlight(std::size_t connections) const {
  if (!known()) return SIZE_MAX;
  if (in_a_row_ > 0) return 1;
  return std::max(connections, static_cast<std::size_t>(per_second_) + 1);
}

std::size_t Pace::MaxOfOneConnection(std::size_t connections) const {
  if (known()) return kFewInFlight;
  return 1 + static_cast<std::size_t>(accepted_ /
                                      (kPerInFlight * std::max<std::size_t>(connections, 1)));
}

void Pace::Take(std::size_t recipients, TimePoint now) {
  if (!known()) return;
  if (now >= rise_at_ && in_a_row_ == 0) Rise(now);
  bucket_.Charge(static_cast<double>(recipients), now);
}

void Pace::Rise(TimePoint now) {
  const seconds every = proven_ ? kRiseEvery : kSearchEvery;
  rise_at_ = now + every;
  if (Measured(every, now) < kUsed * per_second_ - kUnusedMessages / Seconds(every).count()) return;
  if (!proven_) {
    per_second_ *= kSearch;
  } else {
    if (now >= beyond_at_) {
      // Either the server takes more by now, or it complains again.
      safe_ = per_second_;
      too_fast_ *= kBeyond;
      beyond_at_ = now + 2 * kRiseEvery;
    }
    per_second_ += std::max(0.0, kRiseTo * too_fast_ - per_second_) / 2;
  }
  bucket_.SetRate(per_second_, now);
}

}  // namespace vespro::engine
