#include "mime/header.h"

#include <algorithm>

#include "base/charset.h"
#include "base/text.h"
#include "mime/base64.h"

namespace vespro {
namespace {

constexpr std::size_t kLineChars = 76;
constexpr std::size_t kEncodedWordChars = 75;
constexpr std::string_view kFold = "\r\n ";
constexpr char kHex[] = "0123456789ABCDEF";

bool IsAlnum(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsAtomChar(char c) {
  return IsAlnum(c) || std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
}

// A token of RFC 2045 without what means something to RFC 2231.
bool IsTokenChar(char c) {
  return c > ' ' && c < 0x7F &&
         std::string_view("()<>@,;:\\\"/[]?='*%").find(c) == std::string_view::npos;
}

bool IsPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The byte after `text[at]`, written as two hexadecimal digits; -1 when they aren't.
int HexByte(std::string_view text, std::size_t at) {
  if (at + 2 >= text.size()) return -1;
  const int high = ModText::HexValue(text[at + 1]);
  const int low = ModText::HexValue(text[at + 2]);
  return high < 0 || low < 0 ? -1 : high << 4 | low;
}

// Whole UTF-8, without what would end a header line.
std::string Clean(std::string_view text) {
  std::string clean = ModCharset::RepairedUtf8(text);
  std::erase_if(clean, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  return clean;
}

std::size_t CharacterSize(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  return lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
}

// ---- Encoded words ----

// The characters that stand for themselves in every place where an encoded word may be.
bool IsPlainInQ(char c) {
  return IsAlnum(c) || c == '!' || c == '*' || c == '+' || c == '-' || c == '/';
}

std::size_t SizeInQ(std::string_view text) {
  std::size_t size = 0;
  for (const char c : text) size += c == ' ' || IsPlainInQ(c) ? 1U : 3U;
  return size;
}

std::size_t SizeInB(std::size_t bytes) { return (bytes + 2) / 3 * 4; }

std::string InQ(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == ' ') {
      out += '_';
    } else if (IsPlainInQ(c)) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += '=';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
  return out;
}

// `text` as encoded words, one a line; the first begins at `column`.
std::string EncodedWords(std::string_view text, std::size_t column) {
  constexpr std::size_t kFrame = 12;  // =?UTF-8?Q??=
  const bool q = SizeInQ(text) <= SizeInB(text.size());
  std::string out;
  // A first word of one character needs 24 characters; without them it goes to a line of its own.
  if (column + 24 > kLineChars) {
    out += kFold;
    column = 1;
  }
  std::size_t room = std::min(kEncodedWordChars, kLineChars - column) - kFrame;
  while (!text.empty()) {
    std::size_t bytes = 0;
    std::size_t used = 0;  // characters in Q, bytes in B
    while (bytes < text.size()) {
      const std::size_t next = CharacterSize(text.substr(bytes));
      const std::size_t size = q ? SizeInQ(text.substr(bytes, next)) : next;
      if ((q ? used + size : SizeInB(used + size)) > room) break;
      used += size;
      bytes += next;
    }
    const std::string_view piece = text.substr(0, bytes);
    out += q ? "=?UTF-8?Q?" + InQ(piece) : "=?UTF-8?B?" + ModBase64::Encode(piece);
    out += "?=";
    text.remove_prefix(bytes);
    if (!text.empty()) out += kFold;
    room = kEncodedWordChars - kFrame;
  }
  return out;
}

// Plain text folded at its blanks; empty when that can't be done within the lines.
std::string Folded(std::string_view text, std::size_t column) {
  std::string out;
  bool first = true;
  while (!text.empty()) {
    const std::size_t word = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t end = std::min(text.find(' ', word), text.size());
    if (!first && column + end > kLineChars) {
      out += "\r\n";
      column = 0;
    }
    if (column + end > kLineChars) return {};
    out += text.substr(0, end);
    column += end;
    text.remove_prefix(end);
    first = false;
  }
  return out;
}

struct EncodedWord {
  std::string_view charset;
  std::string bytes;
  std::size_t size;  // in the header
};

std::string FromQ(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int byte = text[i] == '=' ? HexByte(text, i) : -1;
    out += text[i] == '_' ? ' ' : byte >= 0 ? static_cast<char>(byte) : text[i];
    if (byte >= 0) i += 2;
  }
  return out;
}

// The encoded word that `text` begins with. Blanks inside are against the rules but common.
bool ReadEncodedWord(std::string_view text, EncodedWord* word) {
  if (text.substr(0, 2) != "=?") return false;
  const std::size_t charset_end = text.find('?', 2);
  if (charset_end == std::string_view::npos || charset_end == 2 || charset_end + 2 >= text.size() ||
      text[charset_end + 2] != '?') {
    return false;
  }
  const std::size_t begin = charset_end + 3;
  const std::size_t end = text.find('?', begin);
  if (end == std::string_view::npos || text.substr(end, 2) != "?=") return false;
  const std::string_view content = text.substr(begin, end - begin);
  const char encoding = text[charset_end + 1];
  if (encoding == 'Q' || encoding == 'q') {
    word->bytes = FromQ(content);
  } else if (encoding == 'B' || encoding == 'b') {
    word->bytes = ModBase64::DecodeLenient(content);
  } else {
    return false;
  }
  word->charset = text.substr(2, charset_end - 2);
  word->charset = word->charset.substr(0, word->charset.find('*'));  // a language, RFC 2231
  word->size = end + 2;
  return true;
}

// ---- Parameters ----

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

// The longest start of `text`, whole characters only, that takes `room` at most when
// percent-encoded.
std::string TakePercent(std::string_view* text, std::size_t room) {
  std::string out;
  while (!text->empty()) {
    const std::string_view character = text->substr(0, CharacterSize(*text));
    std::string encoded;
    for (const char c : character) {
      const auto byte = static_cast<unsigned char>(c);
      if (IsAlnum(c) || c == '-' || c == '.' || c == '_') {
        encoded += c;
      } else {
        encoded += {'%', kHex[byte >> 4], kHex[byte & 15]};
      }
    }
    if (out.size() + encoded.size() > room) break;
    out += encoded;
    text->remove_prefix(character.size());
  }
  return out;
}

std::string FromPercent(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int byte = text[i] == '%' ? HexByte(text, i) : -1;
    out += byte >= 0 ? static_cast<char>(byte) : text[i];
    if (byte >= 0) i += 2;
  }
  return out;
}

// A parameter as it is in the field: "name*0*=..." is piece 0 of `name`, extended.
struct Piece {
  std::string name;
  bool extended = false;
  bool numbered = false;
  std::size_t number = 0;
  std::string value;
};

Piece NamePiece(std::string_view name, std::string value) {
  Piece piece;
  piece.value = std::move(value);
  if (!name.empty() && name.back() == '*') {
    piece.extended = true;
    name.remove_suffix(1);
  }
  const std::size_t star = name.find('*');
  if (star != std::string_view::npos) {
    std::uint64_t number = 0;
    piece.numbered = ModText::ParseUnsigned(name.substr(star + 1), 999, &number);
    piece.number = static_cast<std::size_t>(number);
    name = name.substr(0, star);
  }
  piece.name = ModText::LowerAscii(name);
  return piece;
}

class ParameterScanner {
 public:
  explicit ParameterScanner(std::string_view text) : text_(text) {}

