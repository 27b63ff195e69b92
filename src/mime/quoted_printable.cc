#include "mime/quoted_printable.h"

#include <algorithm>
#include <cstddef>

#include "base/lines.h"
#include "base/text.h"

namespace vespro::ModQuotedPrintable {
namespace {

constexpr std::size_t kLineChars = 76;
constexpr char kHex[] = "0123456789ABCDEF";

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsPlain(char c) { return (c >= '!' && c <= '~' && c != '=') || IsBlank(c); }

// The bytes of the character that `text` begins with; 1 for what is not UTF-8.
std::size_t CharacterSize(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return std::min(size, text.size());
}

void AppendEscaped(std::string& out, std::string_view bytes) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += '=';
    out += kHex[byte >> 4];
    out += kHex[byte & 15];
  }
}

// One line of the text, without its end, as one or more lines of output.
void AppendLine(std::string& out, std::string_view line) {
  std::size_t column = 0;
  for (std::size_t i = 0; i < line.size();) {
    const std::size_t size = CharacterSize(line.substr(i));
    const bool last = i + size == line.size();
    bool plain = IsPlain(line[i]) && !(last && IsBlank(line[i]));
    // The last character of the line may fill it, any other must leave room for the "=" of a break.
    if (column + (plain ? 1 : 3 * size) > kLineChars - (last ? 0 : 1)) {
      out += "=\r\n";
      column = 0;
    }
    if (column == 0 && (line[i] == '.' || line.substr(i, 5) == "From ")) plain = false;
    if (plain) {
      out += line[i];
    } else {
      AppendEscaped(out, line.substr(i, size));
    }
    column += plain ? 1 : 3 * size;
    i += size;
  }
}

// Decodes a line without its end; false when it ends in a soft break.
bool DecodeLine(std::string& out, std::string_view line) {
  while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '=') {
      out += line[i];
      continue;
    }
    if (i + 1 == line.size()) return false;
    const int high = ModText::HexValue(line[i + 1]);
    const int low = i + 2 < line.size() ? ModText::HexValue(line[i + 2]) : -1;
    if (high < 0 || low < 0) {
      out += '=';
      continue;
    }
    out += static_cast<char>(high << 4 | low);
    i += 2;
  }
  return true;
}

}  // namespace

std::string Encode(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  std::string_view line;
  std::size_t before = text.size();
  while (NextLine(text, line)) {
    AppendLine(out, line);
    const bool has_end = before - text.size() > line.size();
    if (has_end) out += "\r\n";
    before = text.size();
  }
  return out;
}

std::string Decode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    std::string_view line_end = text.substr(end, 1);
    if (!line_end.empty() && !line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
      line_end = text.substr(end - 1, 2);
    }
    if (DecodeLine(out, line)) out += line_end;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return out;
}

}  // namespace vespro::ModQuotedPrintable
