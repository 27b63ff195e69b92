#include "engine/delivery/delivery.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <limits>

#include "base/shell.h"
#include "engine/delivery/backoff.h"
#include "engine/delivery/fair_share.h"
#include "engine/delivery/rate_limit.h"
#include "engine/delivery/retry_policy.h"
#include "engine/delivery/scheduler.h"
#include "engine/delivery/server_quirks.h"
#include "engine/net/network.h"
#include "engine/smtp/client.h"

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint16_t kTlsPort = 465;
constexpr milliseconds kTick{100};
constexpr std::size_t kReadAhead = 64;          // recipients
constexpr std::size_t kWindowRecipients = 200;  // on the wire of one connection
// Where there are more servers than connections, a connection sends this many messages to one
// before it makes room for the next.
constexpr double kStay = 10;
// A server that is being connected to holds up the others' shares no longer than this.
constexpr std::chrono::seconds kPatience{3};
// Failures in a row, on every server, after which the job is stopped and left for later.
constexpr int kMostConnectFailures = 8, kMostFirstFailures = 3, kMostPauses = 50;
// For a person to answer the question of a password store.
constexpr milliseconds kCommandLimit{120'000};
constexpr std::string_view kTokenMark = "Bearer ";
constexpr milliseconds kInitialBackoff{1000}, kReconnectBackoff{5000}, kMaxBackoff{60'000},
    kMinBackoff{10};

// A server with the login that goes with it: all equal lines of the job.
struct Target {
  Account account;
  unsigned weight = 1;
  std::string name;
  AccountTally tally;

  Status out;                       // why it takes no further part
  std::size_t open = 0, ready = 0;  // sessions; the ready ones are among the open ones
  bool reached = false;
  Backoff connect_backoff, throttle_backoff;
  std::string last_trouble;
  TimePoint no_connection_until{};  // it takes no more at a time than are open
  TimePoint connecting_since{};     // the first session that is not ready yet
  ServerQuirks quirks;

  // The password, where a command gives it.
  enum class Secret { kThere, kWanted, kAskedFor };
  std::string command;
  Secret secret = Secret::kThere;
  bool token = false;          // it is one
  unsigned secret_number = 0;  // of those that the command gave
  bool secret_worked = false;

  std::size_t rate_limit = RateLimits::kUnlimited;

  // No message and no connection before.
  TimePoint backoff_until() const {
    return std::max(connect_backoff.release_time(), throttle_backoff.release_time());
  }
  // It serves, as far as is known.
  bool IsWell() const {
    return out.ok() && connect_backoff.failures() == 0 && throttle_backoff.failures() == 0;
  }
  // It has failed so often in a row that it counts as gone.
  bool IsOutOfReach() const {
    const int most = reached ? kMostConnectFailures : kMostFirstFailures;
    return connect_backoff.failures() >= most || throttle_backoff.failures() >= kMostPauses;
  }
};

std::vector<Target> TargetsOf(const std::vector<Account>& accounts) {
  std::vector<Target> targets;
  for (const Account& account : accounts) {
    const auto same = std::find_if(targets.begin(), targets.end(), [&](const Target& target) {
      const Account& other = target.account;
      return other.server == account.server && other.port == account.port &&
             other.login == account.login && other.password == account.password;
    });
    if (same != targets.end()) {
      ++same->weight;
      continue;
    }
    Target target;
    target.account = account;
    target.name = account.server + ":" + std::to_string(account.port);
    target.tally.server = target.name;
    targets.push_back(std::move(target));
  }
  return targets;
}

std::vector<unsigned> WeightsOf(const std::vector<Target>& targets) {
  std::vector<unsigned> weights;
  for (const Target& target : targets) weights.push_back(target.weight);
  return weights;
}

}  // namespace

class Delivery::Impl {
 public:
  Impl(DeliveryOptions options, std::vector<Account> accounts, WorkSource& source,
       Renderer& renderer, ResultSink& results)
      : options_(std::move(options)),
        source_(source),
        renderer_(renderer),
        results_(results),
        targets_(TargetsOf(accounts)),
        shares_(WeightsOf(targets_)),
        limits_(options_.messages_per_second, steady_clock::now()),
        retry_policy_{options_.retry, options_.retry_delay} {
    for (const ServerRate& rate : options_.account_rates) {
      const std::size_t limit = limits_.Add(rate.messages_per_second, steady_clock::now());
      for (Target& target : targets_) {
        if (Names(rate.server, target.account)) target.rate_limit = limit;
      }
    }
    for (const ServerCommand& command : options_.password_commands) {
      for (Target& target : targets_) {
        if (!Names(command.server, target.account)) continue;
        target.command = command.command;
        target.secret = Target::Secret::kWanted;
      }
    }
  }

  DeliveryEnd Run(const std::function<void(const Progress&)>& on_tick);
  void RequestStop();
  void Interrupt();

 private:
  class Session;
  struct Slot {
    std::vector<Recipient> recipients;
    std::vector<AttemptState> histories;
    RenderedMessage message;
    // Recipients for whom the server had no room in this message, and the first of them.
    std::size_t split = 0, first_split = 0;
  };
  enum class Take { kTaken, kNotNow, kNothingLeft };

  // The loop.
  void Pump();
  void PumpSoon();
  void Tick();
  void SetWake();
  TimePoint GoesOn(bool due, TimePoint when) const;
  void OpenSessions();
  void AskForSecrets();
  void OnSecret(std::size_t target, const Result<std::string>& secret);
  bool RenewSecret(Target& target, unsigned refused);
  std::size_t NextTarget();
  void MakeRoom();
  void RemoveLostSessions();
  void UpdateShares();
  bool IsOver();
  void EndSessions();
  DeliveryEnd End();

  // Work.
  Take TakeWork(std::size_t target, Slot& slot, std::size_t limit_of_server);
  bool HasFresh();
  bool HasWorkFor(std::size_t target);
  bool MayHave(std::size_t target, const AttemptState& history) const;
  bool TakeReady(std::size_t target, bool elsewhere_first, Slot& slot);
  void TakeFresh(Slot& slot);
  double Slack(std::size_t target) const;
  void MoveDue();
  std::size_t MessageSize(std::size_t target, std::size_t limit_of_server) const;

  // Verdicts.
  void OnAnswer(std::size_t target, Slot& slot, std::size_t index, const Answer& answer);
  void Record(std::size_t target, const Recipient& recipient, const AttemptState& history,
              State state, std::string_view reply);
  void PutBack(Item item, milliseconds delay);
  bool AnyoneLeftFor(const AttemptState& history,
                     std::size_t without = AttemptState::kNoServer) const;
  void OnSessionFailed(const Session& session, bool was_used, const Failure& failure,
                       const Disposition& disposition, const std::string& text);
  void TakeOut(std::size_t target, const Disposition& disposition, const std::string& text);
  void SettleHopeless();
  void BackOff(Target& target, Backoff& backoff, milliseconds initial, const std::string& why);
  void Fail(const Status& status);
  bool NobodyCanBeServed();
  TimePoint Now() const { return steady_clock::now(); }

  DeliveryOptions options_;
  WorkSource& source_;
  Renderer& renderer_;
  ResultSink& results_;

  Network network_;
  std::vector<Target> targets_;
  FairShare shares_;
  RateLimits limits_;
  RetryPolicy retry_policy_;
  std::string host_name_;
  std::vector<std::unique_ptr<Session>> sessions_;
  std::uint64_t connections_made_ = 0;

  std::vector<Recipient> fresh_;  // read from the source, from next_fresh_ on
  std::size_t next_fresh_ = 0;
  bool source_ended_ = false;
  std::deque<Item> ready_;  // waited long enough
  RetryQueue waiting_;
  std::size_t in_hand_ = 0;  // recipients in sessions

  bool stopping_ = false, left_behind_ = false, pump_posted_ = false, ending_ = false;
  int interrupts_ = 0;
  Status failed_;       // of the sink or the source
  Status stopped_why_;  // no server can be reached
  Outcome outcome_;     // its memory is reused
  Progress progress_;
  std::function<void(const Progress&)> on_tick_;
  TimePoint next_tick_{}, wake_at_ = TimePoint::max();
};

// One connection and what is on it.
class Delivery::Impl::Session final : public ConnectionEvents, public ClientEvents {
 public:
  enum class Limit { kRunsOn, kStartsAgain };

  Session(Impl& impl, std::size_t target)
      : impl_(impl),
        target_(target),
        secret_number_(impl.targets_[target].secret_number),
        lock_step_(impl.targets_[target].quirks.lock_step()),
        client_(OptionsFor(impl, target), *this),
        slots_(OptionsFor(impl, target).window_messages),
        connection_(impl.network_.NewConnection(*this)) {
    const Account& account = impl_.targets_[target].account;
    connection_->SetTimeLimit(client_.TimeLimit());
    connection_->Connect(account.server, account.port);
  }

  // Begins what can be begun and brings it on its way. Time runs on unless the server did
  // something.
  void Drive(Limit limit = Limit::kRunsOn) {
    if (lost_) return;
    blocked_ = false;
    while (client_.CanBegin() && !impl_.ending_ && BeginOne()) {
    }
    Flush(limit);
  }

  // Finishes what is in hand, then ends.
  void End() {
    if (lost_) return;
    if (!client_.was_ready()) return connection_->Close();
    client_.Quit();
    Flush(Limit::kRunsOn);
  }
  void Abort() {
    if (!lost_) connection_->Close();
  }

  std::size_t target() const { return target_; }
  unsigned secret_number() const { return secret_number_; }
  bool was_ready() const { return client_.was_ready(); }
  bool lost() const { return lost_; }
  // It could take a message, had it been its turn.
  bool blocked() const { return blocked_ && client_.ready() && client_.in_hand() == 0; }
  bool connecting() const { return !lost_ && !client_.was_ready(); }

  void OnConnected(std::string local_literal, bool loopback) override {
    client_.Connected(impl_.host_name_.empty() ? std::move(local_literal) : impl_.host_name_,
                      loopback);
    Flush(Limit::kStartsAgain);
  }
  void OnTlsEstablished() override {
    client_.TlsEstablished();
    Flush(Limit::kStartsAgain);
  }
  void OnReceived(std::string_view bytes) override {
    const std::uint64_t replies = client_.replies();
    client_.Received(bytes);
    NoteReady();
    // The limit is for a whole reply, or a byte now and then would hold the session for ever.
    Drive(client_.replies() > replies ? Limit::kStartsAgain : Limit::kRunsOn);
  }
  void OnWritten(std::uint64_t bytes, bool finished) override {
    client_.Written(bytes);
    if (finished) writing_ = false;
    Drive(Limit::kStartsAgain);
  }
  void OnLost(Fault fault, const std::string& text) override {
    Target& target = impl_.targets_[target_];
    if (IsLostOnTheWay()) {
      target.quirks.OnDropped(client_.messages_accepted());
    }
    client_.Lost(fault, text);
    lost_ = true;
    --target.open;
    if (counted_ready_) --target.ready;
    if (client_.chunking_failed()) target.quirks.OnChunkingFailed();
    impl_.PumpSoon();
  }

  void OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) override {
    impl_.OnAnswer(target_, slots_[slot], index, answer);
  }
  void OnFinished(std::size_t slot) override {
    Slot& done = slots_[slot];
    impl_.in_hand_ -= done.recipients.size();
    // A limit cuts the end off; a single full mailbox stands anywhere.
    if (done.split > 0 && done.first_split + done.split == done.recipients.size()) {
      impl_.targets_[target_].quirks.OnRecipientLimit(done.recipients.size() - done.split);
    }
    if (impl_.in_hand_ == 0) impl_.PumpSoon();
  }
  void OnSessionFailed(const Failure& failure, const Disposition& disposition,
                       const std::string& text) override {
    impl_.OnSessionFailed(*this, begun_ > 0, failure, disposition, text);
  }

 private:
  static ClientOptions OptionsFor(const Impl& impl, std::size_t index) {
    const Target& target = impl.targets_[index];
    ClientOptions options;
    options.credentials = {target.account.login, target.account.password, target.token};
    options.tls = impl.options_.tls;
    options.tls_from_start = target.account.port == kTlsPort && impl.options_.tls != TlsUse::kOff;
    options.insecure_auth = impl.options_.insecure_auth;
    options.use_chunking = target.quirks.chunking_works();
    options.use_pipelining = !target.quirks.lock_step();
    // Whoever is in the window when the power fails is unknown afterwards: few, also in turbo mode.
    options.window_messages = std::clamp<std::size_t>(
        kWindowRecipients / std::max<std::size_t>(1, impl.renderer_.recipients_per_message()), 2,
        options.window_messages);
    options.timeout_scale = impl.options_.timeout_scale;
    options.trace = impl.options_.trace;
    options.connection = impl.connections_made_;
    return options;
  }

  void NoteReady() {
    if (counted_ready_ || !client_.was_ready()) return;
    counted_ready_ = true;
    Target& target = impl_.targets_[target_];
    ++target.ready;
    target.reached = true;
    target.connect_backoff.Succeeded();
    if (secret_number_ == target.secret_number) target.secret_worked = true;
    CheckSize();
    impl_.PumpSoon();
  }

  // Before anybody is told no: it would go like that with the whole list.
  void CheckSize() {
    const std::uint64_t least = impl_.renderer_.least_bytes(),
                        limit = client_.extensions().max_size;
    if (limit == 0 || least <= limit) return;
    const Disposition too_large{
        .scope = Scope::kAccount, .action = Action::kDisableServer, .too_large = true};
    impl_.TakeOut(target_, too_large,
                  "the message has at least " + std::to_string(least) +
                      " bytes, the server takes at most " + std::to_string(limit));
  }

  // Whether the connection is lost without a word from the server, and with it more than one
  // message or, from one that may not take several commands at a time at all, the first. Where one
  // command goes after the other, any.
  bool IsLostOnTheWay() const {
    if (client_.over() || client_.draining() || impl_.ending_) return false;
    if (lock_step_ || !client_.extensions().pipelining) return client_.in_hand() > 0;
    return client_.in_hand() > (client_.messages_accepted() == 0 ? 0 : 1);
  }

  // False when there is nothing to begin now.
  bool BeginOne() {
    if (lock_step_ && !impl_.targets_[target_].quirks.lock_step()) {
      client_.Quit();  // the next connection may send on ahead again
      return false;
    }
    const std::size_t slot = client_.FreeSlot();
    Slot& next = slots_[slot];
    // More than memory has room for is as good as any number.
    const auto limit = static_cast<std::size_t>(std::min<std::uint64_t>(
        client_.extensions().max_recipients, std::numeric_limits<std::size_t>::max()));
    switch (impl_.TakeWork(target_, next, limit)) {
      case Take::kNotNow:
        blocked_ = true;
        return false;
      case Take::kNothingLeft:
        client_.Quit();
        return false;
      case Take::kTaken:
        break;
    }
    impl_.in_hand_ += next.recipients.size();
    ++begun_;
    impl_.renderer_.Render(next.recipients, next.message);
    client_.Begin(slot, {impl_.renderer_.sender(), next.recipients, &next.message});
    std::uint64_t most = impl_.options_.messages_per_connection;
    for (const std::uint64_t told :
         {client_.extensions().max_messages, impl_.targets_[target_].quirks.max_messages()}) {
      if (told > 0) most = std::min(most, told);
    }
    if (begun_ >= most) client_.Quit();
    return true;
  }

  void Flush(Limit limit) {
    if (lost_) return;
    const bool writes = !writing_ && client_.TakeOutput(wire_);
    const Status noted = writes ? Announce() : impl_.results_.Commit();
    if (!noted.ok()) return impl_.Fail(noted);
    if (writes) {
      limit = Limit::kStartsAgain;
      writing_ = true;
      connection_->Write(wire_.pieces);
    }
    switch (client_.next_action()) {
      case SmtpClient::NextAction::kNothing:
        break;
      case SmtpClient::NextAction::kClose:
        return connection_->Close();
      case SmtpClient::NextAction::kStartTls:
        if (!tls_started_) connection_->StartTls(impl_.targets_[target_].account.server);
        tls_started_ = true;
    }
    if (limit == Limit::kStartsAgain) connection_->SetTimeLimit(client_.TimeLimit());
  }

  // Nothing that a server could accept leaves before it is noted who may have it then.
  Status Announce() {
    for (const std::size_t index : wire_.ended) {
      Slot& slot = slots_[index];
      for (std::size_t i = 0; i < slot.recipients.size(); ++i) {
        if (!client_.MayStillAccept(index, i)) continue;
        slot.histories[i].intent_logged = true;
        Status noted =
            impl_.results_.Sending({&slot.recipients[i], 1}, impl_.targets_[target_].name);
        if (!noted.ok()) return noted;
      }
    }
    return impl_.results_.Commit();
  }

  Impl& impl_;
  std::size_t target_;
  unsigned secret_number_;
  bool lock_step_;
  SmtpClient client_;
  std::vector<Slot> slots_;
  WireBytes wire_;
  bool writing_ = false, tls_started_ = false, counted_ready_ = false, blocked_ = false;
  bool lost_ = false;
  std::uint64_t begun_ = 0;
  std::unique_ptr<Connection> connection_;  // gone first: what is on the wire points into the rest
};

