#include "engine/delivery/server.h"

#include <algorithm>
#include <utility>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;

// A connecting server keeps its share reserved this long.
constexpr std::chrono::seconds kConnectGracePeriod{3};
// Failures in a row after which a server counts as unreachable: after it had served, before it ever
// did, and of the kind where it asks for patience.
constexpr int kMaxConnectFailures = 8, kMaxFirstConnectFailures = 3, kMaxThrottles = 50;
// One that has served is left alone longer than one that never answered, which may be a wrong name.
constexpr int kReconnectFactor = 5;
constexpr milliseconds kMaxBackoff{60'000}, kMinBackoff{10};
constexpr int kMaxRests = 18;

Ceilings LearntOf(const Allowance* allowance) {
  return allowance != nullptr ? allowance->learnt() : Ceilings();
}

}  // namespace

Server::Server(Account account, CredentialSource credentials, std::size_t rate_limit,
               Allowance* allowance, const Waits& waits, TimePoint now)
    : account_(std::move(account)),
      name_(account_.server + ":" + std::to_string(account_.port)),
      credentials_(std::move(credentials)),
      rate_limit_(rate_limit),
      allowance_(allowance),
      waits_(waits),
      pace_(LearntOf(allowance).messages_per_second, now),
      concurrency_(waits.more_connections, LearntOf(allowance).connections, now) {
  waits_.initial_backoff = std::max(waits.initial_backoff, kMinBackoff);
}

bool Server::IsFor(const Account& account) const {
  return account.server == account_.server && account.port == account_.port &&
         account.login == account_.login && account.password == account_.password;
}

void Server::Configure(ClientOptions& options) const {
  const Secret& secret = credentials_.secret();
  options.credentials = {account_.login, secret.value, secret.is_bearer_token};
  options.tls_from_start = UsesTlsFromStart(account_, options.tls);
  if (options.tls == TlsUse::kAuto && quirks_.tls_offered()) options.tls = TlsUse::kRequired;
  options.use_chunking = quirks_.chunking_works();
  options.use_pipelining = !quirks_.lock_step();
}

std::size_t Server::TakeQuota(std::size_t recipients, TimePoint now) {
  if (allowance_ == nullptr) return recipients;
  const std::size_t granted = allowance_->Take(recipients, now);
  taken_ += granted;
  at_quota_ = granted == 0;
  return granted;
}

void Server::GiveBackQuota(std::size_t recipients) {
  if (allowance_ == nullptr || recipients == 0) return;
  taken_ -= recipients;
  allowance_->GiveBack(recipients);
  at_quota_ = false;
}

void Server::CommitQuota(std::size_t recipients) {
  if (allowance_ == nullptr) return;
  taken_ -= recipients;
  allowance_->Commit(recipients);
}

void Server::UpdateQuota(TimePoint now) {
  if (allowance_ == nullptr) return;
  allowance_->Update(now);
  at_quota_ = now < allowance_->available_at();
}

void Server::OnConnecting(TimePoint now) {
  if (connecting() == 0) connecting_since_ = now;
  ++open_;
  concurrency_.OnOpened(open_, now);
}

void Server::OnReady() {
  ++ready_;
  ever_connected_ = true;
  connect_backoff_.Succeeded();
}

void Server::OnClosed(bool was_ready, bool was_leaving) {
  --open_;
  if (was_leaving) --leaving_;
  if (was_ready) --ready_;
}

void Server::OnBegun(std::size_t recipients, TimePoint now) {
  ++in_flight_;
  pace_.Take(recipients, now);
}

bool Server::MayBegin(TimePoint now) const {
  return pace_.Allows(now) && in_flight_ < pace_.MaxInFlight(open_);
}

std::size_t Server::MaxInFlight(std::uint64_t accepted) const {
  if (concurrency_.known() && accepted == 0) return 1;  // it may be one too many
  return pace_.MaxOfOneConnection(open_);
}

void Server::OnAccepted(TimePoint begun, bool in_clear, TimePoint now) {
  pace_.OnAccepted(begun, now);
  sent_in_clear_ = sent_in_clear_ || in_clear;
  throttle_backoff_.Succeeded();
  rests_ = 0;
  quirks_.OnAccepted();
}

