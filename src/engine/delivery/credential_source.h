// engine/delivery/credential_source.h - the secret of one login and where it comes from: the
// account file, or a Fetch that is run when it is first needed and again when it was refused after
// it had worked, since tokens expire. Holds no thread: its owner runs the Fetch on another one and
// brings the result. One thread.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "base/status.h"

namespace vespro::engine {

struct Secret {
  std::string value;             // never printed
  bool is_bearer_token = false;  // an OAuth 2 access token, for XOAUTH2
};

class CredentialSource {
 public:
  // May block; ends soon after `stop` is set. No failure's text holds a secret.
  using Fetch = std::function<Result<Secret>(const std::atomic<bool>& stop)>;

  explicit CredentialSource(std::string password);
  explicit CredentialSource(Fetch fetch);

  bool available() const { return state_ == State::kAvailable; }
  const Secret& secret() const { return secret_; }
  // Counts the secrets that were fetched: a session keeps the number of the one that it uses.
  unsigned generation() const { return generation_; }

  // What to run now; null when nothing is to be fetched or a Fetch is on its way.
  const Fetch* Request();
  void OnFetched(Secret secret);

  void OnAccepted(unsigned generation);
  // False when the login is to be given up: there is no other secret than the refused one.
  bool OnRefused(unsigned generation);

 private:
  enum class State { kNeeded, kRequested, kAvailable };

  Fetch fetch_;
  State state_;
  Secret secret_;
  unsigned generation_ = 0;
  bool worked_ = false;
};

// The first line that a shell command writes, as the password, or after "Bearer " as the token. It
// has two minutes, for a person to answer the question of a password store.
CredentialSource::Fetch PasswordCommand(std::string command);

}  // namespace vespro::engine
