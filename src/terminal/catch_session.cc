#include "terminal/catch_session.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace vespro {
namespace {

bool IsBase64(std::string_view text) {
  while (text.ends_with('=')) text.remove_suffix(1);
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
  });
}

// Takes a "<...>" off the front of `rest`; false when there is none. A quoted local part may hold
// what would end the path otherwise.
bool TakePath(std::string_view& rest, std::string_view& path) {
  if (!rest.starts_with('<')) return false;
  bool quoted = false;
  for (std::size_t i = 1; i < rest.size(); ++i) {
    if (quoted && rest[i] == '\\') {
      ++i;
    } else if (rest[i] == '"') {
      quoted = !quoted;
    } else if (!quoted && rest[i] == '>') {
      path = rest.substr(1, i - 1);
      rest.remove_prefix(i + 1);
      return true;
    } else if (!quoted && (rest[i] == ' ' || rest[i] == '<')) {
      return false;
    }
  }
  return false;
}

bool IsAddress(std::string_view path) {
  const std::size_t at = path.rfind('@');
  return at != std::string_view::npos && at > 0 && at + 1 < path.size();
}

bool MatchesAny(const std::vector<std::string>& patterns, std::string_view address) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
    return ModText::FindIgnoringAsciiCase(address, pattern) != std::string_view::npos;
  });
}

// Splits "NAME rest" at the first blank.
std::string_view TakeWord(std::string_view& rest) {
  const std::size_t end = std::min(rest.find(' '), rest.size());
  const std::string_view word = rest.substr(0, end);
  rest = ModText::Trim(rest.substr(end));
  return word;
}

// What a parameter of MAIL has to say against it; empty when it is fine.
std::string_view RefuseParameter(std::string_view parameter, const CatchRules& rules,
                                 bool& smtputf8) {
  const std::size_t equals = parameter.find('=');
  const std::string_view name = parameter.substr(0, equals);
  const std::string_view value =
      equals == std::string_view::npos ? std::string_view() : parameter.substr(equals + 1);
  if (ModText::EqualsIgnoringAsciiCase(name, "SIZE")) {
    std::uint64_t size = 0;
    if (!ModText::ParseUnsigned(value, UINT64_MAX, &size)) return "501 5.5.4 bad SIZE\r\n";
    if (size > rules.max_message_bytes) return "552 5.3.4 message too large\r\n";
    return {};
  }
  if (ModText::EqualsIgnoringAsciiCase(name, "BODY")) {
    const bool known = ModText::EqualsIgnoringAsciiCase(value, "7BIT") ||
                       ModText::EqualsIgnoringAsciiCase(value, "8BITMIME");
    return known ? std::string_view() : "501 5.5.4 bad BODY\r\n";
  }
  if (ModText::EqualsIgnoringAsciiCase(parameter, "SMTPUTF8")) {
    smtputf8 = true;
    return {};
  }
  if (ModText::EqualsIgnoringAsciiCase(name, "AUTH") && !value.empty()) return {};
  return "555 5.5.4 parameter not known\r\n";
}

}  // namespace

CatchSession::CatchSession(const CatchRules& rules, CatchDeferred& deferred, Deliver deliver)
    : rules_(rules), deferred_(deferred), deliver_(std::move(deliver)) {}

std::string CatchSession::Greeting() const { return "220 localhost ESMTP mail catcher\r\n"; }

void CatchSession::Receive(std::string_view bytes, std::string& out) {
  while (!bytes.empty() && state_ != State::kFinished) {
    std::size_t taken = 0;
    if (state_ == State::kData) {
      taken = TakeData(bytes, out);
    } else if (state_ == State::kChunk) {
      taken = TakeChunk(bytes, out);
    } else {
      taken = TakeLine(bytes, out);
    }
    bytes.remove_prefix(taken);
  }
}

std::size_t CatchSession::TakeLine(std::string_view bytes, std::string& out) {
  const std::size_t end = bytes.find('\n');
  const bool complete = end != std::string_view::npos;
  const std::size_t taken = complete ? end + 1 : bytes.size();
  if (state_ != State::kOverlong && line_.size() + taken > rules_.max_line_bytes) {
    out += "500 5.5.2 line too long\r\n";
    state_ = State::kOverlong;
    line_.clear();
  }
  if (state_ == State::kOverlong) {
    if (complete) state_ = State::kCommand;
    return taken;
  }
  line_.append(bytes.substr(0, taken));
  if (!complete) return taken;

  std::string line = std::exchange(line_, {});
  if (!line.ends_with("\r\n")) {
    out += "500 5.5.2 a line ends in CR LF\r\n";
    return taken;
  }
  line.resize(line.size() - 2);
  if (state_ == State::kCommand) {
    Command(line, out);
  } else {
    AuthAnswer(line, out);
  }
  return taken;
}

