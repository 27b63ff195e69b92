#include "engine/smtp/client.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/text.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Smaller pieces of a message are copied next to the commands: one long write is cheaper than many
// short ones, above all under TLS. Attachments are longer and stay where they are.
constexpr std::size_t kCopyBelow = 8 * 1024;
// With more bytes of the path than this a command line could be longer than any server takes.
constexpr std::size_t kMaxPathBytes = 400;

// RFC 5321, section 4.5.3.2; it names none for the rest.
constexpr seconds kConnectLimit{60}, kHandshakeLimit{120}, kCommandLimit{300}, kDataLimit{120},
    kBlockLimit{180}, kEndLimit{600}, kQuitLimit{5}, kClosingLimit{30};

seconds LimitOf(Stage stage) {
  switch (stage) {
    case Stage::kData:
      return kDataLimit;
    case Stage::kEndOfData:
      return kEndLimit;
    case Stage::kQuit:
      return kQuitLimit;
    default:
      return kCommandLimit;
  }
}

bool HasHighBit(std::string_view bytes) {
  std::size_t i = 0;
  std::uint64_t any = 0;
  for (; i + 8 <= bytes.size(); i += 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + i, 8);
    any |= word;
  }
  if ((any & 0x8080808080808080U) != 0) return true;
  return !ModText::IsAscii(bytes.substr(i));
}

// The last gate before the wire, whatever was checked before: nothing may end the path or the line.
bool IsSafeInCommand(std::string_view address) {
  if (address.size() > kMaxPathBytes || ModText::HasControls(address)) return false;
  if (address.find_first_of("<>") != std::string_view::npos) return false;
  return ModText::IsUtf8(address);
}

// The word in front of the next blank, taken off `text`.
std::string_view TakeWord(std::string_view& text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

void Store(const Reply& reply, std::string text, auto& saved) {
  saved.fault = Fault::kReply;
  saved.code = reply.code;
  saved.enhanced = reply.enhanced;
  saved.text = std::move(text);
}

}  // namespace

SmtpClient::SmtpClient(const ClientOptions& options, ClientEvents& events)
    : options_(options),
      events_(events),
      sasl_(options_.credentials),
      secrets_(sasl_.Secrets()),
      active_(std::max<std::size_t>(options.window_messages, 1)) {}

// Events

void SmtpClient::Connected(std::string hello_name, bool loopback) {
  assert(state_ == State::kNew);
  hello_name_ = std::move(hello_name);
  loopback_ = loopback;
  Expect(Stage::kGreeting);
  state_ = options_.tls_from_start ? State::kHandshake : State::kSetUp;
}

void SmtpClient::TlsEstablished() {
  assert(state_ == State::kHandshake);
  secure_ = true;
  state_ = State::kSetUp;
  // What was said before the handshake counts for nothing (RFC 3207, section 4.2).
  if (!options_.tls_from_start) SendEhlo("EHLO ");
}

void SmtpClient::Received(std::string_view bytes) {
  while (state_ != State::kOver) {
    const ReplyParser::ParseResult got = parser_.Feed(bytes);
    if (got == ReplyParser::ParseResult::kMore) return;
    if (got == ReplyParser::ParseResult::kProtocolError) {
      return ProtocolError("the server sent something that is no SMTP reply");
    }
    OnReply(parser_.reply());
    if (state_ == State::kHandshake && !bytes.empty()) {
      return FailSession(Stage::kStartTls, Fault::kTls,
                         "the server's answer to STARTTLS came with more text behind it: somebody "
                         "may be meddling with the connection");
    }
  }
}

void SmtpClient::Written(std::uint64_t bytes) {
  written_ += bytes;
  assert(written_ <= taken_);
  Advance();
}

