// engine/net/event_loop.h - what the delivery needs of the outside world: connections to servers,
// time, signals, work that blocks. Everything runs on the thread that calls Run; events and
// callbacks come from the loop, never from within a call. asio_loop.h is the real one; fake_loop.h
// is for tests.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "engine/smtp/policy.h"

namespace vespro::engine {

class ConnectionEvents {
 public:
  virtual ~ConnectionEvents() = default;
  // `local_literal` is our own address as EHLO wants it, "[127.0.0.1]" or "[IPv6:::1]".
  virtual void OnConnected(std::string local_literal, bool loopback) = 0;
  virtual void OnTlsEstablished() = 0;
  virtual void OnReceived(std::string_view bytes) = 0;
  // So many more bytes were handed to the system; `finished` with the last ones of a Write.
  virtual void OnWritten(std::uint64_t bytes, bool finished) = 0;
  // Once, and the last event; also after Close. All bytes that were handed to the system have been
  // reported before. `text` is for a person.
  virtual void OnLost(Fault fault, const std::string& text) = 0;
};

// One connection to a server: TCP, then TLS when asked.
//
// TLS is 1.2 or later, with the server's name sent (SNI). The server's certificate is always
// checked: chain, dates and name, or address where the server is named by one.
class Connection {
 public:
  // No event comes any more.
  virtual ~Connection() = default;
  // A name or a numeric address, IPv6 with or without brackets. All addresses are tried in turn,
  // each within the time limit.
  virtual void Connect(const std::string& server, std::uint16_t port) = 0;
  // From OnConnected or OnReceived only; nothing is read in clear from here on. `server` as above.
  virtual void StartTls(const std::string& server) = 0;
  // One at a time. Empty pieces are allowed; they and their bytes stay until OnWritten says
  // `finished`, or OnLost.
  virtual void Write(std::span<const std::string_view> pieces) = 0;
  // OnLost follows. Sends no close_notify: SMTP's own QUIT has been said.
  virtual void Close() = 0;
  // From now on; replaces the last one. Zero is for ever. After it OnLost comes with kTimeout.
  virtual void SetTimeLimit(std::chrono::milliseconds limit) = 0;
};

class EventLoop {
 public:
  virtual ~EventLoop() = default;

  virtual std::unique_ptr<Connection> NewConnection(ConnectionEvents& events) = 0;
  // This machine's name for EHLO; empty where it has none with a dot: an unqualified host name is
  // not for other people.
  virtual std::string HostName() const = 0;

  virtual std::chrono::steady_clock::time_point Now() const = 0;
  // Calls `callback` once at `when`, or as soon as it can; replaces an earlier one.
  virtual void WakeAt(std::chrono::steady_clock::time_point when,
                      std::function<void()> callback) = 0;
  // Calls `callback` from the loop, after what is waiting there.
  virtual void Post(std::function<void()> callback) = 0;
  // Calls `work` on a thread of its own, then `done` from the loop. `work` has to end soon when its
  // argument becomes true: the loop's destructor waits for it.
  virtual void RunInBackground(std::function<void(const std::atomic<bool>&)> work,
                               std::function<void()> done) = 0;
  // Calls `callback` whenever the system asks the program to end, from now on.
  virtual void OnInterrupt(std::function<void()> callback) = 0;

  // Runs until Stop.
  virtual void Run() = 0;
  virtual void Stop() = 0;
};

}  // namespace vespro::engine
