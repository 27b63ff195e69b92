#include "engine/delivery/evidence.h"

namespace vespro::engine {

Evidence::Finding Evidence::OnRefused(int code, const EnhancedCode& enhanced,
                                      std::uint64_t message) {
  const bool alike = in_row_ > 0 && code == code_ && enhanced == enhanced_;
  const bool alone = in_row_ > 0 && !alike;
  if (!alike) in_row_ = 0;
  // Many recipients of one message are one refusal.
  if (in_row_ == 0 || message != last_message_) ++in_row_;
  code_ = code;
  enhanced_ = enhanced;
  last_message_ = message;
  if (alone) return Finding::kAlone;
  return in_row_ < kMessages ? Finding::kInRow : Finding::kAccount;
}

}  // namespace vespro::engine
