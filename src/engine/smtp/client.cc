#include "engine/smtp/client.h"

#include <algorithm>
#include <cassert>

namespace vespro::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// RFC 5321, section 4.5.3.2; it names none for the rest.
constexpr seconds kConnectLimit{60}, kHandshakeLimit{120}, kCommandLimit{300}, kDataLimit{120},
    kBlockLimit{180}, kEndLimit{600}, kQuitLimit{5}, kClosingLimit{30};

// Messages, and recipients, after which a confirmation is sought.
constexpr std::size_t kConfirmMessages = 100, kConfirmRecipients = 1000;
// Commands between a DATA that was refused and the next one, where BDAT serves as well: more than
// replies could be too many. The 354 that belongs to the first then comes to one of them.
constexpr std::uint64_t kDataDistance = 40;

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

Failure LocalFailure(Stage stage, Fault fault) {
  Failure failure;
  failure.stage = stage;
  failure.fault = fault;
  return failure;
}

}  // namespace

SmtpClient::SmtpClient(const ClientOptions& options, ClientEvents& events)
    : options_(options),
      events_(events),
      trace_(options.trace, options.connection),
      setup_(options_),
      transactions_(std::max<std::size_t>(options.window_messages, 1)) {}

// The only place that changes the state.
void SmtpClient::EnterState(State state, std::string_view why) {
  if (trace_.on()) trace_.Entered(state, why);
  state_ = state;
  if (state == State::kReady) was_ready_ = true;
}

// Events

void SmtpClient::Connected(std::string hello_name, bool loopback) {
  assert(state_ == State::kNew);
  expected_.push_back({Stage::kGreeting});
  EnterState(State::kSetUp);
  TakeSetupStep(setup_.Connected(std::move(hello_name), loopback));
}

void SmtpClient::TlsEstablished() {
  assert(state_ == State::kHandshake);
  EnterState(State::kSetUp);
  TakeSetupStep(setup_.TlsEstablished());
}

void SmtpClient::Received(std::string_view bytes) {
  while (state_ != State::kOver) {
    const ReplyParser::ParseResult got = parser_.Feed(bytes);
    if (got == ReplyParser::ParseResult::kMore) return;
    if (got == ReplyParser::ParseResult::kProtocolError) {
      if (trace_.on()) trace_.NoReply();
      return ProtocolError("the server sent something that is no SMTP reply");
    }
    OnReply(parser_.reply());
    if (state_ == State::kHandshake && !bytes.empty()) {
      return SessionOver(LocalFailure(Stage::kStartTls, Fault::kTls),
                         "the server's answer to STARTTLS came with more text after it: somebody "
                         "may be meddling with the connection");
    }
  }
}

void SmtpClient::Written(std::uint64_t bytes) {
  output_.Written(bytes);
  // The write that was under way when the answer came is finished, and did not have all of it.
  if (early_ > output_.written()) return OutOfStep("the server answered before it was asked");
  early_ = 0;
  Advance();
}

