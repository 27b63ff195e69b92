// engine/delivery/delivery_options.h - how a job is to be delivered: plain data. Text is UTF-8.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "engine/delivery/allowance.h"
#include "engine/message.h"
#include "engine/trace.h"

namespace vespro::engine {

// Said of one server: of all accounts that `server`, "name" or "name:port", matches.
struct ServerRateLimit {
  std::string server;
  double messages_per_second = 0;
};
struct ServerPasswordCommand {
  std::string server;
  // A shell command. The first line that it writes is the password, or after "Bearer " an OAuth 2
  // access token. It is run when the first connection is wanted, and again when a login is refused
  // that was accepted before: tokens expire.
  std::string command;
};
inline bool Matches(std::string_view server, const Account& account) {
  const std::string with_port = account.server + ":" + std::to_string(account.port);
  return ModText::EqualsIgnoringAsciiCase(server, account.server) ||
         ModText::EqualsIgnoringAsciiCase(server, with_port);
}

struct DeliveryOptions {
  std::size_t connections = 1;
  TlsUse tls = TlsUse::kAuto;
  std::filesystem::path extra_ca;  // PEM, beside the system's own anchors; empty for none
  bool insecure_auth = false;      // passwords over a clear connection to a far server
  int max_attempts = 3;            // that a recipient may take in all
  std::chrono::milliseconds retry_delay{30'000};  // doubles from attempt to attempt
  // How long a server is left alone after a failure; doubles from failure to failure.
  std::chrono::milliseconds server_backoff{1000};
  std::size_t messages_per_connection = 500;
  std::size_t recipients_per_transaction = 100;
  double timeout_scale = 1.0;      // of RFC 5321, section 4.5.3.2; tests shorten it
  double messages_per_second = 0;  // over all accounts; 0 for no ceiling
  std::vector<ServerRateLimit> account_rates;
  std::vector<ServerPasswordCommand> password_commands;
  bool wait_for_quota = false;  // when the day's count of every account is used up: do not end
  AllowanceBook* allowances = nullptr;  // both outlive the Delivery; null for none
  Trace* trace = nullptr;
};

}  // namespace vespro::engine
