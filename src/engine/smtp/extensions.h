// engine/smtp/extensions.h - what a server offers in its answer to EHLO (RFC 5321,
// section 4.1.1.1). Pure: any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

struct Extensions {
  bool starttls = false;                     // RFC 3207
  bool pipelining = false;                   // RFC 2920
  bool chunking = false;                     // RFC 3030
  bool eight_bit = false;                    // 8BITMIME, RFC 6152
  bool utf8 = false;                         // SMTPUTF8, RFC 6531
  bool size = false;                         // RFC 1870
  std::uint64_t max_size = 0;                // from SIZE, in bytes; 0 for no limit
  std::uint64_t max_recipients = 0;          // from LIMITS (RFC 9422); 0 for no limit
  std::uint64_t max_messages = 0;            // likewise
  std::vector<std::string> auth_mechanisms;  // RFC 4954, as the server spells them
};

// `text` is the reply's, a line each; the first line is a greeting. What it does not know, or what
// is not well formed, counts for nothing.
Extensions ParseEhlo(std::string_view text);

}  // namespace vespro::engine
