// terminal/catcher.h - a mail server for trying things out: listens on this machine only, accepts
// everything, delivers nothing. Each message becomes one file in a Maildir, byte for byte as it was
// sent, and one line in `envelopes.tsv` beside it: file name, connection number, sender, then every
// recipient, separated by tabs ("-" stands for the empty sender). Nothing waits for the disk.
//
// In a program:
//   Result<Catcher> catcher = Catcher::Start({.port = 2525, .maildir = "mail"});
//   if (!catcher.ok()) return Fail(catcher.status());
//   std::cout << "listening on 127.0.0.1:" << catcher->port() << std::endl;
//   Status ended = catcher->RunUntilSignalled();   // then catcher->counts()
// In a test: std::thread server([&] { catcher->Run().Ignore(); }); ... catcher->Stop();
// server.join();
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "base/status.h"
#include "terminal/catch_session.h"

namespace vespro {

struct CatchOptions {
  std::uint16_t port = 0;  // 0: a free one
  // Made when it is not there; empty: messages are only counted.
  std::filesystem::path maildir = {};
  CatchRules rules = {};
};

struct CatchCounts {
  std::uint64_t connections = 0;
  std::uint64_t messages = 0;
  std::uint64_t recipients = 0;  // of all messages together
};

class Catcher {
 public:
  // Listens on 127.0.0.1 and, where the machine has it, on ::1 with the same port; the connections
  // that come before Run wait. kUnavailable when the port is taken, kCannotWrite for the Maildir.
  static Result<Catcher> Start(CatchOptions options);
  Catcher(Catcher&&) noexcept;
  ~Catcher();

  std::uint16_t port() const;
  // Serves on the calling thread until Stop, or also until SIGINT or SIGTERM. Connections that are
  // open then are cut off. Once only.
  Status Run();
  Status RunUntilSignalled();
  // Any thread, also before Run.
  void Stop();
  // Any thread, at any time.
  CatchCounts counts() const;

 private:
  struct State;
  explicit Catcher(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace vespro
