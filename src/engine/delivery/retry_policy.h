// engine/delivery/retry_policy.h - what comes next for a recipient whose attempt failed. Pure: any
// thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/delivery/backoff.h"
#include "engine/smtp/policy.h"
#include "engine/work.h"

namespace vespro::engine {

// What has been tried for a recipient. Servers are indices.
struct AttemptState {
  static constexpr std::size_t kNoServer = SIZE_MAX;
  int attempts = 0;
  int recipient_limit_hits = 0;  // how often a message had no room for it
  // How often a limit of the server's hit it while others were served since the last time.
  int limit_hits = 0;
  std::uint64_t served_at_hit = 0;
  std::size_t last_server = kNoServer;
  std::uint64_t message = 0;             // the number of this attempt's message
  TimePoint begun{};                     // the message of this attempt went to the server
  std::vector<std::size_t> rejected_by;  // servers that can't take it, while others may
  std::string last_reply;
  bool intent_logged = false;  // in this attempt: the sink knows that the message is on its way
  bool finished = false;       // it has its outcome
  int suspected = 0;           // see Recipient
  bool judged_alone = false;   // a refusal is its own, whoever else is refused
  bool RejectedBy(std::size_t server) const;
};

// Its last state, or another attempt after `delay`.
struct NextStep {
  std::optional<State> final_state;
  std::chrono::milliseconds delay{0};
};

struct RetryPolicy {
  // 452 "too many recipients" answers that a recipient may get before one counts as its own
  // deferral.
  static constexpr int kMaxRecipientLimitHits = 3;

  int max_attempts = 3;                           // in all
  std::chrono::milliseconds first_delay{30'000};  // doubles from attempt to attempt, up to an hour

  // Limits of the server's that may hit one recipient, while others are served, before one counts
  // as its own deferral: a relay may pass on what is said of the recipient's domain.
  static constexpr int kMaxLimitHits = 8;

  // The disposition as it is for this recipient; `served` is how many others were accepted so far.
  Disposition ForRecipient(Disposition disposition, std::uint64_t served,
                           AttemptState& state) const;
  // After the attempt at `server`. `another_server`: one is enabled that has not rejected the
  // recipient. Takes the attempt back when it was not the recipient's.
  NextStep AfterFailure(const Disposition& disposition, std::size_t server, bool another_server,
                        AttemptState& state) const;
};

// Whether the server had no room for this recipient beside the others of the message.
bool IsRecipientLimit(const Disposition& disposition);

}  // namespace vespro::engine
