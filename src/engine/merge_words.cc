#include "engine/merge_words.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unordered_set>
#include <utility>

#include "base/text.h"
#include "merge/custom_words.h"
#include "mime/html_reference.h"

namespace vespro::engine {
namespace {

bool IsAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHtmlBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }

struct Character {
  std::uint32_t code = 0;
  std::size_t length = 1;  // in bytes
};

// The first character of well-formed UTF-8; in HTML it may be written as a reference.
Character FirstCharacter(std::string_view text, bool html) {
  char32_t referred = 0;
  if (html && text.front() == '&') {
    if (const std::size_t length = ModReference::Read(text, referred); length > 0) {
      return {referred, length};
    }
  }
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {lead};
  const std::size_t length = std::min<std::size_t>(lead >= 0xF0   ? 4
                                                   : lead >= 0xE0 ? 3
                                                                  : 2,
                                                   text.size());
  std::uint32_t character = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    character = character << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
  }
  return {character, length};
}

// Beyond ASCII nearly everything that people write names with is a letter; these ranges are not:
// punctuation, signs, arrows, pictures.
constexpr std::array<std::array<std::uint32_t, 2>, 21> kNoLetters = {{
    {0x80, 0xA9},       {0xAB, 0xB4},     {0xB6, 0xB9},     {0xBB, 0xBF},     {0xD7, 0xD7},
    {0xF7, 0xF7},       {0x2000, 0x206F}, {0x20A0, 0x20CF}, {0x2190, 0x2BFF}, {0x2E00, 0x2E7F},
    {0x3000, 0x3004},   {0x3008, 0x3020}, {0x3030, 0x3030}, {0xE000, 0xF8FF}, {0xFE00, 0xFE6F},
    {0xFF01, 0xFF0F},   {0xFF1A, 0xFF20}, {0xFF3B, 0xFF40}, {0xFF5B, 0xFF65}, {0xFFE0, 0xFFFF},
    {0x1F000, 0x1FAFF},
}};

bool FitsName(std::uint32_t character) {
  if (character < 0x80) {
    const char ascii = static_cast<char>(character);
    return IsAsciiLetter(ascii) || IsDigit(ascii) || ascii == '_';
  }
  return std::none_of(kNoLetters.begin(), kNoLetters.end(), [character](const auto& range) {
    return character >= range[0] && character <= range[1];
  });
}

bool GoesOn(std::string_view rest, bool html) {
  return !rest.empty() && FitsName(FirstCharacter(rest, html).code);
}

constexpr char32_t kNoBreakSpace = 0xA0;

// Whether `text` continues with a blank, in any of the forms that editors give it; its length.
std::size_t BlankAt(std::string_view text, bool html) {
  if (text.empty()) return 0;
  // Editors break their lines at blanks.
  if (IsHtmlBlank(text.front())) return 1;
  if (text.starts_with("\xC2\xA0")) return 2;
  if (!html) return 0;
  char32_t character = 0;
  const std::size_t length = ModReference::Read(text, character);
  return character == kNoBreakSpace || character == ' ' ? length : 0;
}

// How much of `text` the word takes, whose characters may be written as references in HTML; 0 when
// it is another one.
std::size_t Matched(std::string_view word, std::string_view text, bool html) {
  std::size_t in_word = 0, at = 0;
  while (in_word < word.size()) {
    if (word[in_word] == ' ') {
      std::size_t blanks = 0;
      while (const std::size_t length = BlankAt(text.substr(at), html)) {
        at += length;
        ++blanks;
      }
      if (blanks == 0) return 0;
      while (in_word < word.size() && word[in_word] == ' ') ++in_word;
      continue;
    }
    if (at >= text.size()) return 0;
    char32_t character = 0;
    const std::size_t length =
        html && text[at] == '&' ? ModReference::Read(text.substr(at), character) : 0;
    std::string own;
    if (length > 0) ModText::AppendUtf8(own, character);
    const std::string_view expected = length > 0 ? std::string_view(own) : text.substr(at, 1);
    if (!word.substr(in_word).starts_with(expected)) return 0;
    in_word += expected.size();
    at += std::max<std::size_t>(length, 1);
  }
  return at;
}

