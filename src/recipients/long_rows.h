// recipients/long_rows.h - rows of a table with more cells than its first row. A spreadsheet writes
// "Doe, John" in quotes; every comma separates here, so such a row's cells are one column
// further.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/status.h"
#include "recipients/list_blocks.h"

namespace vespro::ModRecipients {

struct LongRows {
  std::uint64_t count = 0;
  std::uint64_t first_line = 0;  // from 1; 0: none
};
// Reads the table at `path` (UTF-8) once. kNotFound, kBadInput and kCancelled as
// LoadAndDeduplicate.
Result<LongRows> FindLongRows(std::string_view path, const OnLine& on_line = {});

}  // namespace vespro::ModRecipients