// The loop

DeliveryEnd Delivery::Impl::Run(const std::function<void(const Progress&)>& on_tick) {
  if (!options_.extra_ca.empty()) {
    const Status anchors = network_.AddTrustAnchors(options_.extra_ca);
    if (!anchors.ok()) {
      stopped_why_ = anchors;
      return End();
    }
  }
  host_name_ = QualifiedHostName();
  on_tick_ = on_tick;
  network_.OnInterrupt([this] { Interrupt(); });
  Tick();
  PumpSoon();
  network_.Run();
  progress_.waiting_for_retry = waiting_.size() + ready_.size();
  progress_.connections_open = 0;
  on_tick_(progress_);
  return End();
}

void Delivery::Impl::RequestStop() {
  stopping_ = true;
  PumpSoon();
}

void Delivery::Impl::Interrupt() {
  RequestStop();
  if (++interrupts_ < 2) return;
  for (const auto& session : sessions_) session->Abort();
}

// One timer for everything that time brings: the tick, waiting recipients, the next token.
void Delivery::Impl::SetWake() {
  TimePoint when = TimePoint::max();
  when = std::min(when, limits_.retry_at());
  const bool may_begin = limits_.retry_at() == TimePoint::max() &&
                         (!source_ended_ || next_fresh_ < fresh_.size() || !ready_.empty());
  if (const std::optional<TimePoint> due = waiting_.NextDue()) when = std::min(when, *due);
  progress_.goes_on = in_hand_ > 0 || stopping_ ? TimePoint() : GoesOn(may_begin, when);
  when = std::min(when, next_tick_);
  if (when >= wake_at_) return;
  wake_at_ = when;
  network_.WakeAt(when, [this] {
    wake_at_ = TimePoint::max();
    limits_.ForgetRefusals();
    Tick();
    Pump();
  });
}