void SmtpClient::Lost(Fault fault, std::string_view text) {
  if (state_ == State::kOver) return;
  if (state_ == State::kQuitting) {
    state_ = State::kOver;  // everything is finished, the farewell is a courtesy
    return;
  }
  // The close announced by 421: later commands were not processed.
  if (closing_at_ == replies_ && fault != Fault::kTimeout) {
    return SessionOver(drain_failure_, drain_text_);
  }
  Stage stage = Stage::kConnect;
  if (!expected_.empty()) {
    stage = expected_.front().stage;
  } else if (state_ == State::kHandshake) {
    stage = Stage::kStartTls;
  } else if (state_ == State::kReady) {
    stage = Stage::kReset;
  }
  FailSession(stage, fault, std::string(text));
}

// Our own decision to end the session: assume that a write in progress was delivered.
void SmtpClient::ProtocolError(std::string_view text) {
  count_queued_as_sent_ = true;
  Lost(Fault::kProtocolError, text);
}

// The dialogue up to the first message

void SmtpClient::OnReply(const Reply& reply) {
  ++replies_;
  if (expected_.empty()) {
    if (reply.code == 421) return On421({Stage::kReset, 0, 0}, reply);
    return ProtocolError("the server answered what was not asked: " + Redacted(reply));
  }
  const PendingReply expected = expected_.front();
  expected_.pop_front();
  if (expected.stage == Stage::kQuit) {
    state_ = State::kOver;
  } else if (reply.code == 421) {
    On421(expected, reply);
  } else if (expected.stage < Stage::kMail) {
    OnSetUpReply(expected.stage, reply);
  } else {
    OnTransactionReply(expected, reply);
  }
}

void SmtpClient::OnSetUpReply(Stage stage, const Reply& reply) {
  const auto fail = [&] {
    SessionOver({.stage = stage, .code = reply.code, .enhanced = reply.enhanced}, Redacted(reply));
  };
  switch (stage) {
    case Stage::kGreeting:
      return reply.code == 220 ? SendEhlo("EHLO ") : fail();
    case Stage::kEhlo:
      return reply.severity() == 2 || reply.severity() == 5 ? OnEhlo(reply) : fail();
    case Stage::kAuth:
      // Offered and not known, or too weak for this account. Any other refusal is the password's,
      // and trying it again in another way would only lock the account.
      if (reply.code == 504 || reply.code == 534) {
        sasl_.RejectMechanism();
        if (std::string command; sasl_.Begin(channel_security(), command)) return SendAuth(command);
      }
      return reply.severity() == 2 || reply.severity() == 3 ? OnAuth(reply) : fail();
    case Stage::kStartTls:
      if (reply.code != 220) return fail();  // never on without TLS where it was offered
      parser_.Reset();
      state_ = State::kHandshake;
      return;
    default:
      assert(false && "no stage of the set-up");
  }
}

void SmtpClient::SendEhlo(std::string_view verb) {
  starttls_ = pipelining_ = chunking_ = eight_bit_ = utf8_ = false;
  size_ = false;
  sasl_.Forget();
  max_size_ = max_recipients_ = max_messages_ = 0;
  AppendCommand(verb);
  AppendCommand(hello_name_);
  AppendCommand("\r\n");
  Expect(Stage::kEhlo);
  said_helo_ = verb.front() == 'H';
}

void SmtpClient::OnEhlo(const Reply& reply) {
  if (reply.severity() == 5) {
    if (!said_helo_) return SendEhlo("HELO ");
    return SessionOver({.stage = Stage::kEhlo, .code = reply.code, .enhanced = reply.enhanced},
                       Redacted(reply));
  }
  if (!said_helo_) ReadExtensions(reply.text);
  AfterEhlo();
}

void SmtpClient::ReadExtensions(std::string_view text) {
  std::vector<std::string_view> lines = ModText::Split(text, '\n');
  for (std::size_t i = 1; i < lines.size(); ++i) {
    std::string_view rest = lines[i];
    const std::string keyword = ModText::LowerAscii(TakeWord(rest));
    if (keyword == "starttls") starttls_ = true;
    if (keyword == "pipelining") pipelining_ = options_.use_pipelining;
    if (keyword == "chunking") chunking_ = options_.use_chunking;
    if (keyword == "8bitmime") eight_bit_ = true;
    if (keyword == "smtputf8") utf8_ = true;
    if (keyword == "size") {
      size_ = true;
      if (!ModText::ParseUnsigned(TakeWord(rest), UINT64_MAX, &max_size_)) max_size_ = 0;
    }
    if (keyword == "limits") ReadLimits(rest);
    if (keyword == "auth") ReadMechanisms(rest);
    // Servers older than RFC 2554 join the first mechanism with "=".
    if (keyword.starts_with("auth=")) {
      ReadMechanisms(keyword.substr(5));
      ReadMechanisms(rest);
    }
  }
}

