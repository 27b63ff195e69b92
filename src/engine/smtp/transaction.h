// engine/smtp/transaction.h - one message on its way to a server: what of it was sent, what the
// server answered, and what that means for each recipient. Pure: it neither sends nor waits. One
// thread per object.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/message.h"
#include "engine/smtp/extensions.h"
#include "engine/smtp/policy.h"
#include "engine/smtp/reply.h"

namespace vespro::engine {

// One message for one envelope.
struct Submission {
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

class Transaction {
 public:
  enum class Step { kMail, kRcpt, kData, kAllSent };

  // What is known about the session when the recipients are told their answers.
  struct Circumstances {
    bool delivered_before = false;  // a message was accepted on this connection before
    bool head_of_line = true;       // no earlier transaction was open
    bool may_have_ended = false;    // the whole message may have reached the server
    bool confirmed = false;         // its answers are its own, whatever came later
    // Why the session ended before the transaction did; null otherwise.
    const Failure* lost = nullptr;
    std::string_view lost_text = {};
  };

  // Checks the envelope against what the server takes. Where nothing can be sent, next() is
  // kAllSent and the answers say why. The submission stays as it is until End.
  void Begin(const Submission& submission, const Extensions& extensions);
  void End() { used_ = false; }
  bool used() const { return used_; }
  std::uint64_t bytes() const { return submission_.message->bytes; }
  const std::vector<std::string_view>& pieces() const { return submission_.message->pieces; }

  // Sending. Each call counts one more reply as awaited, where it gives something to send.
  // `command` is overwritten and has no line end.
  Step next() const { return next_; }
  void SendMail(const Extensions& extensions, std::string& command);
  // The next "RCPT TO" and whom it names; false when there is none left, and next() has moved on.
  bool SendRecipient(std::string& command, std::size_t& index);
  // Whether DATA or BDAT follows; it does not when every recipient was refused.
  bool SendBody();
  // The message's end is in the output before the byte `end`.
  void BodySent(std::uint64_t end);
  std::uint64_t end() const { return end_; }
  bool body_sent() const { return body_sent_; }

  // Replies; `text` is the reply as one line.
  void OnMailReply(const Reply& reply, std::string text);
  void OnRecipientReply(std::size_t index, const Reply& reply, std::string text);
  // True for 354, after which the end of data is awaited.
  bool OnDataReply(const Reply& reply, std::string text);
  void OnEndReply(const Reply& reply, std::string text);
  // BDAT was not known to the server: none of it was taken as a message.
  void RejectBody() { body_.fault = Fault::kProtocolError; }
  void ForgetBody() { body_sent_ = false; }

  // Results.
  bool IsAnswered() const { return next_ == Step::kAllSent && awaited_ == 0; }
  bool HasRecipients() const { return accepted_ > 0 && mail_.accepted(); }
  bool IsAccepted() const { return body_.accepted() && accepted_ > 0; }
  // The server holds an envelope of it that no message ended.
  bool LeavesEnvelope() const { return mail_.accepted() && !(body_sent_ && body_.accepted()); }
  // Once the message is out: a refusal that a surplus reply may have brought does not rule it out.
  bool MayStillAccept(std::size_t index) const {
    return (!mail_.failed() && !recipients_[index].failed()) || IsUncertain(index, Stage::kRcpt);
  }
  std::size_t recipients() const { return submission_.recipients.size(); }
  bool IsSenderRefused() const { return mail_.failed() && mail_.fault == Fault::kReply; }
  // False when the sender was refused and a recipient was answered as if that were not so.
  bool IsSenderRefusedInOrder() const;
  // The sender or every recipient was refused, and what followed as it must be then.
  bool IsRefusedInOrder() const;
  bool IsEveryoneAccepted() const { return IsAccepted() && accepted_ == recipients(); }
  // Whether an answer from `stage` may be another message's as long as nothing confirms it: it is
  // not ours, and not one that came before this message's 354.
  bool IsUncertain(std::size_t index, Stage stage) const;
  // After kOutOfStep the uncertain answers count as none.
  Answer AnswerFor(std::size_t index, const Circumstances& circumstances) const;

 private:
  // A reply that is kept, or what we have to say ourselves.
  struct StoredReply {
    Fault fault = Fault::kReply;
    int code = 0;  // 0 with kReply: not answered yet
    EnhancedCode enhanced = {};
    Complaint complaint = Complaint::kNone;
    std::string text = {};

    void Store(const Reply& reply, std::string line);
    bool open() const { return fault == Fault::kReply && code == 0; }
    bool accepted() const { return fault == Fault::kReply && code / 100 == 2; }
    bool failed() const { return !open() && !accepted(); }
  };

  bool CheckEnvelope(const Extensions& extensions);
  std::string MissingExtension(const Extensions& extensions) const;
  // Where its answer comes from; null when nothing was answered, and it ended at `stage`.
  const StoredReply* DecisiveReply(std::size_t index, bool may_have_ended, Stage& stage) const;

  bool used_ = false;
  Submission submission_;
  Step next_ = Step::kMail;
  std::size_t next_recipient_ = 0;
  std::size_t awaited_ = 0;   // replies
  std::size_t accepted_ = 0;  // recipients
  bool body_sent_ = false;
  bool utf8_ = false, eight_bit_ = false;
  std::uint64_t end_ = 0;
  StoredReply mail_, data_, body_;
  std::vector<StoredReply> recipients_;  // never shrinks
};

}  // namespace vespro::engine
