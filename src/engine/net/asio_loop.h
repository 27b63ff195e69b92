// engine/net/asio_loop.h - the EventLoop over sockets and the system's clock and signals.
//
// BUGS: a name is looked up on a thread of the library's own, by the system's resolver; a lookup
// that hangs is given up at the time limit, but the loop's destructor waits for it.
#pragma once

#include <filesystem>
#include <memory>

#include "base/status.h"
#include "engine/net/event_loop.h"

namespace vespro::engine {

class AsioLoop final : public EventLoop {
 public:
  AsioLoop();
  ~AsioLoop() override;

  // Before the first connection. kNotFound or kBadInput when the file can't be used.
  Status AddTrustAnchors(const std::filesystem::path& pem);

  std::unique_ptr<Connection> NewConnection(ConnectionEvents& events) override;
  std::string HostName() const override;
  std::chrono::steady_clock::time_point Now() const override;
  void WakeAt(std::chrono::steady_clock::time_point when, std::function<void()> callback) override;
  void Post(std::function<void()> callback) override;
  void RunInBackground(std::function<void(const std::atomic<bool>&)> work,
                       std::function<void()> done) override;
  // On SIGINT, SIGTERM and, unless it is ignored, SIGHUP.
  void OnInterrupt(std::function<void()> callback) override;
  void Run() override;
  void Stop() override;

 private:
  friend class AsioConnection;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vespro::engine
