// engine/smtp/pending_replies.h - the replies that are due on one session, in the order of what
// they answer. A reply is due once the end of its command was handed to the system: one that comes
// earlier was not asked for. Positions are bytes of the session's output. One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "engine/smtp/policy.h"

namespace vespro::engine {

struct PendingReply {
  Stage stage;
  std::size_t slot = 0;   // of the transaction, from kMail to kEndOfData
  std::size_t index = 0;  // of the recipient, at kRcpt
  std::uint64_t due = 0;  // there is no reply before so much of the output was handed over
};

class PendingReplies {
 public:
  void Expect(const PendingReply& pending) { pending_.push_back(pending); }
  void Clear() { pending_.clear(); }
  bool empty() const { return pending_.empty(); }
  // What the next reply answers; not while it is empty.
  const PendingReply& next() const { return pending_.front(); }

  // Whether a reply can be for next(), with so much of the output taken by a write.
  bool IsDue(std::uint64_t taken) const { return !empty() && next().due <= taken; }
  // Its reply is here.
  PendingReply Take(std::uint64_t written);
  // It was not its reply.
  void PutBack(const PendingReply& pending) { pending_.push_front(pending); }

  // A reply tells of what ends at this byte. A write that is under way may have handed it over: the
  // next OnWritten shows whether it had.
  void ReliesOn(std::uint64_t position, std::uint64_t written);
  // False when a reply came before what it tells of.
  bool OnWritten(std::uint64_t written);

 private:
  std::deque<PendingReply> pending_;
  std::uint64_t relied_on_ = 0;
};

}  // namespace vespro::engine
