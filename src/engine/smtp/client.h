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
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/message.h"
#include "engine/smtp/policy.h"
#include "engine/smtp/reply.h"
#include "engine/smtp/sasl.h"
#include "engine/smtp/secret_scanner.h"

namespace vespro::engine {

struct ClientOptions {
  Credentials credentials;  // no login: no authentication
  TlsUse tls = TlsUse::kAuto;
  bool tls_from_start = false;       // TLS from the first byte, as on port 465
  bool insecure_auth = false;        // the password may cross a clear connection to a far server
  std::size_t window_messages = 16;  // at least 1
  std::uint64_t window_bytes = 1024 * 1024;
  bool use_chunking = true;
  bool use_pipelining = true;
  double timeout_scale = 1.0;  // of RFC 5321, section 4.5.3.2
};

// One message for one envelope. Everything it points to stays as it is until OnFinished.
struct Transaction {
  std::string_view sender;
  std::span<const Recipient> recipients;  // at least one
  const RenderedMessage* message = nullptr;
};

// What became of one recipient.
struct Answer {
  bool accepted = false;
  // When it was not accepted: what went wrong, and what follows from it.
  Failure failure;
  Disposition disposition;
  std::string_view reply;  // one printable line: the server's words, or ours where it said nothing
};

// Called from within the client's functions, Begin included; they must not call the client.
class ClientEvents {
 public:
  virtual ~ClientEvents() = default;
  // Once for every recipient of a transaction that was begun.
  virtual void OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) = 0;
  // After all its recipients: the slot and the transaction's memory are the owner's again.
  virtual void OnFinished(std::size_t slot) = 0;
  // The session ended otherwise than by Quit, all transactions are finished. Once, the last call.
  virtual void OnSessionFailed(const Failure& failure, const Disposition& disposition,
                               const std::string& text) = 0;
};

// Bytes for the wire. `pieces` points into `text` and into messages; the owner keeps it unchanged
// until it is written, then hands it back to be filled again.
struct WireBytes {
  std::string text;
  std::vector<std::string_view> pieces;
  std::vector<std::size_t> ended;  // slots whose message ends in these bytes
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
  std::size_t FreeSlot() const;
  void Begin(std::size_t slot, const Transaction& transaction);
  // Says QUIT when what was begun is finished; begins nothing more.
  void Quit();

  // What is to be done now.
  bool TakeOutput(WireBytes& out);  // false when there is nothing
  // Whether the message in this slot can still be accepted for the recipient at `index`.
  bool MayStillAccept(std::size_t slot, std::size_t index) const;
  NextAction next_action() const;
  // How long the owner may wait for the next event; zero when for ever.
  std::chrono::milliseconds TimeLimit() const;

  bool ready() const { return state_ == State::kReady; }  // logged in, takes transactions
  bool was_ready() const { return was_ready_; }
  bool over() const { return state_ == State::kOver; }
  bool draining() const { return draining_; }  // takes no more transactions
  std::size_t in_hand() const { return order_.size(); }
  bool pipelining() const { return pipelining_; }
  std::uint64_t messages_accepted() const { return messages_accepted_; }
  // Replies that have been read as a whole.
  std::uint64_t replies() const { return replies_; }
  // The server offered CHUNKING and does not know BDAT: it must not be used with this server.
  bool chunking_failed() const { return chunking_failed_; }
  // From SIZE, in bytes; 0 when the server names no limit.
  std::uint64_t max_size() const { return max_size_; }
  // From LIMITS; 0 when the server names none.
  std::uint64_t max_recipients() const { return max_recipients_; }
  std::uint64_t max_messages() const { return max_messages_; }

 private:
  enum class State { kNew, kSetUp, kHandshake, kReady, kQuitting, kOver };
  enum class Step { kMail, kRcpt, kData, kAllSent };

  // A reply that is kept, or what we have to say ourselves.
  struct StoredReply {
    Fault fault = Fault::kReply;
    int code = 0;  // 0 with kReply: not answered yet
    EnhancedCode enhanced;
    std::string text;

    bool open() const { return fault == Fault::kReply && code == 0; }
    bool accepted() const { return fault == Fault::kReply && code / 100 == 2; }
    bool failed() const { return !open() && !accepted(); }
  };

  struct TransactionState {
    bool used = false;
    Transaction job;
    Step next = Step::kMail;
    std::size_t next_recipient = 0;
    std::size_t awaited = 0;   // replies
    std::size_t accepted = 0;  // recipients
    std::size_t possible = 0;  // recipients that may be named to this server
    bool reset = false;        // RSET was said before it
    bool body_sent = false;
    bool utf8 = false, eight_bit = false;
    std::uint64_t end = 0;  // the output's length up to the end of the message
    StoredReply mail, data, body;
    std::vector<StoredReply> recipients;  // never shrinks
  };

