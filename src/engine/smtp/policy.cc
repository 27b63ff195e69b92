#include "engine/smtp/policy.h"

#include <span>

namespace vespro::engine {
namespace {

using enum Action;

// A condition on the failure beside its stage, fault and code.
enum class If { kAlways, kEnded, kBehind, kTooMany, kProved, kSlowDown, kThisMessage };

struct Row {
  Stage first_stage, last_stage;
  Fault first_fault, last_fault;
  int first_code, last_code;
  If condition;
  Verdict verdict;
};

constexpr Stage kFirstSession = Stage::kConnect, kLastSession = Stage::kAuth;
constexpr Fault kAnswer = Fault::kReply;

constexpr Verdict kUncertain{.scope = Scope::kMessage, .action = kUnknown, .renew = true};
constexpr Verdict kBroken{.scope = Scope::kConnection, .action = kRetryLater, .renew = true};
constexpr Verdict kNotItsFault{.scope = Scope::kConnection, .action = kRetryNow, .renew = true};
constexpr Verdict kServerBusy{
    .scope = Scope::kConnection, .action = kRetryLater, .renew = true, .pause = true};
constexpr Verdict kNoLoginHere{
    .scope = Scope::kAccount, .action = kTakeOut, .renew = true, .login = true};
constexpr Verdict kUseless{
    .scope = Scope::kAccount, .action = kTakeOut, .renew = true, .unusable = true};
// What is on the wire still gets its answer.
constexpr Verdict kSenderNotWanted{.scope = Scope::kAccount, .action = kTakeOut};
constexpr Verdict kMessageLater{.scope = Scope::kMessage, .action = kRetryLater};
constexpr Verdict kMessageNever{.scope = Scope::kMessage, .action = kRefuse};
constexpr Verdict kOtherAccounts{.scope = Scope::kMessage, .action = kElsewhere};
constexpr Verdict kPersonLater{.scope = Scope::kRecipient, .action = kRetryLater};
constexpr Verdict kPersonNever{.scope = Scope::kRecipient, .action = kRefuse};
constexpr Verdict kSplit{.scope = Scope::kRecipient, .action = kRetryNow};

constexpr Row kRows[] = {
    // What we found out ourselves.
    {kFirstSession, Stage::kQuit, Fault::kUntrusted, Fault::kNoTls, 0, 0, If::kAlways, kUseless},
    {kFirstSession, Stage::kQuit, Fault::kNoAuth, Fault::kNoAuth, 0, 0, If::kAlways, kUseless},
    {Stage::kRcpt,
     Stage::kRcpt,
     Fault::kCannotCarry,
     Fault::kCannotCarry,
     0,
     0,
     If::kAlways,
     {.scope = Scope::kRecipient, .action = kElsewhere}},
    {Stage::kMail, Stage::kEnd, Fault::kCannotCarry, Fault::kCannotCarry, 0, 0, If::kAlways,
     kOtherAccounts},
    {Stage::kMail, Stage::kEnd, Fault::kBadAddress, Fault::kBadAddress, 0, 0, If::kAlways,
     kPersonNever},

    // No usable answer. Once the message's end is out, the server may have it.
    {Stage::kMail, Stage::kEnd, Fault::kTimeout, Fault::kTls, 0, 0, If::kEnded, kUncertain},
    {Stage::kMail, Stage::kEnd, Fault::kTimeout, Fault::kTls, 0, 0, If::kBehind, kNotItsFault},
    {kFirstSession, Stage::kQuit, Fault::kTimeout, Fault::kTls, 0, 0, If::kAlways, kBroken},

    // 421 closes the connection. After accepted messages that is how servers limit a connection,
    // and no failure. What stood behind it on the wire was not looked at.
    {Stage::kMail, Stage::kEnd, kAnswer, kAnswer, 421, 421, If::kBehind, kNotItsFault},
    {Stage::kMail, Stage::kData, kAnswer, kAnswer, 421, 421, If::kProved, kNotItsFault},
    {kFirstSession, Stage::kQuit, kAnswer, kAnswer, 421, 421, If::kAlways, kServerBusy},

    // Before the first message.
    {Stage::kAuth, Stage::kAuth, kAnswer, kAnswer, 500, 599, If::kAlways, kNoLoginHere},
    {Stage::kAuth, Stage::kAuth, kAnswer, kAnswer, 400, 499, If::kAlways, kServerBusy},
    {kFirstSession, kLastSession, kAnswer, kAnswer, 400, 599, If::kAlways, kBroken},

    // 530 asks for a login (RFC 4954, section 6) or for STARTTLS (RFC 3207, section 4).
    {Stage::kMail, Stage::kData, kAnswer, kAnswer, 530, 530, If::kAlways, kNoLoginHere},
    // The two sides are out of step, or a command that was offered is not known after all.
    {Stage::kMail, Stage::kEnd, kAnswer, kAnswer, 503, 503, If::kAlways, kBroken},
    {Stage::kData, Stage::kData, kAnswer, kAnswer, 500, 502, If::kAlways, kBroken},

    {Stage::kMail,
     Stage::kMail,
     kAnswer,
     kAnswer,
     400,
     499,
     If::kSlowDown,
     {.scope = Scope::kMessage, .action = kRetryLater, .pause = true}},
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 400, 499, If::kAlways, kMessageLater},
    // A sender refused, a quota used up: it would go like that with everybody on the list, so
    // nobody is to blame for it, and the rest of the list waits for better times.
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 500, 599, If::kThisMessage, kOtherAccounts},
    {Stage::kMail, Stage::kMail, kAnswer, kAnswer, 500, 599, If::kAlways, kSenderNotWanted},

