// engine/smtp/client.h - the client's side of one SMTP session (RFC 5321) as a state machine:
// events in, bytes and the next action out. It has no socket and no clock; its owner brings the
// bytes and keeps the time. Uses STARTTLS (RFC 3207), AUTH (RFC 4954, see sasl.h), PIPELINING (RFC
// 2920), CHUNKING (RFC 3030), SIZE (RFC 1870), 8BITMIME (RFC 6152), SMTPUTF8 (RFC 6531) and LIMITS
// (RFC 9422) where the server offers them.
//
// The owner's loop, after every event:
//   while CanBegin() and there is a message: render it, Begin(FreeSlot(), ...)
//   TakeOutput() and write it, unless a write is under way
//   do what next_action() says; restart the time limit of TimeLimit()
//
// With PIPELINING and CHUNKING the next transaction is on the wire before the last one is answered:
// up to `window_messages` at a time. With PIPELINING alone, MAIL, RCPT and DATA go out in one
// piece, after the end of the message before. Otherwise every command waits for its answer.
//
// A server, or a proxy, that sends a reply too many shifts every later answer to the next message
// (confirmation.h). OnConfirmed tells when what was told is certain; with CHUNKING, every hundredth
// message is sent with DATA for that. An answer after which a message would be sent again is told
// only once it is confirmed.
//
// The parts: session_setup.h is the dialogue up to the first message, transaction.h one message,
// transaction_window.h those in flight, output_queue.h what is to be written, pending_replies.h
// what is to be answered. Here is what they share: the order of commands and replies.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/smtp/client_options.h"
#include "engine/smtp/confirmation.h"
#include "engine/smtp/output_queue.h"
#include "engine/smtp/pending_replies.h"
#include "engine/smtp/policy.h"
#include "engine/smtp/reply.h"
#include "engine/smtp/session_setup.h"
#include "engine/smtp/session_trace.h"
#include "engine/smtp/transaction.h"
#include "engine/smtp/transaction_window.h"

namespace vespro::engine {

// Called from within the client's functions, Begin included; they must not call the client.
class ClientEvents {
 public:
  virtual ~ClientEvents() = default;
  // Once for every recipient of a transaction that was begun.
  virtual void OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) = 0;
  // After all its recipients: the slot and the transaction's memory are the owner's again.
  virtual void OnFinished(std::size_t slot) = 0;
  // Every answer that was told until now is the server's to that message: replies and commands were
  // in step here. With Fault::kOutOfStep the answers since the last call are not to be relied on.
  virtual void OnConfirmed() = 0;
  // The session ended otherwise than by Quit, all transactions are finished. Once, the last call.
  virtual void OnSessionFailed(const Failure& failure, const Disposition& disposition,
                               const std::string& text) = 0;
};

class SmtpClient {
 public:
  enum class NextAction {
    kNothing,
    kStartTls,  // begin the handshake, read nothing else before
    kClose,     // once the output is written
  };

  SmtpClient(const ClientOptions& options, ClientEvents& events);

  // Events. `hello_name` is a name with a dot or an address literal, for EHLO; `loopback` says that
  // the server is on this machine.
  void Connected(std::string hello_name, bool loopback);
  void TlsEstablished();
  void Received(std::string_view bytes);
  // So many more bytes of the output were handed to the system. Call it before Lost: whether a
  // message can have arrived depends on it.
  void Written(std::uint64_t bytes);
  // The connection is of no use any more; `text` says why, for a person.
  void Lost(Fault fault, std::string_view text);

  // Transactions.
  bool CanBegin() const;
  std::size_t FreeSlot() const { return window_.FreeSlot(); }
  // Everything that `submission` points to stays as it is until OnFinished.
  void Begin(std::size_t slot, const Submission& submission);
  // Says QUIT when what was begun is finished; begins nothing more.
  void Quit();

  // What is to be done now.
  bool TakeOutput(WireBytes& out);  // false when there is nothing
  // Whether the message in this slot can still be accepted for the recipient at `index`.
  bool MayStillAccept(std::size_t slot, std::size_t index) const {
    return window_[slot].MayStillAccept(index);
  }
  NextAction next_action() const;
  // How long the owner may wait for the next event; zero when for ever.
  std::chrono::milliseconds TimeLimit() const;

