#include "engine/delivery/delivery.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "engine/delivery/dispatcher.h"
#include "engine/delivery/session.h"

namespace vespro::engine {
namespace {

constexpr std::chrono::milliseconds kTick{100};
constexpr std::size_t kWindowRecipients = 200;  // on the wire of one connection

}  // namespace

class Delivery::Impl final : public SessionOwner {
 public:
  Impl(EventLoop& loop, const DeliveryOptions& options, const std::vector<Account>& accounts,
       WorkSource& source, Renderer& renderer, ResultSink& results)
      : loop_(loop),
        max_connections_(std::max<std::size_t>(options.connections, 1)),
        dispatcher_(options, accounts, source, renderer, results, loop.Now()),
        servers_(dispatcher_.servers()) {
    session_options_.host_name = loop.HostName();
    session_options_.max_messages = options.messages_per_connection;
    ClientOptions& client = session_options_.client;
    client.tls = options.tls;
    client.insecure_auth = options.insecure_auth;
    client.timeout_scale = options.timeout_scale;
    client.trace = options.trace;
    // A crash makes every recipient in flight 'unknown': the window is small, also with many
    // recipients per message.
    const std::size_t batch = std::max<std::size_t>(1, renderer.recipients_per_message());
    client.window_messages =
        std::clamp<std::size_t>(kWindowRecipients / batch, 2, client.window_messages);
  }

  DeliveryEnd Run(const std::function<void(const Progress&)>& on_tick);
  void RequestStop();
  void Interrupt();

 private:
  void Pump();
  void PumpSoon();
  void Tick();
  void SetWake();
  std::size_t Connecting() const;
  bool Full() const { return sessions_.size() >= max_connections_; }
  void OpenSessions();
  void YieldConnections();
  void FetchCredentials();
  void EndSessions();
  void TooMany(Session& session, const std::string& why);
  void Fail();

  Poll NextMessage(const Session& session, std::size_t max_recipients,
                   InFlightMessage& message) override;
  void OnIntent(const Recipient& recipient, AttemptState& state) override;
  bool Commit() override;
  void OnAnswer(Session& session, const Recipient& recipient, AttemptState& state,
                const Answer& answer) override;
  void OnUnsure(const Session& session, const Recipient& recipient, int attempts, State was,
                std::string_view why) override;
  void OnMessageFinished(const Session& session, std::size_t recipients) override;
  void OnReady(const Session& session, std::uint64_t max_size) override;
  void OnFailed(Session& session, const SessionEnd& end) override;
  void OnClosed(const Session& session) override;

  EventLoop& loop_;
  const std::size_t max_connections_;
  SessionOptions session_options_;
  Dispatcher dispatcher_;
  ServerPool& servers_;
  std::vector<std::unique_ptr<Session>> sessions_;