bool Server::OnTooFast(TimePoint begun, TimePoint now, const std::string& why) {
  last_error_ = limit_words_ = why;
  return pace_.OnComplaint(begun, now);
}

void Server::OnTooMany(TimePoint now, const std::string& why) {
  last_error_ = limit_words_ = why;
  concurrency_.OnRefused(open_ - leaving_ - 1, now);
}

bool Server::OnRest(TimePoint now, const std::string& why) {
  last_error_ = limit_words_ = why;
  if (now < rest_until_) return false;
  rest_until_ = now + waits_.rest;
  ++rests_;
  concurrency_.BeginAgain(rest_until_);
  return true;
}

ServerLimit Server::limit() const {
  return {.server = name_,
          .words = limit_words_,
          .per_second = pace_.per_second(),
          .connections = concurrency_.known() ? concurrency_.most() : 0,
          .rests_until = rest_until_};
}

void Server::Learn() const {
  if (allowance_ == nullptr || (!pace_.known() && !concurrency_.known())) return;
  allowance_->Learn({pace_.learnt(), concurrency_.known() ? concurrency_.most() : 0});
}

bool Server::OnThrottled(TimePoint now, const std::string& why) {
  return BackOff(throttle_backoff_, now, waits_.initial_backoff, why);
}

bool Server::OnConnectFailed(TimePoint now, const std::string& why) {
  if (ready_ > 0) {
    // It serves others of ours: this was one connection too many.
    last_error_ = why;
    connection_limited_until_ = now + kReconnectFactor * waits_.initial_backoff;
    return true;
  }
  return BackOff(
      connect_backoff_, now,
      ever_connected_ ? kReconnectFactor * waits_.initial_backoff : waits_.initial_backoff, why);
}

// Whatever fails during either wait belongs to the failure that began it.
bool Server::BackOff(Backoff& backoff, TimePoint now, milliseconds initial,
                     const std::string& why) {
  last_error_ = why;
  if (now < backoff_until()) return false;
  backoff.Failed(now, {initial, std::max(initial, kMaxBackoff)});
  return true;
}

void Server::Disable(Status reason, AccountTally::Remedy remedy) {
  if (!enabled()) return;
  disabled_reason_ = std::move(reason);
  remedy_ = remedy;
}

bool Server::IsHealthy() const { return enabled() && failures() == 0 && !at_quota_; }

bool Server::IsUnreachable() const {
  const int most = ever_connected_ ? kMaxConnectFailures : kMaxFirstConnectFailures;
  return connect_backoff_.failures() >= most || throttle_backoff_.failures() >= kMaxThrottles ||
         pace_.in_a_row() >= kMaxThrottles || rests_ >= kMaxRests;
}

TimePoint Server::backoff_until() const {
  return std::max({connect_backoff_.release_time(), throttle_backoff_.release_time(), rest_until_});
}

TimePoint Server::available_at() const {
  return at_quota_ ? std::max(connect_at(), allowance_->available_at()) : connect_at();
}

TimePoint Server::connect_at() const {
  return std::max(backoff_until(), connection_limited_until_);
}

Obstacle Server::WhyNotSending(TimePoint now) const {
  if (!enabled()) return Obstacle::kDisabled;
  if (at_quota_) return Obstacle::kQuota;
  if (now < rest_until_) return Obstacle::kRest;
  if (now < backoff_until()) return Obstacle::kBackoff;
  if (!pace_.Allows(now)) return Obstacle::kPace;
  return credentials_.available() ? Obstacle::kNone : Obstacle::kCredentials;
}

Obstacle Server::WhyNotConnecting(TimePoint now) const {
  if (!CanSend(now)) return WhyNotSending(now);
  // No more than messages may go out, as with any rate.
  if (connecting() >= pace_.Left(now)) return Obstacle::kPace;
  if (now < connect_at() || !concurrency_.Allows(open_, now)) return Obstacle::kConnectionLimit;
  const bool one_tries = connect_backoff_.failures() > 0 && open_ > 0;
  return one_tries ? Obstacle::kOneTries : Obstacle::kNone;
}

bool Server::KeepsShare(TimePoint now) const {
  return ready_ > 0 || open_ == 0 || now - connecting_since_ < kConnectGracePeriod;
}

}  // namespace vespro::engine
