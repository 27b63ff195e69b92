#include "engine/smtp/session_trace.h"

#include <string>

namespace vespro::engine {

void SessionTrace::Entered(SessionState state, std::string_view why) const {
  static constexpr const char* kNames[] = {"new",   "greeting and login", "TLS handshake",
                                           "ready", "quitting",           "closed"};
  std::string text = kNames[static_cast<std::size_t>(state)];
  if (!why.empty()) text.append(": ").append(why);
  trace_->Write(connection_, TraceKind::kState, text);
}

void SessionTrace::Command(std::string_view command, Stage stage) const {
  if (stage != Stage::kAuth) return trace_->Write(connection_, TraceKind::kSent, command);
  std::string shown;
  if (command.starts_with("AUTH ")) shown = command.substr(0, command.find(' ', 5));
  if (shown != command) shown += shown.empty() ? "(login left out)" : " (login left out)";
  trace_->Write(connection_, TraceKind::kSent, shown);
}

void SessionTrace::Message(std::span<const std::string_view> pieces, std::uint64_t bytes) const {
  std::string text = "(a message of " + std::to_string(bytes) + " bytes)";
  if (trace_->with_data()) {
    text += '\n';
    for (const std::string_view piece : pieces) text += piece;
    if (text.back() == '\n') text.pop_back();
  }
  trace_->Write(connection_, TraceKind::kSent, text);
}

void SessionTrace::Replied(const Reply& reply) const {
  const std::string code = std::to_string(reply.code);
  std::string text;
  std::string_view rest = reply.text;
  for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos;) {
    text.append(code).append("-").append(rest.substr(0, end + 1));
    rest.remove_prefix(end + 1);
  }
  text.append(code).append(" ").append(rest);
  trace_->Write(connection_, TraceKind::kReceived, text);
}

void SessionTrace::Redacted(std::string_view line) const {
  trace_->Write(connection_, TraceKind::kReceived, line);
}

void SessionTrace::NoReply() const {
  trace_->Write(connection_, TraceKind::kReceived, "(no SMTP reply)");
}

}  // namespace vespro::engine