  // What is in front of the first ";".
  std::string Value() { return Until(";"); }

  bool Next(Piece* piece) {
    while (at_ < text_.size()) {
      ++at_;  // the ";"
      const std::string name = Until("=;");
      if (at_ >= text_.size() || text_[at_] == ';') continue;
      ++at_;
      *piece = NamePiece(name, Until(";"));
      if (!piece->name.empty()) return true;
    }
    return false;
  }

 private:
  // Text up to one of the stops outside quotes and comments, its outer blanks dropped. Blanks
  // inside are kept: "filename=my file.txt" is against the rules but common.
  std::string Until(std::string_view stops) {
    std::string out;
    std::size_t keep = 0;  // up to here blanks were quoted
    while (at_ < text_.size() && stops.find(text_[at_]) == std::string_view::npos) {
      const char c = text_[at_];
      if (c == '"') {
        while (out.size() > keep && IsBlank(out.back())) out.pop_back();
        Quote(out);
        keep = out.size();
      } else if (c == '(') {
        Comment();
      } else {
        if (!out.empty() || !IsBlank(c)) out += c;
        ++at_;
      }
    }
    while (out.size() > keep && IsBlank(out.back())) out.pop_back();
    return out;
  }

  void Quote(std::string& out) {
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\' && at_ + 1 < text_.size()) ++at_;
      out += text_[at_];
    }
    if (at_ < text_.size()) ++at_;
  }