// When the next message can go out that is due at `when`, or already.
TimePoint Delivery::Impl::GoesOn(bool due, TimePoint when) const {
  TimePoint rested = TimePoint::max();
  for (const Target& target : targets_) {
    if (!target.out.ok()) continue;
    rested = std::min(rested, std::max(target.backoff_until(), target.no_connection_until));
  }
  const TimePoint next = due ? rested : std::max(when, rested);
  return next == TimePoint::max() ? TimePoint() : next;
}

void Delivery::Impl::Tick() {
  const TimePoint now = Now();
  if (now < next_tick_) return;
  next_tick_ = now + kTick;
  if (const Status noted = results_.Commit(); !noted.ok()) Fail(noted);
  progress_.waiting_for_retry = waiting_.size() + ready_.size();
  progress_.connections_open = sessions_.size();
  on_tick_(progress_);
}

void Delivery::Impl::PumpSoon() {
  if (pump_posted_) return;
  pump_posted_ = true;
  network_.Later([this] {
    pump_posted_ = false;
    Pump();
  });
}

void Delivery::Impl::Pump() {
  RemoveLostSessions();
  if (!ending_ && IsOver()) EndSessions();
  if (ending_) {
    if (sessions_.empty()) network_.Stop();
    return SetWake();
  }
  MoveDue();
  AskForSecrets();
  UpdateShares();
  for (const auto& session : sessions_) session->Drive();
  if (!ending_) MakeRoom();
  if (!ending_) OpenSessions();
  SetWake();
}

