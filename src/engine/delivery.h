// engine/delivery.h - what the sending side of the engine needs from the rest, and what it gives.
// Delivery takes recipients from a WorkSource, has their message made by a Renderer, brings it to
// the servers, and tells a ResultSink what became of each recipient, exactly once. It knows neither
// lists nor files. Everything runs on the thread that calls Run. Text is UTF-8.
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

namespace vespro::engine {

// One "HOST=" line of the job. Equal lines are kept apart: each is one share of the work.
struct Account {
  std::string server;
  std::uint16_t port = 25;
  std::string login;     // empty: no authentication
  std::string password;  // decoded; never printed
};

// One person of the list.
struct Recipient {
  std::uint64_t line = 0;  // where the list has it, from 1
  std::string address;     // normalised
  std::string row;         // a CSV row's bytes as read; empty for a list of plain addresses
};

enum class State { kSent, kRefused, kFailed, kSkipped, kUnknown };

// What became of one recipient.
struct Outcome {
  State state = State::kSent;
  int attempts = 0;
  std::string server;  // "name:port" of the last attempt
  std::string reply;   // the server's own words, or ours where no server spoke; one line
};

// A message ready for the wire, without dot-stuffing: lines end in CR LF, the last one too.
struct RenderedMessage {
  // In order. They point into `own` and into what the Renderer keeps for the whole job.
  std::vector<std::string_view> pieces;
  std::string own;
  std::uint64_t bytes = 0;  // the pieces' sizes added up
};

class WorkSource {
 public:
  virtual ~WorkSource() = default;
  // The next recipients, at most `max`, fewer only near the end of the list; none at its end.
  virtual Result<std::vector<Recipient>> Next(std::size_t max) = 0;
};

class Renderer {
 public:
  virtual ~Renderer() = default;
  // The address for MAIL FROM.
  virtual const std::string& sender() const = 0;
  // How many recipients one message may carry: 1 for personalised mail, more for one copy to many.
  virtual std::size_t recipients_per_message() const = 0;
  // No message has fewer bytes, whoever it is for.
  virtual std::uint64_t least_bytes() const { return 0; }
  // `out` is the caller's own and is overwritten; its memory is reused from message to message.
  virtual void Render(std::span<const Recipient> recipients, RenderedMessage& out) = 0;
};

// Told of everything that happens, in order. Calls may be gathered until Commit.
class ResultSink {
 public:
  virtual ~ResultSink() = default;
  // The end of the message to these recipients goes out behind the next Commit: from then on
  // `server` may accept it.
  virtual Status Sending(std::span<const Recipient> recipients, std::string_view server) = 0;
  // After Sending, when the server certainly has not taken the message (an answer to try again
  // later, a connection that broke before the end of the data): these recipients wait for another
  // attempt. A job that is stopped before it would otherwise have to call them kUnknown.
  virtual Status PutBack(std::span<const Recipient> recipients) {
    static_cast<void>(recipients);
    return {};
  }
  // The verdict on one recipient, once. After a failure nothing further is sent.
  virtual Status Record(const Recipient& recipient, const Outcome& outcome) = 0;
  // What was told until now must outlive the process when this returns. Called before any end of a
  // message goes out, after every group of answers, and on every tick. After a failure nothing
  // further is sent.
  virtual Status Commit() { return {}; }
};

enum class TlsUse { kAuto, kRequired, kOff };

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
