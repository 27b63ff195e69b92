#include "recipients/long_rows.h"

#include <algorithm>

namespace vespro::ModRecipients {

Result<LongRows> FindLongRows(std::string_view path, const OnLine& on_line) {
  Result<ListBlocks> blocks = ListBlocks::Open(path);
  if (!blocks.ok()) return blocks.status();
  LongRows found;
  std::uint64_t line_number = 0;
  std::ptrdiff_t expected = 0;
  for (;;) {
    Result<ListBlocks::Block> block = blocks->Next();
    if (!block.ok()) return block.status();
    if (block->size == 0) return found;
    for (std::string_view lines = block->text(); !lines.empty();) {
      if (on_line && !on_line()) return GivenUp(path);
      const std::string_view line = TakeLine(lines);
      const std::ptrdiff_t commas = std::count(line.begin(), line.end(), ',');
      if (++line_number == 1) expected = commas;
      if (commas <= expected) continue;
      if (found.count++ == 0) found.first_line = line_number;
    }
  }
}

}  // namespace vespro::ModRecipients
