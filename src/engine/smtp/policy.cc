#include "engine/smtp/policy.h"

#include <span>

namespace vespro::engine {
namespace {

using enum Action;

// A condition on the failure beside its stage, fault and code.
enum class Condition {
  kAlways,
  kEndOfDataSent,
  kNotHeadOfLine,
  kTooMany,
  kDeliveredBefore,
  kSlowDown,
  kMessageSpecific
};

struct Row {
  Stage first_stage, last_stage;
  Fault first_fault, last_fault;
  int first_code, last_code;
  Condition condition;
  Disposition disposition;
  Complaint complaint = Complaint::kNone;  // kNone: any
};

constexpr Stage kFirstSession = Stage::kConnect, kLastSession = Stage::kAuth;
constexpr Fault kAnswer = Fault::kReply;

constexpr Disposition kUncertain{
    .scope = Scope::kMessage, .action = kUnknown, .close_connection = true};
constexpr Disposition kBroken{
    .scope = Scope::kConnection, .action = kDefer, .close_connection = true};
constexpr Disposition kRequeueUnharmed{
    .scope = Scope::kConnection, .action = kRequeue, .close_connection = true};
constexpr Disposition kServerBusy{.scope = Scope::kConnection,
                                  .action = kDefer,
                                  .close_connection = true,
                                  .limit = Limit::kConcurrency};
constexpr Disposition kNoLoginHere{
    .scope = Scope::kAccount, .action = kDisableServer, .close_connection = true, .login = true};
constexpr Disposition kServerUnusable{
    .scope = Scope::kAccount, .action = kDisableServer, .close_connection = true, .unusable = true};
// What is on the wire still gets its answer.
constexpr Disposition kAccountRefused{.scope = Scope::kAccount, .action = kDisableServer};
// Nothing was wrong with the message, and the connection stays unless the server closes it.
constexpr Disposition kSlower{.scope = Scope::kAccount, .action = kRequeue, .limit = Limit::kRate};
constexpr Disposition kFewer{
    .scope = Scope::kAccount, .action = kRequeue, .limit = Limit::kConcurrency};
constexpr Disposition kRested{
    .scope = Scope::kAccount, .action = kRequeue, .close_connection = true, .limit = Limit::kRest};
constexpr Disposition kUsedUp{
    .scope = Scope::kAccount, .action = kDisableServer, .limit = Limit::kQuota};
constexpr Disposition kMessageLater{.scope = Scope::kMessage, .action = kDefer};
constexpr Disposition kMessageNever{.scope = Scope::kMessage, .action = kBounce};
constexpr Disposition kOtherAccounts{.scope = Scope::kMessage, .action = kTryOtherServer};
constexpr Disposition kDeferRecipient{.scope = Scope::kRecipient, .action = kDefer};
constexpr Disposition kBounceRecipient{.scope = Scope::kRecipient, .action = kBounce};
constexpr Disposition kSplit{.scope = Scope::kRecipient, .action = kRequeue};

constexpr Row kRows[] = {
    // What we found out ourselves.
    {kFirstSession, Stage::kQuit, Fault::kUntrusted, Fault::kNoTls, 0, 0, Condition::kAlways,
     kServerUnusable},
    {kFirstSession, Stage::kQuit, Fault::kNoAuth, Fault::kNoAuth, 0, 0, Condition::kAlways,
     kServerUnusable},
    {Stage::kRcpt,
     Stage::kRcpt,
     Fault::kUnsupported,
     Fault::kUnsupported,
     0,
     0,
     Condition::kAlways,
     {.scope = Scope::kRecipient, .action = kTryOtherServer}},
    {Stage::kMail, Stage::kEndOfData, Fault::kUnsupported, Fault::kUnsupported, 0, 0,
     Condition::kAlways, kOtherAccounts},
    {Stage::kMail, Stage::kEndOfData, Fault::kUnsafeAddress, Fault::kUnsafeAddress, 0, 0,
     Condition::kAlways, kBounceRecipient},

    // No usable answer. Once the message's end is out, the server may have it.
    {Stage::kMail, Stage::kEndOfData, Fault::kTimeout, Fault::kTls, 0, 0, Condition::kEndOfDataSent,
     kUncertain},
    {Stage::kMail, Stage::kEndOfData, Fault::kTimeout, Fault::kTls, 0, 0, Condition::kNotHeadOfLine,
     kRequeueUnharmed},
    {kFirstSession, Stage::kQuit, Fault::kTimeout, Fault::kTls, 0, 0, Condition::kAlways, kBroken},

    // 421 closes the connection. After accepted messages that is how servers limit a connection,
    // and no failure. Later commands on the wire were not processed.
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 421, 421, Condition::kNotHeadOfLine,
     kRequeueUnharmed},

