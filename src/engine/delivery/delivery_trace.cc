#include "engine/delivery/delivery_trace.h"

#include <cstdio>
#include <string>

namespace vespro::engine {
namespace {

std::string Seconds(std::chrono::steady_clock::duration duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g s", std::chrono::duration<double>(duration).count());
  return text;
}

const char* InWords(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::kNone:
      return "sending again";
    case Obstacle::kDisabled:
      return "not sending: it takes no further part";
    case Obstacle::kQuota:
      return "not sending: its limit of the day is reached";
    case Obstacle::kCredentials:
      return "not connecting: its password is being fetched";
    case Obstacle::kRest:
      return "not sending: it asked to be left alone";
    case Obstacle::kBackoff:
      return "not sending: it is backed off from";
    case Obstacle::kPace:
      return "not sending: its pace lets no message through yet";
    case Obstacle::kNoWork:
      return "not sending: nobody is left for it now";
    case Obstacle::kServerRate:
      return "not sending: its rate limit is reached";
    case Obstacle::kJobRate:
      return "not sending: the rate limit of the job is reached";
    case Obstacle::kShare:
      return "not sending: it is ahead of its share";
    case Obstacle::kConnectionLimit:
      return "not connecting: it refused one connection more than are open";
    case Obstacle::kAccountConnections:
      return "not connecting: it has as many connections as it may";
    case Obstacle::kOneTries:
      return "not connecting: after its failure one connection tries for all";
    case Obstacle::kEnough:
      return "not connecting: there are connections for all messages in sight";
    case Obstacle::kAllInUse:
      return "not connecting: all connections of the job are in use";
  }
  return "?";
}

}  // namespace

void DeliveryTrace::Note(const Server& server, std::string_view text) const {
  trace_->Write(0, TraceKind::kNote, server.name() + ": " + std::string(text));
}

void DeliveryTrace::Connecting(std::uint64_t connection, const Server& server) const {
  trace_->Write(connection, TraceKind::kNote, "connecting to " + server.name());
}

void DeliveryTrace::Failed(const Server& server, TimePoint now) const {
  if (!server.enabled()) {
    return Note(server, "takes no further part: " + server.disabled_reason().text());
  }
  if (server.pace().in_a_row() > 0 && server.pace().NextAt(now) > now) {
    char pace[32];
    std::snprintf(pace, sizeof pace, "%.3g", server.pace().per_second());
    return Note(server, "too fast for it: nothing for " + Seconds(server.pace().NextAt(now) - now) +
                            ", then " + pace + " recipients a second: " + server.last_error());
  }
  if (server.backoff_until() > now) {
    return Note(server, "backing off for " + Seconds(server.backoff_until() - now) + ", failure " +
                            std::to_string(server.failures()) +
                            " in a row: " + server.last_error());
  }
  if (server.concurrency().known() && server.connect_at() <= now) {
    return Note(server, "no more connections from here on than " +
                            std::to_string(server.concurrency().most()) + ": " +
                            server.last_error());
  }
  Note(server, "no further connection for " + Seconds(server.connect_at() - now) + ": " +
                   server.last_error());
}

void DeliveryTrace::Recovered(const Server& server) const { Note(server, "works again"); }

void DeliveryTrace::Retry(const Server& server, std::uint64_t line, int attempts,
                          std::chrono::milliseconds delay, std::string_view reply) const {
  Note(server, "line " + std::to_string(line) + " again in " + Seconds(delay) +
                   ", attempts used up: " + std::to_string(attempts) + "; " + std::string(reply));
}

void DeliveryTrace::Dropped(std::uint64_t connection, std::size_t in_flight,
                            const ServerQuirks& quirks) const {
  std::string text = "closed without a word, messages in flight: " + std::to_string(in_flight) +
                     "; one command at a time from here on";
  if (quirks.max_messages() > 0) {
    text +=
        ", connections are renewed after " + std::to_string(quirks.max_messages()) + " messages";
  }
  trace_->Write(connection, TraceKind::kNote, text);
}

void DeliveryTrace::RecipientLimit(std::uint64_t connection, const ServerQuirks& quirks) const {
  trace_->Write(
      connection, TraceKind::kNote,
      "recipients in one message from here on: " + std::to_string(quirks.max_recipients()));
}

void DeliveryTrace::ChunkingFailed(std::uint64_t connection) const {
  trace_->Write(connection, TraceKind::kNote, "no CHUNKING with this server from here on");
}

void DeliveryTrace::Waits(std::size_t index, const Server& server, Obstacle obstacle) {
  Obstacle& noted = noted_[index];
  if (obstacle == noted || (obstacle == Obstacle::kNone && noted == Obstacle::kShare)) return;
  noted = obstacle;
  Note(server, InWords(obstacle));
}

}  // namespace vespro::engine
