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
      window_(options.window_messages) {}

// The only place that changes the state.
void SmtpClient::EnterState(State state, std::string_view why) {
  if (trace_.on()) trace_.Entered(state, why);
  state_ = state;
  if (state == State::kReady) was_ready_ = true;
}

// Events

void SmtpClient::Connected(std::string hello_name, bool loopback) {
  assert(state_ == State::kNew);
  expected_.Expect({Stage::kGreeting});
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
  if (!expected_.OnWritten(output_.written())) {
    return OutOfStep("the server answered before it was asked");
  }
  Advance();
}

void SmtpClient::Lost(Fault fault, std::string_view text) {
  if (state_ == State::kOver) return;
  if (state_ == State::kQuitting) {
    if (odd_quit_reply_ && fault == Fault::kTimeout) {
      return OutOfStep("there was a reply left at QUIT");
    }
    // Everything is answered, QUIT is a courtesy.
    confirmation_.OnConfirmed(window_.size());
    return EndAfterQuit();
  }
  // The close announced by 421: later commands were not processed.
  if (closing_at_ == replies_ && fault != Fault::kTimeout) {
    return SessionOver(drain_failure_, drain_text_);
  }
  Stage stage = Stage::kConnect;
  if (!expected_.empty()) {
    stage = expected_.next().stage;
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
  const Stage stage = expected_.empty() ? Stage::kReset : expected_.next().stage;
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
  if (expected_.empty() && reply.code == 421) return On421({Stage::kReset}, reply);
  if (!expected_.IsDue(output_.taken())) {
    return OutOfStep("the server answered what was not asked: " + setup_.Redacted(reply));
  }
  if (expected_.next().stage == Stage::kQuit) return OnQuitReply(reply);
  const PendingReply pending = expected_.Take(output_.written());
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
  Confirm(window_.size());
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
  const Transaction& transaction = window_[pending.slot];
  if (pending.stage == Stage::kRcpt) return !transaction.IsSenderRefused();
  if (pending.stage != Stage::kEndOfData || !transaction.body_sent()) return true;
  expected_.ReliesOn(transaction.end(), output_.written());
  return transaction.HasRecipients();
}

void SmtpClient::OnTransactionReply(const PendingReply& pending, const Reply& reply) {
  if (bdat_in_doubt_ && !ResolveBdatDoubt(reply)) return;
  // A wrong guess here loses or duplicates a message.
  if (!IsInStep(pending, reply)) {
    if (pending.stage == Stage::kReset)
      return OutOfStep("RSET was refused: " + setup_.Redacted(reply));
    expected_.PutBack(pending);  // it is not answered
    return OutOfStep("an answer out of place: " + setup_.Redacted(reply));
  }
  if (pending.stage == Stage::kReset) return Advance();
  if (pending.stage == Stage::kEndOfData && reply.contradictory) {
    expected_.PutBack(pending);
    return ProtocolError("an answer that says yes and no: " + setup_.Redacted(reply));
  }
  Transaction& transaction = window_[pending.slot];
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
        if (IsAccountGivenUp(pending.slot)) {
          Withdraw(pending.slot);
          break;
        }
        Confirm(window_.PlaceOf(pending.slot));
        SendMessageText(pending.slot, transaction);
        break;
      }
      confirmation_.OnDataRefused();
      if (IsOddRefusal(transaction, reply)) QuitToConfirm();
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
  quit_asked_ = true;
  confirmation_.HoldAll();
  const std::size_t last = window_.newest();
  if (window_[last].next() == Transaction::Step::kMail) PutBack(last);
}

// Nothing of it that could be accepted was sent, and another one before it is in flight.
void SmtpClient::PutBack(std::size_t slot) {
  const Failure failure = LocalFailure(Stage::kMail, Fault::kClosed);
  Complete(slot, &failure, "the connection is renewed");
}

// Whether a message before this one, whose refusal is not told yet, says so.
bool SmtpClient::IsAccountGivenUp(std::size_t slot) const {
  return draining_ && window_.PlaceOf(slot) > 0 &&
         Classify(drain_failure_).action == Action::kDisableServer;
}

// The server waits for the text of a message that it would refuse like the one before: it does not
// get it. Its 354 confirms that one, which is the last, and the session ends.
void SmtpClient::Withdraw(std::size_t slot) {
  const std::size_t place = window_.PlaceOf(slot);
  while (window_.size() > place) PutBack(window_.newest());
  Confirm(place);
}

// "Command not known", to a BDAT, may be about the command or about the message. About the command:
// then its message was read as commands, and its first line is answered in the same way.
void SmtpClient::OnEndReply(std::size_t slot, const Reply& reply) {
  Transaction& transaction = window_[slot];
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
  window_[*bdat_in_doubt_].RejectBody();
  for (const std::size_t slot : window_.order()) window_[slot].ForgetBody();
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
  confirmation_.GiveUp();
  OnTransactionReply(pending, reply);
}

// Transactions

bool SmtpClient::CanBegin() const {
  if (state_ != State::kReady || draining_ || quit_asked_) return false;
  if (window_.empty()) return true;
  if (window_.full()) return false;
  const Extensions& offered = extensions();
  if (!offered.pipelining) return window_.IsAllAnswered(output_.written());
  if (window_[window_.newest()].next() != Transaction::Step::kAllSent) return false;
  if (offered.chunking) return window_.bytes() < options_.window_bytes;
  return in_hand() < 2;
}