void CatchSession::Command(std::string_view line, std::string& out) {
  if (ModText::HasControls(line)) {
    out += "500 5.5.2 control character in a command\r\n";
    return;
  }
  std::string_view argument = line;
  const std::string verb = ModText::LowerAscii(TakeWord(argument));
  if (verb == "mail") return Mail(argument, out);
  if (verb == "rcpt") return Recipient(argument, out);
  if (verb == "data") return Data(out);
  if (verb == "bdat") return Chunk(argument, out);
  if (verb == "ehlo") return Hello(argument, true, out);
  if (verb == "helo") return Hello(argument, false, out);
  if (verb == "auth") return Auth(argument, out);
  if (verb == "rset") {
    Reset();
    out += "250 2.0.0 reset\r\n";
  } else if (verb == "noop") {
    out += "250 2.0.0 ok\r\n";
  } else if (verb == "vrfy") {
    out += "252 2.5.1 send it and see\r\n";
  } else if (verb == "quit") {
    state_ = State::kFinished;
    out += "221 2.0.0 bye\r\n";
  } else {
    out += "500 5.5.1 command not known\r\n";
  }
}

void CatchSession::Hello(std::string_view argument, bool extended, std::string& out) {
  if (argument.empty()) {
    out += "501 5.5.4 name yourself\r\n";
    return;
  }
  Reset();
  greeted_ = true;
  if (!extended) {
    out += "250 localhost\r\n";
    return;
  }
  out += "250-localhost\r\n250-PIPELINING\r\n250-CHUNKING\r\n250-8BITMIME\r\n250-SMTPUTF8\r\n";
  out += "250-ENHANCEDSTATUSCODES\r\n250-AUTH PLAIN LOGIN\r\n";
  out += "250 SIZE " + std::to_string(rules_.max_message_bytes) + "\r\n";
}

void CatchSession::Auth(std::string_view argument, std::string& out) {
  if (!greeted_ || logged_in_ || has_sender_) {
    out += "503 5.5.1 AUTH is out of place\r\n";
    return;
  }
  const std::string mechanism = ModText::LowerAscii(TakeWord(argument));
  if (mechanism == "plain") {
    state_ = State::kPlain;
  } else if (mechanism == "login") {
    state_ = State::kLogin;
  } else {
    out += "504 5.5.4 mechanism not known\r\n";
    return;
  }
  if (!argument.empty()) return AuthAnswer(argument, out);
  out += state_ == State::kPlain ? "334 \r\n" : "334 VXNlcm5hbWU6\r\n";
}

void CatchSession::AuthAnswer(std::string_view line, std::string& out) {
  const State asked = std::exchange(state_, State::kCommand);
  if (line == "*") {
    out += "501 5.7.0 login given up\r\n";
  } else if (!IsBase64(line)) {
    out += "501 5.5.2 that is no Base64\r\n";
  } else if (asked == State::kLogin) {
    state_ = State::kPassword;
    out += "334 UGFzc3dvcmQ6\r\n";
  } else {
    logged_in_ = true;
    out += "235 2.7.0 welcome\r\n";
  }
}

void CatchSession::Mail(std::string_view argument, std::string& out) {
  if (!greeted_ || has_sender_) {
    out += greeted_ ? "503 5.5.1 one message at a time\r\n" : "503 5.5.1 EHLO first\r\n";
    return;
  }
  constexpr std::string_view kFrom = "FROM:";
  std::string_view path;
  if (!ModText::StartsWithIgnoringAsciiCase(argument, kFrom)) {
    out += "501 5.5.4 MAIL FROM:<address>\r\n";
    return;
  }
  argument.remove_prefix(kFrom.size());
  if (!TakePath(argument, path) || (!path.empty() && !IsAddress(path)) ||
      (!argument.empty() && argument.front() != ' ')) {
    out += "501 5.1.7 bad sender address\r\n";
    return;
  }
  argument = ModText::Trim(argument);
  bool smtputf8 = false;
  while (!argument.empty()) {
    const std::string_view refusal = RefuseParameter(TakeWord(argument), rules_, smtputf8);
    if (!refusal.empty()) {
      out += refusal;
      return;
    }
  }
  if (!smtputf8 && !ModText::IsAscii(path)) {
    out += "553 5.6.7 address needs SMTPUTF8\r\n";
    return;
  }
  has_sender_ = true;
  smtputf8_ = smtputf8;
  message_.sender = path;
  out += "250 2.1.0 ok\r\n";
}

void CatchSession::Recipient(std::string_view argument, std::string& out) {
  if (!has_sender_ || chunked_) {
    out += "503 5.5.1 RCPT is out of place\r\n";
    return;
  }
  constexpr std::string_view kTo = "TO:";
  std::string_view path;
  if (!ModText::StartsWithIgnoringAsciiCase(argument, kTo)) {
    out += "501 5.5.4 RCPT TO:<address>\r\n";
    return;
  }
  argument.remove_prefix(kTo.size());
  if (!TakePath(argument, path) ||
      !(IsAddress(path) || ModText::EqualsIgnoringAsciiCase(path, "postmaster"))) {
    out += "501 5.1.3 bad recipient address\r\n";
  } else if (!argument.empty()) {
    out += "555 5.5.4 parameter not known\r\n";
  } else if (!smtputf8_ && !ModText::IsAscii(path)) {
    out += "553 5.6.7 address needs SMTPUTF8\r\n";
  } else if (message_.recipients.size() >= rules_.max_recipients) {
    out += "452 4.5.3 too many recipients\r\n";
  } else if (MatchesAny(rules_.refuse, path)) {
    out += "550 5.1.1 no such mailbox here\r\n";
  } else if (MatchesAny(rules_.defer, path) && deferred_.emplace(path).second) {
    out += "450 4.2.1 come again later\r\n";
  } else {
    message_.recipients.emplace_back(path);
    out += "250 2.1.5 ok\r\n";
  }
}