void Delivery::Impl::RemoveLostSessions() {
  std::erase_if(sessions_, [](const auto& session) { return session->lost(); });
}

void Delivery::Impl::OpenSessions() {
  while (sessions_.size() < std::max<std::size_t>(options_.connections, 1)) {
    const auto waits = [](const auto& session) { return session->connecting(); };
    const auto connecting =
        static_cast<std::size_t>(std::count_if(sessions_.begin(), sessions_.end(), waits));
    // One connection a message, as far as messages are in sight.
    if (!HasFresh() || fresh_.size() - next_fresh_ < kReadAhead / 2) {
      const std::size_t in_sight = fresh_.size() - next_fresh_ + ready_.size();
      if (connecting >= in_sight) return;
    }
    // A connection that waits for its first message is thrown out by many a server.
    if (!limits_.MayConnect(connecting, Now())) return;
    const std::size_t target = NextTarget();
    if (target == targets_.size()) return;
    Target& chosen = targets_[target];
    if (chosen.open == chosen.ready) chosen.connecting_since = Now();
    ++chosen.open;
    ++connections_made_;
    if (options_.trace != nullptr) {
      options_.trace->Write(connections_made_, TraceKind::kNote, "connecting to " + chosen.name);
    }
    sessions_.push_back(std::make_unique<Session>(*this, target));
  }
}