void SmtpClient::Begin(std::size_t slot, const Submission& submission) {
  assert(CanBegin());
  window_.Begin(slot, submission, extensions());
  confirmation_.OnBegun(submission.recipients.size());
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
  for (const std::size_t slot : window_.order()) {
    Transaction& transaction = window_[slot];
    while (transaction.next() != Transaction::Step::kAllSent) {
      if (!SendNext(slot, transaction)) return;
    }
  }
  // QUIT also confirms what waits for it, where there is no room for another message.
  if (!expected_.empty() || !window_.IsAllAnswered(output_.written())) return;
  if (quit_asked_ || (confirmation_.holds() && !CanBegin())) {
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
      if (!reset_done_ && (needs_rset_ || window_.FollowsAnEnvelope(slot) ||
                           (extensions().chunking && !expected_.empty()))) {
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

void SmtpClient::SendBody(std::size_t slot, Transaction& transaction) {
  if (!extensions().chunking || confirmation_.IsSought()) {
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
  expected_.Expect({Stage::kEndOfData, slot, 0, output_.queued() + 1});
  if (!transaction.HasRecipients()) {
    // The server took DATA without a recipient: an empty end (RFC 2920, section 3.1).
    return output_.Append(".\r\n");
  }
  output_.AppendDotStuffed(transaction.pieces());
  transaction.BodySent(output_.queued());
  if (trace_.on()) trace_.Message(transaction.pieces(), transaction.bytes());
}

void SmtpClient::Send(std::string_view command, Stage stage, std::size_t slot, std::size_t index) {
  confirmation_.OnCommand();
  output_.Append(command);
  output_.Append("\r\n");
  expected_.Expect({stage, slot, index, output_.queued()});
  if (trace_.on()) trace_.Command(command, stage);
}

// Results

// Completing one frees the pipeline; the next may already have failed locally, so complete again.
// What is held back then may have asked for QUIT.
void SmtpClient::Advance() {
  CompleteFinished();
  Pump();
  const bool quits = quit_asked_;
  if (CompleteFinished() || quit_asked_ != quits) Pump();
  if (closing_at_ && expected_.empty()) SessionOver(drain_failure_, drain_text_);
}

bool SmtpClient::MayHaveEnded(const Transaction& transaction) const {
  const std::uint64_t sent = count_queued_as_sent_ ? output_.taken() : output_.written();
  return transaction.body_sent() && sent >= transaction.end();
}

// The oldest transactions, so many, and all before them, have the answers that are theirs.
void SmtpClient::Confirm(std::size_t transactions) {
  confirmation_.OnConfirmed(transactions);
  CompleteFinished();
  events_.OnConfirmed();
  confirmation_.Restart(window_.size(), window_.recipients());
}

bool SmtpClient::CompleteFront() {
  if (window_.empty()) return false;
  const std::size_t slot = window_.oldest();
  if (!window_.IsAnswered(slot, output_.written())) return false;
  const Confirmation::Hold hold = confirmation_.Check(window_[slot], CircumstancesOf(slot));
  if (hold.last) {
    Drain(hold.last->failure, hold.last->reply);
    quit_asked_ = true;
  }
  if (hold.held) return false;
  Complete(slot, nullptr, {});
  return true;
}

// Returns whether any completed.
bool SmtpClient::CompleteFinished() {
  if (bdat_in_doubt_) return false;
  bool any = false;
  while (CompleteFront()) any = true;
  if (draining_ && window_.empty() && state_ == State::kReady) {
    EndSession(drain_failure_, drain_text_);
  }
  return any;
}

Transaction::Circumstances SmtpClient::CircumstancesOf(std::size_t slot) const {
  return {.delivered_before = messages_accepted_ > 0,
          .head_of_line = window_.oldest() == slot,
          .may_have_ended = MayHaveEnded(window_[slot])};
}

// Tells every recipient's answer. `lost` is set when the session ended before the transaction did.
void SmtpClient::Complete(std::size_t slot, const Failure* lost, std::string_view lost_text) {
  Transaction& transaction = window_[slot];
  Transaction::Circumstances circumstances = CircumstancesOf(slot);
  circumstances.lost = lost;
  circumstances.lost_text = lost_text;
  circumstances.confirmed = confirmation_.OnCompleted(window_.PlaceOf(slot));
  window_.Remove(slot);
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
  confirmation_.GiveUp();
  expected_.Clear();
  output_.DropWaiting();
  // Backwards, so that only the oldest one is head of line.
  const std::vector<std::size_t> slots = window_.order();
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
  for (const std::size_t slot : window_.order()) {
    const Transaction& transaction = window_[slot];
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
      if (!expected_.empty()) limit = std::max(limit, LimitOf(expected_.next().stage));
      if (closing_at_) limit = kClosingLimit;
      if (limit.count() == 0) return milliseconds(0);
  }
  const double scaled = static_cast<double>(milliseconds(limit).count()) * options_.timeout_scale;
  return milliseconds(std::max<std::int64_t>(1, static_cast<std::int64_t>(scaled)));
}

}  // namespace vespro::engine
