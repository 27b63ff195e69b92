// engine/smtp/reply.h - a server's replies out of a stream of bytes (RFC 5321, section 4.2), with
// the enhanced status codes of RFC 3463. Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vespro::engine {

// "5.1.1". All zero where the server gave none.
struct EnhancedCode {
  int severity = 0, subject = 0, detail = 0;
  bool operator==(const EnhancedCode&) const = default;
};

struct Reply {
  int code = 0;  // 200 to 599; of several lines that disagree, the last one's
  // Its lines have codes of different classes: yes and no at once.
  bool contradictory = false;
  EnhancedCode enhanced;
  // The server's text without the codes' "250-" and without line ends; lines are parted by LF.
  // Bytes as the server sent them: hostile, of any charset.
  std::string text;

  int severity() const { return code / 100; }
};

// "550 5.1.1 no such user": one line, printable, at most 400 bytes of the text.
std::string ReplyLine(const Reply& reply);

// Takes bytes however they are cut. A line may end in a lone LF. What a line has beyond 64 KiB is
// dropped; a reply of more than 1 MiB, or a line that begins with no reply code, is garbage.
class ReplyParser {
 public:
  enum class ParseResult { kMore, kReply, kProtocolError };

  // Takes bytes off `bytes` up to the end of one reply. After kGarbage it gives nothing else.
  ParseResult Feed(std::string_view& bytes);
  // The reply that Feed just found, valid until the next Feed.
  const Reply& reply() const { return reply_; }
  // Forgets half a reply; for the start of TLS.
  void Reset();

 private:
  ParseResult EndLine();

  Reply reply_;
  std::string line_;       // a line that began in earlier bytes
  std::size_t bytes_ = 0;  // of this reply, dropped ones too
  bool finished_ = true;   // reply_ is whole, the next line begins a new one
  bool garbage_ = false;
};

}  // namespace vespro::engine
