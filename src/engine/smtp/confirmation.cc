#include "engine/smtp/confirmation.h"

namespace vespro::engine {
namespace {

// Messages, and recipients, after which a confirmation is sought.
constexpr std::size_t kConfirmMessages = 100, kConfirmRecipients = 1000;
// Commands between a DATA that was refused and the next one, where BDAT serves as well: more than
// replies could be too many. The 354 that belongs to the first then comes to one of them.
constexpr std::uint64_t kDataDistance = 40;

}  // namespace

void Confirmation::OnBegun(std::size_t recipients) {
  ++messages_;
  recipients_ += recipients;
}

void Confirmation::GiveUp() {
  given_up_ = true;
  holds_ = false;
}

bool Confirmation::IsSought() const {
  if (data_refused_at_ && commands_ - *data_refused_at_ < kDataDistance) return false;
  return holds_ || messages_ >= kConfirmMessages || recipients_ >= kConfirmRecipients;
}

Confirmation::Hold Confirmation::Check(const Transaction& oldest,
                                       const Transaction::Circumstances& circumstances) {
  Hold hold;
  if (confirmed_ == 0 && !given_up_) {
    hold.held = hold_all_ || NeedsConfirmation(oldest, circumstances, hold.last);
  }
  holds_ = hold.held;
  return hold;
}

bool Confirmation::NeedsConfirmation(const Transaction& oldest,
                                     const Transaction::Circumstances& circumstances,
                                     std::optional<Answer>& last) {
  // As long as there was nothing but refusals that belong together no reply can be too many: it
  // would have torn one apart. A whole list that is told to wait costs no connection.
  if (!oldest.IsRefusedInOrder()) only_refusals_ = false;
  if (only_refusals_ || oldest.IsEveryoneAccepted()) return false;
  bool needs = false;
  for (std::size_t i = 0; i < oldest.recipients(); ++i) {
    const Answer answer = oldest.AnswerFor(i, circumstances);
    if (answer.accepted || !oldest.IsUncertain(i, answer.failure.stage)) continue;
    const Action action = answer.disposition.action;
    const bool final = action == Action::kBounce && !MayBeTheAccounts(answer.failure);
    const bool again = oldest.body_sent() && !final;
    const bool gives_up = action == Action::kDisableServer && messages_ > 1;
    if (!again && !gives_up) continue;
    needs = true;
    const bool ends = answer.disposition.close_connection || action == Action::kDisableServer;
    if (ends && !last) last = answer;
  }
  return needs;
}

void Confirmation::OnConfirmed(std::size_t transactions) {
  confirmed_ = transactions;
  data_refused_at_.reset();
}

void Confirmation::Restart(std::size_t messages, std::size_t recipients) {
  messages_ = messages;
  recipients_ = recipients;
  only_refusals_ = messages == 0;
}

bool Confirmation::OnCompleted(std::size_t place) {
  if (place >= confirmed_) return false;
  --confirmed_;
  return true;
}

}  // namespace vespro::engine
