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
  while (unread() == 0) {
    if (source_ended_ || !reading_ || !status_.ok() || waiting() >= kMaxWaiting) return false;
    Read();
  }
  return true;
}

void RecipientQueue::Read() {
  Result<std::vector<Recipient>> more = source_.Next(batch_);
  if (!more.ok()) {
    status_ = more.status();
    return;
  }
  unread_ = std::move(more).value();
  next_unread_ = 0;
  given_ += unread_.size();
  source_ended_ = unread_.empty();
  const auto suspect = [](const Recipient& recipient) { return recipient.suspected > 0; };
  if (std::none_of(unread_.begin(), unread_.end(), suspect)) return;
  for (Recipient& recipient : unread_) {
    if (!suspect(recipient)) continue;
    AttemptState state;
    state.suspected = recipient.suspected;
    AddSuspect({std::move(recipient), std::move(state)});
  }
  std::erase_if(unread_, suspect);
}

void RecipientQueue::Release(bool alone) {
  for (QueuedRecipient& suspect : suspects_) {
    suspect.state.judged_alone = alone || suspect.state.suspected >= kMaxSuspected;
    due_.push_back(std::move(suspect));
  }
  suspects_.clear();
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
