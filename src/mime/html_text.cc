#include "mime/html_text.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/text.h"
#include "mime/html_tokens.h"

namespace vespro {
namespace {

constexpr std::string_view kNoBreakSpace = "\xC2\xA0";

template <std::size_t kSize>
bool IsOneOf(std::string_view name, const std::array<std::string_view, kSize>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Elements with an empty line around them.
bool IsParagraph(std::string_view name) {
  constexpr std::array<std::string_view, 12> kNames = {
      "p", "h1", "h2", "h3", "h4", "h5", "h6", "ul", "ol", "table", "blockquote", "pre"};
  return IsOneOf(name, kNames);
}

// Elements that begin on a line of their own.
bool IsLine(std::string_view name) {
  constexpr std::array<std::string_view, 17> kNames = {
      "div",    "tr",     "li",   "dt",      "dd",     "dl",         "section", "article", "header",
      "footer", "center", "form", "address", "figure", "figcaption", "caption", "body"};
  return IsOneOf(name, kNames);
}

class Writer {
 public:
  void AddTag(const HtmlToken& tag) {
    const bool opens = tag.kind == HtmlToken::Kind::kOpeningTag;
    const std::string& name = tag.name;
    // Unbalanced pages are no rarity: a body ends the head.
    if (name == "title") in_title_ = opens;
    if (name == "body") in_title_ = false;
    if (name == "br") {
      if (opens) BreakLine();
    } else if (name == "hr") {
      BeginLines(1);
      AddText("----------");
      BeginLines(1);
    } else if (IsParagraph(name)) {
      BeginLines(2);
    } else if (IsLine(name)) {
      BeginLines(1);
    }
    if (name == "pre") pre_ = opens;
    if (opens && name == "ol") numbers_.push_back(1);
    if (opens && name == "ul") numbers_.push_back(0);
    if (!opens && (name == "ol" || name == "ul") && !numbers_.empty()) numbers_.pop_back();
    if (opens && name == "li") AddMark();
    if (name == "td" || name == "th") blank_ = true;
    if (opens && name == "img") AddText(tag.Value("alt"));
    if (name == "a") opens ? BeginLink(tag.Value("href")) : EndLink();
  }

  // UTF-8 without references.
  void AddText(std::string_view text) {
    if (in_title_) return;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      if (pre_ && c == '\n') {
        BreakLine();
      } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f') {
        if (pre_ && c != '\r') Put(' ');
        blank_ = !pre_;
      } else if (text.substr(i).starts_with(kNoBreakSpace)) {
        blank_ = true;
        i += kNoBreakSpace.size() - 1;
      } else {
        Put(c);
      }
    }
  }

  std::string Finish() {
    EndLink();
    while (out_.ends_with('\n') || out_.ends_with(' ')) out_.pop_back();
    return out_.empty() ? out_ : out_ + "\n";
  }

 private:
  void Put(char c) {
    if (lines_ > 0 && !out_.empty()) out_.append(lines_, '\n');
    const bool at_start = out_.empty() || out_.ends_with('\n');
    if (blank_ && !at_start && !out_.ends_with(' ')) out_ += ' ';
    lines_ = 0;
    blank_ = false;
    out_ += c;
  }
  // What comes next is on a new line, after `lines - 1` empty ones; nothing is added at the start.
  void BeginLines(std::size_t lines) {
    lines_ = std::max(lines_, lines);
    blank_ = false;
  }
  void BreakLine() {
    constexpr std::size_t kMaxLines = 3;
    lines_ = std::min(lines_ + 1, kMaxLines);
    blank_ = false;
  }
  void AddMark() {
    if (numbers_.empty() || numbers_.back() == 0) return AddText("- ");
    AddText(std::to_string(numbers_.back()++) + ". ");
  }
  void BeginLink(std::string_view href) {
    EndLink();
    href_ = ModText::Trim(href);
    link_start_ = out_.size();
  }
  void EndLink() {
    std::string address = std::move(href_);
    href_.clear();
    constexpr std::string_view kMailto = "mailto:";
    if (ModText::StartsWithIgnoringAsciiCase(address, kMailto)) address.erase(0, kMailto.size());
    // A place in the same page is none for a reader of the text.
    if (address.empty() || address.starts_with('#')) return;
    const std::string_view shown =
        std::string_view(out_).substr(std::min(link_start_, out_.size()));
    if (shown.find(address) != std::string_view::npos) return;
    AddText(" (" + address + ")");
  }

  std::string out_;
  bool in_title_ = false, pre_ = false;
  bool blank_ = false;          // there was white space since the last character
  std::size_t lines_ = 0;       // to be ended before the next character
  std::vector<int> numbers_;    // of the lists we are in, the next one's; 0: not numbered
  std::string href_;            // of the link we are in
  std::size_t link_start_ = 0;  // where its text begins
};

}  // namespace

std::string HtmlToText(std::string_view html) {
  HtmlTokens tokens(html);
  Writer writer;
  for (HtmlToken token; tokens.Next(token);) {
    if (token.kind == HtmlToken::Kind::kText) {
      writer.AddText(HtmlDecoded(token.text));
    } else {
      writer.AddTag(token);
    }
  }
  return writer.Finish();
}

}  // namespace vespro
