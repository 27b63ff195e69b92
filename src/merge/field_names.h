// merge/field_names.h - the merge fields that a list's header row offers. Rows are the file's
// bytes, names are UTF-8. Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::ModMailMerge {

// The name of a header cell: without quotes and apostrophes, trimmed, each blank and tab as "_", in
// upper case. "First Name" gives FIRST_NAME. Empty when nothing is left.
std::string FieldNameOf(std::string_view cell);

// In upper case, by way of the code page, which knows the letters; text that it can't hold keeps
// those that are not ASCII.
std::string Upper(std::string text);

struct FieldName {
  std::size_t column = 0;  // from 0
  std::string name;
  bool operator==(const FieldName&) const = default;
};
// The named columns of a header row, in order; a cell without a name has no entry. Names may
// repeat. A byte-order mark in front is left out.
std::vector<FieldName> FieldNames(std::string_view header_row);

}  // namespace vespro::ModMailMerge
