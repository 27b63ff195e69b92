// engine/delivery/recipient_queue.h - everybody who has no final state yet: read ahead from the
// list, due for another attempt, deferred, or in flight. Time is passed in. One thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "base/status.h"
#include "engine/delivery/backoff.h"
#include "engine/delivery/retry_policy.h"
#include "engine/work.h"

namespace vespro::engine {

struct QueuedRecipient {
  Recipient recipient;
  AttemptState state;
};

// Deferred recipients, in the order in which they become due; first come, first served among
// equals.
class DeferredRecipients {
 public:
  void Add(QueuedRecipient deferred, TimePoint due);
  std::optional<QueuedRecipient> TakeDue(TimePoint now);
  std::optional<TimePoint> NextDue() const;
  // For each once.
  template <class Gone>
  void RemoveIf(Gone gone) {
    std::erase_if(heap_, [&](const Entry& entry) { return gone(entry.deferred); });
    std::make_heap(heap_.begin(), heap_.end(), IsLater);
  }
  template <class Holds>
  bool AnyOf(Holds holds) const {
    return std::any_of(heap_.begin(), heap_.end(),
                       [&](const Entry& entry) { return holds(entry.deferred.state); });
  }
  std::size_t size() const { return heap_.size(); }

 private:
  struct Entry {
    TimePoint due;
    std::uint64_t number;
    QueuedRecipient deferred;
  };
  static bool IsLater(const Entry& a, const Entry& b);

  std::vector<Entry> heap_;
  std::uint64_t next_number_ = 0;
};

class RecipientQueue {
 public:
  // So many are looked at when one is wanted for a particular server.
  static constexpr std::size_t kLookAhead = 64;
  // The list is read no further while so many wait for another attempt.
  static constexpr std::size_t kMaxWaiting = 10'000;

  // Whoever was refused like everybody else in so many runs is judged for himself, so that no list
  // stops for ever at the same place.
  static constexpr int kMaxSuspected = 3;

  // At least `batch` recipients are read at a time.
  RecipientQueue(WorkSource& source, std::size_t batch);

  // Whether somebody is left who has not been tried; reads the list when needed. False after
  // StopReading and when the list can't be read, which status() then says.
  bool HasUnread();
  void StopReading() { reading_ = false; }
  const Status& status() const { return status_; }

  void PromoteDue(TimePoint now);
  // When PromoteDue has something to do.
  std::optional<TimePoint> NextDue() const { return deferred_.NextDue(); }

  // Whether NextBatch would find somebody for whom `eligible` holds; the unread are for anybody.
  template <class Eligible>
  bool HasEligible(Eligible eligible) {
    return HasUnread() || std::any_of(due_.cbegin(), LookAheadEnd(),
                                      [&](const auto& waiting) { return eligible(waiting.state); });
  }
  // Moves up to `size` recipients to the ends of the two lists, in flight until Finished: those
  // that are due and preferred, then the unread, then others that are due.
  template <class Eligible, class Preferred>
  void NextBatch(std::size_t size, Eligible eligible, Preferred preferred,
                 std::vector<Recipient>& recipients, std::vector<AttemptState>& states) {
    const auto both = [&](const AttemptState& state) {
      return eligible(state) && preferred(state);
    };
    while (recipients.size() < size) {
      if (TakeDue(both, recipients, states)) continue;
      if (HasUnread()) {
        TakeUnread(recipients, states);
      } else if (!TakeDue(eligible, recipients, states)) {
        break;
      }
    }
  }
  // Those who were refused like everybody else wait for Release. The list may have some from
  // earlier runs.
  void AddSuspect(QueuedRecipient suspect) { suspects_.push_back(std::move(suspect)); }
  bool HasSuspects() const { return !suspects_.empty(); }
  // Nobody else is left, and nobody is in flight.
  bool HasOnlySuspects() {
    return HasSuspects() && in_flight_ == 0 && due_.empty() && deferred_.size() == 0 &&
           !HasUnread();
  }
  // They are due. `alone`: each is judged for himself.
  void Release(bool alone);
  // Again, at once or at `due`. It stays in flight until its message is finished.
  void Requeue(QueuedRecipient again) { due_.push_back(std::move(again)); }
  void Defer(QueuedRecipient again, TimePoint due) { deferred_.Add(std::move(again), due); }
  // A message to so many has ended; each was requeued, deferred, or has its final state.
  void Finished(std::size_t recipients) { in_flight_ -= recipients; }

  // Takes out everybody for whom `gone` says true, who has a final state then. Asks once for each.
  template <class Gone>
  void RemoveIf(Gone gone) {
    std::erase_if(due_, gone);
    std::erase_if(suspects_, gone);
    deferred_.RemoveIf(gone);
  }
  template <class Holds>
  bool AnyWaiting(Holds holds) const {
    return deferred_.AnyOf(holds) ||
           std::any_of(due_.begin(), due_.end(),
                       [&](const auto& waiting) { return holds(waiting.state); }) ||
           std::any_of(suspects_.begin(), suspects_.end(),
                       [&](const auto& waiting) { return holds(waiting.state); });
  }

  // How many could go out now, as far as that is known: SIZE_MAX where the list surely has more.
  std::size_t InSight() {
    return HasUnread() && unread() >= kLookAhead / 2 ? SIZE_MAX : unread() + due_.size();
  }
  // Somebody may be there for whom nothing has to be waited.
  bool MayHaveDue() const { return !source_ended_ || unread() > 0 || !due_.empty(); }

  std::size_t unread() const { return unread_.size() - next_unread_; }  // of those read ahead
  std::size_t waiting() const { return due_.size() + deferred_.size() + suspects_.size(); }
  std::size_t in_flight() const { return in_flight_; }
  std::uint64_t given() const { return given_; }  // by the list
  std::uint64_t left() const { return unread() + waiting() + in_flight_; }
  bool source_ended() const { return source_ended_; }
  // The list is at its end and nobody of it is left but those in flight.
  bool Exhausted() const { return source_ended_ && unread() == 0 && waiting() == 0; }

 private:
  std::deque<QueuedRecipient>::const_iterator LookAheadEnd() const {
    return due_.begin() + static_cast<std::ptrdiff_t>(std::min(due_.size(), kLookAhead));
  }
  template <class Fits>
  bool TakeDue(Fits fits, std::vector<Recipient>& recipients, std::vector<AttemptState>& states) {
    const auto found = std::find_if(due_.cbegin(), LookAheadEnd(),
                                    [&](const auto& waiting) { return fits(waiting.state); });
    if (found == LookAheadEnd()) return false;
    const auto taken = due_.begin() + (found - due_.cbegin());
    recipients.push_back(std::move(taken->recipient));
    states.push_back(std::move(taken->state));
    due_.erase(taken);
    ++in_flight_;
    return true;
  }
  void Read();
  void TakeUnread(std::vector<Recipient>& recipients, std::vector<AttemptState>& states);

  WorkSource& source_;
  std::size_t batch_;
  std::vector<Recipient> unread_;  // from next_unread_ on
  std::size_t next_unread_ = 0;
  bool reading_ = true, source_ended_ = false;
  Status status_;
  std::deque<QueuedRecipient> due_;
  DeferredRecipients deferred_;
  std::vector<QueuedRecipient> suspects_;
  std::size_t in_flight_ = 0;
  std::uint64_t given_ = 0;
};

}  // namespace vespro::engine
