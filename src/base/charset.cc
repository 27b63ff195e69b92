#include "base/charset.h"

#include <array>
#include <cstdint>

#include "base/charset_platform.h"
#include "base/text.h"

namespace vespro::ModCharset {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

struct Charset {
  std::string_view alias;
  const char* name;  // for iconv
  unsigned code_page;
};

// Only names in this table reach the system's converter: a message may name anything.
constexpr Charset kCharsets[] = {
    {"windows-1250", "CP1250", 1250},
    {"cp1250", "CP1250", 1250},
    {"windows-1251", "CP1251", 1251},
    {"cp1251", "CP1251", 1251},
    {"windows-1253", "CP1253", 1253},
    {"windows-1254", "CP1254", 1254},
    {"windows-1255", "CP1255", 1255},
    {"windows-1256", "CP1256", 1256},
    {"windows-1257", "CP1257", 1257},
    {"windows-1258", "CP1258", 1258},
    {"windows-874", "CP874", 874},
    {"tis-620", "CP874", 874},
    {"iso-8859-2", "ISO-8859-2", 28592},
    {"latin2", "ISO-8859-2", 28592},
    {"iso-8859-3", "ISO-8859-3", 28593},
    {"iso-8859-4", "ISO-8859-4", 28594},
    {"iso-8859-5", "ISO-8859-5", 28595},
    {"iso-8859-6", "ISO-8859-6", 28596},
    {"iso-8859-7", "ISO-8859-7", 28597},
    {"iso-8859-8", "ISO-8859-8", 28598},
    {"iso-8859-8-i", "ISO-8859-8", 28598},
    {"iso-8859-9", "CP1254", 1254},
    {"iso-8859-11", "CP874", 874},
    {"iso-8859-13", "ISO-8859-13", 28603},
    {"iso-8859-15", "ISO-8859-15", 28605},
    {"latin-9", "ISO-8859-15", 28605},
    {"koi8-r", "KOI8-R", 20866},
    {"koi8-u", "KOI8-U", 21866},
    {"ibm437", "CP437", 437},
    {"cp437", "CP437", 437},
    {"ibm850", "CP850", 850},
    {"cp850", "CP850", 850},
    {"ibm866", "CP866", 866},
    {"cp866", "CP866", 866},
    {"macintosh", "MACINTOSH", 10000},
    {"shift_jis", "CP932", 932},
    {"shift-jis", "CP932", 932},
    {"windows-31j", "CP932", 932},
    {"cp932", "CP932", 932},
    {"euc-jp", "EUC-JP", 20932},
    {"iso-2022-jp", "ISO-2022-JP", 50220},
    {"gb2312", "GB18030", 936},
    {"gbk", "GB18030", 936},
    {"gb18030", "GB18030", 54936},
    {"cp936", "GB18030", 936},
    {"big5", "CP950", 950},
    {"big5-hkscs", "BIG5-HKSCS", 951},
    {"euc-kr", "CP949", 949},
    {"ks_c_5601-1987", "CP949", 949},
    {"cp949", "CP949", 949},
    {"utf-7", "UTF-7", 65000},
};

constexpr std::string_view kWestern[] = {"windows-1252", "cp1252", "iso-8859-1",
                                         "iso8859-1",    "latin1", "iso_8859-1"};

// The characters of windows-1252 from 0x80 to 0x9F; the rest of it is Unicode's first 256.
constexpr std::array<std::uint16_t, 32> kWestern80 = {
    0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

std::string FromWestern(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    ModText::AppendUtf8(out, byte >= 0x80 && byte < 0xA0 ? kWestern80[byte - 0x80U] : byte);
  }
  return out;
}

std::string FromUtf16(std::string_view bytes, bool big_endian) {
  const auto unit = [&](std::size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<std::uint32_t>(big_endian ? first << 8 | second : second << 8 | first);
  };
  std::string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const std::uint32_t c = unit(i);
    const bool high = c >= 0xD800 && c < 0xDC00;
    if (high && i + 3 < bytes.size() && unit(i + 2) >= 0xDC00 && unit(i + 2) < 0xE000) {
      ModText::AppendUtf8(out, 0x10000 + ((c - 0xD800) << 10) + (unit(i + 2) - 0xDC00));
      i += 2;
    } else if (c >= 0xD800 && c < 0xE000) {
      out += kReplacement;
    } else {
      ModText::AppendUtf8(out, c);
    }
  }
  if (bytes.size() % 2 != 0) out += kReplacement;
  return out;
}

std::string FromMarkedUtf16(std::string_view bytes, bool big_endian) {
  if (bytes.substr(0, 2) == "\xFE\xFF") return FromUtf16(bytes.substr(2), true);
  if (bytes.substr(0, 2) == "\xFF\xFE") return FromUtf16(bytes.substr(2), false);
  return FromUtf16(bytes, big_endian);
}

std::string_view WithoutMark(std::string_view bytes) {
  return bytes.substr(0, 3) == kUtf8Mark ? bytes.substr(3) : bytes;
}

std::string Guessed(std::string_view bytes) {
  if (ModText::IsUtf8(bytes)) return std::string(WithoutMark(bytes));
  return FromWestern(bytes);
}

}  // namespace

std::string RepairedUtf8(std::string_view bytes) {
  if (ModText::IsUtf8(bytes)) return std::string(bytes);
  std::string out;
  std::size_t i = 0;
  while (i < bytes.size()) {
    std::size_t length = 1;
    while (length < 4 && i + length < bytes.size() &&
           (static_cast<unsigned char>(bytes[i + length]) & 0xC0) == 0x80) {
      ++length;
    }
    // The longest prefix that is one valid character; stray bytes after it count on their own.
    std::size_t valid = length;
    while (valid > 0 && !ModText::IsUtf8(bytes.substr(i, valid))) --valid;
    out += valid > 0 ? bytes.substr(i, valid) : kReplacement;
    i += valid > 0 ? valid : length;
  }
  return out;
}

std::string ToUtf8(std::string_view bytes, std::string_view charset) {
  const std::string name = ModText::LowerAscii(ModText::Trim(charset));
  if (name == "utf-8" || name == "utf8") return RepairedUtf8(WithoutMark(bytes));
  if (name == "utf-16" || name == "utf-16be") return FromMarkedUtf16(bytes, true);
  if (name == "utf-16le") return FromMarkedUtf16(bytes, false);
  for (const std::string_view western : kWestern) {
    if (name == western) return FromWestern(bytes);
  }
  for (const Charset& known : kCharsets) {
    std::string out;
    if (name == known.alias && platform::ToUtf8(bytes, known.name, known.code_page, &out)) {
      return out;
    }
  }
  return Guessed(bytes);
}

}  // namespace vespro::ModCharset