// The server that lacks connections most, by its share; of equals the one that is behind.
std::size_t Delivery::Impl::NextTarget() {
  const TimePoint now = Now();
  std::size_t best = targets_.size();
  const auto need = [this](std::size_t i) {
    const Target& target = targets_[i];
    return std::pair(static_cast<double>(target.open) / target.weight, shares_.VirtualTime(i));
  };
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    const Target& target = targets_[i];
    if (!target.out.ok() || now < target.backoff_until() || now < target.no_connection_until)
      continue;
    if (target.connect_backoff.failures() > 0 && target.open > 0) continue;  // one tries for all
    if (target.secret != Target::Secret::kThere) continue;
    if (!HasWorkFor(i)) continue;
    if (!limits_.MayConnectTo(target.rate_limit, target.open - target.ready, now)) continue;
    if (best == targets_.size() || need(i) < need(best)) best = i;
  }
  return best;
}

// A server without a connection gets one from those that are ahead of their share.
void Delivery::Impl::MakeRoom() {
  if (sessions_.size() < options_.connections) return;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (targets_[i].open > 0 || !shares_.active(i)) continue;
    const auto idle = std::find_if(sessions_.begin(), sessions_.end(),
                                   [](const auto& session) { return session->blocked(); });
    if (idle != sessions_.end()) (*idle)->End();
  }
}

void Delivery::Impl::UpdateShares() {
  const TimePoint now = Now();
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    const Target& target = targets_[i];
    const bool at_work =
        target.ready > 0 || target.open == 0 || now - target.connecting_since < kPatience;
    const bool may_send =
        target.secret == Target::Secret::kThere && limits_.Allows(target.rate_limit, now);
    shares_.SetActive(i, target.out.ok() && now >= target.backoff_until() && at_work && may_send &&
                             HasWorkFor(i));
  }
}

bool Delivery::Impl::IsOver() {
  if (in_hand_ > 0) return false;
  if (stopping_) return true;
  if (std::none_of(targets_.begin(), targets_.end(),
                   [](const Target& target) { return target.out.ok(); })) {
    return true;
  }
  if (!HasFresh() && source_ended_ && ready_.empty() && waiting_.empty()) return true;
  if (!NobodyCanBeServed()) return false;
  std::string why = "no server can be reached:";
  for (const Target& target : targets_) {
    why += " " + target.name + ": " +
           (!target.out.ok()        ? target.out.text()
            : target.IsOutOfReach() ? target.last_trouble
                                    : "it does not take what is left");
  }
  stopped_why_ = Status(Code::kUnavailable, std::move(why));
  return true;
}

