// engine/smtp/transaction_window.h - the transactions in flight on one session: where each is, by
// slot, and the order in which they are on the wire. One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/smtp/extensions.h"
#include "engine/smtp/transaction.h"

namespace vespro::engine {

class TransactionWindow {
 public:
  // At least one slot.
  explicit TransactionWindow(std::size_t slots);

  Transaction& operator[](std::size_t slot) { return transactions_[slot]; }
  const Transaction& operator[](std::size_t slot) const { return transactions_[slot]; }

  bool empty() const { return order_.empty(); }
  bool full() const { return order_.size() == transactions_.size(); }
  std::size_t size() const { return order_.size(); }
  // Slots in use, the oldest first.
  const std::vector<std::size_t>& order() const { return order_; }
  std::size_t oldest() const { return order_.front(); }
  std::size_t newest() const { return order_.back(); }
  // How many are on the wire before it.
  std::size_t PlaceOf(std::size_t slot) const;

  // Only while it is not full.
  std::size_t FreeSlot() const;
  void Begin(std::size_t slot, const Submission& submission, const Extensions& extensions);
  // Out of the order. The slot is free after Transaction::End.
  void Remove(std::size_t slot);

  std::uint64_t bytes() const { return bytes_; }  // of the messages
  std::size_t recipients() const;
  std::size_t unanswered() const;  // transactions
  // With so much of the output `written`: what was answered before it was sent is not.
  bool IsAnswered(std::size_t slot, std::uint64_t written) const;
  bool IsAllAnswered(std::uint64_t written) const;
  // Whether the transaction before it failed and is still here: the server may hold its envelope.
  bool FollowsAnEnvelope(std::size_t slot) const;

 private:
  std::vector<Transaction> transactions_;
  std::vector<std::size_t> order_;
  std::uint64_t bytes_ = 0;
};

}  // namespace vespro::engine
