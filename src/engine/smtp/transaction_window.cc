#include "engine/smtp/transaction_window.h"

#include <algorithm>
#include <cassert>

namespace vespro::engine {

TransactionWindow::TransactionWindow(std::size_t slots)
    : transactions_(std::max<std::size_t>(slots, 1)) {}

std::size_t TransactionWindow::PlaceOf(std::size_t slot) const {
  return static_cast<std::size_t>(std::find(order_.begin(), order_.end(), slot) - order_.begin());
}

std::size_t TransactionWindow::FreeSlot() const {
  const auto free =
      std::find_if(transactions_.begin(), transactions_.end(),
                   [](const Transaction& transaction) { return !transaction.used(); });
  assert(free != transactions_.end());
  return static_cast<std::size_t>(free - transactions_.begin());
}

void TransactionWindow::Begin(std::size_t slot, const Submission& submission,
                              const Extensions& extensions) {
  transactions_[slot].Begin(submission, extensions);
  order_.push_back(slot);
  bytes_ += submission.message->bytes;
}

void TransactionWindow::Remove(std::size_t slot) {
  std::erase(order_, slot);
  bytes_ -= transactions_[slot].bytes();
}

std::size_t TransactionWindow::recipients() const {
  std::size_t recipients = 0;
  for (const std::size_t slot : order_) recipients += transactions_[slot].recipients();
  return recipients;
}

std::size_t TransactionWindow::unanswered() const {
  const auto open = std::count_if(order_.begin(), order_.end(), [this](std::size_t slot) {
    return !transactions_[slot].IsAnswered();
  });
  return static_cast<std::size_t>(open);
}

bool TransactionWindow::IsAnswered(std::size_t slot, std::uint64_t written) const {
  return transactions_[slot].IsAnswered() && written >= transactions_[slot].end();
}

bool TransactionWindow::IsAllAnswered(std::uint64_t written) const {
  return std::all_of(order_.begin(), order_.end(),
                     [&](std::size_t slot) { return IsAnswered(slot, written); });
}

bool TransactionWindow::FollowsAnEnvelope(std::size_t slot) const {
  const std::size_t place = PlaceOf(slot);
  if (place == 0) return false;
  const Transaction& before = transactions_[order_[place - 1]];
  return before.IsAnswered() && before.LeavesEnvelope();
}

}  // namespace vespro::engine