void SmtpClient::ReadLimits(std::string_view value) {
  for (std::string_view word = TakeWord(value); !word.empty(); word = TakeWord(value)) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string_view name = word.substr(0, equals);
    std::uint64_t number = 0;
    if (equals == word.size()) continue;
    if (!ModText::ParseUnsigned(word.substr(equals + 1), 1'000'000, &number)) continue;
    if (ModText::EqualsIgnoringAsciiCase(name, "RCPTMAX")) max_recipients_ = number;
    if (ModText::EqualsIgnoringAsciiCase(name, "MAILMAX")) max_messages_ = number;
  }
}

void SmtpClient::ReadMechanisms(std::string_view value) {
  for (std::string_view word = TakeWord(value); !word.empty(); word = TakeWord(value)) {
    sasl_.Offer(word);
  }
}

void SmtpClient::AfterEhlo() {
  if (!secure_ && options_.tls != TlsUse::kOff && starttls_) {
    AppendCommand("STARTTLS\r\n");
    return Expect(Stage::kStartTls);
  }
  if (!secure_ && options_.tls == TlsUse::kRequired) {
    return FailSession(Stage::kStartTls, Fault::kNoTls, "the server does not offer TLS");
  }
  if (!options_.credentials.login.empty()) return StartLogin();
  state_ = State::kReady;
  was_ready_ = true;
}

ChannelSecurity SmtpClient::channel_security() const {
  if (secure_ || loopback_) return ChannelSecurity::kSecure;
  return options_.insecure_auth ? ChannelSecurity::kInsecureAllowed : ChannelSecurity::kInsecure;
}

void SmtpClient::StartLogin() {
  std::string command;
  if (sasl_.Begin(channel_security(), command)) return SendAuth(command);
  FailSession(Stage::kAuth, Fault::kNoAuth,
              channel_security() != ChannelSecurity::kInsecure || !sasl_.OffersAny()
                  ? "the server offers no way to log in that we know (" + sasl_.Known() + ")"
                  : "the server does not offer TLS, and a password is not sent over a clear "
                    "connection");
}

void SmtpClient::SendAuth(std::string_view command) {
  AppendCommand("AUTH ");
  AppendCommand(command);
  AppendCommand("\r\n");
  Expect(Stage::kAuth);
  secrets_ = SecretScanner(sasl_.Secrets());
}

void SmtpClient::OnAuth(const Reply& reply) {
  if (reply.severity() == 2) {
    state_ = State::kReady;
    was_ready_ = true;
    return;
  }
  const std::optional<std::string> answer = sasl_.Answer(reply.text);
  if (!answer) return ProtocolError("the server asked for more than its way to log in has");
  secrets_ = SecretScanner(sasl_.Secrets());
  AppendCommand(*answer);
  AppendCommand("\r\n");
  Expect(Stage::kAuth);
}

// Some servers repeat what they were sent. A trace of the login is enough for the reply's text to
// be left out.
std::string SmtpClient::Redacted(const Reply& reply) const {
  if (!secrets_.FoundIn(reply.text)) return ReplyLine(reply);
  return std::to_string(reply.code) + " (the server's words repeat the login and are left out)";
}

// Transactions

bool SmtpClient::CanBegin() const {
  if (state_ != State::kReady || draining_ || quit_asked_) return false;
  if (order_.empty()) return true;
  if (!pipelining_ || active_[order_.back()].next != Step::kAllSent) return false;
  if (!chunking_) return order_.size() < std::min<std::size_t>(2, active_.size());
  return order_.size() < active_.size() && bytes_in_hand_ < options_.window_bytes;
}