bool IsColourOrStyle(std::string_view tag, std::string_view attribute) {
  const std::string name = ModText::LowerAscii(attribute);
  if (name == "style" || name.find("color") != std::string::npos || name == "fill" ||
      name == "stroke") {
    return true;
  }
  return ModText::EqualsIgnoringAsciiCase(tag, "body") &&
         (name == "text" || name == "link" || name == "vlink" || name == "alink");
}

bool IsLink(std::string_view attribute) {
  constexpr std::string_view kLinks[] = {"href", "src",    "action",     "formaction", "background",
                                         "cite", "poster", "xlink:href", "usemap"};
  return std::any_of(std::begin(kLinks), std::end(kLinks), [attribute](std::string_view link) {
    return ModText::EqualsIgnoringAsciiCase(attribute, link);
  });
}

// Reads a link's target from its beginning, for the part that comes next.
class LinkReader {
 public:
  // `target` is all of it until now, longer from call to call.
  LinkPart PartAfter(std::string_view target) {
    for (; read_ < target.size(); ++read_) {
      const char c = target[read_];
      const char before = read_ > 0 ? target[read_ - 1] : ' ';
      if (c == '?' || (c == '#' && before != '&')) data_ = true;
      if (c != '/') continue;
      if (before == '/' && !has_host_) {
        has_host_ = true;
      } else if (has_host_) {
        has_path_ = true;
      }
    }
    if (target.empty()) return LinkPart::kWhole;
    if (data_) return LinkPart::kData;
    if (ModText::EqualsIgnoringAsciiCase(target.substr(0, kMailto.size()), kMailto)) {
      return LinkPart::kMailbox;
    }
    return has_host_ && !has_path_ ? LinkPart::kData : LinkPart::kPath;
  }
  // What comes before `end` is a merge word: its "#" begins no fragment.
  void SkipTo(std::size_t end) { read_ = end; }

 private:
  static constexpr std::string_view kMailto = "mailto:";
  std::size_t read_ = 0;
  bool data_ = false, has_host_ = false, has_path_ = false;
};

}  // namespace

MergeWords::MergeWords(const std::vector<ModMailMerge::FieldName>& fields,
                       const std::vector<std::string>& custom) {
  std::unordered_set<std::string> known;
  for (const ModMailMerge::FieldName& field : fields) {
    if (field.name.empty() || !known.insert(field.name).second) continue;
    words_.push_back({field.name, field.column});
  }
  for (const std::string& entry : custom) {
    std::string word = ModMailMerge::MergeWordOf(entry).substr(1);
    if (word.empty() || !known.insert(word).second) continue;
    words_.push_back({std::move(word), 0, OneLine(entry)});  // into headers, too
  }
  std::stable_sort(words_.begin(), words_.end(),
                   [](const Word& a, const Word& b) { return a.text.size() > b.text.size(); });
}

MergeWords::Found MergeWords::At(std::string_view after_hash, bool html) const {
  for (const Word& word : words_) {
    const std::size_t length = Matched(word.text, after_hash, html);
    if (length > 0 && !GoesOn(after_hash.substr(length), html)) return {&word, length};
  }
  return {};
}

// Walks over a text once and cuts it at the words.
class MergeTextBuilder {
 public:
  MergeTextBuilder(const MergeWords& words, std::string_view text, const OnHash& on_hash)
      : words_(words), text_(text), on_hash_(on_hash) {}

