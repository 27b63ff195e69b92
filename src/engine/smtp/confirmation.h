// engine/smtp/confirmation.h - when it is certain whose the answers are. A server that sends a
// reply too many shifts every later answer to the next message. 354 and 221 belong to DATA and QUIT
// only: where one comes in its place, everything before it was in step. Here is what is not certain
// yet, which answers wait until it is, and when a point of certainty is sought. It sees no reply
// and sends nothing. One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/smtp/transaction.h"

namespace vespro::engine {

class Confirmation {
 public:
  void OnBegun(std::size_t recipients);
  void OnCommand() { ++commands_; }
  // The server did not say 354. It may come yet, and be taken for that of a later DATA.
  void OnDataRefused() { data_refused_at_ = commands_; }
  // Nothing more is told without a confirmation.
  void HoldAll() { hold_all_ = true; }
  // There will be none: the session ends.
  void GiveUp();

  // Whether the next message is to go by DATA, for its 354.
  bool IsSought() const;

  struct Hold {
    bool held = false;
    // An answer that ends the use of the session as well; it points into the transaction.
    std::optional<Answer> last;
  };
  // Whether the oldest transaction, which is answered, has to wait with what its recipients are
  // told: somebody would be sent to again, or the server be given up, on answers that may be
  // another message's, while this one may have been accepted.
  Hold Check(const Transaction& oldest, const Transaction::Circumstances& circumstances);
  // What Check said last.
  bool holds() const { return holds_; }

  // The oldest so many transactions have the answers that are theirs. When they were told, Restart
  // follows with what is in flight still.
  void OnConfirmed(std::size_t transactions);
  void Restart(std::size_t messages, std::size_t recipients);
  // A transaction is completed that has so many before it. Whether its answers are confirmed.
  bool OnCompleted(std::size_t place);

 private:
  bool NeedsConfirmation(const Transaction& oldest, const Transaction::Circumstances& circumstances,
                         std::optional<Answer>& last);

  std::size_t confirmed_ = 0;  // transactions, the oldest ones
  // Begun since the last confirmation.
  std::size_t messages_ = 0, recipients_ = 0;
  bool only_refusals_ = true;  // since then
  std::uint64_t commands_ = 0;
  std::optional<std::uint64_t> data_refused_at_;  // commands_ then, since the last confirmation
  bool hold_all_ = false, holds_ = false, given_up_ = false;
};

}  // namespace vespro::engine