std::size_t SmtpClient::FreeSlot() const {
  const auto free = std::find_if(active_.begin(), active_.end(),
                                 [](const TransactionState& active) { return !active.used; });
  assert(free != active_.end() && "ask CanBegin first");
  return static_cast<std::size_t>(free - active_.begin());
}

void SmtpClient::Begin(std::size_t slot, const Transaction& transaction) {
  assert(CanBegin() && !active_[slot].used && !transaction.recipients.empty());
  TransactionState& active = active_[slot];
  active.used = true;
  active.job = transaction;
  active.next = Step::kMail;
  active.next_recipient = active.awaited = active.accepted = active.possible = 0;
  active.reset = active.body_sent = active.utf8 = active.eight_bit = false;
  active.end = 0;
  for (StoredReply* saved : {&active.mail, &active.data, &active.body}) *saved = StoredReply();
  if (active.recipients.size() < transaction.recipients.size()) {
    active.recipients.resize(transaction.recipients.size());
  }
  for (std::size_t i = 0; i < transaction.recipients.size(); ++i)
    active.recipients[i] = StoredReply();
  order_.push_back(slot);
  bytes_in_hand_ += transaction.message->bytes;
  if (!CheckEnvelope(active)) active.next = Step::kAllSent;
  Advance();
}

// Completing one frees the pipeline; the next may already have failed locally, so complete again.
void SmtpClient::Advance() {
  CompleteFinished();
  Pump();
  if (CompleteFinished()) Pump();
  if (closing_at_ && expected_.empty()) SessionOver(drain_failure_, drain_text_);
}

// False when nothing of it can be sent to this server; mail or the recipients then say why.
bool SmtpClient::CheckEnvelope(TransactionState& active) {
  const auto refuse = [](StoredReply& saved, Fault fault, std::string_view text) {
    saved.fault = fault;
    saved.text = text;
    return false;
  };
  if (!IsSafeInCommand(active.job.sender)) {
    return refuse(active.mail, Fault::kUnsafeAddress, "the sender's address can't be used");
  }
  for (const std::string_view piece : active.job.message->pieces) {
    active.eight_bit = active.eight_bit || HasHighBit(piece);
  }
  active.utf8 = !ModText::IsAscii(active.job.sender);
  if (const std::string why = MissingExtension(active); !why.empty()) {
    return refuse(active.mail, Fault::kUnsupported, why);
  }
  for (std::size_t i = 0; i < active.job.recipients.size(); ++i) {
    const std::string& address = active.job.recipients[i].address;
    if (address.empty() || !IsSafeInCommand(address)) {
      refuse(active.recipients[i], Fault::kUnsafeAddress, "the address can't be used");
    } else if (!utf8_ && !ModText::IsAscii(address)) {
      refuse(active.recipients[i], Fault::kUnsupported,
             "the server takes no addresses with letters outside ASCII (SMTPUTF8)");
    } else {
      ++active.possible;
      active.utf8 = active.utf8 || !ModText::IsAscii(address);
    }
  }
  return active.possible > 0;
}

std::string SmtpClient::MissingExtension(const TransactionState& active) const {
  const std::uint64_t bytes = active.job.message->bytes;
  if (max_size_ > 0 && bytes > max_size_) {
    return "the message has " + std::to_string(bytes) + " bytes, the server takes at most " +
           std::to_string(max_size_);
  }
  if (active.utf8 && !utf8_) {
    return "the server takes no sender with letters outside ASCII (SMTPUTF8)";
  }
  if (active.eight_bit && !eight_bit_) return "the server takes no 8-bit messages (8BITMIME)";
  return {};
}

// Puts on the wire what may go there now.
void SmtpClient::Pump() {
  if (state_ != State::kReady || closing_at_) return;
  for (const std::size_t slot : order_) {
    TransactionState& active = active_[slot];
    while (active.next != Step::kAllSent) {
      if (!IssueNext(slot, active)) return;
    }
  }
  if (order_.empty() && expected_.empty() && quit_asked_) {
    AppendCommand("QUIT\r\n");
    Expect(Stage::kQuit);
    state_ = State::kQuitting;
  }
}

