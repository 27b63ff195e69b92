#include "engine/smtp/secret_scanner.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/text.h"
#include "mime/base64.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kPiece = sizeof(std::uint64_t), kStep = kPiece / 2, kMinBytes = 4;

std::string Bare(std::string_view text) {
  std::string bare = ModText::LowerAscii(text);
  std::erase_if(bare, [](char c) { return c == '\n' || c == '\r' || c == ' '; });
  return bare;
}

std::uint64_t PieceAt(const std::string& text, std::size_t at) {
  std::uint64_t piece;
  std::memcpy(&piece, text.data() + at, kPiece);
  return piece;
}

std::size_t FilterBit(std::uint64_t piece) {
  return static_cast<std::size_t>((piece * 0x9E3779B97F4A7C15U) >> 52U);
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    hex += kDigits[byte >> 4U];
    hex += kDigits[byte & 15U];
  }
  return hex;
}

// What base64 shows of `secret` after `before` other bytes, whatever they and the ones after it
// are.
std::string InBase64(std::string_view secret, std::size_t before) {
  const std::string text = ModBase64::Encode(std::string(before, '\0') + std::string(secret));
  const std::size_t first = (before * 8 + 5) / 6, end = (before + secret.size()) * 8 / 6;
  return text.substr(first, end - first);
}

// The number of a numeric escape that begins at `at`, with its length; 0 where there is none:
// %41 =41 \x41 \u0041 &#65; &#x41;
std::size_t EscapeAt(std::string_view text, std::size_t at, unsigned& value) {
  const auto hex = [&](std::size_t from, std::size_t digits) {
    value = 0;
    for (std::size_t i = from; i < from + digits; ++i) {
      const int digit = i < text.size() ? HexDigit(text[i]) : -1;
      if (digit < 0) return false;
      value = value * 16 + static_cast<unsigned>(digit);
    }
    return true;
  };
  const std::string_view rest = text.substr(at);
  if ((rest[0] == '%' || rest[0] == '=') && hex(at + 1, 2)) return 3;
  if ((rest.starts_with("\\x") || rest.starts_with("\\X")) && hex(at + 2, 2)) return 4;
  if ((rest.starts_with("\\u") || rest.starts_with("\\U")) && hex(at + 2, 4)) return 6;
  if (!rest.starts_with("&#")) return 0;
  const bool is_hex = rest.size() > 2 && (rest[2] == 'x' || rest[2] == 'X');
  value = 0;
  for (std::size_t i = is_hex ? 3 : 2; i < std::min<std::size_t>(rest.size(), 10); ++i) {
    if (rest[i] == ';') return i + 1;
    const int digit = HexDigit(rest[i]);
    if (digit < 0 || (!is_hex && digit > 9)) return 0;
    value = value * (is_hex ? 16 : 10) + static_cast<unsigned>(digit);
  }
  return 0;
}

// With escapes taken off: those with numbers, a backslash before a character, and XML's five.
std::string Unescaped(std::string_view text) {
  static constexpr std::pair<std::string_view, char> kNamed[] = {
      {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
  std::string plain;
  for (std::size_t at = 0; at < text.size();) {
    unsigned value = 0;
    if (const std::size_t length = EscapeAt(text, at, value); length > 0) {
      plain += static_cast<char>(value);
      at += length;
      continue;
    }
    const auto named = std::find_if(std::begin(kNamed), std::end(kNamed), [&](const auto& entity) {
      return text.substr(at).starts_with(entity.first);
    });
    if (named != std::end(kNamed)) {
      plain += named->second;
      at += named->first.size();
      continue;
    }
    if (text[at] == '\\' && at + 1 < text.size()) ++at;
    plain += text[at++];
  }
  return plain;
}

bool IsWordByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c & 0x80) != 0;
}

bool HasWord(std::string_view text, std::string_view word) {
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string_view::npos; ++at) {
    const std::size_t end = at + word.size();
    const bool begins = at == 0 || !IsWordByte(text[at - 1]);
    if (begins && (end == text.size() || !IsWordByte(text[end]))) return true;
  }
  return false;
}

}  // namespace

SecretScanner::SecretScanner(const std::vector<std::string>& secrets) {
  for (const std::string& secret : secrets) {
    if (secret.empty()) continue;
    Add(secret);
    Add(Hex(secret));
    Add(ModBase64::Encode(secret));
    for (const std::size_t before : {0U, 1U, 2U}) {
      std::string form = InBase64(secret, before);
      if (form.size() < kMinBytes) continue;
      Add(form);
      // The alphabet of links (RFC 4648, section 5).
      std::replace(form.begin(), form.end(), '+', '-');
      std::replace(form.begin(), form.end(), '/', '_');
      Add(form);
    }
  }
  std::sort(pieces_.begin(), pieces_.end());
  for (const std::uint64_t piece : pieces_) filter_.set(FilterBit(piece));
}

void SecretScanner::Add(std::string_view form) {
  std::string bare = Bare(form);
  if (bare.empty()) return;
  if (bare.size() < kMinBytes) return words_.push_back(std::move(bare));
  for (std::size_t at = 0; at + kPiece <= bare.size(); at += kStep) {
    pieces_.push_back(PieceAt(bare, at));
  }
  if (bare.size() < kPiece) short_.push_back(std::move(bare));
}

bool SecretScanner::FoundIn(std::string_view text) const {
  if (pieces_.empty() && short_.empty() && words_.empty()) return false;
  const std::string lower = ModText::LowerAscii(text);
  const bool as_word = std::any_of(words_.begin(), words_.end(),
                                   [&](const std::string& word) { return HasWord(lower, word); });
  if (as_word || FoundInBare(Bare(text))) return true;
  return text.find_first_of("%=\\&") != std::string_view::npos &&
         FoundInBare(Bare(Unescaped(text)));
}

bool SecretScanner::FoundInBare(const std::string& bare) const {
  for (const std::string& secret : short_) {
    if (bare.find(secret) != std::string::npos) return true;
  }
  for (std::size_t at = 0; at + kPiece <= bare.size(); ++at) {
    const std::uint64_t piece = PieceAt(bare, at);
    if (filter_.test(FilterBit(piece)) &&
        std::binary_search(pieces_.begin(), pieces_.end(), piece)) {
      return true;
    }
  }
  return false;
}

}  // namespace vespro::engine