  struct PendingReply {
    Stage stage;
    std::size_t slot = 0;
    std::size_t index = 0;
  };

  // A part of the output: in text_ at `offset`, or elsewhere.
  struct Part {
    const char* elsewhere;
    std::size_t offset, size;
  };

  void OnReply(const Reply& reply);
  void OnSetUpReply(Stage stage, const Reply& reply);
  void OnEhlo(const Reply& reply);
  void AfterEhlo();
  void StartLogin();
  void SendAuth(std::string_view command);
  void OnAuth(const Reply& reply);
  void OnTransactionReply(const PendingReply& expected, const Reply& reply);
  void OnDataReply(TransactionState& active, const Reply& reply);
  void OnEndReply(std::size_t slot, const Reply& reply);
  bool ResolveBdatDoubt(const Reply& reply);
  void DisableChunking();
  void On421(const PendingReply& expected, const Reply& reply);

  void SendEhlo(std::string_view verb);
  void ReadExtensions(std::string_view text);
  void ReadLimits(std::string_view value);
  void ReadMechanisms(std::string_view value);
  ChannelSecurity channel_security() const;

  bool CheckEnvelope(TransactionState& active);
  std::string MissingExtension(const TransactionState& active) const;
  void Pump();
  bool IssueNext(std::size_t slot, TransactionState& active);
  void IssueMail(std::size_t slot, TransactionState& active);
  bool IssueRecipient(std::size_t slot, TransactionState& active);
  bool IssueBody(std::size_t slot, TransactionState& active);
  void Expect(Stage stage, std::size_t slot = 0, std::size_t index = 0);

  void Advance();
  bool CompleteFinished();
  bool IsFinished(const TransactionState& active) const;
  void Complete(std::size_t slot, const Failure* lost, const std::string& lost_text);
  void Report(std::size_t slot, std::size_t index, const StoredReply& saved, Stage stage,
              bool head_of_line);
  void SessionOver(const Failure& failure, const std::string& text);
  void EndSession(const Failure& failure, const std::string& text);
  void ProtocolError(std::string_view text);
  bool MayHaveEnded(const TransactionState& active) const;
  void FailSession(Stage stage, Fault fault, const std::string& text);
  std::string Redacted(const Reply& reply) const;

  void AppendCommand(std::string_view text);
  void Add(std::string_view bytes);
  void AddPiece(std::string_view piece);
  void AddStuffed(const RenderedMessage& message);

  std::chrono::milliseconds Scaled(std::chrono::seconds limit) const;

  ClientOptions options_;
  ClientEvents& events_;
  State state_ = State::kNew;
  bool was_ready_ = false, draining_ = false, quit_asked_ = false;
  bool secure_ = false, loopback_ = false;
  std::string hello_name_;

  ReplyParser parser_;
  std::deque<PendingReply> expected_;
  std::uint64_t replies_ = 0;
  bool said_helo_ = false;
  Sasl sasl_;
  SecretScanner secrets_;  // never to be shown

  // What the server offers.
  bool starttls_ = false, pipelining_ = false, chunking_ = false, eight_bit_ = false, utf8_ = false;
  bool size_ = false;
  bool chunking_failed_ = false;
  // A slot whose BDAT was answered like a command that is not known; what follows tells.
  std::optional<std::size_t> bdat_in_doubt_;
  std::uint64_t max_size_ = 0, max_recipients_ = 0, max_messages_ = 0;

  std::vector<TransactionState> active_;
  std::vector<std::size_t> order_;   // slots in use, in the order of the wire
  std::uint64_t bytes_in_hand_ = 0;  // of the messages in use
  std::uint64_t messages_accepted_ = 0;
  bool awaiting_354_ = false;  // DATA is out, nothing may follow before its answer
  bool needs_rset_ = false;    // the server may still hold a transaction that failed
  Failure drain_failure_;      // why draining_ is set
  std::string drain_text_;
  // How many replies there were with the 421 that announced the end; nothing is begun from then on.
  std::optional<std::uint64_t> closing_at_;

  std::string text_;
  std::vector<Part> parts_;
  std::uint64_t queued_ = 0, taken_ = 0, written_ = 0;
  bool count_queued_as_sent_ = false;  // the session broke while a write was under way
};

}  // namespace vespro::engine
