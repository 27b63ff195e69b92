#include "engine/sasl.h"

#include <algorithm>

#include "base/text.h"
#include "engine/hmac.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

// An initial response makes AUTH too long a line beyond this (RFC 4954, section 4).
constexpr std::size_t kMaxInitialResponse = 480;

}  // namespace

void Sasl::Offer(std::string_view mechanism) {
  for (const Name& name : kNames) {
    if (ModText::EqualsIgnoringAsciiCase(name.text, mechanism)) offered_.push_back(name.mechanism);
  }
}

bool Sasl::Fits(Mechanism mechanism) const {
  return (mechanism == Mechanism::kXoauth2) == credentials_.token;
}

bool Sasl::Offers(Mechanism mechanism) const {
  return std::find(offered_.begin(), offered_.end(), mechanism) != offered_.end();
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

bool Sasl::Begin(bool secret_may_cross, std::string& command) {
  current_ = Mechanism::kNone;
  answers_ = 0;
  // CRAM-MD5 comes last where nobody listens: servers that keep passwords hashed can't do it.
  for (const Name& name : kNames) {
    const bool tells = name.mechanism != Mechanism::kCramMd5;
    if (!Fits(name.mechanism) || !Offers(name.mechanism) || (tells && !secret_may_cross)) continue;
    current_ = name.mechanism;
    command = name.text;
    break;
  }
  if (current_ == Mechanism::kNone) return false;
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
std::string Sasl::CramMd5(std::string_view challenge) const {
  const Result<std::string> text = ModBase64::Decode(ModText::Trim(challenge));
  if (!text.ok()) return "*";
  const std::optional<std::string> digest =
      HmacHex(Digest::kMd5, credentials_.secret, text.value());
  return digest ? ModBase64::Encode(credentials_.login + " " + *digest) : "*";
}

void Sasl::GiveUpMechanism() { std::erase(offered_, current_); }

std::vector<std::string> Sasl::Secrets() const {
  std::vector<std::string> secrets;
  if (credentials_.secret.empty()) return secrets;
  secrets = {response_, said_, ModBase64::Encode(credentials_.secret), credentials_.secret};
  // The login is no secret by itself.
  std::erase(secrets, ModBase64::Encode(credentials_.login));
  std::erase(secrets, std::string());
  return secrets;
}

}  // namespace vespro::engine
