#include "engine/smtp/transaction.h"

#include <cassert>
#include <cstring>

#include "base/text.h"

namespace vespro::engine {
namespace {

// With more bytes of the path than this a command line could be longer than any server takes.
constexpr std::size_t kMaxPathBytes = 400;

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

}  // namespace

void Transaction::StoredReply::Store(const Reply& reply, std::string line) {
  fault = Fault::kReply;
  code = reply.code;
  enhanced = reply.enhanced;
  complaint = reply.severity() < 4 ? Complaint::kNone : ComplaintOf(reply);
  text = std::move(line);
}

void Transaction::Begin(const Submission& submission, const Extensions& extensions) {
  assert(!used_ && !submission.recipients.empty());
  used_ = true;
  submission_ = submission;
  next_ = Step::kMail;
  next_recipient_ = awaited_ = accepted_ = 0;
  body_sent_ = utf8_ = eight_bit_ = false;
  end_ = 0;
  for (StoredReply* reply : {&mail_, &data_, &body_}) *reply = StoredReply();
  if (recipients_.size() < submission.recipients.size()) {
    recipients_.resize(submission.recipients.size());
  }
  for (std::size_t i = 0; i < submission.recipients.size(); ++i) recipients_[i] = StoredReply();
  if (!CheckEnvelope(extensions)) next_ = Step::kAllSent;
}

// False when nothing of it can be sent to this server; mail_ or the recipients then say why.
bool Transaction::CheckEnvelope(const Extensions& extensions) {
  const auto refuse = [](StoredReply& reply, Fault fault, std::string_view text) {
    reply.fault = fault;
    reply.text = text;
    return false;
  };
  if (!IsSafeInCommand(submission_.sender)) {
    return refuse(mail_, Fault::kUnsafeAddress, "the sender's address can't be used");
  }
  for (const std::string_view piece : pieces()) eight_bit_ = eight_bit_ || HasHighBit(piece);
  utf8_ = !ModText::IsAscii(submission_.sender);
  if (const std::string why = MissingExtension(extensions); !why.empty()) {
    return refuse(mail_, Fault::kUnsupported, why);
  }
  bool any = false;
  for (std::size_t i = 0; i < recipients(); ++i) {
    const std::string& address = submission_.recipients[i].address;
    if (address.empty() || !IsSafeInCommand(address)) {
      refuse(recipients_[i], Fault::kUnsafeAddress, "the address can't be used");
    } else if (!extensions.utf8 && !ModText::IsAscii(address)) {
      refuse(recipients_[i], Fault::kUnsupported,
             "the server takes no addresses with letters outside ASCII (SMTPUTF8)");
    } else {
      any = true;
      utf8_ = utf8_ || !ModText::IsAscii(address);
    }
  }
  return any;
}

std::string Transaction::MissingExtension(const Extensions& extensions) const {
  if (extensions.max_size > 0 && bytes() > extensions.max_size) {
    return "the message has " + std::to_string(bytes()) + " bytes, the server takes at most " +
           std::to_string(extensions.max_size);
  }
  if (utf8_ && !extensions.utf8) {
    return "the server takes no sender with letters outside ASCII (SMTPUTF8)";
  }
  if (eight_bit_ && !extensions.eight_bit) return "the server takes no 8-bit messages (8BITMIME)";
  return {};
}

// Sending

void Transaction::SendMail(const Extensions& extensions, std::string& command) {
  command = "MAIL FROM:<";
  command.append(submission_.sender).append(">");
  if (extensions.size) command += " SIZE=" + std::to_string(bytes());
  if (eight_bit_) command += " BODY=8BITMIME";
  if (utf8_) command += " SMTPUTF8";
  ++awaited_;
  next_ = Step::kRcpt;
}

bool Transaction::SendRecipient(std::string& command, std::size_t& index) {
  if (mail_.failed()) {
    next_ = Step::kAllSent;
    return false;
  }
  while (next_recipient_ < recipients() && recipients_[next_recipient_].failed()) {
    ++next_recipient_;
  }
  if (next_recipient_ == recipients()) {
    next_ = Step::kData;
    return false;
  }
  index = next_recipient_++;
  command = "RCPT TO:<";
  command.append(submission_.recipients[index].address).append(">");
  ++awaited_;
  return true;
}

bool Transaction::SendBody() {
  next_ = Step::kAllSent;
  if (awaited_ == 0 && accepted_ == 0) return false;
  ++awaited_;
  return true;
}

void Transaction::BodySent(std::uint64_t end) {
  body_sent_ = true;
  end_ = end;
}

// Replies

void Transaction::OnMailReply(const Reply& reply, std::string text) {
  --awaited_;
  mail_.Store(reply, std::move(text));
}

void Transaction::OnRecipientReply(std::size_t index, const Reply& reply, std::string text) {
  --awaited_;
  recipients_[index].Store(reply, std::move(text));
  if (reply.severity() == 2) ++accepted_;
}

bool Transaction::OnDataReply(const Reply& reply, std::string text) {
  if (reply.severity() == 3) {
    data_.code = 250;
    return true;  // the reply to the end of data is awaited instead
  }
  --awaited_;
  data_.Store(reply, std::move(text));
  // 2xx to DATA says nothing that makes sense; it counts as no.
  if (data_.accepted()) data_.fault = Fault::kProtocolError;
  return false;
}

void Transaction::OnEndReply(const Reply& reply, std::string text) {
  --awaited_;
  body_.Store(reply, std::move(text));
}

// Results

const Transaction::StoredReply* Transaction::DecisiveReply(std::size_t index, bool may_have_ended,
                                                           Stage& stage) const {
  const bool taken = body_sent_ && body_.accepted();
  const StoredReply& recipient = recipients_[index];
  const bool local = recipient.fault != Fault::kReply;
  const auto decides = [&stage](Stage at, const StoredReply& reply) {
    stage = at;
    return &reply;
  };
  if (!local && mail_.failed() && !(taken && recipient.accepted())) {
    return decides(Stage::kMail, mail_);
  }
  if (recipient.failed()) return decides(Stage::kRcpt, recipient);
  if (taken && recipient.accepted()) return decides(Stage::kEndOfData, body_);
  if (data_.failed()) return decides(Stage::kData, data_);
  if (body_.failed()) return decides(Stage::kEndOfData, body_);
  stage = may_have_ended     ? Stage::kEndOfData
          : mail_.open()     ? Stage::kMail
          : recipient.open() ? Stage::kRcpt
                             : Stage::kData;
  return nullptr;
}

bool Transaction::IsRefusedInOrder() const {
  const auto nobody = [](const StoredReply& reply) {
    return reply.open() || reply.code == 503 || reply.code == 554;
  };
  return accepted_ == 0 && IsSenderRefusedInOrder() && nobody(data_) && nobody(body_);
}

bool Transaction::IsSenderRefusedInOrder() const {
  if (!IsSenderRefused()) return true;
  for (std::size_t i = 0; i < recipients(); ++i) {
    if (recipients_[i].fault == Fault::kReply && !recipients_[i].open() &&
        recipients_[i].code != 503) {
      return false;
    }
  }
  return true;
}

bool Transaction::IsUncertain(std::size_t index, Stage stage) const {
  const bool local = mail_.fault != Fault::kReply || recipients_[index].fault != Fault::kReply;
  return !local && (stage == Stage::kEndOfData || !data_.accepted());
}

Answer Transaction::AnswerFor(std::size_t index, const Circumstances& circumstances) const {
  Answer answer;
  Failure& failure = answer.failure;
  const StoredReply* decisive = DecisiveReply(index, circumstances.may_have_ended, failure.stage);
  const bool out_of_step =
      circumstances.lost != nullptr && circumstances.lost->fault == Fault::kOutOfStep;
  if (out_of_step && !circumstances.confirmed && IsUncertain(index, failure.stage)) {
    decisive = nullptr;
    failure.stage = circumstances.may_have_ended ? Stage::kEndOfData : circumstances.lost->stage;
  }
  if (decisive != nullptr) {
    answer.reply = decisive->text;
    answer.accepted = failure.stage == Stage::kEndOfData && decisive->accepted();
    if (answer.accepted) return answer;
    failure.fault = decisive->fault;
    failure.code = decisive->code;
    failure.enhanced = decisive->enhanced;
    failure.complaint = decisive->complaint;
  } else if (circumstances.lost != nullptr) {
    answer.reply = circumstances.lost_text;
    failure.fault = circumstances.lost->fault;
    failure.code = circumstances.lost->code;
    failure.enhanced = circumstances.lost->enhanced;
    failure.complaint = circumstances.lost->complaint;
  }
  if (failure.fault != Fault::kReply) failure.code = 0;
  failure.others_accepted = accepted_ > 0;
  failure.delivered_before = circumstances.delivered_before;
  failure.end_of_data_sent = circumstances.may_have_ended;
  failure.head_of_line = circumstances.head_of_line;
  answer.disposition = Classify(failure);
  return answer;
}

}  // namespace vespro::engine
