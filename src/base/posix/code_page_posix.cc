#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <wctype.h>

#include <array>
#include <cerrno>
#include <string>

#include "base/code_page_platform.h"
#include "base/text.h"

namespace vespro::ModCodePage::platform {
namespace {

// The charset of the user's locale, without touching the process's own locale.
const std::string& Charset() {
  static const std::string charset = [] {
    std::string name = "UTF-8";
    if (const locale_t user = newlocale(LC_CTYPE_MASK, "", nullptr)) {
      name = nl_langinfo_l(CODESET, user);
      freelocale(user);
    }
    const bool plain_ascii = name == "ANSI_X3.4-1968" || name == "US-ASCII" || name.empty();
    return plain_ascii ? std::string("UTF-8") : name;
  }();
  return charset;
}

bool CodePageIsUtf8() { return Charset() == "UTF-8"; }

// Each byte sequence that can't be converted becomes `substitute`.
std::string Convert(std::string_view in, const char* from, const char* to,
                    std::string_view substitute) {
  const iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::string(in);
  std::string out;
  char* source = const_cast<char*>(in.data());  // iconv takes char** but does not write there
  std::size_t left = in.size();
  while (left > 0) {
    std::array<char, 512> block;
    char* target = block.data();
    std::size_t room = block.size();
    const std::size_t done = iconv(converter, &source, &left, &target, &room);
    const int error = errno;
    out.append(block.data(), block.size() - room);
    if (done == static_cast<std::size_t>(-1) && error != E2BIG) {
      out += substitute;
      // Skip a whole UTF-8 character, so that it gives one substitute and not three.
      do {
        ++source;
        --left;
      } while (left > 0 && std::string_view(from) == "UTF-8" &&
               (static_cast<unsigned char>(*source) & 0xC0) == 0x80);
    }
  }
  iconv_close(converter);
  return out;
}

locale_t CaseLocale() {
  static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

wint_t MapChar(wint_t c, Case to) {
  if (CaseLocale() == nullptr) return c;
  const wint_t mapped =
      to == Case::kLower ? towlower_l(c, CaseLocale()) : towupper_l(c, CaseLocale());
  // The Kelvin sign is no k: an address must not become somebody else's.
  return c >= 0x80 && mapped < 0x80 ? c : mapped;
}

std::string MapUtf8(std::string_view text, Case to) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    const std::string_view character = text.substr(i, length);
    if (!ModText::IsUtf8(character)) {
      out += text[i++];
      continue;
    }
    wint_t c = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t k = 1; k < length; ++k) {
      c = (c << 6) | (static_cast<unsigned char>(character[k]) & 0x3FU);
    }
    ModText::AppendUtf8(out, MapChar(c, to));
    i += length;
  }
  return out;
}

}  // namespace

std::string ToUtf8(std::string_view ansi) {
  if (!CodePageIsUtf8()) return Convert(ansi, Charset().c_str(), "UTF-8", "\xEF\xBF\xBD");
  if (ModText::IsUtf8(ansi)) return std::string(ansi);
  return Convert(ansi, "UTF-8", "UTF-8", "\xEF\xBF\xBD");
}

std::string FromUtf8(std::string_view text) {
  if (CodePageIsUtf8()) return std::string(text);
  return Convert(text, "UTF-8", Charset().c_str(), "?");
}

bool MapCase(std::string& ansi, Case to) {
  if (CodePageIsUtf8()) {
    ansi = MapUtf8(ansi, to);
    return true;
  }
  // Only a text that survives the way there and back is touched.
  const std::string text = ToUtf8(ansi);
  if (FromUtf8(text) != ansi) return false;
  const std::string mapped = MapUtf8(text, to);
  std::string back = FromUtf8(mapped);
  if (ToUtf8(back) != mapped) return false;
  ansi = std::move(back);
  return true;
}

}  // namespace vespro::ModCodePage::platform