// False when an answer has to come first.
bool SmtpClient::IssueNext(std::size_t slot, TransactionState& active) {
  if (awaiting_354_ || (!pipelining_ && !expected_.empty())) return false;
  switch (active.next) {
    case Step::kMail:
      // After a BDAT that may yet be refused the server's state is uncertain: no message may
      // inherit an envelope (RFC 3030, section 2).
      if (!active.reset && (needs_rset_ || (chunking_ && !expected_.empty()))) {
        AppendCommand("RSET\r\n");
        Expect(Stage::kReset);
        active.reset = true;
        needs_rset_ = false;
        return true;
      }
      IssueMail(slot, active);
      return true;
    case Step::kRcpt:
      return IssueRecipient(slot, active);
    case Step::kData:
      return IssueBody(slot, active);
    case Step::kAllSent:
      break;
  }
  return true;
}

void SmtpClient::IssueMail(std::size_t slot, TransactionState& active) {
  AppendCommand("MAIL FROM:<");
  AppendCommand(active.job.sender);
  AppendCommand(">");
  if (size_) AppendCommand(" SIZE=" + std::to_string(active.job.message->bytes));
  if (active.eight_bit) AppendCommand(" BODY=8BITMIME");
  if (active.utf8) AppendCommand(" SMTPUTF8");
  AppendCommand("\r\n");
  Expect(Stage::kMail, slot);
  ++active.awaited;
  active.next = Step::kRcpt;
}

bool SmtpClient::IssueRecipient(std::size_t slot, TransactionState& active) {
  if (active.mail.failed()) {
    active.next = Step::kAllSent;
    return true;
  }
  while (active.next_recipient < active.job.recipients.size() &&
         active.recipients[active.next_recipient].failed()) {
    ++active.next_recipient;
  }
  if (active.next_recipient == active.job.recipients.size()) {
    active.next = Step::kData;
    return true;
  }
  AppendCommand("RCPT TO:<");
  AppendCommand(active.job.recipients[active.next_recipient].address);
  AppendCommand(">\r\n");
  Expect(Stage::kRcpt, slot, active.next_recipient++);
  ++active.awaited;
  return true;
}

bool SmtpClient::IssueBody(std::size_t slot, TransactionState& active) {
  active.next = Step::kAllSent;
  if (active.awaited == 0 && active.accepted == 0) return true;  // all refused, nothing to send
  ++active.awaited;
  if (!chunking_) {
    AppendCommand("DATA\r\n");
    Expect(Stage::kData, slot);
    awaiting_354_ = true;
    return true;
  }
  AppendCommand("BDAT " + std::to_string(active.job.message->bytes) + " LAST\r\n");
  for (const std::string_view piece : active.job.message->pieces) AddPiece(piece);
  Expect(Stage::kEndOfData, slot);
  active.body_sent = true;
  active.end = queued_;
  return true;
}

void SmtpClient::OnTransactionReply(const PendingReply& expected, const Reply& reply) {
  if (bdat_in_doubt_ && !ResolveBdatDoubt(reply)) return;
  if (expected.stage == Stage::kReset) {
    if (reply.severity() != 2 && reply.code != 421) {
      return ProtocolError("RSET was refused: " + Redacted(reply));
    }
    return Advance();
  }
  TransactionState& active = active_[expected.slot];
  const bool go_ahead = expected.stage == Stage::kData && reply.severity() == 3;
  const bool out_of_place = reply.severity() == 3 && !go_ahead;
  // A wrong guess here loses or duplicates a message.
  if (out_of_place || (expected.stage == Stage::kEndOfData && reply.contradictory)) {
    expected_.push_front(expected);  // it is not answered
    return ProtocolError(
        (out_of_place ? "an answer out of place: " : "an answer that says yes and no: ") +
        Redacted(reply));
  }
  --active.awaited;
  switch (expected.stage) {
    case Stage::kMail:
      Store(reply, Redacted(reply), active.mail);
      break;
    case Stage::kRcpt:
      Store(reply, Redacted(reply), active.recipients[expected.index]);
      if (reply.severity() == 2) ++active.accepted;
      break;
    case Stage::kData:
      OnDataReply(active, reply);
      break;
    default:
      OnEndReply(expected.slot, reply);
      break;
  }
  Advance();
}