    // What the words say of the account, at every stage.
    {kFirstSession, Stage::kQuit, kAnswer, kAnswer, 400, 599, Condition::kAlways, kUsedUp,
     Complaint::kQuota},
    {kFirstSession, Stage::kQuit, kAnswer, kAnswer, 400, 499, Condition::kAlways, kRested,
     Complaint::kUnsolicited},
    {kFirstSession, Stage::kQuit, kAnswer, kAnswer, 500, 599, Condition::kAlways, kAccountRefused,
     Complaint::kUnsolicited},
    {kFirstSession, kLastSession, kAnswer, kAnswer, 400, 599, Condition::kAlways, kServerBusy,
     Complaint::kRate},
    {kFirstSession, kLastSession, kAnswer, kAnswer, 400, 599, Condition::kAlways, kServerBusy,
     Complaint::kConcurrency},
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 400, 599, Condition::kAlways, kSlower,
     Complaint::kRate},
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 400, 599, Condition::kAlways, kFewer,
     Complaint::kConcurrency},
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 400, 499, Condition::kAlways, kRested,
     Complaint::kSender},
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 500, 599, Condition::kAlways,
     kAccountRefused, Complaint::kSender},
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 500, 599, Condition::kAlways, kNoLoginHere,
     Complaint::kLogin},

    {Stage::kMail, Stage::kData, kAnswer, kAnswer, 421, 421, Condition::kDeliveredBefore,
     kRequeueUnharmed},
    {kFirstSession, Stage::kQuit, kAnswer, kAnswer, 421, 421, Condition::kAlways, kServerBusy},

    // Before the first message.
    {Stage::kAuth, Stage::kAuth, kAnswer, kAnswer, 500, 599, Condition::kAlways, kNoLoginHere},
    {Stage::kAuth, Stage::kAuth, kAnswer, kAnswer, 400, 499, Condition::kAlways, kServerBusy},
    {kFirstSession, kLastSession, kAnswer, kAnswer, 400, 599, Condition::kAlways, kBroken},

    // 530 asks for a login (RFC 4954, section 6) or for STARTTLS (RFC 3207, section 4).
    {Stage::kMail, Stage::kData, kAnswer, kAnswer, 530, 530, Condition::kAlways, kNoLoginHere},
    // The two sides are out of step, or a command that was offered is not known after all.
    {Stage::kMail, Stage::kEndOfData, kAnswer, kAnswer, 503, 503, Condition::kAlways, kBroken},
    {Stage::kData, Stage::kData, kAnswer, kAnswer, 500, 502, Condition::kAlways, kBroken},

    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 400, 499, Condition::kSlowDown, kSlower},
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 400, 499, Condition::kAlways, kMessageLater},
    // A sender refused, a quota used up: it would fail alike for every recipient, so the account is
    // disabled and no recipient blamed.
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 500, 599, Condition::kMessageSpecific,
     kOtherAccounts},
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 500, 599, Condition::kAlways, kAccountRefused},

    // Too many recipients: 452, and 552 from old servers (RFC 5321, section 4.5.3.1.10).
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 452, 452, Condition::kTooMany, kSplit},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 552, 552, Condition::kTooMany, kSplit},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 400, 499, Condition::kAlways, kDeferRecipient},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 500, 599, Condition::kAlways, kBounceRecipient},

    // Later on 4.7.x is also how a message is greylisted, and a 454 at RCPT denies relaying.
    {Stage::kData, Stage::kData, kAnswer, kAnswer, 454, 454, Condition::kAlways, kSlower},
    {Stage::kData, Stage::kEndOfData, kAnswer, kAnswer, 400, 499, Condition::kAlways,
     kMessageLater},
    {Stage::kData, Stage::kEndOfData, kAnswer, kAnswer, 500, 599, Condition::kAlways,
     kMessageNever},
};

