// terminal/catch_session.h - the server's side of one SMTP connection that accepts everything (RFC
// 5321), for trying things out and for tests. Bytes in, bytes out: no sockets, no files, no clock.
// Speaks PIPELINING (RFC 2920), CHUNKING (RFC 3030), 8BITMIME (RFC 6152), SMTPUTF8 (RFC 6531), SIZE
// (RFC 1870), ENHANCEDSTATUSCODES (RFC 2034) and AUTH PLAIN and LOGIN (RFC 4954), where any login
// does. It is lenient in what it accepts as mail and strict in the dialogue, so that a client's
// fault shows. One thread per object.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "base/status.h"

namespace vespro {

// What a catcher refuses, and its limits.
struct CatchRules {
  std::vector<std::string> refuse;  // a recipient that contains one of these (any case) gets 550
  std::vector<std::string> defer;   // such a recipient gets 450 the first time it is named
  std::uint64_t max_message_bytes = std::uint64_t{64} << 20;
  std::size_t max_recipients = 1000;   // of one message; 452 beyond
  std::size_t max_line_bytes = 12288;  // of one command, its CR LF included (RFC 4954 section 4)
};

// The recipients that were told to come again; shared by all connections of a catcher.
using CatchDeferred = std::unordered_set<std::string>;

struct CaughtMessage {
  std::string sender;  // empty for "<>"
  std::vector<std::string> recipients;
  std::string bytes;  // exactly as sent, the dots of DATA taken out again
};

class CatchSession {
 public:
  // Called with each complete message, which is reused afterwards. A status that is not ok is told
  // to the client as 451 with its text.
  using Deliver = std::function<Status(const CaughtMessage&)>;

  // `rules` and `deferred` must outlive the session.
  CatchSession(const CatchRules& rules, CatchDeferred& deferred, Deliver deliver);

  std::string Greeting() const;
  // Takes what came from the client, split anywhere, and appends the answers to `out`.
  void Receive(std::string_view bytes, std::string& out);
  // After QUIT; the connection is to be closed when the answers are out.
  bool finished() const { return state_ == State::kFinished; }

 private:
  enum class State { kCommand, kOverlong, kData, kChunk, kLogin, kPassword, kPlain, kFinished };
  // Where in a line of DATA we are; only CR LF ends one.
  enum class Line { kStart, kMiddle, kCr, kDot, kDotCr };

  std::size_t TakeLine(std::string_view bytes, std::string& out);
  std::size_t TakeData(std::string_view bytes, std::string& out);
  std::size_t TakeChunk(std::string_view bytes, std::string& out);
  void Keep(std::string_view bytes);

  void Command(std::string_view line, std::string& out);
  void Hello(std::string_view argument, bool extended, std::string& out);
  void Auth(std::string_view argument, std::string& out);
  void AuthAnswer(std::string_view line, std::string& out);
  void Mail(std::string_view argument, std::string& out);
  void Recipient(std::string_view argument, std::string& out);
  void Data(std::string& out);
  void Chunk(std::string_view argument, std::string& out);
  void FinishMessage(std::string& out);
  void Reset();

  const CatchRules& rules_;
  CatchDeferred& deferred_;
  Deliver deliver_;
  State state_ = State::kCommand;
  std::string line_;  // a command whose end has not come yet
  bool greeted_ = false;
  bool logged_in_ = false;

  // The message in hand.
  bool has_sender_ = false;
  bool smtputf8_ = false;
  bool chunked_ = false;  // a BDAT has begun it
  bool failed_ = false;   // too large, or a BDAT out of place: no more of it is kept
  CaughtMessage message_;
  Line data_line_ = Line::kStart;
  std::uint64_t chunk_left_ = 0;
  bool chunk_is_last_ = false;
  std::string chunk_reply_;  // decided when the BDAT command came; empty: by the outcome
};

}  // namespace vespro