  // Looks for words in what is between the position and `end`, and moves there.
  void Search(std::size_t end, Place place, bool is_link = false) {
    end = std::min(end, text_.size());
    const std::size_t first = at_;
    LinkReader target;
    while (at_ < end) {
      // Not beyond `end`: a page has thousands of places, and the next word may be far.
      const std::size_t hash = text_.substr(0, end).find('#', at_);
      if (hash >= end) break;
      at_ = hash + 1;
      const bool reference = place != Place::kPlain && hash > 0 && text_[hash - 1] == '&';
      const bool html = place != Place::kPlain;
      const MergeWords::Found found =
          reference ? MergeWords::Found() : words_.At(text_.substr(at_, end - at_), html);
      if (on_hash_ && !reference) {
        on_hash_({text_.substr(first, end - first), hash - first, html, is_link,
                  found.word != nullptr ? std::string_view(found.word->text) : ""});
      }
      if (found.word == nullptr) continue;
      const bool all = place == Place::kHtmlUnquoted && hash == first && at_ + found.length == end;
      const Place here = all ? Place::kHtmlAll : place;
      const LinkPart link =
          is_link ? target.PartAfter(text_.substr(first, hash - first)) : LinkPart::kNone;
      static_.append(text_.substr(start_, hash - start_));
      if (found.word->fixed.has_value()) {
        AppendValue(static_, LinkValue(*found.word->fixed, link), here);
      } else {
        result_.statics.push_back(std::exchange(static_, {}));
        result_.slots.push_back({found.word->column, here, link});
      }
      start_ = at_ = at_ + found.length;
      target.SkipTo(at_ - first);
    }
    at_ = std::max(at_, end);
  }
  void SkipTo(std::size_t position) { at_ = std::min(position, text_.size()); }
  std::size_t at() const { return at_; }
  std::string_view text() const { return text_; }

  MergeText Finish() {
    static_.append(text_.substr(start_));
    result_.statics.push_back(std::move(static_));
    return std::move(result_);
  }

 private:
  const MergeWords& words_;
  std::string_view text_;
  const OnHash& on_hash_;
  std::size_t at_ = 0;
  std::size_t start_ = 0;  // of the static text that is not yet cut off
  std::string static_;     // what comes before it since the last slot
  MergeText result_;
};

namespace {

// One attribute of a tag, at the position; ends after it.
void WalkAttribute(MergeTextBuilder& walk, std::string_view tag) {
  const std::string_view html = walk.text();
  std::size_t at = walk.at();
  const std::size_t name_start = at;
  // A "=" that is first belongs to the name, which must not be empty.
  do {
    ++at;
  } while (at < html.size() && !IsHtmlBlank(html[at]) && html[at] != '=' && html[at] != '>' &&
           html[at] != '/');
  const std::string_view name = html.substr(name_start, at - name_start);
  while (at < html.size() && IsHtmlBlank(html[at])) ++at;
  if (at >= html.size() || html[at] != '=') return walk.SkipTo(at);
  ++at;
  while (at < html.size() && IsHtmlBlank(html[at])) ++at;
  if (at >= html.size() || html[at] == '>') return walk.SkipTo(at);
  std::size_t end;
  Place place = Place::kHtml;
  if (html[at] == '"' || html[at] == '\'') {
    end = std::min(html.find(html[at], at + 1), html.size());
    ++at;
  } else {
    place = Place::kHtmlUnquoted;
    end = at;
    while (end < html.size() && !IsHtmlBlank(html[end]) && html[end] != '>') ++end;
  }
  walk.SkipTo(at);
  if (!IsColourOrStyle(tag, name)) walk.Search(end, place, IsLink(name));
  walk.SkipTo(place == Place::kHtml ? end + 1 : end);
}

// From "<" of a tag to after its ">". The answer is the tag's name.
std::string_view WalkTag(MergeTextBuilder& walk) {
  const std::string_view html = walk.text();
  std::size_t at = walk.at() + 1;
  const std::size_t name_start = at;
  while (at < html.size() && !IsHtmlBlank(html[at]) && html[at] != '>' &&
         (html[at] != '/' || at == name_start)) {
    ++at;
  }
  const std::string_view tag = html.substr(name_start, at - name_start);
  walk.SkipTo(at);
  while (walk.at() < html.size() && html[walk.at()] != '>') {
    if (IsHtmlBlank(html[walk.at()]) || html[walk.at()] == '/') {
      walk.SkipTo(walk.at() + 1);
    } else {
      WalkAttribute(walk, tag);
    }
  }
  walk.SkipTo(walk.at() + 1);
  return tag;
}

}  // namespace