// X.7.x is policy, X.3.2 "not accepting network messages" (RFC 3463); 454 has been used for rates.
bool AsksToSlowDown(const Failure& failure) {
  return failure.code == 454 || failure.enhanced.subject == 7 ||
         failure.enhanced == EnhancedCode{4, 3, 2};
}

// X.5.3 is "too many recipients"; a full mailbox (X.2.2) has the same reply code. Without an
// enhanced code it can be either.
bool MeansTooMany(const EnhancedCode& enhanced) {
  return enhanced == EnhancedCode{} || (enhanced.subject == 5 && enhanced.detail == 3);
}

bool Holds(Condition condition, const Failure& failure) {
  switch (condition) {
    case Condition::kAlways:
      return true;
    case Condition::kEndOfDataSent:
      return failure.end_of_data_sent;
    case Condition::kNotHeadOfLine:
      return !failure.head_of_line;
    case Condition::kTooMany:
      return failure.others_accepted && MeansTooMany(failure.enhanced);
    case Condition::kMessageSpecific:
      // X.2.x at MAIL is about the sender's own mailbox.
      return (failure.code == 552 && failure.enhanced.subject != 2) ||
             failure.enhanced == EnhancedCode{5, 3, 4} || failure.enhanced == EnhancedCode{5, 6, 7};
    case Condition::kDeliveredBefore:
      return failure.delivered_before;
    case Condition::kSlowDown:
      return AsksToSlowDown(failure);
  }
  return false;
}

bool Fits(const Row& row, const Failure& failure) {
  return failure.stage >= row.first_stage && failure.stage <= row.last_stage &&
         failure.fault >= row.first_fault && failure.fault <= row.last_fault &&
         failure.code >= row.first_code && failure.code <= row.last_code &&
         (row.complaint == Complaint::kNone || failure.complaint == row.complaint) &&
         Holds(row.condition, failure);
}

}  // namespace

Failure FailureOf(Stage stage, const Reply& reply) {
  return {.stage = stage,
          .code = reply.code,
          .enhanced = reply.enhanced,
          .complaint = ComplaintOf(reply)};
}

Disposition Classify(const Failure& failure) {
  for (const Row& row : kRows) {
    if (Fits(row, failure)) return row.disposition;
  }
  // A reply that does not belong to its command: the two sides are out of step.
  return failure.end_of_data_sent ? kUncertain : kBroken;
}

bool MayBeTheAccounts(const Failure& failure) {
  if (failure.fault != Fault::kReply || failure.stage > Stage::kEndOfData) return false;
  if (failure.stage == Stage::kMail) return true;
  if (failure.enhanced == EnhancedCode{}) return failure.stage != Stage::kRcpt;
  return failure.enhanced.subject != 1 && failure.enhanced.subject != 2;
}

bool CanAnswer(Stage stage, const Reply& reply, bool strict) {
  if (stage < Stage::kMail || stage > Stage::kReset) return true;
  switch (reply.code) {
    case 211:  // codes of other commands
    case 214:
    case 220:
    case 221:
    case 235:
    case 334:
      return false;
    case 251:
    case 252:
      return stage == Stage::kRcpt;
    default:
      break;
  }
  if ((reply.severity() == 3) != (stage == Stage::kData) && reply.severity() < 4) return false;
  if (!strict || reply.severity() != 2) return true;
  // X.1 is about addresses, X.6 about the message (RFC 3463).
  if (reply.enhanced.subject == 1) return stage == Stage::kMail || stage == Stage::kRcpt;
  return reply.enhanced.subject != 6 || stage == Stage::kEndOfData;
}

const char* StageName(Stage stage) {
  switch (stage) {
    case Stage::kConnect:
      return "connecting";
    case Stage::kGreeting:
      return "the greeting";
    case Stage::kEhlo:
      return "EHLO";
    case Stage::kStartTls:
      return "STARTTLS";
    case Stage::kAuth:
      return "AUTH";
    case Stage::kMail:
      return "MAIL FROM";
    case Stage::kRcpt:
      return "RCPT TO";
    case Stage::kData:
      return "DATA";
    case Stage::kEndOfData:
      return "the message";
    case Stage::kReset:
      return "RSET";
    case Stage::kQuit:
      return "QUIT";
  }
  return "?";
}

}  // namespace vespro::engine
