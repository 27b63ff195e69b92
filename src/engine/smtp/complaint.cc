#include "engine/smtp/complaint.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace vespro::engine {
namespace {

// More of a reply is not read.
constexpr std::size_t kMaxBytes = 2000;

constexpr int kAny = -1;

struct Row {
  int code, subject, detail;
  std::string_view words;  // in lower case; none: the codes are enough
  Complaint complaint;
};

// The first that fits wins.
constexpr Row kRows[] = {
    // Amazon SES
    {454, kAny, kAny, "maximum sending rate exceeded", Complaint::kRate},
    {454, kAny, kAny, "daily message quota exceeded", Complaint::kQuota},
    // Gmail
    {421, 7, 28, "", Complaint::kUnsolicited},
    {550, 4, 5, "", Complaint::kQuota},
    // Exchange Online
    {432, 3, 2, "", Complaint::kConcurrency},
    {550, 7, 60, "", Complaint::kSender},
    {552, kAny, kAny, "relay quota", Complaint::kQuota},
};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsEnhancedCode(std::string_view word) {
  return word.size() >= 5 && (word[0] == '4' || word[0] == '5') && word[1] == '.' &&
         word.find_first_not_of("0123456789.") == std::string_view::npos;
}

// Lower case, one blank between words; without addresses, which may consist of any words, and
// without the codes that each line begins with, since a phrase may go over several.
std::string Normalised(std::string_view text) {
  text = text.substr(0, kMaxBytes);
  std::string words;
  words.reserve(text.size());
  while (!text.empty()) {
    const auto end = std::find_if(text.begin(), text.end(), IsBlank);
    const std::string_view word = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    if (!word.empty() && word.find('@') == std::string_view::npos && !IsEnhancedCode(word)) {
      if (!words.empty()) words += ' ';
      for (const char c : word) words += c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  return words;
}

}  // namespace

Complaint ComplaintOf(const Reply& reply) {
  const auto is = [](int wanted, int value) { return wanted == kAny || wanted == value; };
  std::string words;
  for (const Row& row : kRows) {
    if (!is(row.code, reply.code) || !is(row.subject, reply.enhanced.subject) ||
        !is(row.detail, reply.enhanced.detail)) {
      continue;
    }
    if (words.empty()) words = Normalised(reply.text);
    if (words.find(row.words) != std::string::npos) return row.complaint;
  }
  return Complaint::kNone;
}

}  // namespace vespro::engine