MergeText MergeWords::SplitPlain(std::string_view text, const OnHash& on_hash) const {
  MergeTextBuilder walk(*this, text, on_hash);
  walk.Search(text.size(), Place::kPlain);
  return walk.Finish();
}

MergeText MergeWords::SplitHtml(std::string_view html, const OnHash& on_hash) const {
  MergeTextBuilder walk(*this, html, on_hash);
  while (walk.at() < html.size()) {
    walk.Search(html.find('<', walk.at()), Place::kHtml);
    if (walk.at() >= html.size()) break;
    const std::string_view rest = html.substr(walk.at());
    const char next = rest.size() > 1 ? rest[1] : ' ';
    if (rest.starts_with("<!--")) {
      // What a comment holds is read like the page: mail programs look into conditional comments.
      walk.SkipTo(walk.at() + 4);
    } else if (next == '!' || next == '?') {
      walk.SkipTo(std::min(html.find('>', walk.at()), html.size() - 1) + 1);
    } else if (IsAsciiLetter(next) || next == '/') {
      const std::string tag = ModText::LowerAscii(WalkTag(walk));
      if (tag == "style" || tag == "script") {
        walk.SkipTo(
            std::min(ModText::FindIgnoringAsciiCase(html, "</" + tag, walk.at()), html.size()));
      }
    } else {
      walk.SkipTo(walk.at() + 1);
    }
  }
  return walk.Finish();
}

std::string NameAfter(const HashSign& sign) {
  std::string name;
  std::string_view rest = sign.text.substr(sign.at + 1);
  while (!rest.empty()) {
    const Character next = FirstCharacter(rest, sign.html);
    if (next.code != '-' && !FitsName(next.code)) break;
    ModText::AppendUtf8(name, next.code);
    rest.remove_prefix(next.length);
  }
  return name;
}

void AppendValue(std::string& out, std::string_view value, Place place) {
  if (place == Place::kPlain) {
    out += value;
  } else if (place == Place::kHtml) {
    ModText::AppendHtml(out, value);
  } else if (place == Place::kHtmlAll) {
    out += '"';
    ModText::AppendHtml(out, value);
    out += '"';
  } else {
    for (char c : value) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte >= 0x80 || IsAsciiLetter(c) || IsDigit(c)) {
        out += c;
      } else {
        out += "&#" + std::to_string(byte) + ';';
      }
    }
  }
}

std::string LinkValue(std::string_view value, LinkPart part) {
  if (part == LinkPart::kNone) return std::string(value);
  // RFC 3986, section 2: unreserved characters, then what an address is made of.
  const std::string_view kept = part == LinkPart::kWhole     ? "-._~:/?#[]@!$&'()*+,;=%"
                                : part == LinkPart::kPath    ? "-._~/"
                                : part == LinkPart::kMailbox ? "-._~@"
                                                             : "-._~";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : ModText::Trim(value)) {
    if (IsAsciiLetter(c) || IsDigit(c) || kept.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return encoded;
}

std::string BodyValue(std::string_view value) {
  std::string clean;
  clean.reserve(value.size());
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char c = value[i];
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r' || c == '\n') {
      if (c == '\r' && i + 1 < value.size() && value[i + 1] == '\n') ++i;
      clean += "\r\n";
    } else if ((byte >= 0x20 && byte != 0x7F) || c == '\t') {
      clean += c;
    }
  }
  return clean;
}

std::string OneLine(std::string_view value) {
  std::string clean;
  clean.reserve(value.size());
  bool gap = false;
  for (char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      gap = true;
      continue;
    }
    if (gap && !clean.empty()) clean += ' ';
    gap = false;
    clean += c;
  }
  return clean;
}

}  // namespace vespro::engine
