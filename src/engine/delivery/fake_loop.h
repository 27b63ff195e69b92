// engine/delivery/fake_loop.h - for tests only: an EventLoop with a clock of its own, which jumps
// to the next event, and with connections in memory to scripted servers. A day passes in
// milliseconds.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/delivery/scripted_server.h"
#include "engine/net/event_loop.h"

namespace vespro::engine {

class FakeLoop final : public EventLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using milliseconds = std::chrono::milliseconds;

  static constexpr milliseconds kLatency{1};  // one way

  // A connection to this name and port is the server's; to any other it is refused.
  void Serve(const std::string& name, std::uint16_t port, ScriptedServer& server) {
    servers_[name + ":" + std::to_string(port)] = &server;
  }
  // `action` runs when so much time has passed.
  void After(milliseconds delay, std::function<void()> action) {
    Add(now_ + delay, std::move(action));
  }
  void Interrupt() { on_interrupt_(); }
  bool loopback = true;  // what connections say of the server
  std::chrono::duration<double> elapsed() const { return now_ - kStart; }

  std::unique_ptr<Connection> NewConnection(ConnectionEvents& events) override;
  std::string HostName() const override { return "client.example"; }
  Clock::time_point Now() const override { return now_; }
  void WakeAt(Clock::time_point when, std::function<void()> callback) override {
    const unsigned number = ++wake_number_;
    Add(when, [this, number, callback = std::move(callback)] {
      if (number == wake_number_) callback();
    });
  }
  void Post(std::function<void()> callback) override { Add(now_, std::move(callback)); }
  void RunInBackground(std::function<void(const std::atomic<bool>&)> work,
                       std::function<void()> done) override {
    const std::atomic<bool> stop = false;
    work(stop);
    Post(std::move(done));
  }
  void OnInterrupt(std::function<void()> callback) override { on_interrupt_ = std::move(callback); }

  void Run() override {
    while (!stopped_) {
      if (events_.empty() || elapsed() > kTooLong || ++handled_ > kTooMany) {
        ADD_FAILURE() << "the loop does not end: " << handled_ << " events, " << elapsed().count()
                      << " s";
        return;
      }
      std::pop_heap(events_.begin(), events_.end(), IsLater);
      const Event next = std::move(events_.back());
      events_.pop_back();
      now_ = std::max(now_, next.when);
      next.action();
    }
  }
  void Stop() override { stopped_ = true; }

 private:
  class Wire;
  class FakeConnection;
  struct Event {
    Clock::time_point when;
    std::uint64_t number;
    std::function<void()> action;
  };
  static bool IsLater(const Event& a, const Event& b) {
    return a.when != b.when ? a.when > b.when : a.number > b.number;
  }
  void Add(Clock::time_point when, std::function<void()> action) {
    events_.push_back({when, next_number_++, std::move(action)});
    std::push_heap(events_.begin(), events_.end(), IsLater);
  }

  static constexpr Clock::time_point kStart = Clock::time_point() + std::chrono::hours(1000);
  static constexpr std::chrono::hours kTooLong{24 * 30};
  static constexpr std::uint64_t kTooMany = 20'000'000;

  Clock::time_point now_ = kStart;
  std::vector<Event> events_;
  std::uint64_t next_number_ = 0, handled_ = 0;
  unsigned wake_number_ = 0;
  bool stopped_ = false;
  std::function<void()> on_interrupt_;
  std::map<std::string, ScriptedServer*> servers_;
};

// What the events on their way hold. The Connection may go earlier: then nobody is told.
class FakeLoop::Wire : public std::enable_shared_from_this<FakeLoop::Wire> {
 public:
  Wire(FakeLoop& loop, ConnectionEvents& events) : loop_(loop), events_(&events) {}

