#include "engine/unsubscribe.h"

#include <algorithm>

#include "base/files.h"
#include "base/text.h"
#include "engine/hmac.h"

namespace vespro::engine {
namespace {

constexpr std::uint64_t kMaxKeyBytes = 64 * 1024;
constexpr std::string_view kAddress = "{address}", kToken = "{token}", kMailto = "mailto:";
constexpr std::size_t kTokenDigits = 32, kMinKeyBytes = 16;
constexpr std::size_t kMaxPatternBytes = 500;  // bytes
constexpr std::size_t kMaxLinkBytes = 900;     // so that the line stays below 998

bool Has(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

bool IsPersonal(std::string_view pattern) { return Has(pattern, kAddress) || Has(pattern, kToken); }

// No placeholder is misspelt: a brace is in none but those.
bool HasOnlyKnownPlaceholders(std::string_view pattern) {
  for (;;) {
    const std::size_t brace = pattern.find_first_of("{}");
    if (brace == std::string_view::npos) return true;
    pattern.remove_prefix(brace);
    if (!pattern.starts_with(kAddress) && !pattern.starts_with(kToken)) return false;
    pattern.remove_prefix(pattern.find('}') + 1);
  }
}

// What may be between "<" and ">" in the field; a comma would end the link for many programs.
bool IsClean(std::string_view pattern) {
  const auto fits = [](char c) {
    return c > ' ' && c < '\x7F' && c != '<' && c != '>' && c != '"' && c != ',';
  };
  return pattern.size() <= kMaxPatternBytes && HasOnlyKnownPlaceholders(pattern) &&
         std::all_of(pattern.begin(), pattern.end(), fits);
}

// RFC 3986, section 2.1: all but the unreserved characters are encoded.
std::string PercentEncoded(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (letter || c == '-' || c == '.' || c == '_' || c == '~') {
      out += c;
    } else {
      out += '%';
      out += "0123456789ABCDEF"[byte >> 4];
      out += "0123456789ABCDEF"[byte & 15];
    }
  }
  return out;
}

Status Bad(std::string_view option, std::string_view why) {
  return Status(Code::kUsage, std::string(option) + " " + std::string(why));
}

constexpr std::string_view kUnclean =
    "may have no blanks, commas, quotes, angle brackets, letters outside ASCII (write them as %20, "
    "%2C and so on) and braces other than {address} and {token}, and at most 500 characters";

Status CheckUrl(const std::string& url) {
  const std::string lower = ModText::LowerAscii(url);
  if (!lower.starts_with("https://") && !lower.starts_with("http://")) {
    return Bad("--unsubscribe-url", "has to begin with https:// or http://");
  }
  const std::size_t host = lower.find("//") + 2;
  const std::string_view server =
      std::string_view(lower).substr(host, lower.find_first_of("/?#", host) - host);
  if (server.empty() || Has(server, "{")) {
    return Bad("--unsubscribe-url", "needs a server's name, the same for everybody");
  }
  return IsClean(url) ? Status() : Bad("--unsubscribe-url", kUnclean);
}

Status CheckMailto(const std::string& mailto) {
  const std::string_view address = std::string_view(mailto).substr(0, mailto.find('?'));
  const std::size_t at = address.find('@');
  if (at == std::string_view::npos || at == 0 || at + 1 == address.size()) {
    return Bad("--unsubscribe-mailto", "needs an address, such as leave@example.org?subject=leave");
  }
  return IsClean(mailto) ? Status() : Bad("--unsubscribe-mailto", kUnclean);
}

}  // namespace

Result<UnsubscribeOptions> LoadKey(UnsubscribeOptions options, const std::filesystem::path& file) {
  if (file.empty()) return options;
  Result<std::string> key = ModFiles::ReadAll(file, kMaxKeyBytes);
  if (!key.ok()) return key.status();
  options.key = std::move(key).value();
  while (options.key.ends_with('\n') || options.key.ends_with('\r')) options.key.pop_back();
  return options;
}

Result<Unsubscribe> Unsubscribe::Make(const UnsubscribeOptions& options, bool shared) {
  Unsubscribe made;
  made.options_ = options;
  std::string& mailto = made.options_.mailto;
  if (ModText::LowerAscii(mailto.substr(0, kMailto.size())) == kMailto) {
    mailto.erase(0, kMailto.size());
  }
  if (Status url = options.url.empty() ? Status() : CheckUrl(options.url); !url.ok()) return url;
  if (Status ok = mailto.empty() ? Status() : CheckMailto(mailto); !ok.ok()) return ok;
  made.per_recipient_ = IsPersonal(options.url) || IsPersonal(mailto);
  if (made.per_recipient_ && shared) {
    return Status(Code::kUsage,
                  "{address} and {token} stand for one person, and in this job one copy goes to "
                  "many people, which cannot carry a link for each: send it personalised, or use "
                  "an --unsubscribe-mailto without them");
  }
  if ((Has(options.url, kToken) || Has(mailto, kToken)) && options.key.size() < kMinKeyBytes) {
    return Status(Code::kUsage, "{token} needs --unsubscribe-key with a file of at least 16 bytes");
  }
  // RFC 8058, section 3.1: a POST has to say by itself who wants to leave.
  made.one_click_ =
      ModText::LowerAscii(options.url).starts_with("https://") && IsPersonal(options.url);
  return made;
}

void Unsubscribe::AppendLink(std::string& links, std::string_view scheme, std::string_view pattern,
                             std::string_view address) const {
  if (pattern.empty()) return;
  std::string link(scheme);
  while (!pattern.empty()) {
    if (pattern.starts_with(kAddress)) {
      link += PercentEncoded(address);
      pattern.remove_prefix(kAddress.size());
    } else if (pattern.starts_with(kToken)) {
      const std::optional<std::string> token = HmacHex(Digest::kSha256, options_.key, address);
      if (token) link += token->substr(0, kTokenDigits);
      pattern.remove_prefix(kToken.size());
    } else {
      link += pattern.front();
      pattern.remove_prefix(1);
    }
  }
  if (link.size() > kMaxLinkBytes) return;
  links.append(links.empty() ? "<" : ",\r\n <").append(link) += '>';
}

void Unsubscribe::Append(std::string& out, std::string_view address) const {
  std::string links;
  AppendLink(links, kMailto, options_.mailto, address);
  const std::size_t without_url = links.size();
  AppendLink(links, "", options_.url, address);
  if (links.empty()) return;
  out.append("List-Unsubscribe: ").append(links).append("\r\n");
  if (one_click_ && links.size() > without_url) {
    out.append("List-Unsubscribe-Post: List-Unsubscribe=One-Click\r\n");
  }
}

}  // namespace vespro::engine
