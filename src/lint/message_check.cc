#include "lint/message_check.h"

#include <algorithm>
#include <array>

#include "base/lines.h"
#include "base/text.h"
#include "mime/content_reference.h"
#include "mime/html_tokens.h"
#include "mime/reader.h"

namespace vespro::lint {
namespace {

constexpr std::string_view kCid = "cid:";

void AddOnce(std::vector<std::string>& names, std::string_view name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.emplace_back(name);
}

// The MIME message after the address lines.
std::string_view MimeOf(std::string_view bytes) {
  for (const std::string_view key : {"TO:", "FROM:", "REPLY-TO:"}) {
    if (std::string_view line; bytes.starts_with(key)) NextLine(bytes, line);
  }
  return bytes;
}

// Whether a picture's address names a file: "logo.png", "C:\logo.png", "file:///home/a/logo.png".
// What begins with a merge word may become anything.
bool IsLocal(std::string_view address) {
  if (address.empty() || address.starts_with('#') || address.starts_with("//")) return false;
  if (ModText::StartsWithIgnoringAsciiCase(address, "file:")) return true;
  const std::size_t colon = address.find(':');
  const bool has_scheme =
      colon != std::string_view::npos && colon > 1 && address.find_first_of("/\\?#.") > colon;
  return !has_scheme;
}

// Each address in a style's "url(...)".
template <class Function>
void ForEachUrl(std::string_view style, const Function& on_url) {
  constexpr std::string_view kUrl = "url(";
  std::size_t at = 0;
  while ((at = ModText::FindIgnoringAsciiCase(style, kUrl, at)) != std::string_view::npos) {
    at += kUrl.size();
    const std::size_t end = std::min(style.find(')', at), style.size());
    std::string_view url = ModText::Trim(style.substr(at, end - at));
    if (!url.empty() && (url.front() == '"' || url.front() == '\'')) url.remove_prefix(1);
    if (!url.empty() && (url.back() == '"' || url.back() == '\'')) url.remove_suffix(1);
    on_url(url);
    at = end;
  }
}

class Check {
 public:
  Status Read(std::string_view bytes) {
    Result<MimePart> root = ParseMime(MimeOf(bytes));
    if (!root.ok()) {
      return Status(Code::kBadInput, "the message can't be read: " + root.status().text());
    }
    Walk(root.value());
    for (const std::string& page : pages_) CheckPage(page);
    for (const MimePart* part : embedded_) CheckUse(*part);
    return {};
  }

  MessageFacts facts;

 private:
  void Walk(const MimePart& part) {
    for (const MimePart& child : part.children) Walk(child);
    if (part.IsMultipart()) return;
    const bool attached = part.disposition == "attachment";
    if (part.type == "text" && !attached && part.file_name.empty()) {
      Result<std::string> text = DecodedText(part);
      if (!text.ok()) return;
      const bool html = part.subtype == "html";
      const bool blank = text->find_first_not_of(" \t\r\n") == std::string::npos;
      if (html) facts.has_html = true;
      if (!html && !blank) facts.has_text = true;
      if (html) pages_.push_back(std::move(text).value());
      return;
    }
    facts.has_parts = true;
    if (!part.content_id.empty()) ids_.push_back(part.content_id);
    if (!part.content_id.empty() && !attached) embedded_.push_back(&part);
  }

  void CheckPage(const std::string& page) {
    for (ContentReference& one : ContentReferences(page)) shown_.push_back(std::move(one));
    HtmlTokens tokens(page);
    for (HtmlToken token; tokens.Next(token);) {
      for (const HtmlToken::Attribute& attribute : token.attributes) {
        if (attribute.name == "style") {
          ForEachUrl(attribute.value, [this](std::string_view url) { CheckPicture(url); });
        } else if (attribute.name == "background" ||
                   (attribute.name == "src" && (token.name == "img" || token.name == "input"))) {
          CheckPicture(ModText::Trim(attribute.value));
        }
      }
    }
  }

  void CheckPicture(std::string_view address) {
    if (!ModText::StartsWithIgnoringAsciiCase(address, kCid)) {
      if (IsLocal(address)) AddOnce(facts.local_pictures, address);
      return;
    }
    const std::string id = ModText::PercentDecoded(address.substr(kCid.size()));
    if (id.find('#') != std::string::npos) return;  // a merge word may choose the picture
    if (std::find(ids_.begin(), ids_.end(), id) == ids_.end()) {
      AddOnce(facts.missing_pictures, address);
    }
  }

  // Styles and comments for one mail program may show a picture, too.
  void CheckUse(const MimePart& part) {
    const bool used = std::any_of(shown_.begin(), shown_.end(), [&](const ContentReference& one) {
      return one.id == part.content_id;
    });
    if (!used) {
      AddOnce(facts.unused_pictures, part.file_name.empty() ? part.content_id : part.file_name);
    }
  }

  std::vector<std::string> pages_;
  std::vector<std::string> ids_;         // of parts
  std::vector<ContentReference> shown_;  // by the pages
  std::vector<const MimePart*> embedded_;
};

}  // namespace

Result<MessageFacts> CheckMessage(std::string_view bytes) {
  Check check;
  if (Status read = check.Read(bytes); !read.ok()) return read;
  return std::move(check.facts);
}

}  // namespace vespro::lint