void CatchSession::Data(std::string& out) {
  if (!has_sender_ || chunked_) {
    out += "503 5.5.1 DATA is out of place\r\n";
  } else if (message_.recipients.empty()) {
    out += "554 5.5.1 no valid recipients\r\n";
  } else {
    state_ = State::kData;
    data_line_ = Line::kStart;
    out += "354 end with a dot on a line of its own\r\n";
  }
}

// The bytes of a chunk follow its command whatever we think of it, so they are always read.
void CatchSession::Chunk(std::string_view argument, std::string& out) {
  std::uint64_t size = 0;
  const std::string_view digits = TakeWord(argument);
  const bool last = ModText::EqualsIgnoringAsciiCase(argument, "LAST");
  if (!ModText::ParseUnsigned(digits, UINT64_MAX, &size) || (!argument.empty() && !last)) {
    out += "501 5.5.4 BDAT size [LAST]\r\n";
    return;
  }
  chunk_reply_.clear();
  if (!has_sender_ || failed_) {
    chunk_reply_ = "503 5.5.1 BDAT is out of place\r\n";
  } else if (message_.recipients.empty()) {
    chunk_reply_ = "554 5.5.1 no valid recipients\r\n";
  }
  chunked_ = has_sender_;
  chunk_left_ = size;
  chunk_is_last_ = last;
  state_ = State::kChunk;
  if (size == 0) TakeChunk({}, out);
}

std::size_t CatchSession::TakeChunk(std::string_view bytes, std::string& out) {
  const std::size_t taken =
      static_cast<std::size_t>(std::min<std::uint64_t>(chunk_left_, bytes.size()));
  if (chunk_reply_.empty()) Keep(bytes.substr(0, taken));
  chunk_left_ -= taken;
  if (chunk_left_ > 0) return taken;

  state_ = State::kCommand;
  if (!chunk_reply_.empty()) {
    out += chunk_reply_;
    failed_ = has_sender_;
    if (chunk_is_last_) Reset();
  } else if (chunk_is_last_) {
    FinishMessage(out);
  } else if (failed_) {
    out += "552 5.3.4 message too large\r\n";
  } else {
    out += "250 2.0.0 go on\r\n";
  }
  return taken;
}

// Only CR LF ends a line here, so that a lone CR or LF in front of a dot ends no message.
std::size_t CatchSession::TakeData(std::string_view bytes, std::string& out) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const char c = bytes[i];
    switch (data_line_) {
      case Line::kStart:
        if (c == '.') ++i;
        data_line_ = c == '.' ? Line::kDot : Line::kMiddle;
        break;
      case Line::kMiddle: {
        const std::size_t cr = bytes.find('\r', i);
        const std::size_t end = cr == std::string_view::npos ? bytes.size() : cr + 1;
        Keep(bytes.substr(i, end - i));
        if (cr != std::string_view::npos) data_line_ = Line::kCr;
        i = end;
        break;
      }
      case Line::kCr:
        if (c == '\n') {
          Keep("\n");
          ++i;
          data_line_ = Line::kStart;
        } else {
          data_line_ = Line::kMiddle;
        }
        break;
      case Line::kDot:
        if (c == '\r') ++i;
        data_line_ = c == '\r' ? Line::kDotCr : Line::kMiddle;
        break;
      case Line::kDotCr:
        if (c == '\n') {
          state_ = State::kCommand;
          FinishMessage(out);
          return i + 1;
        }
        Keep("\r");
        data_line_ = Line::kCr;
        break;
    }
  }
  return i;
}

void CatchSession::Keep(std::string_view bytes) {
  if (failed_) return;
  if (message_.bytes.size() + bytes.size() > rules_.max_message_bytes) {
    failed_ = true;
    message_.bytes.clear();
    return;
  }
  message_.bytes.append(bytes);
}

void CatchSession::FinishMessage(std::string& out) {
  if (failed_) {
    out += "552 5.3.4 message too large\r\n";
  } else if (Status stored = deliver_(message_); !stored.ok()) {
    out += "451 4.3.0 " + ModText::Printable(stored.text()) + "\r\n";
  } else {
    out += "250 2.0.0 caught\r\n";
  }
  Reset();
}

void CatchSession::Reset() {
  has_sender_ = smtputf8_ = chunked_ = failed_ = false;
  message_.sender.clear();
  message_.recipients.clear();
  message_.bytes.clear();  // keeps its room for the next message
}

}  // namespace vespro
