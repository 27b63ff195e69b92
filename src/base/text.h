// base/text.h - small operations on text. Pure: any thread. "Blank" means U+0020 and nothing else,
// as the add-in's files and settings have always meant it; a tab is not a blank.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::ModText {

// Without its leading and trailing blanks. The result points into `text`.
std::string_view Trim(std::string_view text);

// A to Z only; other bytes stay. For protocol words and file names' endings, never for addresses.
std::string LowerAscii(std::string_view text);
bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b);
bool StartsWithIgnoringAsciiCase(std::string_view text, std::string_view prefix);
// Where `needle` (any case) first is in `text` at or after `from`; npos when nowhere.
std::size_t FindIgnoringAsciiCase(std::string_view text, std::string_view needle,
                                  std::size_t from = 0);

// Every `from` replaced by `to`, left to right; `from` must not be empty.
std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);

// The pieces between the separators; an empty text has no pieces, "a," has two. Views into `text`.
std::vector<std::string_view> Split(std::string_view text, char separator);

// The number with which a text begins: leading blanks, a sign, digits, a fraction. 0 when there is
// none; never fails, never depends on the locale.
double LeadingNumber(std::string_view text);
// LeadingNumber rounded to a whole number, halves to the even neighbour, and kept within 16 bits.
std::int16_t LeadingInt16(std::string_view text);

// A whole decimal number without sign, blanks or anything after it, at most `max`; false
// otherwise.
bool ParseUnsigned(std::string_view text, std::uint64_t max, std::uint64_t* value);

// Whether the bytes are well-formed UTF-8 (RFC 3629: no surrogates, no overlong forms).
bool IsUtf8(std::string_view bytes);
bool IsAscii(std::string_view bytes);
// How many characters a text of UTF-8 has.
std::size_t CountCharacters(std::string_view text);
// A code point, at most U+10FFFF, as UTF-8.
void AppendUtf8(std::string& out, std::uint32_t c);
// Whether there is a control character (below U+0020, or U+007F) in the text.
bool HasControls(std::string_view text);

// For messages and reports: control characters, those that turn the direction of writing round, and
// bytes that are no UTF-8 shown as "?", at most `max_bytes` long and cut at a character's edge,
// with
// "..." where it was cut.
std::string Printable(std::string_view text, std::size_t max_bytes = 200);

// The value of a hexadecimal digit, in either case; -1 for anything else.
int HexValue(char c);
// "%41" as "A" (RFC 3986, section 2.1); a "%" without two hexadecimal digits stays.
std::string PercentDecoded(std::string_view text);

// "&", "<", ">", "\"" and "'" as HTML character references.
void AppendHtml(std::string& out, std::string_view text);
std::string EscapeHtml(std::string_view text);
// The inverse of EscapeHtml; other references stay as they are.
std::string UnescapeHtml(std::string_view text);

}  // namespace vespro::ModText
