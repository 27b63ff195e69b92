// engine/smtp/policy.h - what a failure means. Everything that goes wrong between a session and a
// server comes here as a Failure, and nobody else decides what follows from it. Pure: any thread.
//
// The questions, in the order in which they matter:
//   May the server have the message? Then nothing is sent again: kUnknown.
//   Whose trouble is it? The account's (a login, a certificate, a limit of the provider's), the
//   connection's (a hang-up, a 421), the message's (its sender, its size, its content) or one
//   recipient's. Does it pass by itself? 4xx and broken connections do, 5xx does not.
// The table in policy.cc answers them row by row; the first row that fits wins.
#pragma once

#include "engine/smtp/complaint.h"
#include "engine/smtp/reply.h"

namespace vespro::engine {

// Where in the dialogue it happened. kEndOfData is the end of the message (RFC 5321, section
// 4.1.1.4): after it the server may have accepted the message.
enum class Stage {
  kConnect,
  kGreeting,
  kEhlo,
  kStartTls,
  kAuth,  // the session's
  kMail,
  kRcpt,
  kData,
  kEndOfData,  // a transaction's
  kReset,
  kQuit,
};

enum class Fault {
  kReply,          // the server answered, see code
  kTimeout,        // no answer in time
  kClosed,         // the connection ended or broke
  kProtocolError,  // what came was no reply, or one that does not belong here
  // It sent a reply too many: whose answers those since the last confirmation are is not known.
  kOutOfStep,
  kDnsFailure,     // the server's name has no address
  kUnreachable,    // no connection to any of its addresses
  kTls,            // TLS could not be agreed on
  kUntrusted,      // no trusted issuer vouches for the server; another trust anchor would help
  kMisnamed,       // its certificate is for another name than the account's
  kCertificate,    // the server could not prove who it is in another way
  kNoTls,          // TLS is required and not offered
  kNoAuth,         // no login that we could use: not offered, or only over a clear connection
  kUnsupported,    // the message needs an extension or a size that this server does not have
  kUnsafeAddress,  // an address that is not safe in a command
};

enum class Scope { kAccount, kConnection, kMessage, kRecipient };

enum class Action {
  kBounce,          // final
  kTryOtherServer,  // final at this account; another one may take it
  kDefer,           // again after a delay; an attempt was used up
  kRequeue,         // again at once, no attempt used up: nothing was wrong with the recipient
  kDisableServer,   // the account takes no further part; what was in hand goes to the others
  kUnknown,         // the server may have the message
};

// What the server limits: never the recipient's trouble.
enum class Limit {
  kNone,
  kRate,         // messages in a time: fewer of them
  kConcurrency,  // transactions, or connections, at a time: fewer of them
  kRest,         // nothing for minutes, then one connection
  kQuota,        // used up for hours: with kDisableServer
};

struct Failure {
  Stage stage = Stage::kConnect;
  Fault fault = Fault::kReply;
  int code = 0;  // of the reply, with kReply
  EnhancedCode enhanced;
  Complaint complaint = Complaint::kNone;  // what its words say, with kReply
  bool others_accepted = false;   // at kRcpt: another recipient of the same message was taken
  bool delivered_before = false;  // a message was accepted on this connection before
  bool end_of_data_sent = false;  // the whole message may have reached the server
  bool head_of_line = true;       // the server was at work on this one, not on one before it
};

struct Disposition {
  Scope scope = Scope::kConnection;
  Action action = Action::kDefer;
  bool close_connection = false;  // it can't be used again
  Limit limit = Limit::kNone;
  bool login = false;      // with kDisableServer: it was the login
  bool unusable = false;   // with kDisableServer: only another account or option helps
  bool too_large = false;  // with kDisableServer: no message of this job is small enough
};

// What a reply at `stage` says.
Failure FailureOf(Stage stage, const Reply& reply);
Disposition Classify(const Failure& failure);

// Whether a final refusal in words that are not known may yet be the account's or the message's.
// X.1.x and X.2.x are about the recipient's address and mailbox (RFC 3463), and so is an answer to
// RCPT without an enhanced code; at MAIL everything is about the sender.
bool MayBeTheAccounts(const Failure& failure);

// Whether `reply` can be the answer to a command of this stage; with one that can't be, the two
// sides are out of step. `strict` looks at enhanced codes too, of which some servers are careless.
bool CanAnswer(Stage stage, const Reply& reply, bool strict);

// "MAIL FROM", for messages.
const char* StageName(Stage stage);

}  // namespace vespro::engine
