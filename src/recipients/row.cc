#include "recipients/row.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/code_page.h"
#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro::ModRow {

std::string_view StripByteOrderMark(std::string_view first_line) {
  if (first_line.starts_with(kByteOrderMark)) first_line.remove_prefix(kByteOrderMark.size());
  return first_line;
}

bool FieldAt(std::string_view row, std::size_t index, std::string_view& field) {
  for (; index > 0; --index) {
    const std::size_t comma = row.find(',');
    if (comma == std::string_view::npos) return false;
    row.remove_prefix(comma + 1);
  }
  field = row.substr(0, row.find(','));
  return true;
}

void LowerAddress(std::string& address) {
  if (ModText::IsAscii(address) || CodePageIsUtf8() || !ModText::IsUtf8(address)) {
    ModCodePage::LowerInPlace(address);
    return;
  }
  if (!ModCodePage::CanHold(address)) {
    address = ModText::LowerAscii(address);
    return;
  }
  std::string ansi = ModCodePage::FromUtf8(address);
  ModCodePage::LowerInPlace(ansi);
  address = ModCodePage::ToUtf8(ansi);
}

void LowerRow(std::string& row, ListKind kind) {
  if (kind != ListKind::kCsv || ModText::IsAscii(row)) {
    LowerAddress(row);
    return;
  }
  const std::string fields = std::exchange(row, {});
  std::string lower;
  for (std::size_t begin = 0; begin <= fields.size();) {
    const std::size_t comma = std::min(fields.find(',', begin), fields.size());
    lower.assign(fields, begin, comma - begin);
    LowerAddress(lower);
    row += lower;
    if (comma < fields.size()) row += ',';
    begin = comma + 1;
  }
}

namespace {

void AssignWithoutQuotes(std::string& out, std::string_view field) {
  out.assign(field);
  const bool has_none =
      field.find('"') == std::string_view::npos && field.find('\'') == std::string_view::npos;
  if (!has_none) std::erase_if(out, [](char c) { return c == '"' || c == '\''; });
}

}  // namespace

Found AddressOf(std::string_view line, ListKind kind, std::int16_t column, std::string& address) {
  address.clear();
  line = ModText::Trim(line);
  if (line.empty()) return Found::kEmpty;
  if (kind == ListKind::kCsv) {
    std::string_view field;
    if (column < 0 || !FieldAt(line, static_cast<std::size_t>(column), field)) {
      return Found::kShortRow;
    }
    AssignWithoutQuotes(address, ModText::Trim(field));
    // Blanks may have stood inside the quotes.
    const std::string_view trimmed = ModText::Trim(address);
    const auto leading = static_cast<std::size_t>(trimmed.data() - address.data());
    address.resize(leading + trimmed.size());
    address.erase(0, leading);
  } else {
    address.assign(line);
  }
  if (address.empty()) return Found::kEmpty;
  LowerAddress(address);
  return Found::kAddress;
}

bool HoldsSomething(std::string_view row) {
  return row.find_first_not_of(" ,\"'") != std::string_view::npos;
}

bool LooksLikeAddress(std::string_view address) {
  if (address.size() < 3 || address.back() == '@') return false;
  if (address.find('@', 1) == std::string_view::npos) return false;
  // No branches: hundreds of thousands of duplicates are looked at.
  unsigned odd = 0;
  for (const char c : address) {
    odd |= static_cast<unsigned>((c == ' ') | (c == '\t') | (c == '\r') | (c == '\n') | (c == '<') |
                                 (c == '>') | (c == ',') | (c == ';') | (c == '"'));
  }
  return odd == 0;
}

}  // namespace vespro::ModRow