  void Comment() {
    std::size_t depth = 0;
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == '\\') {
        ++at_;
      } else if (text_[at_] == '(') {
        ++depth;
      } else if (text_[at_] == ')' && --depth == 0) {
        ++at_;
        return;
      }
    }
    at_ = text_.size();
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

// Takes "charset'language'" off an extended value.
std::string TakeCharset(std::string_view* value) {
  const std::size_t first = value->find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value->find('\'', first + 1);
  if (second == std::string_view::npos) return {};
  std::string charset(value->substr(0, first));
  value->remove_prefix(second + 1);
  return charset;
}

// The value of the pieces of one parameter, in order.
std::string Joined(const Piece* begin, const Piece* end) {
  if (!begin->extended && !begin->numbered) return ModHeader::Decode(begin->value);
  std::string bytes;
  std::string charset;
  std::size_t expected = 0;
  for (const Piece* piece = begin; piece != end && piece->number == expected; ++piece, ++expected) {
    std::string_view value = piece->value;
    if (piece->extended && piece == begin) charset = TakeCharset(&value);
    bytes += piece->extended ? FromPercent(value) : std::string(value);
    if (!piece->numbered) break;
  }
  return ModCharset::ToUtf8(bytes, charset);
}

}  // namespace

std::string_view ParameterizedValue::Parameter(std::string_view name) const {
  for (const HeaderParameter& parameter : parameters) {
    if (parameter.name == name) return parameter.value;
  }
  return {};
}

