#include "engine/smtp/sasl.h"

#include <algorithm>

#include "base/text.h"
#include "engine/hmac.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

// An initial response makes AUTH too long a line beyond this (RFC 4954, section 4).
constexpr std::size_t kMaxInitialResponse = 480;
// Servers ask with a hundred bytes or so.
constexpr std::size_t kMaxChallenge = 1024;

}  // namespace

void Sasl::Offer(std::string_view mechanism) {
  for (const Name& name : kNames) {
    if (ModText::EqualsIgnoringAsciiCase(name.text, mechanism)) offered_.push_back(name.mechanism);
  }
}

bool Sasl::Fits(Mechanism mechanism) const {
  return (mechanism == Mechanism::kXoauth2) == credentials_.token;
}

bool Sasl::CanUse(Mechanism mechanism) const {
  return Fits(mechanism) &&
         std::find(offered_.begin(), offered_.end(), mechanism) != offered_.end();
}

bool Sasl::OffersAny() const {
  return std::any_of(offered_.begin(), offered_.end(), [this](Mechanism m) { return Fits(m); });
}

std::string Sasl::Known() const {
  std::string known;
  for (const Name& name : kNames) {
    if (Fits(name.mechanism)) known.append(known.empty() ? "" : ", ").append(name.text);
  }
  return known;
}

Sasl::Mechanism Sasl::Choose(ChannelSecurity channel) const {
  if (channel != ChannelSecurity::kSecure && CanUse(Mechanism::kCramMd5))
    return Mechanism::kCramMd5;
  if (channel == ChannelSecurity::kInsecure) return Mechanism::kNone;
  for (const Name& name : kNames) {
    if (CanUse(name.mechanism)) return name.mechanism;
  }
  return Mechanism::kNone;
}

bool Sasl::Begin(ChannelSecurity channel, std::string& command) {
  current_ = Choose(channel);
  answers_ = 0;
  if (current_ == Mechanism::kNone) return false;
  for (const Name& name : kNames) {
    if (name.mechanism == current_) command = name.text;
  }
  response_.clear();
  if (current_ == Mechanism::kPlain) {
    response_ = ModBase64::Encode('\0' + credentials_.login + '\0' + credentials_.secret);
  } else if (current_ == Mechanism::kXoauth2) {
    response_ = ModBase64::Encode("user=" + credentials_.login + "\1auth=Bearer " +
                                  credentials_.secret + "\1\1");
  }
  if (!response_.empty() && response_.size() <= kMaxInitialResponse) {
    command += " " + response_;
    answers_ = 1;
  }
  return true;
}

std::optional<std::string> Sasl::Answer(std::string_view challenge) {
  const int answered = answers_++;
  said_.clear();
  switch (current_) {
    case Mechanism::kPlain:
      // A second time: some servers ask again for what came with AUTH.
      if (answered > 1) return std::nullopt;
      return said_ = response_;
    case Mechanism::kLogin:
      if (answered > 1) return std::nullopt;
      return said_ = ModBase64::Encode(answered == 0 ? credentials_.login : credentials_.secret);
    case Mechanism::kCramMd5:
      if (answered > 0) return std::nullopt;
      return said_ = CramMd5(challenge);
    case Mechanism::kXoauth2:
      if (answered == 0) return said_ = response_;
      // The challenge is an error now, and an empty line asks for the reply that goes with it.
      if (answered > 1) return std::nullopt;
      return std::string();
    case Mechanism::kNone:
      break;
  }
  return std::nullopt;
}

// RFC 2195, section 2. A challenge that can't be read, or a digest that is not allowed here, gives
// "*", which calls the login off (RFC 4954, section 4).
std::string Sasl::CramMd5(std::string_view challenge) {
  challenge = ModText::Trim(challenge);
  if (challenge.empty() || challenge.size() > kMaxChallenge) return "*";
  const Result<std::string> text = ModBase64::Decode(challenge);
  if (!text.ok()) return "*";
  digest_ = HmacHex(Digest::kMd5, credentials_.secret, text.value()).value_or("");
  return digest_.empty() ? "*" : ModBase64::Encode(credentials_.login + " " + digest_);
}

void Sasl::RejectMechanism() { std::erase(offered_, current_); }

std::vector<std::string> Sasl::Secrets() const {
  std::vector<std::string> secrets;
  if (credentials_.secret.empty()) return secrets;
  secrets = {response_, said_, digest_, ModBase64::Encode(credentials_.secret),
             credentials_.secret};
  // The login is no secret by itself.
  std::erase(secrets, ModBase64::Encode(credentials_.login));
  std::erase(secrets, std::string());
  return secrets;
}

}  // namespace vespro::engine
