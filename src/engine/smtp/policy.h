// engine/smtp/policy.h - what a failure means. Everything that goes wrong between a session and a server
// comes here as a Failure, and nobody else decides what follows from it. Pure: any thread.
//
// The questions, in the order in which they matter:
//   May the server have the message? Then nothing is sent again: kUnknown.
//   Whose trouble is it? The account's (a login, a certificate), the connection's (a hang-up, a
//   421), the message's (its sender, its size, its content) or one recipient's. Does it pass by
//   itself? 4xx and broken connections do, 5xx does not.
// The table in policy.cc answers them row by row; the first row that fits wins.
#pragma once

#include "engine/smtp/reply.h"

namespace vespro::engine {

// Where in the dialogue it happened. kEnd is the end of the message: whoever fails there may have
// been heard.
enum class Stage {
  kConnect,
  kGreeting,
  kHello,
  kStartTls,
  kAuth,  // the session's
  kMail,
  kRcpt,
  kData,
  kEnd,  // a transaction's
  kReset,
  kQuit,
};

enum class Fault {
  kReply,        // the server answered, see code
  kTimeout,      // no answer in time
  kClosed,       // the connection ended or broke
  kGarbage,      // what came was no reply, or one that does not belong here
  kNoName,       // the server's name has no address
  kUnreachable,  // no connection to any of its addresses
  kTls,          // TLS could not be agreed on
  kUntrusted,    // nobody whom we trust vouches for the server; one more trust anchor would mend it
  kMisnamed,     // its certificate is for another name than the account's
  kCertificate,  // the server could not prove who it is in another way
  kNoTls,        // TLS is required and not offered
  kNoAuth,       // no login that we could use: not offered, or only over a clear connection
  kCannotCarry,  // the message needs an extension or a size that this server does not have
  kBadAddress,   // an address that may not stand in a command
};

enum class Scope { kAccount, kConnection, kMessage, kRecipient };

enum class Action {
  kRefuse,      // final
  kElsewhere,   // final at this account; another one may take it
  kRetryLater,  // again after a delay; an attempt was used up
  kRetryNow,    // again at once, no attempt used up: nothing was wrong with the recipient
  kTakeOut,     // the account takes no further part; what was in hand goes to the others
  kUnknown,     // the server may have the message
};

struct Failure {
  Stage stage = Stage::kConnect;
  Fault fault = Fault::kReply;
  int code = 0;  // of the reply, with kReply
  EnhancedCode enhanced;
  bool others_accepted = false;  // at kRcpt: another recipient of the same message was taken
  bool proved = false;           // a message was accepted on this connection before
  bool message_ended = false;    // the whole message may have reached the server
  bool in_front = true;          // the server was at work on this one, not on one before it
};

struct Verdict {
  Scope scope = Scope::kConnection;
  Action action = Action::kRetryLater;
  bool renew = false;      // the connection can't be used again
  bool pause = false;      // the server asks us to slow down: nothing to this account for a while
  bool login = false;      // with kTakeOut: it was the login
  bool unusable = false;   // with kTakeOut: only another account or option helps
  bool too_large = false;  // with kTakeOut: no message of this job is small enough
};

Verdict Judge(const Failure& failure);

// "MAIL FROM", for messages.
const char* StageName(Stage stage);

}  // namespace vespro::engine
