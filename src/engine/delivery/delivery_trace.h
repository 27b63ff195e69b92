// engine/delivery/delivery_trace.h - what the delivery writes into a trace, in words: what becomes
// of the servers, and why nothing is sent to one. Costs nothing without a trace. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "engine/delivery/backoff.h"
#include "engine/delivery/obstacle.h"
#include "engine/delivery/server.h"
#include "engine/delivery/server_quirks.h"
#include "engine/trace.h"

namespace vespro::engine {

class DeliveryTrace {
 public:
  // `trace` may be null: ask on() before anything else. `servers` is how many there are.
  explicit DeliveryTrace(Trace* trace, std::size_t servers = 0)
      : trace_(trace), noted_(servers, Obstacle::kNone) {}
  bool on() const { return trace_ != nullptr; }

  void Connecting(std::uint64_t connection, const Server& server) const;
  // The server has failed or asked for patience, and what follows; or it is disabled.
  void Failed(const Server& server, TimePoint now) const;
  void Recovered(const Server& server) const;
  // The recipient, by the line of the list, gets another attempt.
  void Retry(const Server& server, std::uint64_t line, int attempts,
             std::chrono::milliseconds delay, std::string_view reply) const;
  // The connection was closed by the server with so many messages in flight.
  void Dropped(std::uint64_t connection, std::size_t in_flight, const ServerQuirks& quirks) const;
  void RecipientLimit(std::uint64_t connection, const ServerQuirks& quirks) const;
  void ChunkingFailed(std::uint64_t connection) const;
  // Written when it has changed; a share that comes and goes with every message once only.
  void Waits(std::size_t index, const Server& server, Obstacle obstacle);

 private:
  void Note(const Server& server, std::string_view text) const;

  Trace* trace_;
  std::vector<Obstacle> noted_;  // by server
};

}  // namespace vespro::engine