// Every server that would take what is left is out of reach.
bool Delivery::Impl::NobodyCanBeServed() {
  std::vector<std::size_t> in_reach;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (targets_[i].out.ok() && !targets_[i].IsOutOfReach()) in_reach.push_back(i);
  }
  if (in_reach.empty()) return true;
  const auto can_be_served = [&](const Item& item) {
    return !std::all_of(in_reach.begin(), in_reach.end(),
                        [&](std::size_t i) { return item.history.RejectedBy(i); });
  };
  return !HasFresh() && std::none_of(ready_.begin(), ready_.end(), can_be_served) &&
         !waiting_.AnyOf(can_be_served);
}

void Delivery::Impl::EndSessions() {
  ending_ = true;
  for (const auto& session : sessions_) session->End();
}

DeliveryEnd Delivery::Impl::End() {
  DeliveryEnd end;
  bool all_out = true, all_logins = true, all_unusable = true, any_too_large = false;
  std::string why;
  for (Target& target : targets_) {
    all_out = all_out && !target.out.ok();
    const bool login = target.out.code() == Code::kLogin;
    all_logins = all_logins && login;
    const bool too_large = target.out.code() == Code::kBadInput;
    any_too_large = any_too_large || too_large;
    all_unusable = all_unusable && (login || too_large || target.out.code() == Code::kConfig);
    if (!target.out.ok()) why += " " + target.name + ": " + target.out.text();
    // Others may have carried the job meanwhile.
    if (target.out.ok() && !target.reached && target.connect_backoff.failures() > 0) {
      target.tally.taken_out = target.last_trouble;
    }
    end.accounts.push_back(std::move(target.tally));
  }
  const bool finished = source_ended_ && next_fresh_ == fresh_.size() && ready_.empty() &&
                        waiting_.empty() && !left_behind_;
  if (!failed_.ok()) {
    end.reason = DeliveryEnd::Reason::kCannotRecord;
    end.status = failed_;
  } else if (finished) {
    end.reason = DeliveryEnd::Reason::kDone;
  } else if (all_out && all_logins) {
    end.reason = DeliveryEnd::Reason::kNoLogin;
    end.status = Status(Code::kLogin, "no server takes the login:" + why);
  } else {
    end.reason = DeliveryEnd::Reason::kStopped;
    const Code code = !all_unusable   ? Code::kUnavailable
                      : any_too_large ? Code::kBadInput
                                      : Code::kConfig;
    end.status = all_out ? Status(code, "no server can be used:" + why) : stopped_why_;
  }
  return end;
}

// Work

bool Delivery::Impl::HasFresh() {
  if (next_fresh_ < fresh_.size()) return true;
  if (source_ended_ || stopping_ || ending_) return false;
  if (waiting_.size() + ready_.size() >= RetryQueue::kFull) return false;
  Result<std::vector<Recipient>> more =
      source_.Next(std::max(kReadAhead, renderer_.recipients_per_message()));
  if (!more.ok()) {
    Fail(more.status());
    return false;
  }
  fresh_ = std::move(more).value();
  next_fresh_ = 0;
  source_ended_ = fresh_.empty();
  return !source_ended_;
}

bool Delivery::Impl::HasWorkFor(std::size_t target) {
  if (HasFresh()) return true;
  const auto end =
      ready_.begin() + static_cast<std::ptrdiff_t>(std::min(ready_.size(), kReadAhead));
  return std::any_of(ready_.begin(), end,
                     [&](const Item& item) { return MayHave(target, item.history); });
}

// Nobody's last attempt is made where the one before it failed, as long as another server is well.
bool Delivery::Impl::MayHave(std::size_t target, const AttemptState& history) const {
  if (history.RejectedBy(target)) return false;
  if (history.last_server != target || history.attempts + 1 < options_.retry) return true;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (i != target && targets_[i].IsWell() && !history.RejectedBy(i)) return false;
  }
  return true;
}

void Delivery::Impl::MoveDue() {
  const TimePoint now = Now();
  while (std::optional<Item> item = waiting_.TakeDue(now)) ready_.push_back(*std::move(item));
}

std::size_t Delivery::Impl::MessageSize(std::size_t target, std::size_t limit_of_server) const {
  const std::size_t learnt = targets_[target].quirks.max_recipients();
  std::size_t most = limit_of_server > 0 ? limit_of_server : options_.recipients_per_transaction;
  if (learnt > 0) most = std::min(most, learnt);
  return std::max<std::size_t>(1, std::min(most, renderer_.recipients_per_message()));
}

double Delivery::Impl::Slack(std::size_t target) const {
  if (sessions_.size() < options_.connections) return 0;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (targets_[i].open == 0 && shares_.active(i)) return kStay * targets_[target].weight;
  }
  return 0;
}

