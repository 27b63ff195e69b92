// engine/delivery/pace.h - how many recipients a second a server takes, learnt from its complaints.
// Nothing is held back until the first one. Pure: time is passed in. One thread.
//
// A complaint sets the pace just below what the server has really accepted, and stops everything
// for a moment; then a single message tries whether the moment was long enough. From there the pace
// rises to just below the one that was too fast, and after a minute or more carefully beyond it.
// How far the server looks back is learnt as well: one that counts by the minute goes on
// complaining when a second has passed.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/delivery/rate_limit.h"

namespace vespro::engine {

class Pace {
 public:
  // `learnt` is what an earlier run has learnt; 0 for nothing.
  explicit Pace(double learnt = 0, TimePoint now = {});

  // Whether anything is held back.
  bool known() const { return per_second_ > 0; }
  double per_second() const { return per_second_; }
  // For the next run: not one that is only tried.
  double learnt() const { return safe_ > 0 ? safe_ : per_second_; }

  // The message to one recipient that went out at `begun` was accepted.
  void OnAccepted(TimePoint begun, TimePoint now);
  // It was not: the server asked to slow down. False for what was on the wire already when it
  // complained last, which is the same complaint.
  bool OnComplaint(TimePoint begun, TimePoint now);
  // Complaints in a row, with nothing accepted between.
  int in_a_row() const { return in_a_row_; }

  bool Allows(TimePoint now) const { return NextAt(now) <= now; }
  // When the next message may go out.
  TimePoint NextAt(TimePoint now) const { return bucket_.NextAt(now); }
  // How many messages may go out at once.
  std::size_t Left(TimePoint now) const { return bucket_.Left(now); }
  // How many may be on the wire: all of them may come back. Of one connection few as well until the
  // server has taken some, so that the first complaint is not about a hundred.
  std::size_t MaxInFlight(std::size_t connections) const;
  std::size_t MaxOfOneConnection(std::size_t connections) const;
  // A message to so many recipients goes out.
  void Take(std::size_t recipients, TimePoint now);

 private:
  using Seconds = std::chrono::duration<double>;

  void Remember(TimePoint now);
  double Measured(Seconds over, TimePoint now) const;
  void OnFirstOfRow(TimePoint now);
  void SetFirstPace(double measured, TimePoint now);
  void SetPace(double per_second, double too_fast, TimePoint now);
  void Rise(TimePoint now);

  double per_second_;
  double too_fast_;  // where it is proven, a pace that brought a complaint,
  bool proven_;      // and else what was accepted of a burst
  TokenBucket bucket_;

  // What was accepted: how many before each of some moments, the older the fewer.
  struct Moment {
    TimePoint when;
    std::uint64_t before;
  };
  std::vector<Moment> moments_;
  std::uint64_t accepted_ = 0;
  Seconds window_{1};  // the server seems to count over so long

  bool complained_ = false;
  int in_a_row_ = 0;
  double measured_ = 0;  // when the first of the row came,
  Seconds measured_over_{0};
  TimePoint row_began_{}, complained_at_{}, resumed_at_{};
  TimePoint rise_at_, beyond_at_;
  Seconds beyond_after_;  // doubles whenever going beyond has brought a complaint
  double safe_ = 0;       // the pace before going beyond; 0 while that was not tried
};

}  // namespace vespro::engine
