// engine/net/network.h - one connection to a server, asynchronous: TCP, then TLS when asked. Everything
// runs on the thread that runs the Network; the events come from its loop, never from within a
// call.
//
// TLS is 1.2 or later, with the server's name sent (SNI). The server's certificate is always
// checked: chain, dates and name, or address where the server is named by one.
//
// BUGS: a name is looked up on a thread of the library's own, by the system's resolver; a lookup
// that hangs is given up at the time limit, but the Network's destructor waits for it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/status.h"
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
  // OnLost follows. Says no farewell of TLS: SMTP's own QUIT has been said.
  virtual void Close() = 0;
  // From now on; replaces the last one. Zero is for ever. Beyond it OnLost comes with kTimeout.
  virtual void SetTimeLimit(std::chrono::milliseconds limit) = 0;
};

class Network {
 public:
  Network();
  ~Network();
  // Before the first connection. kNotFound or kBadInput when the file can't be used.
  Status AddTrustAnchors(const std::filesystem::path& pem);

  std::unique_ptr<Connection> NewConnection(ConnectionEvents& events);

  // Calls `callback` once at `when`, or as soon as it can; replaces an earlier one.
  void WakeAt(std::chrono::steady_clock::time_point when, std::function<void()> callback);
  // Calls `callback` from the loop, behind what is waiting there.
  void Later(std::function<void()> callback);
  // Calls `callback` for every SIGINT, SIGTERM and, unless it is ignored, SIGHUP from now on.
  void OnInterrupt(std::function<void()> callback);

  // Calls `work` on a thread of its own, then `done` from the loop. `work` has to end soon when its
  // argument becomes true: ~Network waits for it.
  void Background(std::function<void(const std::atomic<bool>&)> work, std::function<void()> done);

  // Runs the loop until Stop.
  void Run();
  void Stop();

 private:
  friend class AsioConnection;
  struct State;
  std::unique_ptr<State> state_;
};

// The host's name where it has a dot, otherwise empty: a bare machine name is nobody's business.
std::string QualifiedHostName();

}  // namespace vespro::engine
