#include "engine/delivery/dispatcher.h"

#include <algorithm>
#include <utility>

namespace vespro::engine {
namespace {

constexpr Disposition kNoLogin{
    .scope = Scope::kAccount, .action = Action::kDisableServer, .login = true};
constexpr Disposition kIncoherent{.scope = Scope::kAccount, .action = Action::kDisableServer};
constexpr Disposition kTooLarge{
    .scope = Scope::kAccount, .action = Action::kDisableServer, .too_large = true};

constexpr const char* kTlsWithdrawn =
    "the server offered TLS before and does not any more; nothing is sent to it in clear";

constexpr const char* kRefusedAlike =
    "three messages in a row to different people were refused alike, so nobody is called refused: ";

// How often that was so, for the next run.
std::string MarkOf(const AttemptState& state) {
  return std::string(kSuspectedMark) + std::to_string(state.suspected + 1);
}

std::string InWords(const Answer& answer) {
  std::string words(answer.reply);
  const Failure& failure = answer.failure;
  if (failure.fault != Fault::kReply && failure.stage >= Stage::kMail) {
    words += std::string(" (at ") + StageName(failure.stage) + ")";
  }
  return words;
}

AccountTally::Remedy RemedyFor(Fault fault) {
  if (fault == Fault::kUntrusted) return AccountTally::Remedy::kTrustAnchor;
  return fault == Fault::kMisnamed ? AccountTally::Remedy::kAnotherJob
                                   : AccountTally::Remedy::kLater;
}

}  // namespace

Dispatcher::Dispatcher(const DeliveryOptions& options, const std::vector<Account>& accounts,
                       WorkSource& source, Renderer& renderer, ResultSink& results, TimePoint now)
    : renderer_(renderer),
      tls_(options.tls),
      recipients_per_transaction_(options.recipients_per_transaction),
      retry_policy_{options.max_attempts, options.retry_delay},
      queue_(source, renderer.recipients_per_message()),
      pool_(options, accounts, now),
      recorder_(results, pool_.Names()),
      trace_(options.trace, pool_.size()),
      refused_(pool_.size()) {}

bool Dispatcher::HasWork(std::size_t server) {
  return queue_.HasEligible(
      [&](const AttemptState& state) { return pool_.IsEligible(server, state); });
}

std::optional<std::size_t> Dispatcher::NextToConnect(std::size_t connecting, TimePoint now) {
  if (connecting >= queue_.InSight()) return std::nullopt;  // one connection a message
  return pool_.NextToConnect(connecting, now,
                             [this](std::size_t server) { return HasWork(server); });
}

void Dispatcher::Update(TimePoint now) {
  // What is in flight is finished.
  if (!queue_.status().ok()) Stop();
  queue_.PromoteDue(now);
  if (queue_.HasOnlySuspects()) queue_.Release(false);
  pool_.ForgetRefusals();
  pool_.UpdateQuotas(now);
  pool_.UpdateShares(now, [this](std::size_t server) { return HasWork(server); });
}

std::size_t Dispatcher::BatchSize(std::size_t server, std::size_t max_recipients) const {
  std::size_t size = max_recipients > 0 ? max_recipients : recipients_per_transaction_;
  const std::size_t learnt = pool_[server].quirks().max_recipients();
  if (learnt > 0) size = std::min(size, learnt);
  return std::max<std::size_t>(1, std::min(size, renderer_.recipients_per_message()));
}

Poll Dispatcher::NextMessage(std::size_t server, std::size_t max_recipients, bool full,
                             TimePoint now, InFlightMessage& message) {
  if (stopping_ || !pool_[server].enabled()) return Poll::kExhausted;
  // Nobody keeps a connection open for so long.
  if (pool_[server].IsResting(now)) return Poll::kExhausted;
  if (now < pool_[server].backoff_until()) return Poll::kBlocked;
  if (!HasWork(server)) return queue_.source_ended() ? Poll::kExhausted : Poll::kBlocked;
  const std::size_t size = pool_[server].TakeQuota(BatchSize(server, max_recipients), now);
  // A refusal may make room for another one.
  if (size == 0) return pool_[server].QuotaOnItsWay() ? Poll::kBlocked : Poll::kExhausted;
  if (!pool_.TakeTurn(server, full, now)) {
    pool_[server].GiveBackQuota(size);
    return Poll::kBlocked;
  }
  queue_.NextBatch(
      size, [&](const AttemptState& state) { return pool_.IsEligible(server, state); },
      [&](const AttemptState& state) { return pool_.IsPreferred(server, state); },
      message.recipients, message.states);
  pool_[server].GiveBackQuota(size - message.recipients.size());
  if (message.recipients.empty()) return Poll::kBlocked;  // the list can't be read
  ++messages_;
  for (AttemptState& state : message.states) {
    ++state.attempts;
    state.message = messages_;
    state.last_server = server;
    state.begun = now;
  }
  pool_.OnTaken(server, message.recipients.size(), now);
  renderer_.Render(message.recipients, message.message);
  message.sender = renderer_.sender();
  return Poll::kReady;
}

void Dispatcher::OnAccepted(std::size_t server, const Recipient& recipient, AttemptState& state,
                            const Answer& answer, bool in_clear, TimePoint now) {
  const bool recovers = trace_.on() && !pool_[server].IsHealthy();
  pool_[server].OnAccepted(state.begun, in_clear, now);
  pool_[server].CommitQuota(1);
  if (recovers && pool_[server].IsHealthy()) trace_.Recovered(pool_[server]);
  recorder_.Final(recipient, state, server, State::kSent, answer.reply);
  refused_[server].evidence.OnAccepted();
  if (!refused_[server].held.empty()) RefuseHeld(server);
  if (queue_.HasSuspects()) queue_.Release(true);
}

void Dispatcher::OnNotAccepted(std::size_t server, const Recipient& recipient, AttemptState& state,
                               const Answer& answer, TimePoint now) {
  const Disposition disposition =
      retry_policy_.ForRecipient(answer.disposition, recorder_.of(server).sent, state);
  state.last_reply = InWords(answer);
  OnLimit(server, disposition.limit, state, now);
  if (disposition.action == Action::kDisableServer) {
    Disable(server, disposition, state.last_reply);
    TraceFailure(server, now);
  }
  const int attempt = state.attempts;
  const NextStep next =
      retry_policy_.AfterFailure(disposition, server, pool_.HasEligible(state, server), state);
  if (next.final_state == State::kUnknown) {
    pool_[server].CommitQuota(1);
  } else {
    pool_[server].GiveBackQuota(1);
  }
  if (next.final_state == State::kRefused && !state.judged_alone &&
      MayBeTheAccounts(answer.failure)) {
    return Suspect(server, recipient, state, answer, now);
  }
  if (next.final_state) {
    return recorder_.Final(recipient, state, server, *next.final_state, state.last_reply);
  }
  recorder_.Withdraw(recipient, state, server, state.attempts == attempt);
  if (trace_.on()) {
    trace_.Retry(pool_[server], recipient.line, state.attempts, next.delay, state.last_reply);
  }
  if (next.delay.count() > 0) {
    queue_.Defer({recipient, std::move(state)}, now + next.delay);
  } else {
    queue_.Requeue({recipient, std::move(state)});
  }
}

// Refused in words that are not known: the recipient's trouble, or everybody's.
void Dispatcher::Suspect(std::size_t server, const Recipient& recipient, AttemptState& state,
                         const Answer& answer, TimePoint now) {
  if (answer.disposition.action == Action::kTryOtherServer) state.rejected_by.pop_back();
  Refused& refused = refused_[server];
  const Evidence::Finding finding =
      refused.evidence.OnRefused(answer.failure.code, answer.failure.enhanced, state.message);
  if (finding == Evidence::Finding::kAlone) RefuseHeld(server);
  if (finding != Evidence::Finding::kAccount) {
    // Whoever is to be refused in the end is put back first: should the program die, the next run
    // tries again.
    --state.attempts;
    recorder_.WithdrawMarked(recipient, state, server, MarkOf(state));
    ++state.attempts;
    refused.held.push_back({recipient, std::move(state)});
    return;
  }
  const std::string why = state.last_reply;
  --state.attempts;
  recorder_.WithdrawMarked(recipient, state, server, MarkOf(state));
  PutSuspectBack(server, recipient, std::move(state));
  for (QueuedRecipient& held : std::exchange(refused.held, {})) {
    --held.state.attempts;
    PutSuspectBack(server, held.recipient, std::move(held.state));
  }
  if (!pool_[server].enabled()) return;
  pool_[server].Disable(Status(Code::kUnavailable, kRefusedAlike + why),
                        AccountTally::Remedy::kLater);
  TraceFailure(server, now);
}

void Dispatcher::PutSuspectBack(std::size_t server, const Recipient& recipient,
                                AttemptState state) {
  ++state.suspected;
  if (trace_.on()) {
    trace_.Retry(pool_[server], recipient.line, state.attempts, {}, state.last_reply);
  }
  queue_.AddSuspect({recipient, std::move(state)});
}

// Each for himself, after all.
void Dispatcher::RefuseHeld(std::size_t server) {
  for (QueuedRecipient& held : std::exchange(refused_[server].held, {})) {
    recorder_.Final(held.recipient, held.state, server, State::kRefused, held.state.last_reply);
  }
}

std::size_t Dispatcher::Held() const {
  std::size_t held = 0;
  for (const Refused& refused : refused_) held += refused.held.size();
  return held;
}

// What was on the wire when the server said so first is no news.
void Dispatcher::OnLimit(std::size_t server, Limit limit, const AttemptState& state,
                         TimePoint now) {
  bool is_new = false;
  switch (limit) {
    case Limit::kNone:
    case Limit::kQuota:
    case Limit::kConcurrency:  // of the session, see OnTooMany
      return;
    case Limit::kRate:
      is_new = pool_[server].OnTooFast(state.begun, now, state.last_reply);
      break;
    case Limit::kRest:
      is_new = pool_[server].OnRest(now, state.last_reply);
      break;
  }
  if (is_new) TraceFailure(server, now);
}

bool Dispatcher::OnTooMany(std::size_t server, const std::string& why, TimePoint now) {
  const bool has_others = pool_[server].HasOthers();
  bool is_new = true;
  if (has_others) {
    pool_[server].OnTooMany(now, why);
  } else {
    is_new = pool_[server].OnThrottled(now, why);
  }
  if (is_new) TraceFailure(server, now);
  return has_others;
}

void Dispatcher::OnReady(std::size_t server, unsigned generation, std::uint64_t max_size,
                         TimePoint now) {
  pool_[server].OnReady();
  pool_[server].credentials().OnAccepted(generation);
  // Before anybody is told no: it would fail alike for the whole list.
  const std::uint64_t least = renderer_.least_bytes();
  if (max_size == 0 || least <= max_size) return;
  Disable(server, kTooLarge,
          "the message has at least " + std::to_string(least) +
              " bytes, the server takes at most " + std::to_string(max_size),
          AccountTally::Remedy::kAnotherJob);
  TraceFailure(server, now);
}

void Dispatcher::OnFailed(std::size_t server, const SessionEnd& end, TimePoint now) {
  if (end.disposition.login && pool_[server].credentials().OnRefused(end.credential_generation)) {
    return;
  }
  const bool tls_withdrawn = end.failure.fault == Fault::kNoTls && tls_ != TlsUse::kRequired;
  bool is_new = true;
  const bool out_of_step = end.failure.fault == Fault::kOutOfStep;
  if (end.disposition.limit == Limit::kRest) {
    is_new = pool_[server].OnRest(now, end.text);
  } else if (tls_withdrawn) {
    is_new = pool_[server].OnConnectFailed(now, kTlsWithdrawn);
  } else if (end.disposition.action == Action::kDisableServer) {
    Disable(server, end.disposition, end.text, RemedyFor(end.failure.fault));
  } else if (out_of_step && pool_[server].quirks().IsIncoherent()) {
    Disable(server, kIncoherent, "it answers more often than it is asked: " + end.text);
  } else if (end.was_used) {
    return;
  } else if (end.was_ready && !out_of_step) {
    // Back off from servers that accept and then drop us, or we reconnect in a tight loop.
    is_new = pool_[server].OnThrottled(now, end.text);
  } else {
    is_new = pool_[server].OnConnectFailed(now, end.text);
  }
  if (is_new) TraceFailure(server, now);
}

void Dispatcher::TraceFailure(std::size_t server, TimePoint now) const {
  if (trace_.on()) trace_.Failed(pool_[server], now);
}

void Dispatcher::OnSecret(std::size_t server, Result<Secret> secret, TimePoint now) {
  if (!secret.ok()) {
    Disable(server, kNoLogin, secret.status().text());
    return TraceFailure(server, now);
  }
  pool_[server].credentials().OnFetched(std::move(secret).value());
}

void Dispatcher::Disable(std::size_t server, const Disposition& disposition, const std::string& why,
                         AccountTally::Remedy remedy) {
  if (!pool_[server].enabled()) return;
  const Code code = disposition.login       ? Code::kLogin
                    : disposition.too_large ? Code::kBadInput
                    : disposition.unusable  ? Code::kConfig
                                            : Code::kUnavailable;
  pool_[server].Disable(Status(code, why), remedy);
  BounceUndeliverable();
}

// Recipients that every remaining server has rejected have their outcome now.
void Dispatcher::BounceUndeliverable() {
  queue_.RemoveIf([this](const QueuedRecipient& waiting) {
    AttemptState state = waiting.state;
    if (state.rejected_by.empty() || pool_.HasEligible(state)) return false;
    recorder_.Final(waiting.recipient, state, state.rejected_by.back(), State::kRefused,
                    state.last_reply);
    return true;
  });
}

void Dispatcher::OnUnsure(std::size_t server, const Recipient& recipient, int attempts, State was,
                          std::string_view why) {
  Allowance* const allowance = pool_[server].allowance();
  if (was == State::kRefused && allowance != nullptr) allowance->Add(1);
  recorder_.Correct(recipient, attempts, server, was, why);
}

void Dispatcher::TraceWaiting(std::size_t connecting, bool full, TimePoint now) {
  if (!trace_.on()) return;
  for (std::size_t i = 0; i < pool_.size(); ++i) {
    Obstacle obstacle = HasWork(i) ? pool_.WhyNotSending(i, full, now) : Obstacle::kNoWork;
    if (obstacle == Obstacle::kNone) {
      obstacle = full                             ? Obstacle::kAllInUse
                 : connecting >= queue_.InSight() ? Obstacle::kEnough
                                                  : pool_.WhyNotConnecting(i, now);
    }
    trace_.Waits(i, pool_[i], obstacle);
  }
}

void Dispatcher::Stop() {
  stopping_ = true;
  queue_.StopReading();
}

const Status& Dispatcher::failure() const {
  return recorder_.status().ok() ? queue_.status() : recorder_.status();
}

bool Dispatcher::IsOver() {
  if (queue_.in_flight() > 0) return false;
  if (stopping_ || pool_.AllDisabled()) return true;
  const bool unread = queue_.HasUnread();
  if (queue_.Exhausted()) return true;
  const auto reachable = [this](const AttemptState& state) { return pool_.HasReachable(state); };
  if (reachable({}) && (unread || queue_.AnyWaiting(reachable))) return false;
  stop_reason_ = pool_.WhyUnreachable();
  return true;
}

void Dispatcher::OnMessageFinished(std::size_t server, std::size_t recipients) {
  queue_.Finished(recipients);
  pool_[server].OnFinished();
}

TimePoint Dispatcher::NextWake() const {
  return std::min(pool_.rate_limited_until(), queue_.NextDue().value_or(TimePoint::max()));
}

TimePoint Dispatcher::GoesOn() const {
  if (queue_.in_flight() > 0 || stopping_) return {};
  const bool limited = pool_.rate_limited_until() != TimePoint::max();
  const TimePoint due = !limited && queue_.MayHaveDue() ? TimePoint() : NextWake();
  const TimePoint next = std::max(pool_.AvailableAt(), due);
  return next == TimePoint::max() ? TimePoint() : next;
}

Progress Dispatcher::HowFar(std::size_t connections) const {
  const OutcomeCounts& total = recorder_.total();
  Progress progress{.sent = total.sent,
                    .refused = total.refused,
                    .failed = total.failed,
                    .unknown = total.unknown,
                    .waiting_for_retry = queue_.waiting() + Held(),
                    .connections_open = connections,
                    .goes_on = GoesOn(),
                    .limits = {}};
  for (std::size_t i = 0; i < pool_.size(); ++i) {
    if (pool_[i].is_limited()) progress.limits.push_back(pool_[i].limit());
  }
  return progress;
}

void Dispatcher::Finish() {
  // Where others are left, they are among them: the next run may know more.
  if (!queue_.Exhausted()) return;
  for (std::size_t i = 0; i < refused_.size(); ++i) RefuseHeld(i);
}

DeliveryEnd Dispatcher::End() {
  recorder_.CheckComplete(queue_.given(), queue_.left() + Held());
  DeliveryEnd end;
  for (std::size_t i = 0; i < pool_.size(); ++i) {
    const Server& server = pool_[i];
    const OutcomeCounts& counts = recorder_.of(i);
    AccountTally tally;
    tally.server = server.name();
    const bool login = server.disabled_reason().code() == Code::kLogin;
    (login ? tally.login_refused : tally.disabled) = server.disabled_reason().text();
    // Others may have carried the job meanwhile.
    if (server.enabled() && server.NeverConnected()) tally.disabled = server.last_error();
    tally.remedy = server.remedy();
    tally.in_clear = server.sent_in_clear();
    if (server.is_limited()) {
      const ServerLimit limit = server.limit();
      tally.limited = limit.words + "; in the end " + LimitText(limit);
    }
    server.Learn();
    tally.sent = counts.sent;
    tally.refused = counts.refused;
    tally.failed = counts.failed;
    tally.unknown = counts.unknown;
    end.accounts.push_back(std::move(tally));
  }
  if (!failure().ok()) {
    end.reason = DeliveryEnd::Reason::kCannotRecord;
    end.status = failure();
  } else if (!queue_.Exhausted()) {
    end.status = pool_.AllDisabled() ? pool_.WhyDisabled() : stop_reason_;
    end.reason = end.status.code() == Code::kLogin ? DeliveryEnd::Reason::kNoLogin
                                                   : DeliveryEnd::Reason::kStopped;
  }
  return end;
}

}  // namespace vespro::engine
