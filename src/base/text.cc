#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace vespro::ModText {
namespace {

char LowerAsciiChar(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// How many bytes the character takes that `text`, not empty, begins with; 0 when it begins with
// none.
std::size_t LeadingCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  return size == 1 || IsUtf8(text.substr(0, size)) ? size : 0;
}

// Whether a character is not shown: a control of ASCII, one of U+0080 to U+009F, which terminals
// obey as well, or what turns the direction of writing round.
bool IsHidden(std::string_view character) {
  if (HasControls(character)) return true;
  const auto at = [character](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 2) return at(0) == 0xC2 && at(1) <= 0x9F;
  if (character.size() != 3 || at(0) != 0xE2) return false;
  const bool marks =
      at(1) == 0x80 && (at(2) == 0x8E || at(2) == 0x8F || (at(2) >= 0xAA && at(2) <= 0xAE));
  const bool isolates = at(1) == 0x81 && at(2) >= 0xA6 && at(2) <= 0xA9;
  return marks || isolates;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return text.substr(0, 0);
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), LowerAsciiChar);
  return lower;
}

bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return LowerAsciiChar(x) == LowerAsciiChar(y);
         });
}

bool StartsWithIgnoringAsciiCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         EqualsIgnoringAsciiCase(text.substr(0, prefix.size()), prefix);
}

std::size_t FindIgnoringAsciiCase(std::string_view text, std::string_view needle,
                                  std::size_t from) {
  if (from > text.size()) return std::string_view::npos;
  const auto found = std::search(
      text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), needle.begin(), needle.end(),
      [](char x, char y) { return LowerAsciiChar(x) == LowerAsciiChar(y); });
  if (found == text.end() && !needle.empty()) return std::string_view::npos;
  return static_cast<std::size_t>(found - text.begin());
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
  std::string out;
  out.reserve(text.size());
  std::size_t at = 0;
  for (std::size_t hit; (hit = text.find(from, at)) != std::string_view::npos;
       at = hit + from.size()) {
    out.append(text, at, hit - at).append(to);
  }
  return out.append(text, at);
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  if (text.empty()) return pieces;
  std::size_t at = 0;
  for (std::size_t hit; (hit = text.find(separator, at)) != std::string_view::npos; at = hit + 1) {
    pieces.push_back(text.substr(at, hit - at));
  }
  pieces.push_back(text.substr(at));
  return pieces;
}

double LeadingNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  std::size_t end = 0;
  while (end < text.size() && IsDigit(text[end])) ++end;
  if (end < text.size() && text[end] == '.') {
    ++end;
    while (end < text.size() && IsDigit(text[end])) ++end;
  }
  double number = 0;
  std::from_chars(text.data(), text.data() + end, number, std::chars_format::fixed);
  return negative ? -number : number;
}

std::int16_t LeadingInt16(std::string_view text) {
  const double number = LeadingNumber(text);
  if (!(number > -32768.0)) return -32768;
  if (!(number < 32767.0)) return 32767;
  const double below = std::floor(number);
  const double rest = number - below;
  const bool up = rest > 0.5 || (rest == 0.5 && std::fmod(below, 2.0) != 0.0);
  return static_cast<std::int16_t>(up ? below + 1 : below);
}

bool ParseUnsigned(std::string_view text, std::uint64_t max, std::uint64_t* value) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 10);
  if (error != std::errc() || end != text.data() + text.size() || number > max) return false;
  *value = number;
  return true;
}

bool IsAscii(std::string_view bytes) {
  // Without a way out of the loop, which the compiler then does for many bytes at a time.
  unsigned all = 0;
  for (const char c : bytes) all |= static_cast<unsigned char>(c);
  return (all & 0x80) == 0;
}

void AppendUtf8(std::string& out, std::uint32_t c) {
  const auto put = [&out](std::uint32_t byte) { out += static_cast<char>(byte); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

bool IsUtf8(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || i + length > bytes.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0) != 0x80) return false;
    }
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
      return false;
    }
    i += length;
  }
  return true;
}

std::size_t CountCharacters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
  });
}

std::string Printable(std::string_view text, std::size_t max_bytes) {
  bool cut = false;
  if (text.size() > max_bytes) {
    cut = true;
    text = text.substr(0, max_bytes);
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80) {
      text.remove_suffix(1);
    }
    if (!text.empty() && static_cast<unsigned char>(text.back()) >= 0xC0) text.remove_suffix(1);
  }
  std::string out;
  out.reserve(text.size() + 3);
  while (!text.empty()) {
    const std::string_view character = text.substr(0, LeadingCharacter(text));
    out += character.empty() || IsHidden(character) ? "?" : character;
    text.remove_prefix(std::max<std::size_t>(character.size(), 1));
  }
  if (cut) out += "...";
  return out;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PercentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
        HexValue(text[i + 2]) >= 0) {
      out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

void AppendHtml(std::string& out, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
}

std::string EscapeHtml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  AppendHtml(out, text);
  return out;
}

std::string UnescapeHtml(std::string_view text) {
  static constexpr std::pair<std::string_view, char> kReferences[] = {
      {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}};
  std::string out;
  while (!text.empty()) {
    const auto* known =
        std::find_if(std::begin(kReferences), std::end(kReferences),
                     [text](const auto& reference) { return text.starts_with(reference.first); });
    const bool is_known = known != std::end(kReferences);
    out += is_known ? known->second : text.front();
    text.remove_prefix(is_known ? known->first.size() : 1);
  }
  return out;
}

}  // namespace vespro::ModText
