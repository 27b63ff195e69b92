#include "lint/words.h"

#include <algorithm>
#include <cstdint>

#include "base/text.h"
#include "merge/field_names.h"
#include "recipients/row.h"

namespace vespro::lint {
namespace {

bool IsCapital(char c) { return c >= 'A' && c <= 'Z'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Whether a name is in capitals and begins with a letter.
bool IsInCapitals(const std::string& name) {
  if (name.empty() || ModMailMerge::Upper(name) != name) return false;
  if (static_cast<unsigned char>(name.front()) < 0x80) return IsCapital(name.front());
  // A letter that has two forms; many scripts have one.
  std::size_t length = 1;
  while (length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) {
    ++length;
  }
  const std::string first = name.substr(0, length);
  std::string lower = first;
  ModRow::LowerAddress(lower);
  return lower != first;
}

// "FF6600" and "FFF", but not "FEE" or "FACADE", which are words.
bool IsColour(std::string_view name) {
  if (name.size() != 3 && name.size() != 6 && name.size() != 8) return false;
  bool digits = false;
  for (const char c : name) {
    if (ModText::HexValue(c) < 0) return false;
    digits = digits || IsDigit(c);
  }
  if (digits) return true;
  if (name.size() == 3) return name[0] == name[1] && name[1] == name[2];
  for (std::size_t i = 0; i < name.size(); i += 2) {
    if (name[i] != name[i + 1]) return false;
  }
  return true;
}

// Whether the "#" is in an address that is written out, such as https://example.org/#NEWS.
bool IsInAddress(std::string_view before) {
  constexpr std::size_t kMaxAddress = 2000;
  before.remove_prefix(before.size() - std::min(before.size(), kMaxAddress));
  const std::size_t start = before.find_last_of(" \t\r\n\f<>\"'()");
  const std::string_view run = before.substr(start == std::string_view::npos ? 0 : start + 1);
  return run.find("://") != std::string_view::npos ||
         ModText::StartsWithIgnoringAsciiCase(run, "www.");
}

// How many letters differ, are missing or change places; `most` + 1 where it is more.
std::size_t Distance(std::string_view a, std::string_view b, std::size_t most) {
  const std::size_t more = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
  if (more > most) return most + 1;
  std::vector<std::size_t> two_ago, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] =
          std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], two_ago[j - 2] + 1);
      }
    }
    two_ago = last;
    std::swap(last, row);
  }
  return last[b.size()];
}

constexpr std::size_t kMaxCompared = 64;  // bytes; no name of a field is as long

// The known word that a name resembles most, with "#"; empty: none.
std::string Nearest(std::string_view name, const std::vector<std::string>& known) {
  if (name.size() > kMaxCompared) return {};
  std::size_t least = name.size() < 5 ? 1 : 2;
  const std::string* nearest = nullptr;
  for (const std::string& word : known) {
    const bool begins = word.starts_with(name) && word.size() > name.size() &&
                        (word[name.size()] == '_' || word[name.size()] == ' ');
    if (begins && nearest == nullptr) nearest = &word;
    if (word.size() > kMaxCompared) continue;
    const std::size_t distance = Distance(name, word, least);
    if (distance > least || distance >= word.size()) continue;
    nearest = &word;
    if (distance == 0) break;
    least = distance - 1;
  }
  return nearest != nullptr ? "#" + *nearest : std::string();
}

}  // namespace

Spelling ReadSpelling(const engine::HashSign& sign, const std::vector<std::string>& known) {
  if (!sign.word.empty()) return {};
  const std::string_view before = sign.text.substr(0, sign.at);
  std::string name = engine::NameAfter(sign);
  while (name.ends_with('-')) name.pop_back();
  const bool in_link = sign.in_link || IsInAddress(before);
  const bool at_value = before.ends_with('=');
  if (name.empty() || IsColour(name) || (in_link && !at_value)) return {};
  if (IsInCapitals(name)) {
    const std::string meant = Nearest(ModText::ReplaceAll(name, "-", "_"), known);
    const auto kind = in_link ? Spelling::Kind::kInLink : Spelling::Kind::kUnknown;
    return {kind, "#" + name, meant};
  }
  const std::string upper = ModMailMerge::Upper(ModText::ReplaceAll(name, "-", "_"));
  if (std::find(known.begin(), known.end(), upper) == known.end()) return {};
  return {Spelling::Kind::kSmall, "#" + name, "#" + upper};
}

}  // namespace vespro::lint
