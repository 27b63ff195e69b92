#include "mime/base64.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace vespro {
namespace ModBase64 {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct Pair {
  char chars[2];
};

// Twelve bits at a time: half the look-ups of one character at a time, in 8 KB.
constexpr std::array<Pair, 4096> kPairs = [] {
  std::array<Pair, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = {{kAlphabet[i >> 6], kAlphabet[i & 63]}};
  }
  return pairs;
}();

constexpr std::int8_t kOther = -1;
constexpr std::int8_t kPadding = -2;

constexpr std::array<std::int8_t, 256> kValues = [] {
  std::array<std::int8_t, 256> values{};
  for (std::int8_t& value : values) value = kOther;
  for (std::size_t i = 0; i < 64; ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  }
  values['='] = kPadding;
  return values;
}();

int ValueOf(char c) { return static_cast<int>(kValues[static_cast<unsigned char>(c)]); }

std::uint32_t ByteAt(const char* in) { return static_cast<unsigned char>(*in); }

// Whole groups of three bytes; gives the end of what it wrote.
char* EncodeGroups(const char* in, std::size_t groups, char* out) {
  for (; groups > 0; --groups, in += 3, out += 4) {
    const std::uint32_t bits = ByteAt(in) << 16 | ByteAt(in + 1) << 8 | ByteAt(in + 2);
    std::memcpy(out, kPairs[bits >> 12].chars, 2);
    std::memcpy(out + 2, kPairs[bits & 0xFFF].chars, 2);
  }
  return out;
}

// Any number of bytes, padded.
char* EncodeAll(std::string_view bytes, char* out) {
  const std::size_t groups = bytes.size() / 3;
  out = EncodeGroups(bytes.data(), groups, out);
  const std::string_view rest = bytes.substr(groups * 3);
  if (rest.empty()) return out;
  const std::uint32_t second = rest.size() > 1 ? ByteAt(&rest[1]) : 0;
  const std::uint32_t bits = ByteAt(rest.data()) << 16 | second << 8;
  std::memcpy(out, kPairs[bits >> 12].chars, 2);
  out[2] = rest.size() > 1 ? kAlphabet[(bits >> 6) & 63] : '=';
  out[3] = '=';
  return out + 4;
}

std::size_t EncodedSize(std::size_t bytes) { return (bytes + 2) / 3 * 4; }

char* EncodeLines(std::string_view bytes, char* out) {
  while (!bytes.empty()) {
    const std::string_view line = bytes.substr(0, kLineBytes);
    out = line.size() == kLineBytes ? EncodeGroups(line.data(), kLineBytes / 3, out)
                                    : EncodeAll(line, out);
    *out++ = '\r';
    *out++ = '\n';
    bytes.remove_prefix(line.size());
  }
  return out;
}

// Four characters to three bytes; false when one of them is not of the alphabet.
bool DecodeGroup(const char* in, char* out) {
  const int a = ValueOf(in[0]);
  const int b = ValueOf(in[1]);
  const int c = ValueOf(in[2]);
  const int d = ValueOf(in[3]);
  if ((a | b | c | d) < 0) return false;
  out[0] = static_cast<char>(a << 2 | b >> 4);
  out[1] = static_cast<char>(b << 4 | c >> 2);
  out[2] = static_cast<char>(c << 6 | d);
  return true;
}

Status NotBase64() { return Status(Code::kBadInput, "not a Base64 text"); }

}  // namespace

std::string Encode(std::string_view bytes) {
  std::string out(EncodedSize(bytes.size()), '\0');
  EncodeAll(bytes, out.data());
  return out;
}

