#include "mime/author_fields.h"

#include <algorithm>

#include "base/text.h"
#include "mime/header.h"

namespace vespro::ModAuthorFields {
namespace {

constexpr std::size_t kMaxLine = 998, kGoodLine = 76;
constexpr std::size_t kMaxListId = 255;  // RFC 2919, section 3

constexpr std::string_view kNames[] = {"reply-to",    "precedence", "auto-submitted",
                                       "feedback-id", "importance", "organization",
                                       "keywords"};
constexpr std::string_view kPrefixes[] = {"list-", "x-"};
// Of mail programs, accounts and servers.
constexpr std::string_view kOthers[] = {
    "x-mailer",        "x-mozilla",   "x-evolution", "x-ms-",          "x-microsoft",
    "x-originating",   "x-sender",    "x-received",  "x-account-key",  "x-identity-key",
    "x-uidl",          "x-unsent",    "x-google-",   "x-gm-",          "x-yahoo",
    "x-spam",          "x-virus",     "x-antivirus", "x-forefront",    "x-exchange",
    "x-authenticated", "x-mimeole",   "x-apple-",    "x-uniform-type", "x-priority-original",
    "x-envelope",      "x-original-", "x-delivered", "x-source",       "x-php",
    "x-local-",        "x-kmail-",    "x-face-",     "x-eoptype"};

// Name and value of "Name: value".
std::pair<std::string_view, std::string_view> Split(std::string_view field) {
  const std::size_t colon = std::min(field.find(':'), field.size());
  return {field.substr(0, colon), ModText::Trim(field.substr(std::min(colon + 1, field.size())))};
}

}  // namespace

bool IsAuthors(std::string_view name) {
  const std::string lower = ModText::LowerAscii(name);
  const auto begins = [&lower](std::string_view with) { return lower.starts_with(with); };
  if (std::any_of(std::begin(kOthers), std::end(kOthers), begins)) return false;
  return std::find(std::begin(kNames), std::end(kNames), lower) != std::end(kNames) ||
         std::any_of(std::begin(kPrefixes), std::end(kPrefixes), begins);
}

Status Check(std::string_view field) {
  const auto [name, value] = Split(field);
  const bool is_name = !name.empty() && std::all_of(name.begin(), name.end(),
                                                    [](char c) { return c > ' ' && c <= '~'; });
  const std::string shown = "'" + ModText::Printable(field) + "'";
  if (!is_name || value.empty()) {
    return Status(Code::kUsage, shown + " is no header field, such as 'Precedence: bulk'");
  }
  if (ModText::HasControls(value) || !ModText::IsUtf8(value)) {
    return Status(Code::kUsage, shown + " holds a line break or another control character");
  }
  if (!IsAuthors(name)) {
    return Status(Code::kUsage,
                  "the field '" + std::string(name) +
                      "' can't be added: it is written for each message, or says something of the "
                      "sender's machine. X-, List-, Reply-To, Precedence, Auto-Submitted and "
                      "Feedback-ID fields can");
  }
  return {};
}

std::string Format(std::string_view field) {
  const auto [name, value] = Split(field);
  const std::string as_it_stands = Folded(name, value);
  return as_it_stands.empty() ? ModHeader::Field(name, value) : as_it_stands;
}

Result<std::string> ListId(std::string_view text) {
  text = ModText::Trim(text);
  const std::size_t open = text.rfind('<');
  const bool is_named = open != std::string_view::npos && text.ends_with('>');
  const std::string_view name = is_named ? ModText::Trim(text.substr(0, open)) : "";
  const std::string_view id = is_named ? text.substr(open + 1, text.size() - open - 2) : text;
  const std::vector<std::string_view> labels = ModText::Split(id, '.');
  const bool good = id.size() <= kMaxListId && labels.size() >= 2 &&
                    std::all_of(labels.begin(), labels.end(), [](std::string_view label) {
                      return !label.empty() && std::all_of(label.begin(), label.end(), [](char c) {
                        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                               (c >= '0' && c <= '9') || c == '-' || c == '_';
                      });
                    });
  if (!good) {
    return Status(Code::kUsage, "'" + ModText::Printable(text) +
                                    "' is no list id, such as 'news.example.org' or 'Club news "
                                    "<news.example.org>'");
  }
  std::string field = "List-Id: ";
  if (!name.empty()) field.append(name).append(" ");
  field.append("<").append(id).append(">");
  Status status = Check(field);
  return status.ok() ? Result<std::string>(field) : status;
}

std::string Folded(std::string_view name, std::string_view value) {
  if (!ModText::IsAscii(value) || ModText::HasControls(value)) return {};
  std::string field(name);
  field += ':';
  std::size_t line = field.size();
  while (!value.empty()) {
    const std::size_t end = std::min(value.find(' '), value.size());
    const std::string_view word = value.substr(0, end);
    value.remove_prefix(std::min(end + 1, value.size()));
    if (word.empty()) continue;
    if (line + 1 + word.size() > kGoodLine && line > name.size() + 1) {
      field += "\r\n";
      line = 0;
    }
    field.append(" ").append(word);
    line += 1 + word.size();
    if (line > kMaxLine) return {};
  }
  return field + "\r\n";
}

}  // namespace vespro::ModAuthorFields
