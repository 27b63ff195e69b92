#include "merge/field_names.h"

#include <algorithm>

#include "base/code_page.h"
#include "base/text.h"
#include "recipients/list_text.h"
#include "recipients/row.h"

namespace vespro::ModMailMerge {
std::string Upper(std::string text) {
  if (ModCodePage::CanHold(text)) {
    std::string ansi = ModCodePage::FromUtf8(text);
    ModCodePage::UpperInPlace(ansi);
    return ModCodePage::ToUtf8(ansi);
  }
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
  });
  return text;
}

std::string FieldNameOf(std::string_view cell) {
  std::string bare(cell);
  std::erase_if(bare, [](char c) { return c == '"' || c == '\''; });
  std::string name(ModText::Trim(bare));
  std::replace(name.begin(), name.end(), ' ', '_');
  std::replace(name.begin(), name.end(), '\t', '_');
  return Upper(ListText(name));
}

std::vector<FieldName> FieldNames(std::string_view header_row) {
  std::vector<FieldName> names;
  std::size_t column = 0;
  for (const std::string_view cell : ModText::Split(ModRow::StripByteOrderMark(header_row), ',')) {
    if (std::string name = FieldNameOf(cell); !name.empty()) {
      names.push_back({column, std::move(name)});
    }
    ++column;
  }
  return names;
}

}  // namespace vespro::ModMailMerge
