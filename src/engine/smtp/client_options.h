// engine/smtp/client_options.h - what an SMTP session may do, as its owner wants it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/message.h"
#include "engine/smtp/sasl.h"
#include "engine/trace.h"

namespace vespro::engine {

struct ClientOptions {
  Credentials credentials;  // no login: no authentication
  TlsUse tls = TlsUse::kAuto;
  bool tls_from_start = false;       // TLS from the first byte, as on port 465
  bool insecure_auth = false;        // the password may cross a clear connection to a far server
  std::size_t window_messages = 16;  // at least 1
  std::uint64_t window_bytes = 1024 * 1024;
  bool use_chunking = true;
  bool use_pipelining = true;
  double timeout_scale = 1.0;    // of RFC 5321, section 4.5.3.2
  Trace* trace = nullptr;        // outlives the client; null for none
  std::uint64_t connection = 0;  // its number in the trace
};

}  // namespace vespro::engine
