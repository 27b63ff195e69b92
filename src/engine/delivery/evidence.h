// engine/delivery/evidence.h - whether a server refuses the account or the message in words that
// nobody knows, rather than recipients: it refuses three messages in a row to different people with
// the same code and enhanced code. The words differ, they hold addresses and queue names. Of one
// server. Pure. One thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/smtp/reply.h"

namespace vespro::engine {

class Evidence {
 public:
  static constexpr int kMessages = 3;

  enum class Finding {
    kInRow,    // like those before it, or the first
    kAlone,    // unlike them: they were refused each for himself, and this is the first of a row
    kAccount,  // so often, or once more since
  };
  // A message, known by its number, was refused to one of its recipients.
  Finding OnRefused(int code, const EnhancedCode& enhanced, std::uint64_t message);
  // Somebody was accepted.
  void OnAccepted() { in_row_ = 0; }

 private:
  int code_ = 0;
  EnhancedCode enhanced_;
  int in_row_ = 0;
  std::uint64_t last_message_ = 0;
};

}  // namespace vespro::engine