void SmtpClient::Lost(Fault fault, std::string_view text) {
  if (state_ == State::kOver) return;
  if (state_ == State::kQuitting) {
    if (odd_quit_reply_ && fault == Fault::kTimeout) {
      return OutOfStep("there was a reply left at QUIT");
    }
    // Everything is answered, QUIT is a courtesy.
    confirmed_ = order_.size();
    return EndAfterQuit();
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
  SessionOver(LocalFailure(stage, fault), std::string(text));
}

// Our own decision to end the session: assume that a write in progress was delivered.
void SmtpClient::ProtocolError(std::string_view text) {
  count_queued_as_sent_ = true;
  Lost(Fault::kProtocolError, text);
}

// Whose the answers since the last confirmation are is not known.
void SmtpClient::OutOfStep(const std::string& text) {
  count_queued_as_sent_ = true;
  const Stage stage = expected_.empty() ? Stage::kReset : expected_.front().stage;
  SessionOver(LocalFailure(stage, Fault::kOutOfStep), text);
}

// Replies

void SmtpClient::TakeSetupStep(const SessionSetup::Step& step) {
  switch (step.kind) {
    case SessionSetup::Step::Kind::kSend:
      return Send(step.command, step.stage);
    case SessionSetup::Step::Kind::kWait:
      return;
    case SessionSetup::Step::Kind::kStartTls:
      parser_.Reset();
      return EnterState(State::kHandshake);
    case SessionSetup::Step::Kind::kReady:
      return EnterState(State::kReady);
    case SessionSetup::Step::Kind::kFailed:
      return SessionOver(step.failure, step.text);
  }
}

void SmtpClient::OnReply(const Reply& reply) {
  ++replies_;
  if (trace_.on()) {
    setup_.RepeatsLogin(reply.text) ? trace_.Redacted(setup_.Redacted(reply))
                                    : trace_.Replied(reply);
  }
  if (expected_.empty()) {
    if (reply.code == 421) return On421({Stage::kReset}, reply);
    return OutOfStep("the server answered what was not asked: " + setup_.Redacted(reply));
  }
  const PendingReply pending = expected_.front();
  if (pending.due > output_.taken()) {
    return OutOfStep("the server answered what was not asked: " + setup_.Redacted(reply));
  }
  if (pending.stage == Stage::kQuit) return OnQuitReply(reply);
  expected_.pop_front();
  if (pending.due > output_.written()) early_ = std::max(early_, pending.due);
  if (reply.code == 421) {
    On421(pending, reply);
  } else if (pending.stage < Stage::kMail) {
    TakeSetupStep(setup_.OnReply(pending.stage, reply));
  } else {
    OnTransactionReply(pending, reply);
  }
}

// Some servers have another code for QUIT; one that has more to say then answers too often.
void SmtpClient::OnQuitReply(const Reply& reply) {
  if (odd_quit_reply_ || reply.severity() == 3) {
    return OutOfStep("there was a reply left at QUIT: " + setup_.Redacted(reply));
  }
  odd_quit_reply_ = reply.code != 221 && reply.code != 421;
  if (odd_quit_reply_) return;
  Confirm(order_.size());
  EndAfterQuit();
}

void SmtpClient::EndAfterQuit() {
  CompleteFinished();
  if (draining_) return EndSession(drain_failure_, drain_text_);
  EnterState(State::kOver);
}

// What the code alone can tell, and what the answers before it allow. A server that has said 421
// may answer the rest as it likes.
bool SmtpClient::IsInStep(const PendingReply& pending, const Reply& reply) {
  if (!CanAnswer(pending.stage, reply, extensions().pipelining)) return false;
  if (setup_.IsEhloReply(reply)) return false;
  if (pending.stage == Stage::kReset) return reply.severity() == 2 || reply.code == 421;
  if (reply.severity() != 2 || closing_at_) return true;
  const Transaction& transaction = transactions_[pending.slot];
  if (pending.stage == Stage::kRcpt) return !transaction.IsSenderRefused();
  if (pending.stage != Stage::kEndOfData || !transaction.body_sent()) return true;
  if (transaction.end() > output_.written()) early_ = std::max(early_, transaction.end());
  return transaction.HasRecipients();
}

void SmtpClient::OnTransactionReply(const PendingReply& pending, const Reply& reply) {
  if (bdat_in_doubt_ && !ResolveBdatDoubt(reply)) return;
  // A wrong guess here loses or duplicates a message.
  if (!IsInStep(pending, reply)) {
    if (pending.stage == Stage::kReset)
      return OutOfStep("RSET was refused: " + setup_.Redacted(reply));
    expected_.push_front(pending);  // it is not answered
    return OutOfStep("an answer out of place: " + setup_.Redacted(reply));
  }
  if (pending.stage == Stage::kReset) return Advance();
  if (pending.stage == Stage::kEndOfData && reply.contradictory) {
    expected_.push_front(pending);
    return ProtocolError("an answer that says yes and no: " + setup_.Redacted(reply));
  }
  Transaction& transaction = transactions_[pending.slot];
  switch (pending.stage) {
    case Stage::kMail:
      transaction.OnMailReply(reply, setup_.Redacted(reply));
      break;
    case Stage::kRcpt:
      transaction.OnRecipientReply(pending.index, reply, setup_.Redacted(reply));
      break;
    case Stage::kData:
      awaiting_354_ = false;
      if (transaction.OnDataReply(reply, setup_.Redacted(reply))) {
        const auto place = std::find(order_.begin(), order_.end(), pending.slot);
        Confirm(static_cast<std::size_t>(place - order_.begin()));
        SendMessageText(pending.slot, transaction);
        break;
      }
      data_refused_at_ = commands_;
      if (IsOddRefusal(transaction, reply)) {
        QuitToConfirm();
      }
      break;
    default:
      OnEndReply(pending.slot, reply);
      break;
  }
  Advance();
}

// DATA refused for another reason than that nobody is left to send to. Were it a reply too many,
// the server would wait for the message now, and its 354 could be taken for that of the next DATA:
// then one message would go to the recipients of another. A single command at a time rules that
// out.
bool SmtpClient::IsOddRefusal(const Transaction& transaction, const Reply& reply) const {
  if (!extensions().pipelining && transaction.recipients() == 1) return false;
  const bool nobody = reply.code == 503 || reply.code == 554;
  return !nobody || transaction.HasRecipients() || !transaction.IsSenderRefusedInOrder();
}

// Nothing is told before QUIT confirms it; what is begun and not sent goes back.
void SmtpClient::QuitToConfirm() {
  quit_asked_ = hold_all_ = true;
  const std::size_t last = order_.back();
  if (transactions_[last].next() != Transaction::Step::kMail) return;
  const Failure failure = LocalFailure(Stage::kMail, Fault::kClosed);
  Complete(last, &failure, "the connection is renewed");
}

// "Command not known", to a BDAT, may be about the command or about the message. About the command:
// then its message was read as commands, and its first line is answered in the same way.
void SmtpClient::OnEndReply(std::size_t slot, const Reply& reply) {
  Transaction& transaction = transactions_[slot];
  transaction.OnEndReply(reply, setup_.Redacted(reply));
  if (transaction.IsAccepted()) ++messages_accepted_;
  const bool of_a_command = reply.enhanced == EnhancedCode{} ||
                            reply.enhanced == EnhancedCode{5, 5, 1} ||
                            reply.enhanced == EnhancedCode{5, 5, 2};
  if (!extensions().chunking || messages_accepted_ > 0 || !of_a_command) return;
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
  transactions_[*bdat_in_doubt_].RejectBody();
  for (const std::size_t slot : order_) transactions_[slot].ForgetBody();
  bdat_in_doubt_.reset();
  ProtocolError("the server offers CHUNKING and does not know BDAT");
}

// The server closes the connection after this reply (RFC 5321, section 3.8). One that does not,
// and answers what was sent after it, is listened to: it may yet accept a message.
void SmtpClient::On421(const PendingReply& pending, const Reply& reply) {
  const Failure failure = FailureOf(pending.stage, reply);
  if (pending.stage < Stage::kMail || state_ != State::kReady) {
    return SessionOver(failure, setup_.Redacted(reply));
  }
  if (!closing_at_) Drain(failure, setup_.Redacted(reply));
  closing_at_ = replies_;
  OnTransactionReply(pending, reply);
}

// Transactions

bool SmtpClient::CanBegin() const {
  if (state_ != State::kReady || draining_ || quit_asked_) return false;
  if (order_.empty()) return true;
  if (order_.size() == transactions_.size()) return false;
  const Extensions& offered = extensions();
  if (!offered.pipelining) return IsAllAnswered();
  if (transactions_[order_.back()].next() != Transaction::Step::kAllSent) return false;
  if (offered.chunking) return bytes_in_hand_ < options_.window_bytes;
  return in_hand() < 2;
}

std::size_t SmtpClient::in_hand() const {
  const auto open = std::count_if(order_.begin(), order_.end(), [this](std::size_t slot) {
    return !transactions_[slot].IsAnswered();
  });
  return static_cast<std::size_t>(open);
}

std::size_t SmtpClient::FreeSlot() const {
  const auto free =
      std::find_if(transactions_.begin(), transactions_.end(),
                   [](const Transaction& transaction) { return !transaction.used(); });
  assert(free != transactions_.end() && "ask CanBegin first");
  return static_cast<std::size_t>(free - transactions_.begin());
}

void SmtpClient::Begin(std::size_t slot, const Submission& submission) {
  assert(CanBegin());
  transactions_[slot].Begin(submission, extensions());
  order_.push_back(slot);
  bytes_in_hand_ += submission.message->bytes;
  ++unconfirmed_messages_;
  unconfirmed_recipients_ += submission.recipients.size();
  reset_done_ = false;
  Advance();
}

void SmtpClient::Quit() {
  quit_asked_ = true;
  Pump();
}

// Puts on the wire what may go there now.
void SmtpClient::Pump() {
  if (state_ != State::kReady || closing_at_) return;
  for (const std::size_t slot : order_) {
    Transaction& transaction = transactions_[slot];
    while (transaction.next() != Transaction::Step::kAllSent) {
      if (!SendNext(slot, transaction)) return;
    }
  }
  // QUIT also confirms what waits for it, where there is no room for another message.
  if (!expected_.empty() || !IsAllAnswered()) return;
  if (quit_asked_ || (holds_ && !CanBegin())) {
    Send("QUIT", Stage::kQuit);
    EnterState(State::kQuitting);
  }
}

// False when an answer has to come first.
bool SmtpClient::SendNext(std::size_t slot, Transaction& transaction) {
  if (awaiting_354_ || (!extensions().pipelining && !expected_.empty())) return false;
  switch (transaction.next()) {
    case Transaction::Step::kMail:
      // After a BDAT that may yet be refused the server's state is uncertain: no message may
      // inherit an envelope (RFC 3030, section 2).
      if (!reset_done_ &&
          (needs_rset_ || LeftEnvelope(slot) || (extensions().chunking && !expected_.empty()))) {
        Send("RSET", Stage::kReset);
        reset_done_ = true;
        needs_rset_ = false;
        return true;
      }
      transaction.SendMail(extensions(), command_);
      Send(command_, Stage::kMail, slot);
      return true;
    case Transaction::Step::kRcpt:
      if (std::size_t index = 0; transaction.SendRecipient(command_, index)) {
        Send(command_, Stage::kRcpt, slot, index);
      }
      return true;
    case Transaction::Step::kData:
      if (transaction.SendBody()) SendBody(slot, transaction);
      return true;
    case Transaction::Step::kAllSent:
      break;
  }
  return true;
}

// Whether the transaction before it failed and is not completed yet.
bool SmtpClient::LeftEnvelope(std::size_t slot) const {
  const auto place = std::find(order_.begin(), order_.end(), slot);
  if (place == order_.begin()) return false;
  const Transaction& before = transactions_[*std::prev(place)];
  return before.IsAnswered() && before.LeavesEnvelope();
}

void SmtpClient::SendBody(std::size_t slot, Transaction& transaction) {
  if (!extensions().chunking || ShouldConfirm()) {
    Send("DATA", Stage::kData, slot);
    awaiting_354_ = true;
    return;
  }
  Send("BDAT " + std::to_string(transaction.bytes()) + " LAST", Stage::kEndOfData, slot);
  for (const std::string_view piece : transaction.pieces()) output_.AppendPiece(piece);
  transaction.BodySent(output_.queued());
  if (trace_.on()) trace_.Message(transaction.pieces(), transaction.bytes());
}

void SmtpClient::SendMessageText(std::size_t slot, Transaction& transaction) {
  expected_.push_back({Stage::kEndOfData, slot, 0, output_.queued() + 1});
  if (!transaction.HasRecipients()) {
    // The server took DATA without a recipient: an empty end (RFC 2920, section 3.1).
    return output_.Append(".\r\n");
  }
  output_.AppendDotStuffed(transaction.pieces());
  transaction.BodySent(output_.queued());
  if (trace_.on()) trace_.Message(transaction.pieces(), transaction.bytes());
}

void SmtpClient::Send(std::string_view command, Stage stage, std::size_t slot, std::size_t index) {
  ++commands_;
  output_.Append(command);
  output_.Append("\r\n");
  expected_.push_back({stage, slot, index, output_.queued()});
  if (trace_.on()) trace_.Command(command, stage);
}

// Results

// Completing one frees the pipeline; the next may already have failed locally, so complete again.
void SmtpClient::Advance() {
  CompleteFinished();
  Pump();
  if (CompleteFinished()) Pump();
  if (closing_at_ && expected_.empty()) SessionOver(drain_failure_, drain_text_);
}

bool SmtpClient::MayHaveEnded(const Transaction& transaction) const {
  const std::uint64_t sent = count_queued_as_sent_ ? output_.taken() : output_.written();
  return transaction.body_sent() && sent >= transaction.end();
}

bool SmtpClient::IsAllAnswered() const {
  return std::all_of(order_.begin(), order_.end(), [this](std::size_t slot) {
    const Transaction& transaction = transactions_[slot];
    return transaction.IsAnswered() && output_.written() >= transaction.end();
  });
}

bool SmtpClient::ShouldConfirm() const {
  if (data_refused_at_ && commands_ - *data_refused_at_ < kDataDistance) return false;
  return holds_ || unconfirmed_messages_ >= kConfirmMessages ||
         unconfirmed_recipients_ >= kConfirmRecipients;
}

// The first so many transactions in order_, and all before them, have the answers that are theirs.
void SmtpClient::Confirm(std::size_t transactions) {
  confirmed_ = transactions;
  data_refused_at_.reset();
  CompleteFinished();
  only_refusals_ = order_.empty();
  events_.OnConfirmed();
  unconfirmed_messages_ = unconfirmed_recipients_ = 0;
  for (const std::size_t slot : order_) {
    ++unconfirmed_messages_;
    unconfirmed_recipients_ += transactions_[slot].recipients();
  }
}

// Whether somebody would be sent to again, or the server be given up, after these answers: with a
// reply too many they may be another message's, and this one may have been accepted.
bool SmtpClient::NeedsConfirmation(const Transaction& transaction) {
  // As long as there was nothing but refusals that belong together no reply can be too many: it
  // would have torn one apart. A whole list that is told to wait costs no connection.
  if (!transaction.IsRefusedInOrder()) only_refusals_ = false;
  if (only_refusals_ || transaction.IsEveryoneAccepted()) return false;
  const Transaction::Circumstances circumstances = CircumstancesOf(order_.front());
  bool needs = false;
  for (std::size_t i = 0; i < transaction.recipients(); ++i) {
    const Answer answer = transaction.AnswerFor(i, circumstances);
    if (answer.accepted || !transaction.IsUncertain(i, answer.failure.stage)) continue;
    const Action action = answer.disposition.action;
    const bool again = transaction.body_sent() && action != Action::kBounce;
    const bool gives_up = action == Action::kDisableServer && unconfirmed_messages_ > 1;
    if (!again && !gives_up) continue;
    needs = true;
    if (!answer.disposition.close_connection) continue;
    Drain(answer.failure, answer.reply);
    quit_asked_ = true;
  }
  return needs;
}

bool SmtpClient::CompleteFront() {
  if (order_.empty()) return false;
  const Transaction& first = transactions_[order_.front()];
  if (!first.IsAnswered() || output_.written() < first.end()) return false;
  holds_ = confirmed_ == 0 && !closing_at_ && (hold_all_ || NeedsConfirmation(first));
  if (holds_) return false;
  Complete(order_.front(), nullptr, {});
  return true;
}

// Returns whether any completed.
bool SmtpClient::CompleteFinished() {
  if (bdat_in_doubt_) return false;
  bool any = false;
  while (CompleteFront()) any = true;
  if (draining_ && order_.empty() && state_ == State::kReady) {
    EndSession(drain_failure_, drain_text_);
  }
  return any;
}

Transaction::Circumstances SmtpClient::CircumstancesOf(std::size_t slot) const {
  return {.delivered_before = messages_accepted_ > 0,
          .head_of_line = order_.front() == slot,
          .may_have_ended = MayHaveEnded(transactions_[slot])};
}

// Tells every recipient's answer. `lost` is set when the session ended before the transaction did.
void SmtpClient::Complete(std::size_t slot, const Failure* lost, std::string_view lost_text) {
  Transaction& transaction = transactions_[slot];
  Transaction::Circumstances circumstances = CircumstancesOf(slot);
  circumstances.lost = lost;
  circumstances.lost_text = lost_text;
  const auto place = std::find(order_.begin(), order_.end(), slot);
  circumstances.confirmed = static_cast<std::size_t>(place - order_.begin()) < confirmed_;
  if (circumstances.confirmed) --confirmed_;
  order_.erase(place);
  bytes_in_hand_ -= transaction.bytes();
  if (transaction.LeavesEnvelope()) needs_rset_ = true;
  for (std::size_t i = 0; i < transaction.recipients(); ++i) {
    const Answer answer = transaction.AnswerFor(i, circumstances);
    if (!answer.accepted && state_ == State::kReady && answer.disposition.close_connection) {
      Drain(answer.failure, answer.reply);
    }
    events_.OnRecipient(slot, i, answer);
  }
  transaction.End();
  events_.OnFinished(slot);
}

// Begins nothing more; what is on the wire still gets its answer. The first reason counts.
void SmtpClient::Drain(const Failure& failure, std::string_view text) {
  if (draining_) return;
  draining_ = true;
  drain_failure_ = failure;
  drain_text_ = text;
}

void SmtpClient::SessionOver(const Failure& failure, const std::string& text) {
  if (state_ == State::kOver) return;
  EnterState(State::kOver, text);
  bdat_in_doubt_.reset();
  holds_ = false;
  expected_.clear();
  output_.DropWaiting();
  // Backwards, so that only the oldest one is head of line.
  const std::vector<std::size_t> slots = order_;
  for (std::size_t i = slots.size(); i-- > 0;) Complete(slots[i], &failure, text);
  Failure last = failure;
  last.delivered_before = messages_accepted_ > 0;
  EndSession(last, text);
}

void SmtpClient::EndSession(const Failure& failure, const std::string& text) {
  if (state_ != State::kOver) EnterState(State::kOver, text);
  events_.OnSessionFailed(failure, Classify(failure), text);
}

// What is to be done now

bool SmtpClient::TakeOutput(WireBytes& out) {
  const std::uint64_t taken = output_.taken();
  if (!output_.Take(out)) return false;
  out.ended.clear();
  for (const std::size_t slot : order_) {
    const Transaction& transaction = transactions_[slot];
    if (transaction.body_sent() && transaction.end() > taken) out.ended.push_back(slot);
  }
  return true;
}

SmtpClient::NextAction SmtpClient::next_action() const {
  if (state_ == State::kOver) return NextAction::kClose;
  return state_ == State::kHandshake ? NextAction::kStartTls : NextAction::kNothing;
}

milliseconds SmtpClient::TimeLimit() const {
  seconds limit{0};
  switch (state_) {
    case State::kOver:
      return milliseconds(0);
    case State::kNew:
      limit = kConnectLimit;
      break;
    case State::kHandshake:
      limit = kHandshakeLimit;
      break;
    default:
      if (output_.taken() > output_.written()) limit = kBlockLimit;
      if (!expected_.empty()) limit = std::max(limit, LimitOf(expected_.front().stage));
      if (closing_at_) limit = kClosingLimit;
      if (limit.count() == 0) return milliseconds(0);
  }
  const double scaled = static_cast<double>(milliseconds(limit).count()) * options_.timeout_scale;
  return milliseconds(std::max<std::int64_t>(1, static_cast<std::int64_t>(scaled)));
}

}  // namespace vespro::engine
