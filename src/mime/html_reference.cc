#include "mime/html_reference.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace vespro::ModReference {
namespace {

constexpr std::size_t kMaxLength = 12;  // "&#x10FFFF;" and some leading zeros

// From U+00A0 on.
constexpr std::array<std::string_view, 96> kLatin1 = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",
    "copy",   "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn",
    "sup2",   "sup3",   "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",
    "raquo",  "frac14", "frac12", "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde",
    "Auml",   "Aring",  "AElig",  "Ccedil", "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave",
    "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde", "Ograve", "Oacute", "Ocirc",  "Otilde",
    "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",  "Uuml",   "Yacute", "THORN",
    "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",  "aelig",  "ccedil",
    "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",   "eth",
    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};
constexpr std::pair<std::string_view, char32_t> kOthers[] = {
    {"amp", '&'},       {"lt", '<'},        {"gt", '>'},       {"quot", '"'},
    {"apos", '\''},     {"OElig", 0x152},   {"oelig", 0x153},  {"Scaron", 0x160},
    {"scaron", 0x161},  {"Yuml", 0x178},    {"ndash", 0x2013}, {"mdash", 0x2014},
    {"lsquo", 0x2018},  {"rsquo", 0x2019},  {"sbquo", 0x201A}, {"ldquo", 0x201C},
    {"rdquo", 0x201D},  {"bdquo", 0x201E},  {"bull", 0x2022},  {"hellip", 0x2026},
    {"lsaquo", 0x2039}, {"rsaquo", 0x203A}, {"euro", 0x20AC},  {"trade", 0x2122},
    {"rarr", 0x2192},
};

bool IsCharacter(std::uint32_t number) {
  return number > 0 && number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
}

bool ReadNumber(std::string_view digits, char32_t& character) {
  const bool hex = digits.starts_with('x') || digits.starts_with('X');
  if (hex) digits.remove_prefix(1);
  std::uint32_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, number, hex ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != end || !IsCharacter(number)) return false;
  character = number;
  return true;
}

bool ReadName(std::string_view name, char32_t& character) {
  const auto* latin = std::find(kLatin1.begin(), kLatin1.end(), name);
  if (latin != kLatin1.end()) {
    character = static_cast<char32_t>(0xA0 + (latin - kLatin1.begin()));
    return true;
  }
  for (const auto& [known, value] : kOthers) {
    if (known != name) continue;
    character = value;
    return true;
  }
  return false;
}

}  // namespace

std::size_t Read(std::string_view text, char32_t& character) {
  if (!text.starts_with('&')) return 0;
  const std::size_t end = text.substr(0, kMaxLength).find(';');
  if (end == std::string_view::npos) return 0;
  const std::string_view name = text.substr(1, end - 1);
  const bool known =
      name.starts_with('#') ? ReadNumber(name.substr(1), character) : ReadName(name, character);
  return known ? end + 1 : 0;
}

}  // namespace vespro::ModReference
