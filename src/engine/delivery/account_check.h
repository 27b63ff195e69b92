// engine/delivery/account_check.h - whether an account works, without sending anything: connect,
// agree on TLS, log in, MAIL FROM, and RSET before any recipient was named. One thread.
#pragma once

#include <string>

#include "engine/delivery/credential_source.h"
#include "engine/delivery/delivery_options.h"
#include "engine/net/event_loop.h"

namespace vespro::engine {

struct AccountCheck {
  // How far it came, one after the other.
  bool connected = false, secure = false, ready = false, sender_taken = false;
  bool loopback = false;  // the server is on this machine
  // What stopped it before the end; `text` is for a person and holds no secret.
  Failure failure;
  std::string text;
};

// Runs the loop until it knows, or until an interrupt; each step has 30 s (times
// options.timeout_scale).
// `sender` is safe in a command.
AccountCheck CheckAccount(EventLoop& loop, const DeliveryOptions& options, const Account& account,
                          const Secret& secret, const std::string& sender);

}  // namespace vespro::engine
