// recipients/row.h - one line of a distribution file: its fields and its address. Bytes as they
// are in the file; nothing is decoded. Cheap enough for every line of a list of millions: no
// memory is taken beyond the caller's reusable string. Pure: any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vespro {

enum class ListKind { kUnknown, kText, kCsv };

namespace ModRow {

// Upper bound for one row: a larger file without line ends is not a list.
inline constexpr std::size_t kMaxLineBytes = 1024 * 1024;

// The first line of a file without a UTF-8 byte-order mark, which is no part of the first field.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
std::string_view StripByteOrderMark(std::string_view first_line);

// The field at `index` (from 0), blanks and quotes included. False when the row has fewer fields.
// Every comma separates, inside quotes too; an empty row is one empty field.
bool FieldAt(std::string_view row, std::size_t index, std::string_view& field);

// Lower case in the code page; bytes that are well-formed UTF-8 are lowered as such even where the
// code page is another, which would tear their characters apart.
void LowerAddress(std::string& address);

// A whole row, each field of a CSV by itself: one odd character in another field must not decide
// how the address is lowered.
void LowerRow(std::string& row, ListKind kind);

enum class Found {
  kAddress,
  kEmpty,     // a line of blanks, or nothing where the address is
  kShortRow,  // fewer fields than `column`, or `column` is negative
};
// The address in the form in which addresses are compared: lower case, no blanks around it, and for
// kCsv no quotes or apostrophes. kText and kUnknown take the whole line. `address` is empty unless
// the answer is kAddress. Whether it is an e-mail address at all is not looked at.
Found AddressOf(std::string_view line, ListKind kind, std::int16_t column, std::string& address);

// Whether a row has more than empty cells. Spreadsheets write rows of nothing but commas after the
// last one.
bool HoldsSomething(std::string_view row);

// Whether an address as AddressOf gives it could be one at all: "local@domain" with nothing in it
// that only a cell of another column has. Not whether a server would take it.
bool LooksLikeAddress(std::string_view address);

}  // namespace ModRow
}  // namespace vespro
