#include "lint/list_check.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "base/text.h"
#include "engine/address.h"
#include "engine/hash.h"
#include "recipients/list_text.h"

namespace vespro::lint {
namespace {

// What a table program meant by a row's quotes: a cell that begins with one ends with one.
struct Quotes {
  std::size_t comma_in = kNone;  // the first cell with a comma in quotes; counted by commas
  bool open = false;             // the last cell does not end in this row
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
};

Quotes ReadQuotes(std::string_view row) {
  Quotes found;
  bool at_start = true, quoted = false;
  std::size_t cell = 0, began_in = 0;
  for (std::size_t i = 0; i < row.size(); ++i) {
    const char c = row[i];
    if (c == ',') {
      if (quoted && found.comma_in == Quotes::kNone) found.comma_in = began_in;
      at_start = !quoted;
      ++cell;
    } else if (c == '"' && quoted) {
      if (i + 1 < row.size() && row[i + 1] == '"') {
        ++i;
      } else {
        quoted = false;
      }
    } else if (c == '"' && at_start) {
      quoted = true;
      began_in = cell;
    }
    if (c != ',' && c != ' ') at_start = false;
  }
  found.open = quoted;
  return found;
}

bool Holds(std::string_view row, char c) {
  return !row.empty() && std::memchr(row.data(), c, row.size()) != nullptr;
}

// Nothing for a reader: blanks, and what is left of a cell without its quotes.
bool IsBlank(std::string_view cell) {
  return cell.find_first_not_of(" \t\"") == std::string_view::npos;
}

class RowCheck {
 public:
  RowCheck(const Distribution& list, const std::vector<std::size_t>& columns,
           Randomness& randomness)
      : list_(list), columns_(columns), seen_(randomness) {
    facts_.empty.resize(columns.size());
    last_used_ = static_cast<std::size_t>(std::max<std::int16_t>(list.column, 0));
    for (const std::size_t column : columns) last_used_ = std::max(last_used_, column);
  }

  void Add(std::string_view row) {
    ++line_;
    if (list_.kind == ListKind::kCsv) {
      const std::ptrdiff_t commas = std::count(row.begin(), row.end(), ',');
      if (line_ == 1) {
        commas_expected_ = commas;
        if (list_.header) return;
      }
      CheckCells(row, commas);
    }
    if (TakeAddress(row)) CheckValues(row);
  }

  ListFacts Finish() { return std::move(facts_); }

 private:
  void CheckCells(std::string_view row, std::ptrdiff_t commas) {
    const Quotes quotes = Holds(row, '"') ? ReadQuotes(row) : Quotes();
    if (quotes.open) return facts_.open_quotes.Add(line_);
    if (quotes.comma_in != Quotes::kNone) {
      const bool moves = quotes.comma_in <= last_used_;
      return (moves ? facts_.quoted_commas : facts_.harmless_commas).Add(line_);
    }
    if (commas > commas_expected_ && ModRow::HoldsSomething(row)) facts_.long_rows.Add(line_);
  }

  // Whether a message goes to that row.
  bool TakeAddress(std::string_view row) {
    const ModRow::Found found = ModRow::AddressOf(row, list_.kind, list_.column, address_);
    if (found != ModRow::Found::kAddress) {
      // A spreadsheet's rows of nothing but commas are nobody's.
      if (!ModRow::HoldsSomething(row)) return false;
      facts_.without_address.Add(line_, found == ModRow::Found::kShortRow ? "too few cells" : "");
      return false;
    }
    if (!ModText::IsAscii(address_)) address_ = ListText(address_);
    if (const std::string why = engine::WhyUnusable(address_); !why.empty()) {
      facts_.unusable.Add(line_, "'" + ModText::Printable(address_, 40) + "': " + why);
      return false;
    }
    if (!seen_.Insert(address_)) {
      facts_.duplicates.Add(line_, address_);
      return false;
    }
    ++facts_.people;
    return true;
  }

  void CheckValues(std::string_view row) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      std::string_view cell;
      if (!ModRow::FieldAt(row, columns_[i], cell) || IsBlank(cell)) {
        facts_.empty[i].Add(line_, address_);
      }
    }
  }

  const Distribution& list_;
  const std::vector<std::size_t>& columns_;
  engine::AddressSet seen_;
  ListFacts facts_;
  std::uint64_t line_ = 0;
  std::ptrdiff_t commas_expected_ = 0;
  std::size_t last_used_ = 0;
  std::string address_;  // of the row in hand
};

}  // namespace

Result<ListFacts> CheckRows(const Distribution& list, const std::vector<std::size_t>& columns,
                            Randomness& randomness, const ModRecipients::OnLine& on_line) {
  Result<ModRecipients::ListBlocks> blocks = ModRecipients::ListBlocks::Open(list.path);
  if (!blocks.ok()) return blocks.status();
  RowCheck check(list, columns, randomness);
  for (;;) {
    Result<ModRecipients::ListBlocks::Block> block = blocks->Next();
    if (!block.ok()) return block.status();
    if (block->size == 0) return check.Finish();
    for (std::string_view lines = block->text(); !lines.empty();) {
      if (on_line && !on_line()) return ModRecipients::GivenUp(list.path);
      check.Add(ModRecipients::TakeLine(lines));
    }
  }
}

}  // namespace vespro::lint