// "Command not known", to a BDAT, may be about the command or about the message. About the command:
// then its message was read as commands, and its first line is answered in the same way.
void SmtpClient::OnEndReply(std::size_t slot, const Reply& reply) {
  TransactionState& active = active_[slot];
  Store(reply, Redacted(reply), active.body);
  if (active.body.accepted() && active.accepted > 0) ++messages_accepted_;
  const bool of_a_command = reply.enhanced == EnhancedCode{} ||
                            reply.enhanced == EnhancedCode{5, 5, 1} ||
                            reply.enhanced == EnhancedCode{5, 5, 2};
  if (!chunking_ || messages_accepted_ > 0 || !of_a_command) return;
  if (reply.code != 500 && reply.code != 502) return;
  bdat_in_doubt_ = slot;
  if (expected_.empty()) DisableChunking();  // no later answer will tell, and nothing can get lost
}

// The answer after the doubtful one. False when the session has ended.
bool SmtpClient::ResolveBdatDoubt(const Reply& reply) {
  if (reply.severity() == 5) {
    DisableChunking();
    return false;
  }
  bdat_in_doubt_.reset();  // it was the message
  return true;
}

// Nothing that was sent by BDAT can have been accepted where BDAT is not known.
void SmtpClient::DisableChunking() {
  chunking_failed_ = true;
  active_[*bdat_in_doubt_].body.fault = Fault::kProtocolError;
  for (const std::size_t slot : order_) active_[slot].body_sent = false;
  bdat_in_doubt_.reset();
  ProtocolError("the server offers CHUNKING and does not know BDAT");
}

void SmtpClient::OnDataReply(TransactionState& active, const Reply& reply) {
  awaiting_354_ = false;
  if (reply.severity() != 3) {
    // 2xx to DATA says nothing that makes sense; it counts as no.
    Store(reply, Redacted(reply), active.data);
    if (active.data.accepted()) active.data.fault = Fault::kProtocolError;
    return;
  }
  active.data.code = 250;
  const auto slot = static_cast<std::size_t>(&active - active_.data());
  ++active.awaited;
  if (active.accepted == 0 || !active.mail.accepted()) {
    AppendCommand(
        ".\r\n");  // the server took DATA without a recipient: an empty end (RFC 2920, section 3.1)
    Expect(Stage::kEndOfData, slot);
    return;
  }
  AddStuffed(*active.job.message);
  Expect(Stage::kEndOfData, slot);
  active.body_sent = true;
  active.end = queued_;
}

// The server closes the connection after this reply (RFC 5321, section 3.8). One that does not,
// and answers what was sent after it, is listened to: it may yet accept a message.
void SmtpClient::On421(const PendingReply& expected, const Reply& reply) {
  const Failure failure{.stage = expected.stage, .code = 421, .enhanced = reply.enhanced};
  if (expected.stage < Stage::kMail || state_ != State::kReady) {
    return SessionOver(failure, Redacted(reply));
  }
  if (!closing_at_) {
    draining_ = true;
    drain_failure_ = failure;
    drain_text_ = Redacted(reply);
  }
  closing_at_ = replies_;
  OnTransactionReply(expected, reply);
}

void SmtpClient::Quit() {
  quit_asked_ = true;
  Pump();
}

// Results

bool SmtpClient::IsFinished(const TransactionState& active) const {
  return active.next == Step::kAllSent && active.awaited == 0 && written_ >= active.end;
}

bool SmtpClient::MayHaveEnded(const TransactionState& active) const {
  return active.body_sent && (count_queued_as_sent_ ? taken_ : written_) >= active.end;
}

