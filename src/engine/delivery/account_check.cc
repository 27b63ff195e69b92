#include "engine/delivery/account_check.h"

#include <array>
#include <memory>
#include <utility>

#include "base/text.h"
#include "engine/delivery/server.h"
#include "engine/smtp/session_setup.h"

namespace vespro::engine {
namespace {

// For each step: a person waits for it.
constexpr std::chrono::seconds kStepLimit{30}, kQuitLimit{5};

class Dialogue final : public ConnectionEvents {
 public:
  Dialogue(EventLoop& loop, const DeliveryOptions& options, const Account& account,
           const Secret& secret, std::string sender)
      : loop_(loop),
        server_(account.server),
        sender_(std::move(sender)),
        limit_(std::chrono::duration_cast<std::chrono::milliseconds>(kStepLimit *
                                                                     options.timeout_scale)),
        client_{.credentials = {account.login, secret.value, secret.is_bearer_token},
                .tls = options.tls,
                .tls_from_start = UsesTlsFromStart(account, options.tls),
                .insecure_auth = options.insecure_auth},
        setup_(client_),
        connection_(loop.NewConnection(*this)) {
    loop_.OnInterrupt([this] { connection_->Close(); });
    connection_->SetTimeLimit(limit_);
    connection_->Connect(account.server, account.port);
  }

  const AccountCheck& result() const { return result_; }

 private:
  void OnConnected(std::string local_literal, bool loopback) override {
    result_.connected = true;
    result_.loopback = loopback;
    const std::string name = loop_.HostName();
    Take(setup_.Connected(name.empty() ? local_literal : name, loopback));
  }

  void OnTlsEstablished() override {
    handshake_ = false;
    result_.secure = true;
    Take(setup_.TlsEstablished());
  }

  void OnReceived(std::string_view bytes) override {
    if (over_) return connection_->Close();  // the answer to QUIT
    while (!over_) {
      const ReplyParser::ParseResult got = parser_.Feed(bytes);
      if (got == ReplyParser::ParseResult::kMore) return;
      if (got == ReplyParser::ParseResult::kProtocolError) {
        return Fail(LocalFailure(Fault::kProtocolError),
                    "the server sent something that is no SMTP reply");
      }
      OnReply(parser_.reply());
      if (handshake_ && !bytes.empty()) {
        return Fail(LocalFailure(Fault::kTls),
                    "the server's answer to STARTTLS came with more text");
      }
    }
  }

  void OnReply(const Reply& reply) {
    connection_->SetTimeLimit(limit_);
    if (stage_ < Stage::kMail) return Take(setup_.OnReply(stage_, reply));
    if (stage_ != Stage::kMail) return End();  // RSET has no bad answer
    if (reply.severity() != 2) return Fail(FailureOf(stage_, reply), setup_.Redacted(reply));
    result_.sender_taken = true;
    Say("RSET", Stage::kReset);
  }

  void Take(const SessionSetup::Step& step) {
    switch (step.kind) {
      case SessionSetup::Step::Kind::kSend:
        return Say(step.command, step.stage);
      case SessionSetup::Step::Kind::kWait:
        return;
      case SessionSetup::Step::Kind::kStartTls:
        parser_.Reset();
        handshake_ = true;
        return connection_->StartTls(server_);
      case SessionSetup::Step::Kind::kReady:
        result_.ready = true;
        return Say("MAIL FROM:<" + sender_ + ">" + (ModText::IsAscii(sender_) ? "" : " SMTPUTF8"),
                   Stage::kMail);
      case SessionSetup::Step::Kind::kFailed:
        return Fail(step.failure, step.text);
    }
  }

  void Say(const std::string& command, Stage stage) {
    stage_ = stage;
    waiting_ += command + "\r\n";
    if (!writing_) Write();
  }

  void Write() {
    writing_ = true;
    wire_ = std::exchange(waiting_, {});
    const std::array<std::string_view, 1> pieces = {wire_};
    connection_->Write(pieces);
  }

  void OnWritten(std::uint64_t, bool finished) override {
    if (!finished) return;
    writing_ = false;
    if (!waiting_.empty()) Write();
  }

  Failure LocalFailure(Fault fault) const {
    Failure failure;
    failure.stage = stage_;
    failure.fault = fault;
    return failure;
  }

  void Fail(const Failure& failure, const std::string& text) {
    result_.failure = failure;
    result_.text = text;
    End();
  }

  // Says goodbye where that can be said.
  void End() {
    over_ = true;
    if (handshake_ || writing_) return connection_->Close();
    connection_->SetTimeLimit(kQuitLimit);
    Say("QUIT", Stage::kQuit);
  }

  void OnLost(Fault fault, const std::string& text) override {
    if (!over_) {
      if (!result_.connected) stage_ = Stage::kConnect;
      if (handshake_) stage_ = Stage::kStartTls;
      result_.failure = LocalFailure(fault);
      result_.text = text;
    }
    loop_.Stop();
  }

  EventLoop& loop_;
  const std::string server_, sender_;
  const std::chrono::milliseconds limit_;
  const ClientOptions client_;
  SessionSetup setup_;
  ReplyParser parser_;
  AccountCheck result_;
  Stage stage_ = Stage::kGreeting;
  bool handshake_ = false, writing_ = false, over_ = false;
  std::string waiting_, wire_;
  // Destroyed first: what it writes is in `wire_`.
  std::unique_ptr<Connection> connection_;
};

}  // namespace

AccountCheck CheckAccount(EventLoop& loop, const DeliveryOptions& options, const Account& account,
                          const Secret& secret, const std::string& sender) {
  Dialogue dialogue(loop, options, account, secret, sender);
  loop.Run();
  return dialogue.result();
}

}  // namespace vespro::engine
