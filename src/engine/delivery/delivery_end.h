// engine/delivery/delivery_end.h - how far a delivery is and how it ended: plain data. Text is
// UTF-8.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "engine/delivery/server_limit.h"

namespace vespro::engine {

// Numbers for the progress line.
struct Progress {
  std::uint64_t sent = 0, refused = 0, failed = 0, unknown = 0;
  std::uint64_t waiting_for_retry = 0;
  std::size_t connections_open = 0;
  // While nothing is on its way: about when something can be, if that is in the future.
  std::chrono::steady_clock::time_point goes_on{};
  std::vector<ServerLimit> limits;  // of the servers that have asked for less
};

// What an account did for the job.
struct AccountTally {
  std::string server;         // "name:port"
  std::string login_refused;  // the server's words when it took no login; empty otherwise
  std::string disabled;       // why else it took no further part, or none at all; empty otherwise
  // What would help, where it took no further part. A job keeps its accounts and its message.
  enum class Remedy { kLater, kTrustAnchor, kAnotherJob };
  Remedy remedy = Remedy::kLater;
  // What it asked for, and what it got in the end; empty when it asked for nothing.
  std::string limited;
  std::uint64_t sent = 0, refused = 0, failed = 0, unknown = 0;
  // A message was accepted over a connection without TLS, from another machine than this one.
  bool in_clear = false;
};

struct DeliveryEnd {
  enum class Reason {
    kDone,  // every recipient that the source gave has its verdict
    // RequestStop, or no server can be reached or used, which `status` then says: what was in hand
    // is finished, the rest is not recorded.
    kStopped,
    kNoLogin,       // every account's login was refused; the rest is not recorded
    kCannotRecord,  // the sink or the source failed, see status; nothing was sent since
  };
  Reason reason = Reason::kDone;
  Status status;
  std::vector<AccountTally> accounts;  // in the order of the job, equal lines as one
};

}  // namespace vespro::engine