Delivery::Impl::Take Delivery::Impl::TakeWork(std::size_t target, Slot& slot,
                                              std::size_t limit_of_server) {
  const TimePoint now = Now();
  if (stopping_ || ending_ || !targets_[target].out.ok()) return Take::kNothingLeft;
  if (now < targets_[target].backoff_until()) return Take::kNotNow;
  if (!HasWorkFor(target)) return source_ended_ ? Take::kNothingLeft : Take::kNotNow;
  if (targets_.size() > 1 && !shares_.MaySend(target, Slack(target))) return Take::kNotNow;
  if (!limits_.Take(targets_[target].rate_limit, now)) {
    SetWake();
    return Take::kNotNow;
  }
  slot.recipients.clear();
  slot.histories.clear();
  slot.split = 0;
  const std::size_t size = MessageSize(target, limit_of_server);
  while (slot.recipients.size() < size) {
    if (TakeReady(target, true, slot)) continue;
    if (HasFresh()) {
      TakeFresh(slot);
    } else if (!TakeReady(target, false, slot)) {
      break;
    }
  }
  if (slot.recipients.empty()) return Take::kNotNow;  // reading the list failed
  for (AttemptState& history : slot.histories) {
    ++history.attempts;
    history.last_server = target;
    history.intent_logged = false;
  }
  shares_.Sent(target);
  if (targets_.size() > 1) PumpSoon();  // it may be another one's turn now
  return Take::kTaken;
}

void Delivery::Impl::TakeFresh(Slot& slot) {
  slot.recipients.push_back(std::move(fresh_[next_fresh_++]));
  slot.histories.emplace_back();
}

// What waited goes to another server than last time, if one is at work.
bool Delivery::Impl::TakeReady(std::size_t target, bool elsewhere_first, Slot& slot) {
  bool others = false;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    others = others || (i != target && shares_.active(i));
  }
  for (std::size_t i = 0; i < std::min(ready_.size(), kReadAhead); ++i) {
    const AttemptState& history = ready_[i].history;
    if (!MayHave(target, history)) continue;
    if (elsewhere_first && others && history.last_server == target) continue;
    slot.recipients.push_back(std::move(ready_[i].recipient));
    slot.histories.push_back(std::move(ready_[i].history));
    ready_.erase(ready_.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

// Verdicts

void Delivery::Impl::OnAnswer(std::size_t index_of_target, Slot& slot, std::size_t index,
                              const Answer& answer) {
  if (!failed_.ok()) return;  // nobody to tell
  Target& target = targets_[index_of_target];
  const Recipient& recipient = slot.recipients[index];
  AttemptState& history = slot.histories[index];
  if (answer.accepted) {
    target.throttle_backoff.Succeeded();
    target.quirks.OnAccepted();
    return Record(index_of_target, recipient, history, State::kSent, answer.reply);
  }
  const Failure& failure = answer.failure;
  const Disposition& disposition = answer.disposition;
  if (IsRecipientLimit(disposition) && slot.split++ == 0) slot.first_split = index;
  history.last_reply = answer.reply;
  if (failure.fault != Fault::kReply && failure.stage >= Stage::kMail) {
    history.last_reply += std::string(" (at ") + StageName(failure.stage) + ")";
  }
  if (disposition.throttle)
    BackOff(target, target.throttle_backoff, kInitialBackoff, history.last_reply);
  if (disposition.action == Action::kDisableServer)
    TakeOut(index_of_target, disposition, history.last_reply);
  const NextStep next = retry_policy_.AfterFailure(
      disposition, index_of_target, AnyoneLeftFor(history, index_of_target), history);
  if (next.final_state) {
    return Record(index_of_target, recipient, history, *next.final_state, history.last_reply);
  }
  if (history.intent_logged) {
    const Status noted = results_.PutBack({&recipient, 1});
    if (!noted.ok()) return Fail(noted);
  }
  PutBack({recipient, std::move(history)}, next.delay);
}

void Delivery::Impl::PutBack(Item item, milliseconds delay) {
  if (stopping_) {
    left_behind_ = true;
  } else if (delay.count() > 0) {
    waiting_.Add(std::move(item), Now() + delay);
  } else {
    ready_.push_back(std::move(item));
    PumpSoon();
  }
}

void Delivery::Impl::Record(std::size_t index_of_target, const Recipient& recipient,
                            const AttemptState& history, State state, std::string_view reply) {
  Target& target = targets_[index_of_target];
  outcome_.state = state;
  outcome_.attempts = history.attempts;
  outcome_.server = target.name;
  outcome_.reply = reply;
  const auto count = [state](auto& tally) {
    tally.sent += state == State::kSent;
    tally.refused += state == State::kRefused;
    tally.failed += state == State::kFailed;
    tally.unknown += state == State::kUnknown;
  };
  count(target.tally);
  count(progress_);
  const Status recorded = results_.Record(recipient, outcome_);
  if (!recorded.ok()) Fail(recorded);
}

bool Delivery::Impl::AnyoneLeftFor(const AttemptState& history, std::size_t without) const {
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (i != without && targets_[i].out.ok() && !history.RejectedBy(i)) return true;
  }
  return false;
}

void Delivery::Impl::OnSessionFailed(const Session& session, bool was_used, const Failure& failure,
                                     const Disposition& disposition, const std::string& text) {
  Target& target = targets_[session.target()];
  if (disposition.login && RenewSecret(target, session.secret_number())) return;
  if (disposition.action == Action::kDisableServer) {
    if (failure.fault == Fault::kUntrusted) {
      target.tally.remedy = AccountTally::Remedy::kTrustAnchor;
    }
    if (failure.fault == Fault::kMisnamed) target.tally.remedy = AccountTally::Remedy::kAnotherJob;
    return TakeOut(session.target(), disposition, text);
  }
  if (was_used || ending_) return;
  // A server that takes us in and throws us out again must not be called on without end.
  if (session.was_ready()) {
    return BackOff(target, target.throttle_backoff, kInitialBackoff, text);
  }
  if (target.ready > 0) {
    // It serves others of ours: this was one connection too many.
    target.no_connection_until = Now() + std::min(kReconnectBackoff, options_.retry_delay);
    return;
  }
  BackOff(target, target.connect_backoff, target.reached ? kReconnectBackoff : kInitialBackoff,
          text);
}

// Passwords

void Delivery::Impl::AskForSecrets() {
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    Target& target = targets_[i];
    if (target.secret != Target::Secret::kWanted || !target.out.ok() || stopping_) continue;
    target.secret = Target::Secret::kAskedFor;
    const auto answer = std::make_shared<Result<std::string>>(std::string());
    network_.Background(
        [answer, command = target.command](const std::atomic<bool>& stop) {
          *answer = ModShell::RunForFirstLine(command, kCommandLimit, stop);
        },
        [this, answer, i] { OnSecret(i, *answer); });
  }
}

