#include "mime/html_tokens.h"

#include <algorithm>

#include "base/text.h"
#include "mime/html_reference.h"

namespace vespro {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\f";

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool BeginsTag(std::string_view text) {
  if (text.size() < 2) return false;
  return IsLetter(text[1]) || text[1] == '!' || text[1] == '?' ||
         (text[1] == '/' && text.size() > 2 && IsLetter(text[2]));
}

}  // namespace

std::string_view HtmlToken::Value(std::string_view attribute) const {
  for (const Attribute& one : attributes) {
    if (one.name == attribute) return one.value;
  }
  return {};
}

void HtmlTokens::SkipBlanks() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
}

void HtmlTokens::SkipBeyond(std::string_view end) {
  const std::size_t at = rest_.find(end);
  rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + end.size());
}

bool HtmlTokens::Next(HtmlToken& token) {
  token = {};
  while (rest_.starts_with('<') && BeginsTag(rest_)) {
    if (rest_.starts_with("<!--")) {
      rest_.remove_prefix(4);
      SkipBeyond("-->");
      continue;
    }
    if (rest_[1] == '!' || rest_[1] == '?') {
      SkipBeyond(">");
      continue;
    }
    ReadTag(token);
    return true;
  }
  if (rest_.empty()) return false;
  std::size_t end = rest_.find('<', 1);
  while (end != std::string_view::npos && !BeginsTag(rest_.substr(end))) {
    end = rest_.find('<', end + 1);
  }
  end = std::min(end, rest_.size());
  token.text = rest_.substr(0, end);
  rest_.remove_prefix(end);
  return true;
}

void HtmlTokens::ReadTag(HtmlToken& token) {
  const bool closing = rest_[1] == '/';
  token.kind = closing ? HtmlToken::Kind::kClosingTag : HtmlToken::Kind::kOpeningTag;
  rest_.remove_prefix(closing ? 2 : 1);
  const std::size_t end = std::min(rest_.find_first_of(" \t\r\n\f/>"), rest_.size());
  token.name = ModText::LowerAscii(rest_.substr(0, end));
  rest_.remove_prefix(end);
  for (;;) {
    SkipBlanks();
    if (rest_.empty()) break;
    const char next = rest_.front();
    if (next != '>' && next != '/') {
      ReadAttribute(token);
      continue;
    }
    rest_.remove_prefix(1);
    if (next == '>') break;
  }
  if (closing || (token.name != "style" && token.name != "script")) return;
  const std::size_t at = ModText::FindIgnoringAsciiCase(rest_, "</" + token.name);
  rest_.remove_prefix(std::min(at, rest_.size()));
}

void HtmlTokens::ReadAttribute(HtmlToken& token) {
  // A "=" that is first belongs to the name, which must not be empty.
  std::size_t end = std::min(rest_.find_first_of(" \t\r\n\f/>=", 1), rest_.size());
  HtmlToken::Attribute attribute{ModText::LowerAscii(rest_.substr(0, end)), {}};
  rest_.remove_prefix(end);
  SkipBlanks();
  if (rest_.starts_with('=')) {
    rest_.remove_prefix(1);
    SkipBlanks();
    const bool quoted = rest_.starts_with('"') || rest_.starts_with('\'');
    const char quote = quoted ? rest_.front() : ' ';
    if (quoted) rest_.remove_prefix(1);
    end = std::min(quoted ? rest_.find(quote) : rest_.find_first_of(" \t\r\n\f>"), rest_.size());
    attribute.value = HtmlDecoded(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + (quoted ? 1 : 0), rest_.size()));
  }
  token.attributes.push_back(std::move(attribute));
}

std::string HtmlDecoded(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  while (!text.empty()) {
    char32_t character = 0;
    const std::size_t length = text.front() == '&' ? ModReference::Read(text, character) : 0;
    if (length > 0) {
      ModText::AppendUtf8(decoded, character);
    } else {
      decoded += text.front();
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return decoded;
}

}  // namespace vespro
