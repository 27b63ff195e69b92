// lint/list_check.h - goes through a distribution file once, as the engine will, and counts what a
// person should know before it is mailed. Memory: 14 bytes a recipient, for duplicates. One thread.
#pragma once

#include <cstdint>
#include <vector>

#include "base/random.h"
#include "base/status.h"
#include "lint/finding.h"
#include "recipients/distribution.h"
#include "recipients/list_blocks.h"

namespace vespro::lint {

struct ListFacts {
  std::uint64_t people = 0;  // who would get a message
  Rows without_address;      // with the reason where it is a row with too few cells
  Rows unusable;             // addresses that can't be right, with the reason
  Rows duplicates;
  Rows quoted_commas;       // a comma in a cell in quotes moves a cell that is used
  Rows harmless_commas;     // only cells that are not used
  Rows open_quotes;         // a cell in quotes goes on in the next line
  Rows long_rows;           // of the others, those with more cells than the first row
  std::vector<Rows> empty;  // people without a value, for each of the used columns
};

// `columns` are those whose values the mail shows, from 0. kNotFound, kBadInput and kCancelled as
// LoadAndDeduplicate.
Result<ListFacts> CheckRows(const Distribution& list, const std::vector<std::size_t>& columns,
                            Randomness& randomness, const ModRecipients::OnLine& on_line = {});

}  // namespace vespro::lint