    // Too many recipients: 452, and 552 from old servers (RFC 5321, section 4.5.3.1.10).
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 452, 452, If::kTooMany, kSplit},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 552, 552, If::kTooMany, kSplit},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 400, 499, If::kAlways, kPersonLater},
    {Stage::kRcpt, Stage::kRcpt, kAnswer, kAnswer, 500, 599, If::kAlways, kPersonNever},

    {Stage::kData, Stage::kEnd, kAnswer, kAnswer, 400, 499, If::kAlways, kMessageLater},
    {Stage::kData, Stage::kEnd, kAnswer, kAnswer, 500, 599, If::kAlways, kMessageNever},
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

bool Holds(If condition, const Failure& failure) {
  switch (condition) {
    case If::kAlways:
      return true;
    case If::kEnded:
      return failure.message_ended;
    case If::kBehind:
      return !failure.in_front;
    case If::kTooMany:
      return failure.others_accepted && MeansTooMany(failure.enhanced);
    case If::kThisMessage:
      return failure.code == 552 || failure.enhanced == EnhancedCode{5, 3, 4} ||
             failure.enhanced == EnhancedCode{5, 6, 7};
    case If::kProved:
      return failure.proved;
    case If::kSlowDown:
      return AsksToSlowDown(failure);
  }
  return false;
}

bool Fits(const Row& row, const Failure& failure) {
  return failure.stage >= row.first_stage && failure.stage <= row.last_stage &&
         failure.fault >= row.first_fault && failure.fault <= row.last_fault &&
         failure.code >= row.first_code && failure.code <= row.last_code &&
         Holds(row.condition, failure);
}

}  // namespace

Verdict Judge(const Failure& failure) {
  for (const Row& row : kRows) {
    if (Fits(row, failure)) return row.verdict;
  }
  // A reply that does not belong to its command: the two sides are out of step.
  return failure.message_ended ? kUncertain : kBroken;
}

const char* StageName(Stage stage) {
  switch (stage) {
    case Stage::kConnect:
      return "connecting";
    case Stage::kGreeting:
      return "the greeting";
    case Stage::kHello:
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
    case Stage::kEnd:
      return "the message";
    case Stage::kReset:
      return "RSET";
    case Stage::kQuit:
      return "QUIT";
  }
  return "?";
}

}  // namespace vespro::engine
