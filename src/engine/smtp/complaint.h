// engine/smtp/complaint.h - what a refusal says of the account that sends: providers limit pace,
// connections and the number of messages, and say so in codes and words of their own. Pure: any
// thread.
#pragma once

#include "engine/smtp/reply.h"

namespace vespro::engine {

enum class Complaint {
  kNone,         // none of this account that we know: it is about the recipient or the message
  kRate,         // messages too close together
  kConcurrency,  // too many transactions or connections at once, or too often connected
  kUnsolicited,  // held back for a while, for what or how much was sent
  kQuota,        // so much may be sent in an hour or a day, and was
  kSender,       // the account may not send, or not as this sender
  kLogin,        // its login does not do for sending
};

// Of a reply of 4xx or 5xx. Its text is hostile: of any length and content. Addresses in it don't
// count.
Complaint ComplaintOf(const Reply& reply);

}  // namespace vespro::engine
