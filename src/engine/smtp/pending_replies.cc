#include "engine/smtp/pending_replies.h"

#include <algorithm>

namespace vespro::engine {

PendingReply PendingReplies::Take(std::uint64_t written) {
  const PendingReply taken = pending_.front();
  pending_.pop_front();
  ReliesOn(taken.due, written);
  return taken;
}

void PendingReplies::ReliesOn(std::uint64_t position, std::uint64_t written) {
  if (position > written) relied_on_ = std::max(relied_on_, position);
}

bool PendingReplies::OnWritten(std::uint64_t written) {
  if (relied_on_ > written) return false;
  relied_on_ = 0;
  return true;
}

}  // namespace vespro::engine
