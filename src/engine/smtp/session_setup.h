// engine/smtp/session_setup.h - the dialogue from the server's greeting until it takes messages:
// EHLO or HELO, STARTTLS and EHLO again, AUTH. Replies in, the next step out; every command waits
// for its answer. Pure: it neither sends nor waits. One thread per object.
#pragma once

#include <string>
#include <string_view>

#include "engine/smtp/client_options.h"
#include "engine/smtp/extensions.h"
#include "engine/smtp/policy.h"
#include "engine/smtp/sasl.h"
#include "engine/smtp/secret_scanner.h"

namespace vespro::engine {

class SessionSetup {
 public:
  struct Step {
    enum class Kind {
      kSend,      // `command`, whose reply belongs to `stage`
      kWait,      // for the reply to `stage`
      kStartTls,  // begin the handshake
      kReady,     // the server takes messages
      kFailed,    // `failure`; `text` says it for a person
    };
    Kind kind = Kind::kWait;
    Stage stage = Stage::kGreeting;
    std::string command = {};  // without its line end
    Failure failure = {};
    std::string text = {};
  };

  // `options` must outlive the object.
  explicit SessionSetup(const ClientOptions& options);

  // `hello_name` is a name with a dot or an address literal; `loopback`: the server is on this
  // machine.
  Step Connected(std::string hello_name, bool loopback);
  Step TlsEstablished();
  // The reply to what was sent for `stage`, which is one before kMail.
  Step OnReply(Stage stage, const Reply& reply);

  // What the server offers, without what the options forbid.
  const Extensions& extensions() const { return extensions_; }
  // The reply as one line without secrets. Some servers repeat what they were sent; a trace of the
  // login is enough for the text to be left out.
  std::string Redacted(const Reply& reply) const;
  // Whether it is the answer to EHLO once more, which has several lines.
  bool IsEhloReply(const Reply& reply) const {
    return !ehlo_text_.empty() && reply.code == 250 && reply.text == ehlo_text_;
  }
  bool RepeatsLogin(std::string_view text) const { return secrets_.FoundIn(text); }

 private:
  Step Send(Stage stage, std::string command) const;
  Step Refused(Stage stage, const Reply& reply) const;
  static Step Failed(Stage stage, Fault fault, std::string text);
  Step SendEhlo(const char* verb);
  Step OnEhlo(const Reply& reply);
  Step AfterEhlo();
  Step BeginLogin();
  Step OnAuth(const Reply& reply);
  ChannelSecurity channel_security() const;

  const ClientOptions& options_;
  Sasl sasl_;
  SecretScanner secrets_;  // never to be shown
  Extensions extensions_;
  std::string hello_name_;
  std::string ehlo_text_;  // the last answer to EHLO, if it has several lines
  bool secure_ = false, loopback_ = false, said_helo_ = false;
};

}  // namespace vespro::engine
