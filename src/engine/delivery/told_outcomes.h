// engine/delivery/told_outcomes.h - whose outcome a session has told since both sides were last
// known to be in step. It is kept for every message, so it is small: a line, an address and what
// was told. One thread per object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/message.h"
#include "engine/work.h"

namespace vespro::engine {

class ToldOutcomes {
 public:
  void Add(const Recipient& recipient, int attempts, State state) {
    told_.push_back({recipient.line, recipient.address.size(), attempts, state});
    addresses_ += recipient.address;
  }
  // They are confirmed. Keeps its memory.
  void Clear() {
    told_.clear();
    addresses_.clear();
  }
  // `tell(recipient, attempts, state)` for each in the order of Add, then Clear. The recipients
  // have no row.
  template <class Tell>
  void TakeBack(const Tell& tell) {
    std::size_t at = 0;
    for (const Told& told : told_) {
      tell(Recipient{told.line, addresses_.substr(at, told.address_bytes), {}}, told.attempts,
           told.state);
      at += told.address_bytes;
    }
    Clear();
  }

 private:
  struct Told {
    std::uint64_t line;
    std::size_t address_bytes;
    int attempts;
    State state;
  };
  std::vector<Told> told_;
  std::string addresses_;  // one after the other
};

}  // namespace vespro::engine
