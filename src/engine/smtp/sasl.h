// engine/smtp/sasl.h - the client's side of a login (RFC 4954): which mechanism of those that a
// server offers is used, and what is said in it. PLAIN (RFC 4616), LOGIN, CRAM-MD5 (RFC 2195) and
// XOAUTH2 (as Google and Microsoft document it). Pure: it neither sends nor waits. One thread per
// object.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

struct Credentials {
  std::string login;
  std::string secret;  // never printed
  bool token = false;  // `secret` is an OAuth 2 access token
};

// Whether others can read what is sent on a connection.
enum class ChannelSecurity {
  kSecure,           // they can't: TLS, or a server on this machine
  kInsecureAllowed,  // they can, and the user allows the secret to be sent all the same
  kInsecure,         // they can
};

class Sasl {
 public:
  // `credentials` must outlive the object.
  explicit Sasl(const Credentials& credentials) : credentials_(credentials) {}

  // What the server says in answer to EHLO; names that are not known to us count for nothing.
  void Forget() { offered_.clear(); }
  void Offer(std::string_view mechanism);

  // Begins with the best mechanism that is left; false when there is none. `command` is what
  // follows "AUTH ". Where others can read it CRAM-MD5 comes first, which does not send the secret,
  // and without the user's permission nothing else is used; otherwise it comes last, since servers
  // that keep passwords hashed can't do it.
  bool Begin(ChannelSecurity channel, std::string& command);
  // The answer to "334 " and `challenge`, which may be anything, without its line end; nothing when
  // the mechanism has no further answer.
  std::optional<std::string> Answer(std::string_view challenge);
  // The server does not know the mechanism that was begun, although it offers it.
  void RejectMechanism();

  // "PLAIN, LOGIN", for messages: what could be used with these credentials.
  std::string Known() const;
  // Whether one of the offered mechanisms would do on a private connection.
  bool OffersAny() const;
  // Everything secret that was or may be said.
  std::vector<std::string> Secrets() const;

 private:
  enum class Mechanism { kNone, kPlain, kLogin, kCramMd5, kXoauth2 };
  struct Name {
    std::string_view text;
    Mechanism mechanism;
  };
  static constexpr std::array<Name, 4> kNames = {{{"PLAIN", Mechanism::kPlain},
                                                  {"LOGIN", Mechanism::kLogin},
                                                  {"CRAM-MD5", Mechanism::kCramMd5},
                                                  {"XOAUTH2", Mechanism::kXoauth2}}};
  bool Fits(Mechanism mechanism) const;
  bool CanUse(Mechanism mechanism) const;
  Mechanism Choose(ChannelSecurity channel) const;
  std::string CramMd5(std::string_view challenge);

  const Credentials& credentials_;
  std::vector<Mechanism> offered_;
  Mechanism current_ = Mechanism::kNone;
  std::string response_;  // of PLAIN and XOAUTH2
  int answers_ = 0;       // given in the current mechanism
  std::string said_;      // the last answer
  std::string digest_;    // of CRAM-MD5
};

}  // namespace vespro::engine
