// engine/smtp/session_trace.h - what one SMTP session writes into a trace: commands, replies and
// changes of state, without the login. One thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "engine/smtp/policy.h"
#include "engine/smtp/reply.h"
#include "engine/trace.h"

namespace vespro::engine {

enum class SessionState { kNew, kSetUp, kHandshake, kReady, kQuitting, kOver };

class SessionTrace {
 public:
  // `trace` may be null: ask on() before anything else.
  SessionTrace(Trace* trace, std::uint64_t connection) : trace_(trace), connection_(connection) {}
  bool on() const { return trace_ != nullptr; }

  void Entered(SessionState state, std::string_view why) const;
  // Of a login the mechanism alone: its answers are secrets or made of them.
  void Command(std::string_view command, Stage stage) const;
  void Message(std::span<const std::string_view> pieces, std::uint64_t bytes) const;
  void Replied(const Reply& reply) const;
  // The same where the server's words repeat the login.
  void Redacted(std::string_view line) const;
  void NoReply() const;

 private:
  Trace* trace_;
  std::uint64_t connection_;
};

}  // namespace vespro::engine
