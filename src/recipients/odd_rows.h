// recipients/odd_rows.h - rows of a table that hold something, but no address where it should
// be: people without one, and rows whose cells a comma has shifted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "recipients/list_text.h"

namespace vespro::ModRecipients {

struct OddRows {
  struct Row {
    std::uint64_t line = 0;  // from 1
    std::string found;       // in the address's place, UTF-8; empty: nothing
  };
  static constexpr std::size_t kMaxRows = 1000;

  std::uint64_t count = 0;
  std::vector<Row> first;  // at most kMaxRows

  void Add(std::uint64_t line, std::string_view found) {
    if (count++ < kMaxRows) first.push_back({line, ListText(found)});
  }
};

}  // namespace vespro::ModRecipients