namespace ModHeader {

std::string Field(std::string_view name, std::string_view text) {
  const std::string clean = Clean(text);
  std::string out = std::string(name) + ": ";
  const bool plain = IsPrintableAscii(clean) && clean.find("=?") == std::string::npos &&
                     ModText::Trim(clean) == clean;
  const std::string folded = plain ? Folded(clean, out.size()) : std::string();
  out += folded.empty() ? EncodedWords(clean, out.size()) : folded;
  return out + "\r\n";
}

std::string Phrase(std::string_view name, std::size_t column) {
  const std::string clean = Clean(name);
  const bool plain = IsPrintableAscii(clean) && clean.find("=?") == std::string::npos;
  if (!plain) return EncodedWords(clean, column);
  const bool atoms =
      ModText::Trim(clean) == clean && clean.find("  ") == std::string::npos &&
      std::all_of(clean.begin(), clean.end(), [](char c) { return IsAtomChar(c) || c == ' '; });
  const std::string phrase = atoms ? clean : Quoted(clean);
  if (phrase.size() + 1 > kLineChars) return EncodedWords(clean, column);
  return column + phrase.size() > kLineChars ? std::string(kFold) + phrase : phrase;
}

std::string Mailbox(std::string_view name, std::string_view address, std::size_t column) {
  std::string clean(address);
  std::erase_if(clean, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  if (Clean(name).empty()) return clean;
  std::string out = Phrase(name, column);
  const std::size_t line = out.rfind('\n');
  column = line == std::string::npos ? column + out.size() : out.size() - line - 1;
  out += column + clean.size() + 3 > kLineChars ? kFold : " ";
  return out + '<' + clean + '>';
}

std::string Parameter(std::string_view name, std::string_view value) {
  const std::string clean = Clean(value);
  const std::string start = ";" + std::string(kFold) + std::string(name);
  const std::size_t room = kLineChars - 2 - std::min<std::size_t>(name.size(), 40);  // " name="
  const bool ascii = IsPrintableAscii(clean) && clean.find("=?") == std::string::npos;
  if (ascii && !clean.empty() && std::all_of(clean.begin(), clean.end(), IsTokenChar) &&
      clean.size() <= room) {
    return start + "=" + clean;
  }
  if (const std::string quoted = Quoted(clean); ascii && quoted.size() <= room) {
    return start + "=" + quoted;
  }
  constexpr std::string_view kCharset = "UTF-8''";
  std::string_view rest = clean;
  const std::string whole = TakePercent(&rest, room - 1 - kCharset.size());
  if (rest.empty()) return start + "*=" + std::string(kCharset) + whole;
  std::string out;
  rest = clean;
  for (std::size_t number = 0; !rest.empty(); ++number) {
    out += start + "*" + std::to_string(number) + "*=";
    if (number == 0) out += kCharset;
    out += TakePercent(&rest, room - 6 - kCharset.size());  // "*999*", and the ";" after it
  }
  return out;
}

std::string FileNameParameter(std::string_view file_name) {
  std::string exact = Parameter("filename", file_name);
  if (!exact.starts_with(";" + std::string(kFold) + "filename*")) return exact;
  constexpr std::size_t kMaxLength = 50;
  constexpr std::size_t kMaxEnding = 10;
  std::string plain;
  for (std::string_view rest = file_name; !rest.empty();) {
    const std::size_t size = CharacterSize(rest);
    const char c = rest.front();
    const bool stays = size == 1 && c >= ' ' && c <= '~' &&
                       std::string_view("\"\\%=?*'").find(c) == std::string_view::npos;
    plain += stays ? c : '_';
    rest.remove_prefix(size);
  }
  if (plain.size() > kMaxLength) {
    const std::size_t dot = plain.rfind('.');
    const bool ends = dot != std::string::npos && plain.size() - dot <= kMaxEnding;
    plain = plain.substr(0, kMaxLength - kMaxEnding) + (ends ? plain.substr(dot) : "");
  }
  return exact + Parameter("filename", plain);
}

std::string Decode(std::string_view value) {
  std::string out;
  std::string bytes;  // of encoded words in one charset, whose characters may be split over them
  std::string charset;
  std::size_t plain = 0;  // where the text that is not encoded begins
  const auto flush = [&] {
    out += ModCharset::ToUtf8(bytes, charset);
    bytes.clear();
  };
  bool behind_word = false;
  for (std::size_t at = value.find("=?"); at != std::string_view::npos; at = value.find("=?", at)) {
    EncodedWord word;
    if (!ReadEncodedWord(value.substr(at), &word)) {
      ++at;
      continue;
    }
    const std::string_view between = value.substr(plain, at - plain);
    // Blanks between two encoded words are there for folding only.
    const bool joined = behind_word && TrimBlanks(between).empty();
    if (!joined || !ModText::EqualsIgnoringAsciiCase(word.charset, charset)) flush();
    if (!joined) out += ModCharset::ToUtf8(between, "");
    bytes += word.bytes;
    charset = word.charset;
    at += word.size;
    plain = at;
    behind_word = true;
  }
  flush();
  return out + ModCharset::ToUtf8(value.substr(plain), "");
}

ParameterizedValue ParseParameters(std::string_view value) {
  constexpr std::size_t kMaxPieces = 200;
  ParameterScanner scanner(value);
  ParameterizedValue parsed;
  parsed.value = ModText::LowerAscii(scanner.Value());
  std::erase_if(parsed.value, IsBlank);
  std::vector<Piece> pieces;
  for (Piece piece; pieces.size() < kMaxPieces && scanner.Next(&piece);) {
    pieces.push_back(std::move(piece));
  }
  // Of one name, the extended form in front: it is the exact one where a sender gives both.
  std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) {
    if (a.name != b.name) return a.name < b.name;
    const bool a_new = a.extended || a.numbered;
    const bool b_new = b.extended || b.numbered;
    return a_new != b_new ? a_new : a.number < b.number;
  });
  for (std::size_t begin = 0, end = 0; begin < pieces.size(); begin = end) {
    while (end < pieces.size() && pieces[end].name == pieces[begin].name) ++end;
    parsed.parameters.push_back({pieces[begin].name, Joined(&pieces[begin], pieces.data() + end)});
  }
  return parsed;
}

}  // namespace ModHeader
}  // namespace vespro