  bool ending_ = false;  // every session has been told to end
  bool failed_ = false;
  bool pump_posted_ = false;
  int interrupts_ = 0;
  std::function<void(const Progress&)> on_tick_;
  TimePoint next_tick_{}, wake_at_ = TimePoint::max();
};

DeliveryEnd Delivery::Impl::Run(const std::function<void(const Progress&)>& on_tick) {
  on_tick_ = on_tick;
  loop_.OnInterrupt([this] { Interrupt(); });
  Tick();
  PumpSoon();
  loop_.Run();
  dispatcher_.Finish();
  on_tick_(dispatcher_.HowFar(0));
  return dispatcher_.End();
}

void Delivery::Impl::RequestStop() {
  dispatcher_.Stop();
  PumpSoon();
}

void Delivery::Impl::Interrupt() {
  RequestStop();
  if (++interrupts_ < 2) return;
  for (const auto& session : sessions_) session->Abort();
}

// The sink is broken: nothing more goes out, and nothing more can be told.
void Delivery::Impl::Fail() {
  if (std::exchange(failed_, true)) return;
  ending_ = true;
  for (const auto& session : sessions_) session->Abort();
  PumpSoon();
}

// The loop

void Delivery::Impl::PumpSoon() {
  if (std::exchange(pump_posted_, true)) return;
  loop_.Post([this] {
    pump_posted_ = false;
    Pump();
  });
}

void Delivery::Impl::Pump() {
  std::erase_if(sessions_, [](const auto& session) { return session->closed(); });
  if (!ending_ && dispatcher_.IsOver()) EndSessions();
  if (!dispatcher_.CanRecord()) Fail();
  if (ending_) {
    if (sessions_.empty()) loop_.Stop();
    return SetWake();
  }
  FetchCredentials();
  dispatcher_.Update(loop_.Now());
  for (const auto& session : sessions_) session->Drive();
  if (!ending_) YieldConnections();
  if (!ending_) OpenSessions();
  if (!ending_) dispatcher_.TraceWaiting(Connecting(), Full(), loop_.Now());
  SetWake();
}

void Delivery::Impl::EndSessions() {
  ending_ = true;
  for (const auto& session : sessions_) session->End();
}

void Delivery::Impl::Tick() {
  if (loop_.Now() < next_tick_) return;
  next_tick_ = loop_.Now() + kTick;
  Commit();
  on_tick_(dispatcher_.HowFar(sessions_.size()));
}

// One timer for everything that time brings; the end of a server's backoff is seen at the next
// tick.
void Delivery::Impl::SetWake() {
  const TimePoint when = std::min(next_tick_, dispatcher_.NextWake());
  if (when >= wake_at_) return;
  wake_at_ = when;
  loop_.WakeAt(when, [this] {
    wake_at_ = TimePoint::max();
    Tick();
    Pump();
  });
}

std::size_t Delivery::Impl::Connecting() const {
  return static_cast<std::size_t>(
      std::count_if(sessions_.begin(), sessions_.end(),
                    [](const auto& session) { return session->connecting(); }));
}

void Delivery::Impl::OpenSessions() {
  while (!Full()) {
    const TimePoint now = loop_.Now();
    const std::optional<std::size_t> next = dispatcher_.NextToConnect(Connecting(), now);
    if (!next) return;
    Server& server = servers_[*next];
    server.OnConnecting(now);
    ++session_options_.client.connection;
    SessionOptions options = session_options_;
    server.Configure(options.client);
    if (dispatcher_.trace().on()) {
      dispatcher_.trace().Connecting(options.client.connection, server);
    }
    sessions_.push_back(std::make_unique<Session>(loop_, *this, options, server.account(), *next,
                                                  server.credentials().generation(),
                                                  server.quirks()));
  }
}

// A server without a connection gets one from those that are ahead of their share.
void Delivery::Impl::YieldConnections() {
  if (!Full()) return;
  for (std::size_t starved = servers_.Starved(); starved > 0; --starved) {
    const auto idle = std::find_if(sessions_.begin(), sessions_.end(),
                                   [](const auto& session) { return session->idle(); });
    if (idle != sessions_.end()) (*idle)->End();
  }
}

void Delivery::Impl::FetchCredentials() {
  if (dispatcher_.stopping()) return;
  for (std::size_t i = 0; i < servers_.size(); ++i) {
    if (!servers_[i].enabled()) continue;
    const CredentialSource::Fetch* fetch = servers_[i].credentials().Request();
    if (fetch == nullptr) continue;
    const auto secret = std::make_shared<Result<Secret>>(Secret());
    loop_.RunInBackground(
        [secret, fetch = *fetch](const std::atomic<bool>& stop) { *secret = fetch(stop); },
        [this, secret, i] {
          dispatcher_.OnSecret(i, std::move(*secret), loop_.Now());
          PumpSoon();
        });
  }
}

// What sessions ask and tell

Poll Delivery::Impl::NextMessage(const Session& session, std::size_t max_recipients,
                                 InFlightMessage& message) {
  if (ending_) return Poll::kExhausted;
  // It is driven again by the next answer.
  const std::size_t most = servers_[session.server()].MaxInFlight(session.accepted());
  if (session.in_flight() >= most) return Poll::kBlocked;
  const Poll poll =
      dispatcher_.NextMessage(session.server(), max_recipients, Full(), loop_.Now(), message);
  if (poll == Poll::kBlocked) SetWake();
  // It may be another server's turn now.
  if (poll == Poll::kReady && servers_.size() > 1) PumpSoon();
  return poll;
}

void Delivery::Impl::OnIntent(const Recipient& recipient, AttemptState& state) {
  dispatcher_.OnIntent(recipient, state);
}

bool Delivery::Impl::Commit() {
  if (dispatcher_.Commit()) return true;
  Fail();
  return false;
}

void Delivery::Impl::OnAnswer(Session& session, const Recipient& recipient, AttemptState& state,
                              const Answer& answer) {
  const std::size_t server = session.server();
  if (answer.accepted) {
    return dispatcher_.OnAccepted(server, recipient, state, answer, session.in_clear(),
                                  loop_.Now());
  }
  dispatcher_.OnNotAccepted(server, recipient, state, answer, loop_.Now());
  if (answer.disposition.limit == Limit::kConcurrency) TooMany(session, std::string(answer.reply));
  PumpSoon();
}

void Delivery::Impl::TooMany(Session& session, const std::string& why) {
  if (session.leaving()) return;
  if (!dispatcher_.OnTooMany(session.server(), why, loop_.Now())) return;
  session.Leave();
  servers_[session.server()].OnLeaving();
}

void Delivery::Impl::OnUnsure(const Session& session, const Recipient& recipient, int attempts,
                              State was, std::string_view why) {
  dispatcher_.OnUnsure(session.server(), recipient, attempts, was, why);
}

void Delivery::Impl::OnMessageFinished(const Session& session, std::size_t recipients) {
  dispatcher_.OnMessageFinished(session.server(), recipients);
  // Other sessions may wait for what this one had on the wire.
  if (dispatcher_.in_flight() == 0 || servers_[session.server()].pace().known()) PumpSoon();
}

void Delivery::Impl::OnReady(const Session& session, std::uint64_t max_size) {
  dispatcher_.OnReady(session.server(), session.credential_generation(), max_size, loop_.Now());
  PumpSoon();
}

void Delivery::Impl::OnFailed(Session& session, const SessionEnd& end) {
  // What breaks while all is ending says nothing about the server.
  if (ending_ && end.disposition.action != Action::kDisableServer) return;
  const bool too_many = end.disposition.limit == Limit::kConcurrency && !end.was_ready;
  if (too_many && servers_[session.server()].ready() > 0) return TooMany(session, end.text);
  dispatcher_.OnFailed(session.server(), end, loop_.Now());
}

void Delivery::Impl::OnClosed(const Session& session) {
  servers_[session.server()].OnClosed(session.was_ready(), session.leaving());
  PumpSoon();
}

Delivery::Delivery(EventLoop& loop, const DeliveryOptions& options,
                   const std::vector<Account>& accounts, WorkSource& source, Renderer& renderer,
                   ResultSink& results)
    : impl_(std::make_unique<Impl>(loop, options, accounts, source, renderer, results)) {}

Delivery::~Delivery() = default;

DeliveryEnd Delivery::Run(const std::function<void(const Progress&)>& on_tick) {
  return impl_->Run(on_tick);
}

void Delivery::RequestStop() { impl_->RequestStop(); }

void Delivery::Interrupt() { impl_->Interrupt(); }

}  // namespace vespro::engine