  void Connect(const std::string& address) {
    Later(kLatency, [this, address] {
      const auto found = loop_.servers_.find(address);
      if (found != loop_.servers_.end()) {
        server_ = found->second;
        session_ = server_->Accept();
      }
      if (session_ == nullptr) return Lose(Fault::kUnreachable, "connection refused");
      events_->OnConnected("[127.0.0.1]", loop_.loopback);
      Deliver();
    });
  }
  void StartTls() {
    Later(2 * kLatency, [this] {
      session_->TlsStarted();
      events_->OnTlsEstablished();
    });
  }
  // In two parts, as the system may take it.
  void Write(std::span<const std::string_view> pieces) {
    std::string bytes;
    for (const std::string_view piece : pieces) bytes += piece;
    const std::size_t half = bytes.size() / 2;
    for (const bool last : {false, true}) {
      std::string part = last ? bytes.substr(half) : bytes.substr(0, half);
      if (part.empty() && !last) continue;
      Later(milliseconds(0), [this, part = std::move(part), last] {
        Later(kLatency, [this, part] {
          session_->Receive(part);
          Deliver();
        });
        events_->OnWritten(part.size(), last);
      });
    }
  }
  void SetTimeLimit(milliseconds limit) {
    limit_ = limit;
    deadline_ = limit.count() == 0 ? Clock::time_point::max() : loop_.now_ + limit;
    if (deadline_ < timer_at_) ArmTimer();
  }
  void Lose(Fault fault, const std::string& text) {
    if (std::exchange(losing_, true)) return;
    loop_.Post([self = shared_from_this(), fault, text] {
      if (self->events_ != nullptr) std::exchange(self->events_, nullptr)->OnLost(fault, text);
    });
  }
  void Abandon() { events_ = nullptr; }

 private:
  // Nothing happens any more on a lost connection, or where the server has died.
  void Later(milliseconds delay, std::function<void()> action) {
    loop_.Add(loop_.now_ + delay, [self = shared_from_this(), action = std::move(action)] {
      if (self->losing_ || self->events_ == nullptr) return;
      if (self->server_ != nullptr && self->server_->dead()) {
        return self->Lose(Fault::kClosed, "the server closed the connection");
      }
      action();
    });
  }
  // The server's words, then what it does with the connection.
  void Deliver() {
    if (!session_->output.empty()) {
      Later(kLatency,
            [this, bytes = std::exchange(session_->output, {})] { events_->OnReceived(bytes); });
    }
    if (session_->state >= ScriptedServer::Session::State::kClosed) {
      Later(kLatency, [this] { Lose(Fault::kClosed, "the server closed the connection"); });
    }
  }
  void ArmTimer() {
    timer_at_ = deadline_;
    Later(std::chrono::ceil<milliseconds>(deadline_ - loop_.now_), [this] {
      timer_at_ = Clock::time_point::max();
      if (deadline_ == Clock::time_point::max()) return;
      if (deadline_ > loop_.now_) return ArmTimer();
      Lose(Fault::kTimeout, "no answer within " + std::to_string(limit_.count()) + " ms");
    });
  }

  FakeLoop& loop_;
  ConnectionEvents* events_;
  ScriptedServer* server_ = nullptr;
  std::unique_ptr<ScriptedServer::Session> session_;
  bool losing_ = false;
  milliseconds limit_{0};
  Clock::time_point deadline_ = Clock::time_point::max(), timer_at_ = Clock::time_point::max();
};

class FakeLoop::FakeConnection final : public Connection {
 public:
  FakeConnection(FakeLoop& loop, ConnectionEvents& events)
      : wire_(std::make_shared<Wire>(loop, events)) {}
  ~FakeConnection() override { wire_->Abandon(); }
  void Connect(const std::string& server, std::uint16_t port) override {
    wire_->Connect(server + ":" + std::to_string(port));
  }
  void StartTls(const std::string&) override { wire_->StartTls(); }
  void Write(std::span<const std::string_view> pieces) override { wire_->Write(pieces); }
  void Close() override { wire_->Lose(Fault::kClosed, "the connection was closed"); }
  void SetTimeLimit(milliseconds limit) override { wire_->SetTimeLimit(limit); }

 private:
  std::shared_ptr<Wire> wire_;
};

inline std::unique_ptr<Connection> FakeLoop::NewConnection(ConnectionEvents& events) {
  return std::make_unique<FakeConnection>(*this, events);
}

}  // namespace vespro::engine
