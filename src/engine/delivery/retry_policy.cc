#include "engine/delivery/retry_policy.h"

#include <algorithm>

#include "engine/delivery/backoff.h"

namespace vespro::engine {
namespace {

constexpr std::chrono::milliseconds kMaxDelay = std::chrono::hours(1);

}  // namespace

bool AttemptState::RejectedBy(std::size_t server) const {
  return std::find(rejected_by.begin(), rejected_by.end(), server) != rejected_by.end();
}

bool IsRecipientLimit(const Disposition& disposition) {
  return disposition.action == Action::kRequeue && disposition.scope == Scope::kRecipient;
}

Disposition RetryPolicy::ForRecipient(Disposition disposition, std::uint64_t served,
                                      AttemptState& state) const {
  if (disposition.limit == Limit::kNone || disposition.action != Action::kRequeue) {
    return disposition;
  }
  if (state.limit_hits == 0 || served > state.served_at_hit) ++state.limit_hits;
  state.served_at_hit = served;
  if (state.limit_hits > kMaxLimitHits) disposition.action = Action::kDefer;
  return disposition;
}

NextStep RetryPolicy::AfterFailure(const Disposition& disposition, std::size_t server,
                                   bool another_server, AttemptState& state) const {
  Action action = disposition.action;
  if (IsRecipientLimit(disposition) && ++state.recipient_limit_hits > kMaxRecipientLimitHits) {
    action = Action::kDefer;
  }
  switch (action) {
    case Action::kBounce:
      return {State::kRefused};
    case Action::kUnknown:
      return {State::kUnknown};
    case Action::kTryOtherServer:
      state.rejected_by.push_back(server);
      if (!another_server) return {State::kRefused};
      return {};
    case Action::kDisableServer:
    case Action::kRequeue:
      --state.attempts;
      return {};
    case Action::kDefer:
      if (state.attempts >= max_attempts) return {State::kFailed};
      return {std::nullopt, ExponentialDelay({first_delay, kMaxDelay}, state.attempts)};
  }
  return {State::kUnknown};
}

}  // namespace vespro::engine