  bool ready() const { return state_ == State::kReady; }  // logged in, takes transactions
  bool was_ready() const { return was_ready_; }
  bool over() const { return state_ == State::kOver; }
  bool draining() const { return draining_; }  // takes no more transactions
  // Transactions that are not answered.
  std::size_t in_hand() const { return window_.unanswered(); }
  // Answered, and not told before they are confirmed: the next message or QUIT does that.
  bool holds_answers() const { return confirmation_.holds() && expected_.empty(); }
  const Extensions& extensions() const { return setup_.extensions(); }
  std::uint64_t messages_accepted() const { return messages_accepted_; }
  // Replies that have been read as a whole.
  std::uint64_t replies() const { return replies_; }
  // The server offered CHUNKING and does not know BDAT: it must not be used with this server.
  bool chunking_failed() const { return chunking_failed_; }

 private:
  using State = SessionState;

  void EnterState(State state, std::string_view why = {});
  void TakeSetupStep(const SessionSetup::Step& step);
  void OnReply(const Reply& reply);
  void OnQuitReply(const Reply& reply);
  void EndAfterQuit();
  bool IsInStep(const PendingReply& pending, const Reply& reply);
  void OnTransactionReply(const PendingReply& pending, const Reply& reply);
  bool IsOddRefusal(const Transaction& transaction, const Reply& reply) const;
  void QuitToConfirm();
  void PutBack(std::size_t slot);
  bool IsAccountGivenUp(std::size_t slot) const;
  void Withdraw(std::size_t slot);
  void OnEndReply(std::size_t slot, const Reply& reply);
  bool ResolveBdatDoubt(const Reply& reply);
  void DisableChunking();
  void On421(const PendingReply& pending, const Reply& reply);

  void Pump();
  bool SendNext(std::size_t slot, Transaction& transaction);
  void SendBody(std::size_t slot, Transaction& transaction);
  void SendMessageText(std::size_t slot, Transaction& transaction);
  void Send(std::string_view command, Stage stage, std::size_t slot = 0, std::size_t index = 0);

  void Advance();
  bool CompleteFinished();
  bool CompleteFront();
  void Confirm(std::size_t transactions);
  Transaction::Circumstances CircumstancesOf(std::size_t slot) const;
  void Complete(std::size_t slot, const Failure* lost, std::string_view lost_text);
  bool MayHaveEnded(const Transaction& transaction) const;

  void Drain(const Failure& failure, std::string_view text);
  void ProtocolError(std::string_view text);
  void OutOfStep(const std::string& text);
  void SessionOver(const Failure& failure, const std::string& text);
  void EndSession(const Failure& failure, const std::string& text);

  ClientOptions options_;
  ClientEvents& events_;
  State state_ = State::kNew;
  bool was_ready_ = false, draining_ = false, quit_asked_ = false;

  SessionTrace trace_;
  SessionSetup setup_;
  ReplyParser parser_;
  OutputQueue output_;
  std::string command_;  // its memory is reused
  PendingReplies expected_;
  std::uint64_t replies_ = 0;
  Confirmation confirmation_;
  TransactionWindow window_;

  bool chunking_failed_ = false;
  // A slot whose BDAT was answered like a command that is not known; what follows tells.
  std::optional<std::size_t> bdat_in_doubt_;

  std::uint64_t messages_accepted_ = 0;
  bool awaiting_354_ = false;  // DATA is out, nothing may follow before its answer
  bool needs_rset_ = false;    // the server may still hold a transaction that failed
  bool reset_done_ = false;    // RSET was said for the transaction that was begun last
  Failure drain_failure_;      // why draining_ is set
  std::string drain_text_;
  bool odd_quit_reply_ = false;
  // How many replies there were with the 421 that announced the end; nothing is begun from then on.
  std::optional<std::uint64_t> closing_at_;
  bool count_queued_as_sent_ = false;  // the session broke while a write was under way
};

}  // namespace vespro::engine
