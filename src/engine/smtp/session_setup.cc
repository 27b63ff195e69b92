#include "engine/smtp/session_setup.h"

#include <cassert>
#include <optional>

namespace vespro::engine {

using Kind = SessionSetup::Step::Kind;

SessionSetup::SessionSetup(const ClientOptions& options)
    : options_(options), sasl_(options_.credentials), secrets_(sasl_.Secrets()) {}

SessionSetup::Step SessionSetup::Send(Stage stage, std::string command) const {
  return {.kind = Kind::kSend, .stage = stage, .command = std::move(command)};
}

SessionSetup::Step SessionSetup::Failed(Stage stage, Fault fault, std::string text) {
  Step step{.kind = Kind::kFailed, .text = std::move(text)};
  step.failure.stage = stage;
  step.failure.fault = fault;
  return step;
}

SessionSetup::Step SessionSetup::Refused(Stage stage, const Reply& reply) const {
  return {.kind = Kind::kFailed, .failure = FailureOf(stage, reply), .text = Redacted(reply)};
}

SessionSetup::Step SessionSetup::Connected(std::string hello_name, bool loopback) {
  hello_name_ = std::move(hello_name);
  loopback_ = loopback;
  return {.kind = options_.tls_from_start ? Kind::kStartTls : Kind::kWait};
}

SessionSetup::Step SessionSetup::TlsEstablished() {
  secure_ = true;
  // What was said before the handshake counts for nothing (RFC 3207, section 4.2).
  return options_.tls_from_start ? Step{.kind = Kind::kWait} : SendEhlo("EHLO ");
}

SessionSetup::Step SessionSetup::OnReply(Stage stage, const Reply& reply) {
  switch (stage) {
    case Stage::kGreeting:
      return reply.code == 220 ? SendEhlo("EHLO ") : Refused(stage, reply);
    case Stage::kEhlo:
      return OnEhlo(reply);
    case Stage::kStartTls:
      // Never on without TLS where it was offered.
      return reply.code == 220 ? Step{.kind = Kind::kStartTls} : Refused(stage, reply);
    case Stage::kAuth:
      return OnAuth(reply);
    default:
      assert(false && "no stage of the set-up");
      return Refused(stage, reply);
  }
}

SessionSetup::Step SessionSetup::SendEhlo(const char* verb) {
  extensions_ = Extensions();
  sasl_.Forget();
  said_helo_ = verb[0] == 'H';
  return Send(Stage::kEhlo, verb + hello_name_);
}

SessionSetup::Step SessionSetup::OnEhlo(const Reply& reply) {
  if (reply.severity() == 5 && !said_helo_) return SendEhlo("HELO ");
  if (reply.severity() != 2) return Refused(Stage::kEhlo, reply);
  if (!said_helo_) extensions_ = ParseEhlo(reply.text);
  ehlo_text_ = reply.text.find('\n') != std::string::npos ? reply.text : std::string();
  extensions_.pipelining = extensions_.pipelining && options_.use_pipelining;
  extensions_.chunking = extensions_.chunking && options_.use_chunking;
  for (const std::string& mechanism : extensions_.auth_mechanisms) sasl_.Offer(mechanism);
  return AfterEhlo();
}

SessionSetup::Step SessionSetup::AfterEhlo() {
  if (!secure_ && options_.tls != TlsUse::kOff && extensions_.starttls) {
    return Send(Stage::kStartTls, "STARTTLS");
  }
  if (!secure_ && options_.tls == TlsUse::kRequired) {
    return Failed(Stage::kStartTls, Fault::kNoTls, "the server does not offer TLS");
  }
  return options_.credentials.login.empty() ? Step{.kind = Kind::kReady} : BeginLogin();
}

ChannelSecurity SessionSetup::channel_security() const {
  if (secure_ || loopback_) return ChannelSecurity::kSecure;
  return options_.insecure_auth ? ChannelSecurity::kInsecureAllowed : ChannelSecurity::kInsecure;
}

SessionSetup::Step SessionSetup::BeginLogin() {
  std::string command;
  if (sasl_.Begin(channel_security(), command)) {
    secrets_ = SecretScanner(sasl_.Secrets());
    return Send(Stage::kAuth, "AUTH " + command);
  }
  return Failed(Stage::kAuth, Fault::kNoAuth,
                channel_security() != ChannelSecurity::kInsecure || !sasl_.OffersAny()
                    ? "the server offers no way to log in that we know (" + sasl_.Known() + ")"
                    : "the server does not offer TLS, and a password is not sent over a clear "
                      "connection");
}

SessionSetup::Step SessionSetup::OnAuth(const Reply& reply) {
  // Offered and not known, or too weak for this account. Any other refusal is the password's, and
  // trying it again in another way would only lock the account.
  if (reply.code == 504 || reply.code == 534) {
    sasl_.RejectMechanism();
    Step next = BeginLogin();
    return next.kind == Kind::kSend ? next : Refused(Stage::kAuth, reply);
  }
  if (reply.severity() == 2) return {.kind = Kind::kReady};
  if (reply.severity() != 3) return Refused(Stage::kAuth, reply);
  const std::optional<std::string> answer = sasl_.Answer(reply.text);
  if (!answer) {
    return Failed(Stage::kConnect, Fault::kProtocolError,
                  "the server asked for more than its way to log in has");
  }
  secrets_ = SecretScanner(sasl_.Secrets());
  return Send(Stage::kAuth, *answer);
}

std::string SessionSetup::Redacted(const Reply& reply) const {
  if (!RepeatsLogin(reply.text)) return ReplyLine(reply);
  return std::to_string(reply.code) + " (the server's words repeat the login and are left out)";
}

}  // namespace vespro::engine