void Delivery::Impl::OnSecret(std::size_t index, const Result<std::string>& secret) {
  Target& target = targets_[index];
  if (!secret.ok()) {
    const Disposition no_login{
        .scope = Scope::kAccount, .action = Action::kDisableServer, .login = true};
    return TakeOut(index, no_login,
                   "the command for its password gave none: " + secret.status().text());
  }
  std::string_view text = secret.value();
  target.token = text.starts_with(kTokenMark);
  if (target.token) text.remove_prefix(kTokenMark.size());
  target.account.password = text;
  target.secret = Target::Secret::kThere;
  ++target.secret_number;
  target.secret_worked = false;
  PumpSoon();
}

// True when a refused login is no reason to give the account up: the password was taken before and
// the command may have a new one, or has given it already.
bool Delivery::Impl::RenewSecret(Target& target, unsigned refused) {
  if (target.command.empty()) return false;
  if (target.secret != Target::Secret::kThere || refused != target.secret_number) return true;
  if (!target.secret_worked) return false;
  target.secret = Target::Secret::kWanted;
  PumpSoon();
  return true;
}

// Whatever fails during either wait belongs to the failure that began it.
void Delivery::Impl::BackOff(Target& target, Backoff& backoff, milliseconds initial,
                             const std::string& why) {
  target.last_trouble = why;
  if (Now() < target.backoff_until()) return;
  backoff.Failed(Now(),
                 {std::max(std::min(initial, options_.retry_delay), kMinBackoff), kMaxBackoff});
}

void Delivery::Impl::TakeOut(std::size_t index, const Disposition& disposition,
                             const std::string& text) {
  Target& target = targets_[index];
  if (!target.out.ok()) return;
  target.out = Status(disposition.login       ? Code::kLogin
                      : disposition.too_large ? Code::kBadInput
                      : disposition.unusable  ? Code::kConfig
                                              : Code::kUnavailable,
                      text);
  (disposition.login ? target.tally.login_refused : target.tally.taken_out) = text;
  if (disposition.too_large) target.tally.remedy = AccountTally::Remedy::kAnotherJob;
  SettleHopeless();
  PumpSoon();
}

// Recipients that every remaining server has refused have their verdict now.
void Delivery::Impl::SettleHopeless() {
  const auto hopeless = [this](const Item& item) {
    const AttemptState& history = item.history;
    if (history.rejected_by.empty() || AnyoneLeftFor(history)) return false;
    Record(history.rejected_by.back(), item.recipient, history, State::kRefused,
           history.last_reply);
    return true;
  };
  std::erase_if(ready_, hopeless);
  waiting_.RemoveIf(hopeless);
}

// The sink or the source is broken: nothing more goes out, and nothing more can be told.
void Delivery::Impl::Fail(const Status& status) {
  if (!failed_.ok()) return;
  failed_ = status;
  ending_ = true;
  for (const auto& session : sessions_) session->Abort();
  PumpSoon();
}

Delivery::Delivery(DeliveryOptions options, std::vector<Account> accounts, WorkSource& source,
                   Renderer& renderer, ResultSink& results)
    : impl_(std::make_unique<Impl>(std::move(options), std::move(accounts), source, renderer,
                                   results)) {}

Delivery::~Delivery() = default;

DeliveryEnd Delivery::Run(const std::function<void(const Progress&)>& on_tick) {
  return impl_->Run(on_tick);
}

void Delivery::RequestStop() { impl_->RequestStop(); }

void Delivery::Interrupt() { impl_->Interrupt(); }

}  // namespace vespro::engine