Result<std::string> Decode(std::string_view text) {
  if (text.size() % 4 != 0) return NotBase64();
  if (text.empty()) return std::string();
  const std::size_t padding = text.back() != '=' ? 0 : text[text.size() - 2] != '=' ? 1 : 2;
  std::string out(text.size() / 4 * 3, '\0');
  const std::size_t last = text.size() - 4;
  for (std::size_t i = 0; i < last; i += 4) {
    if (!DecodeGroup(&text[i], &out[i / 4 * 3])) return NotBase64();
  }
  std::array<char, 4> group;
  std::memcpy(group.data(), &text[last], 4);
  std::fill(group.end() - static_cast<std::ptrdiff_t>(padding), group.end(), 'A');
  char* end = &out[last / 4 * 3];
  if (!DecodeGroup(group.data(), end)) return NotBase64();
  for (std::size_t i = 3 - padding; i < 3; ++i) {
    if (end[i] != 0) return NotBase64();
  }
  out.resize(out.size() - padding);
  return out;
}

std::string DecodeLenient(std::string_view text) {
  std::string out(text.size() / 4 * 3 + 3, '\0');
  char* end = out.data();
  std::uint32_t bits = 0;
  int count = 0;  // characters gathered in `bits`
  std::size_t i = 0;
  while (i < text.size()) {
    while (count == 0 && i + 4 <= text.size() && DecodeGroup(&text[i], end)) {
      i += 4;
      end += 3;
    }
    if (i == text.size()) break;
    const int value = ValueOf(text[i++]);
    if (value == kOther) continue;
    if (value != kPadding) {
      bits = bits << 6 | static_cast<std::uint32_t>(value);
      ++count;
    }
    if (count == 4 || (value == kPadding && count > 1)) {
      bits <<= 6 * (4 - count);
      for (int k = 0; k < count - 1; ++k) *end++ = static_cast<char>(bits >> (16 - 8 * k));
    }
    if (count == 4 || value == kPadding) bits = 0, count = 0;
  }
  bits <<= 6 * (4 - count);
  for (int k = 0; k < count - 1; ++k) *end++ = static_cast<char>(bits >> (16 - 8 * k));
  out.resize(static_cast<std::size_t>(end - out.data()));
  return out;
}

std::size_t LinesSize(std::size_t bytes) {
  return EncodedSize(bytes) + (bytes + kLineBytes - 1) / kLineBytes * 2;
}

void AppendLines(std::string& out, std::string_view bytes) {
  const std::size_t before = out.size();
  out.resize(before + LinesSize(bytes.size()));
  EncodeLines(bytes, out.data() + before);
}

}  // namespace ModBase64

Status Base64LineEncoder::WriteLines(std::string_view whole_lines) {
  // A block stays in the processor's cache between encoding and writing, and is large enough for
  // the sink to hand it on without another copy.
  constexpr std::size_t kBlockBytes = ModBase64::kLineBytes * 4096;
  block_.resize(ModBase64::LinesSize(kBlockBytes));
  while (!whole_lines.empty()) {
    const std::string_view block = whole_lines.substr(0, kBlockBytes);
    const char* end = ModBase64::EncodeLines(block, block_.data());
    const auto size = static_cast<std::size_t>(end - block_.data());
    if (Status status = sink_.Write({block_.data(), size}); !status.ok()) return status;
    whole_lines.remove_prefix(block.size());
  }
  return {};
}

Status Base64LineEncoder::Write(std::string_view bytes) {
  if (!rest_.empty()) {
    const std::size_t missing = std::min(ModBase64::kLineBytes - rest_.size(), bytes.size());
    rest_.append(bytes.substr(0, missing));
    bytes.remove_prefix(missing);
    if (rest_.size() < ModBase64::kLineBytes) return {};
    if (Status status = WriteLines(rest_); !status.ok()) return status;
    rest_.clear();
  }
  const std::size_t whole = bytes.size() / ModBase64::kLineBytes * ModBase64::kLineBytes;
  rest_.assign(bytes.substr(whole));
  return WriteLines(bytes.substr(0, whole));
}

Status Base64LineEncoder::Finish() { return WriteLines(rest_); }

}  // namespace vespro
