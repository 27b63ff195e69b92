#include "engine/delivery/credential_source.h"

#include <chrono>
#include <utility>

#include "base/shell.h"

namespace vespro::engine {
namespace {

constexpr std::chrono::milliseconds kCommandLimit{120'000};
constexpr std::string_view kBearerPrefix = "Bearer ";

}  // namespace

CredentialSource::CredentialSource(std::string password)
    : state_(State::kAvailable), secret_{std::move(password), false} {}

CredentialSource::CredentialSource(Fetch fetch)
    : fetch_(std::move(fetch)), state_(State::kNeeded) {}

const CredentialSource::Fetch* CredentialSource::Request() {
  if (state_ != State::kNeeded) return nullptr;
  state_ = State::kRequested;
  return &fetch_;
}

void CredentialSource::OnFetched(Secret secret) {
  secret_ = std::move(secret);
  state_ = State::kAvailable;
  ++generation_;
  worked_ = false;
}

void CredentialSource::OnAccepted(unsigned generation) {
  if (generation == generation_) worked_ = true;
}

bool CredentialSource::OnRefused(unsigned generation) {
  if (!fetch_) return false;
  if (state_ != State::kAvailable || generation != generation_)
    return true;  // a newer one is there
  if (!worked_) return false;
  state_ = State::kNeeded;
  return true;
}

CredentialSource::Fetch PasswordCommand(std::string command) {
  return [command = std::move(command)](const std::atomic<bool>& stop) -> Result<Secret> {
    Result<std::string> line = ModShell::RunForFirstLine(command, kCommandLimit, stop);
    if (!line.ok()) {
      return Status(line.status().code(),
                    "the command for its password gave none: " + line.status().text());
    }
    std::string_view text = line.value();
    const bool is_bearer_token = text.starts_with(kBearerPrefix);
    if (is_bearer_token) text.remove_prefix(kBearerPrefix.size());
    return Secret{std::string(text), is_bearer_token};
  };
}

}  // namespace vespro::engine