// Returns whether any completed.
bool SmtpClient::CompleteFinished() {
  if (bdat_in_doubt_) return false;
  bool any = false;
  while (!order_.empty() && IsFinished(active_[order_.front()])) {
    Complete(order_.front(), nullptr, {});
    any = true;
  }
  if (draining_ && order_.empty() && state_ == State::kReady) {
    EndSession(drain_failure_, drain_text_);
  }
  return any;
}

// Tells every recipient's answer. `lost` is set when the session ended before the transaction did.
void SmtpClient::Complete(std::size_t slot, const Failure* lost, const std::string& lost_text) {
  TransactionState& active = active_[slot];
  const bool taken = active.body_sent && active.body.accepted();
  const bool ended = MayHaveEnded(active);
  const bool head_of_line = order_.front() == slot;
  order_.erase(std::find(order_.begin(), order_.end(), slot));
  bytes_in_hand_ -= active.job.message->bytes;
  if (!taken && active.mail.accepted()) needs_rset_ = true;

  StoredReply open;  // for what was not answered
  if (lost != nullptr) {
    open.fault = lost->fault;
    open.code = lost->code;
    open.enhanced = lost->enhanced;
    open.text = lost_text;
  }
  for (std::size_t i = 0; i < active.job.recipients.size(); ++i) {
    const StoredReply& recipient = active.recipients[i];
    const bool local = recipient.fault != Fault::kReply;
    if (!local && active.mail.failed() && !(taken && recipient.accepted())) {
      Report(slot, i, active.mail, Stage::kMail, head_of_line);
    } else if (recipient.failed()) {
      Report(slot, i, recipient, Stage::kRcpt, head_of_line);
    } else if (taken && recipient.accepted()) {
      Report(slot, i, active.body, Stage::kEndOfData, head_of_line);
    } else if (active.data.failed()) {
      Report(slot, i, active.data, Stage::kData, head_of_line);
    } else if (active.body.failed()) {
      Report(slot, i, active.body, Stage::kEndOfData, head_of_line);
    } else {
      const Stage stage = ended                ? Stage::kEndOfData
                          : active.mail.open() ? Stage::kMail
                          : recipient.open()   ? Stage::kRcpt
                                               : Stage::kData;
      Report(slot, i, open, stage, head_of_line);
    }
  }
  active.used = false;
  events_.OnFinished(slot);
}

void SmtpClient::Report(std::size_t slot, std::size_t index, const StoredReply& saved, Stage stage,
                        bool head_of_line) {
  const TransactionState& active = active_[slot];
  Answer answer;
  answer.reply = saved.text;
  answer.accepted = stage == Stage::kEndOfData && saved.accepted();
  if (!answer.accepted) {
    answer.failure = {.stage = stage,
                      .fault = saved.fault,
                      .code = saved.fault == Fault::kReply ? saved.code : 0,
                      .enhanced = saved.enhanced,
                      .others_accepted = active.accepted > 0,
                      .delivered_before = messages_accepted_ > 0,
                      .end_of_data_sent = MayHaveEnded(active),
                      .head_of_line = head_of_line};
    answer.disposition = Classify(answer.failure);
    if (state_ == State::kReady && answer.disposition.close_connection && !draining_) {
      draining_ = true;
      drain_failure_ = answer.failure;
      drain_text_ = saved.text;
    }
  }
  events_.OnRecipient(slot, index, answer);
}

void SmtpClient::FailSession(Stage stage, Fault fault, const std::string& text) {
  Failure failure;
  failure.stage = stage;
  failure.fault = fault;
  SessionOver(failure, text);
}

void SmtpClient::SessionOver(const Failure& failure, const std::string& text) {
  if (state_ == State::kOver) return;
  state_ = State::kOver;
  bdat_in_doubt_.reset();
  expected_.clear();
  text_.clear();
  parts_.clear();
  queued_ = taken_;
  // Backwards, so that only the oldest one is head of line.
  const std::vector<std::size_t> slots = order_;
  for (std::size_t i = slots.size(); i-- > 0;) Complete(slots[i], &failure, text);
  Failure last = failure;
  last.delivered_before = messages_accepted_ > 0;
  EndSession(last, text);
}

