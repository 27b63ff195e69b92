#include "engine/smtp/extensions.h"

#include <algorithm>

#include "base/text.h"

namespace vespro::engine {
namespace {

constexpr std::uint64_t kMaxLimit = 1'000'000;

// The word before the next blank, taken off `text`.
std::string_view TakeWord(std::string_view& text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  const std::size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end);
  return word;
}

void ParseLimits(std::string_view value, Extensions& extensions) {
  for (std::string_view word = TakeWord(value); !word.empty(); word = TakeWord(value)) {
    const std::size_t equals = std::min(word.find('='), word.size());
    const std::string_view name = word.substr(0, equals);
    std::uint64_t number = 0;
    if (equals == word.size()) continue;
    if (!ModText::ParseUnsigned(word.substr(equals + 1), kMaxLimit, &number)) continue;
    if (ModText::EqualsIgnoringAsciiCase(name, "RCPTMAX")) extensions.max_recipients = number;
    if (ModText::EqualsIgnoringAsciiCase(name, "MAILMAX")) extensions.max_messages = number;
  }
}

void ParseMechanisms(std::string_view value, Extensions& extensions) {
  for (std::string_view word = TakeWord(value); !word.empty(); word = TakeWord(value)) {
    extensions.auth_mechanisms.emplace_back(word);
  }
}

}  // namespace

Extensions ParseEhlo(std::string_view text) {
  Extensions extensions;
  const std::vector<std::string_view> lines = ModText::Split(text, '\n');
  for (std::size_t i = 1; i < lines.size(); ++i) {
    std::string_view rest = lines[i];
    const std::string keyword = ModText::LowerAscii(TakeWord(rest));
    if (keyword == "starttls") extensions.starttls = true;
    if (keyword == "pipelining") extensions.pipelining = true;
    if (keyword == "chunking") extensions.chunking = true;
    if (keyword == "8bitmime") extensions.eight_bit = true;
    if (keyword == "smtputf8") extensions.utf8 = true;
    if (keyword == "size") {
      extensions.size = true;
      if (!ModText::ParseUnsigned(TakeWord(rest), UINT64_MAX, &extensions.max_size)) {
        extensions.max_size = 0;
      }
    }
    if (keyword == "limits") ParseLimits(rest, extensions);
    if (keyword == "auth") ParseMechanisms(rest, extensions);
    // Servers older than RFC 2554 join the first mechanism with "=".
    if (keyword.starts_with("auth=")) {
      ParseMechanisms(keyword.substr(5), extensions);
      ParseMechanisms(rest, extensions);
    }
  }
  return extensions;
}

}  // namespace vespro::engine
