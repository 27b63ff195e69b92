#include "engine/delivery/server_quirks.h"

namespace vespro::engine {

void ServerQuirks::OnAccepted() {
  if (lock_step_remaining_ > 0) --lock_step_remaining_;
}

void ServerQuirks::OnOutOfStep(bool in_lock_step) {
  out_of_step_ = true;
  if (in_lock_step) ++out_of_step_in_lock_step_;
}

void ServerQuirks::OnDropped(std::uint64_t messages) {
  if (lock_step_remaining_ == 0) lock_step_next_ *= 2;
  lock_step_remaining_ = lock_step_next_ / 2;
  if (messages == last_disconnect_after_) max_messages_ = messages;
  last_disconnect_after_ = messages;
}

}  // namespace vespro::engine