void SmtpClient::EndSession(const Failure& failure, const std::string& text) {
  state_ = State::kOver;
  events_.OnSessionFailed(failure, Classify(failure), text);
}

// Output

void SmtpClient::Expect(Stage stage, std::size_t slot, std::size_t index) {
  expected_.push_back({stage, slot, index});
}

void SmtpClient::AppendCommand(std::string_view text) { Add(text); }

void SmtpClient::Add(std::string_view bytes) {
  queued_ += bytes.size();
  if (!parts_.empty() && parts_.back().elsewhere == nullptr) {
    parts_.back().size += bytes.size();
  } else {
    parts_.push_back({nullptr, text_.size(), bytes.size()});
  }
  text_ += bytes;
}

void SmtpClient::AddPiece(std::string_view piece) {
  if (piece.size() < kCopyBelow) return Add(piece);
  queued_ += piece.size();
  parts_.push_back({piece.data(), 0, piece.size()});
}

// Doubles every dot at the beginning of a line and adds the end (RFC 5321, section 4.5.2). The very
// first line counts, and so does a line that begins with a piece.
void SmtpClient::AddStuffed(const RenderedMessage& message) {
  bool line_start = true;
  char last[2] = {'\r', '\n'};
  for (std::string_view piece : message.pieces) {
    if (piece.empty()) continue;
    if (line_start && piece.front() == '.') Add(".");
    last[0] = piece.size() > 1 ? piece[piece.size() - 2] : last[1];
    last[1] = piece.back();
    line_start = piece.back() == '\n';
    for (std::size_t dot; (dot = piece.find("\n.")) != std::string_view::npos;) {
      AddPiece(piece.substr(0, dot + 1));
      Add(".");
      piece.remove_prefix(dot + 1);
    }
    AddPiece(piece);
  }
  if (last[0] != '\r' || last[1] != '\n') Add("\r\n");
  Add(".\r\n");
}

bool SmtpClient::TakeOutput(WireBytes& out) {
  if (parts_.empty()) return false;
  out.text.clear();
  out.text.swap(text_);
  out.pieces.clear();
  for (const Part& part : parts_) {
    const char* begin = part.elsewhere != nullptr ? part.elsewhere : out.text.data() + part.offset;
    out.pieces.emplace_back(begin, part.size);
  }
  parts_.clear();
  out.ended.clear();
  for (const std::size_t slot : order_) {
    if (active_[slot].body_sent && active_[slot].end > taken_) out.ended.push_back(slot);
  }
  taken_ = queued_;
  return true;
}

bool SmtpClient::MayStillAccept(std::size_t slot, std::size_t index) const {
  return !active_[slot].mail.failed() && !active_[slot].recipients[index].failed();
}

SmtpClient::NextAction SmtpClient::next_action() const {
  if (state_ == State::kOver) return NextAction::kClose;
  return state_ == State::kHandshake ? NextAction::kStartTls : NextAction::kNothing;
}

milliseconds SmtpClient::Scaled(seconds limit) const {
  const double scaled = static_cast<double>(milliseconds(limit).count()) * options_.timeout_scale;
  return milliseconds(std::max<std::int64_t>(1, static_cast<std::int64_t>(scaled)));
}

milliseconds SmtpClient::TimeLimit() const {
  if (state_ == State::kOver) return milliseconds(0);
  if (state_ == State::kNew) return Scaled(kConnectLimit);
  if (state_ == State::kHandshake) return Scaled(kHandshakeLimit);
  seconds limit{0};
  if (taken_ > written_) limit = kBlockLimit;
  if (!expected_.empty()) limit = std::max(limit, LimitOf(expected_.front().stage));
  if (closing_at_) limit = kClosingLimit;
  return limit.count() == 0 ? milliseconds(0) : Scaled(limit);
}

}  // namespace vespro::engine
