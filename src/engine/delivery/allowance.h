// engine/delivery/allowance.h - what an account may send beyond one job: the limits that its user
// has set, the day's count, which all jobs and programs share, and what earlier runs have learnt
// from its server. Accounts of the same server and login share one Allowance. One thread.
#pragma once

#include <cstddef>
#include <string>

#include "base/status.h"
#include "engine/delivery/backoff.h"
#include "engine/message.h"

namespace vespro::engine {

// 0: none.
struct Ceilings {
  double messages_per_second = 0;
  std::size_t connections = 0;
};

class Allowance {
 public:
  virtual ~Allowance() = default;

  // What the user has set.
  virtual Ceilings configured() const = 0;
  // What earlier runs have learnt from the server's answers. What this one learns is kept for the
  // next.
  virtual Ceilings learnt() const = 0;
  virtual void Learn(const Ceilings& learnt) = 0;

  // The day's count, in recipients. Takes up to so many, which count from now on, also if this
  // program dies. 0: none before available_at().
  virtual std::size_t Take(std::size_t recipients, TimePoint now) = 0;
  // What became of those that were taken: the server did not accept them,
  virtual void GiveBack(std::size_t recipients) = 0;
  // or it did, or may have.
  virtual void Commit(std::size_t recipients) = 0;
  // Counts without asking: the server may have accepted what it seemed to refuse.
  virtual void Add(std::size_t recipients) = 0;
  // Call it about ten times a second.
  virtual void Update(TimePoint now) = 0;

  // When the day's count lets something through, as far as is known: in the past while it does,
  // TimePoint::max() when it won't in this run.
  virtual TimePoint available_at() const = 0;
  // The same for a person, with the time of day, while nothing is let through.
  virtual std::string WhyNone() const = 0;
};

class AllowanceBook {
 public:
  virtual ~AllowanceBook() = default;
  // Lives as long as the book. nullptr: the account has no limits and nothing is kept for it.
  virtual Allowance* Of(const Account& account) = 0;
  // At the end of a delivery: what was taken and is not on its way goes back, what was learnt is
  // written. The failure is for a person; nothing more is let through by mistake then.
  virtual Status Close() = 0;
};

}  // namespace vespro::engine
