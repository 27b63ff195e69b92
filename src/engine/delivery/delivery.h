// engine/delivery/delivery.h - brings a job to its recipients: takes them from a WorkSource, has
// their message made by a Renderer, brings it to the servers, and tells a ResultSink what became of
// each recipient, exactly once. It knows neither lists nor files. Everything runs on the thread
// that calls Run. Text is UTF-8.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "base/text.h"
#include "engine/message.h"
#include "engine/trace.h"
#include "engine/work.h"

namespace vespro::engine {

// What is said of one server: of all accounts that `server`, "name" or "name:port", names.
struct ServerRate {
  std::string server;
  double messages_per_second = 0;
};
struct ServerCommand {
  std::string server;
  // A shell command. The first line that it writes is the password, or behind "Bearer " an OAuth 2
  // access token. It is run when the first connection is wanted, and again when a login is refused
  // that was taken before: tokens expire.
  std::string command;
};
inline bool Names(std::string_view server, const Account& account) {
  const std::string with_port = account.server + ":" + std::to_string(account.port);
  return ModText::EqualsIgnoringAsciiCase(server, account.server) ||
         ModText::EqualsIgnoringAsciiCase(server, with_port);
}

struct DeliveryOptions {
  std::size_t connections = 1;
  TlsUse tls = TlsUse::kAuto;
  std::filesystem::path extra_ca;  // PEM, beside the system's own anchors; empty for none
  bool insecure_auth = false;      // passwords over a clear connection to a far server
  int retry = 3;                   // attempts a recipient may take in all
  std::chrono::milliseconds retry_delay{30'000};  // doubles from attempt to attempt
  std::size_t messages_per_connection = 500;
  std::size_t recipients_per_transaction = 100;
  double timeout_scale = 1.0;      // of RFC 5321, section 4.5.3.2; tests shorten it
  double messages_per_second = 0;  // over all accounts; 0 for no ceiling
  std::vector<ServerRate> account_rates;
  std::vector<ServerCommand> password_commands;
  Trace* trace = nullptr;  // outlives the Delivery; null for none
};

// Numbers for the progress line.
struct Progress {
  std::uint64_t sent = 0, refused = 0, failed = 0, unknown = 0;
  std::uint64_t waiting_for_retry = 0;
  std::size_t connections_open = 0;
  // While nothing is on its way: about when something can be, if that is in the future.
  std::chrono::steady_clock::time_point goes_on{};
};

struct AccountTally {
  std::string server;         // "name:port"
  std::string login_refused;  // the server's words when it took no login; empty otherwise
  std::string taken_out;      // why else it took no further part, or none at all; empty otherwise
  // What would help, where it took no further part. A job keeps its accounts and its message.
  enum class Remedy { kLater, kTrustAnchor, kAnotherJob };
  Remedy remedy = Remedy::kLater;
  std::uint64_t sent = 0, refused = 0, failed = 0, unknown = 0;
};

struct DeliveryEnd {
  enum class Reason {
    kDone,  // every recipient that the source gave has its verdict
    // RequestStop, or no server can be reached or used, which `status` then says: what was in hand
    // is finished, the rest is not recorded.
    kStopped,
    kNoLogin,       // every account's login was refused; the rest is not recorded
    kCannotRecord,  // the sink or the source failed, see status; nothing was sent since
  };
  Reason reason = Reason::kDone;
  Status status;
  std::vector<AccountTally> accounts;  // in the order of the job, equal lines as one
};

class Delivery {
 public:
  // The references must outlive the object. `accounts` must not be empty.
  Delivery(DeliveryOptions options, std::vector<Account> accounts, WorkSource& source,
           Renderer& renderer, ResultSink& results);
  ~Delivery();

  // Sends until there is nothing left or it has to stop. `on_tick` is called about ten times a
  // second. SIGINT and SIGTERM are taken as RequestStop while it runs; a second one ends the
  // process's work at once: whatever is in hand is recorded as kUnknown where the server may have
  // the message, and left out otherwise.
  DeliveryEnd Run(const std::function<void(const Progress&)>& on_tick);

  // Finish what is in hand, begin nothing. Call it from Run's thread (from on_tick or the sink).
  void RequestStop();
  // What SIGTERM does, the second time too. From Run's thread.
  void Interrupt();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vespro::engine
