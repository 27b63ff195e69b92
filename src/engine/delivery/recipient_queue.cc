#include "engine/delivery/recipient_queue.h"

namespace vespro::engine {

bool DeferredRecipients::IsLater(const Entry& a, const Entry& b) {
  return a.due != b.due ? a.due > b.due : a.number > b.number;
}

void DeferredRecipients::Add(QueuedRecipient deferred, TimePoint due) {
  heap_.push_back({due, next_number_++, std::move(deferred)});
  std::push_heap(heap_.begin(), heap_.end(), IsLater);
}

std::optional<QueuedRecipient> DeferredRecipients::TakeDue(TimePoint now) {
  if (heap_.empty() || heap_.front().due > now) return std::nullopt;
  std::pop_heap(heap_.begin(), heap_.end(), IsLater);
  QueuedRecipient due = std::move(heap_.back().deferred);
  heap_.pop_back();
  return due;
}

std::optional<TimePoint> DeferredRecipients::NextDue() const {
  if (heap_.empty()) return std::nullopt;
  return heap_.front().due;
}

RecipientQueue::RecipientQueue(WorkSource& source, std::size_t batch)
    : source_(source), batch_(std::max(batch, kLookAhead)) {}

bool RecipientQueue::HasUnread() {
  if (unread() > 0) return true;
  if (source_ended_ || !reading_ || !status_.ok() || waiting() >= kMaxWaiting) return false;
  Result<std::vector<Recipient>> more = source_.Next(batch_);
  if (!more.ok()) {
    status_ = more.status();
    return false;
  }
  unread_ = std::move(more).value();
  next_unread_ = 0;
  given_ += unread_.size();
  source_ended_ = unread_.empty();
  return !source_ended_;
}

void RecipientQueue::PromoteDue(TimePoint now) {
  while (std::optional<QueuedRecipient> due = deferred_.TakeDue(now)) {
    due_.push_back(*std::move(due));
  }
}

void RecipientQueue::TakeUnread(std::vector<Recipient>& recipients,
                                std::vector<AttemptState>& states) {
  recipients.push_back(std::move(unread_[next_unread_++]));
  states.emplace_back();
  ++in_flight_;
}

}  // namespace vespro::engine
