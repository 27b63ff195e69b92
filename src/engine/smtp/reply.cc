#include "engine/smtp/reply.h"

#include "base/text.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kMaxLineBytes = 64 * 1024;
constexpr std::size_t kMaxReplyBytes = 1024 * 1024;
constexpr std::size_t kMaxShownBytes = 400;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// 200 to 599; 0 where the line has no such code followed by a blank, a "-" or its end.
int CodeOf(std::string_view line) {
  if (line.size() < 3 || !IsDigit(line[0]) || !IsDigit(line[1]) || !IsDigit(line[2])) return 0;
  if (line.size() > 3 && line[3] != ' ' && line[3] != '-') return 0;
  const int code = (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
  return code >= 200 && code <= 599 ? code : 0;
}

std::string_view WithoutCr(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

// One to three digits off the front of `text`; -1 where there are none.
int TakeNumber(std::string_view& text) {
  int value = 0;
  std::size_t digits = 0;
  while (digits < text.size() && digits < 3 && IsDigit(text[digits])) {
    value = value * 10 + (text[digits++] - '0');
  }
  text.remove_prefix(digits);
  return digits == 0 ? -1 : value;
}

bool TakeDot(std::string_view& text) {
  if (text.empty() || text.front() != '.') return false;
  text.remove_prefix(1);
  return true;
}

// None unless it is well-formed and of the reply code's own class.
EnhancedCode EnhancedOf(std::string_view text, int reply_class) {
  EnhancedCode code;
  code.severity = TakeNumber(text);
  if (code.severity != reply_class || !TakeDot(text)) return {};
  code.subject = TakeNumber(text);
  if (code.subject < 0 || !TakeDot(text)) return {};
  code.detail = TakeNumber(text);
  if (code.detail < 0 || (!text.empty() && text.front() != ' ')) return {};
  return code;
}

}  // namespace

std::string ReplyLine(const Reply& reply) {
  std::string line = std::to_string(reply.code);
  if (!reply.text.empty()) {
    line += ' ';
    std::string text = reply.text;
    for (char& c : text) {
      if (c == '\n') c = ' ';
    }
    line += ModText::Printable(text, kMaxShownBytes);
  }
  return line;
}

void ReplyParser::Reset() {
  line_.clear();
  bytes_ = 0;
  finished_ = true;
}

ReplyParser::ParseResult ReplyParser::Feed(std::string_view& bytes) {
  while (!garbage_ && !bytes.empty()) {
    const std::size_t lf = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, lf);
    bytes_ += piece.size() + 1;
    if (bytes_ > kMaxReplyBytes) {
      garbage_ = true;
      break;
    }
    line_.append(piece.substr(0, kMaxLineBytes - line_.size()));
    if (lf == std::string_view::npos) {
      bytes = {};
      // A line that can't become a reply is not waited for.
      if (line_.size() >= 4 && CodeOf(WithoutCr(line_)) == 0) garbage_ = true;
      break;
    }
    bytes.remove_prefix(lf + 1);
    const ParseResult got = EndLine();
    if (got != ParseResult::kMore) return got;
  }
  return garbage_ ? ParseResult::kProtocolError : ParseResult::kMore;
}

ReplyParser::ParseResult ReplyParser::EndLine() {
  const std::string_view line = WithoutCr(line_);
  const int code = CodeOf(line);
  if (code == 0) {
    garbage_ = true;
    return ParseResult::kProtocolError;
  }
  if (finished_) {
    reply_.text.clear();
    reply_.contradictory = false;
    finished_ = false;
  } else {
    reply_.text += '\n';
    reply_.contradictory = reply_.contradictory || code / 100 != reply_.severity();
  }
  const std::string_view text = line.size() > 4 ? line.substr(4) : std::string_view();
  reply_.text += text;
  reply_.code = code;
  reply_.enhanced = EnhancedOf(text, code / 100);
  const bool more = line.size() > 3 && line[3] == '-';
  line_.clear();
  if (more) return ParseResult::kMore;
  finished_ = true;
  bytes_ = 0;
  return ParseResult::kReply;
}

}  // namespace vespro::engine
