#include "merge/custom_words.h"

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "merge/field_names.h"

namespace vespro::ModMailMerge {
namespace {

constexpr std::uint64_t kMaxBytes = 1024 * 1024;

}  // namespace

std::string MergeWordOf(std::string_view entry) {
  return "#" + Upper(std::string(ModText::Trim(entry)));
}

Status SaveCustomWords(const std::filesystem::path& folder, const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    std::string line(ModText::Trim(word));
    for (char& c : line) {
      if (c == '\r' || c == '\n' || c == '\0') c = ' ';
    }
    if (!line.empty()) text += line + "\r\n";
  }
  if (text.empty()) return {};
  return ModFiles::ReplaceWith(folder / kWordsFile, text, Access::kPrivate);
}

Result<std::vector<std::string>> LoadCustomWords(const std::filesystem::path& folder) {
  std::vector<std::string> words;
  const std::filesystem::path file = folder / kWordsFile;
  if (!ModFiles::IsFile(file)) return words;
  Result<std::string> text = ModFiles::ReadAll(file, kMaxBytes);
  if (!text.ok()) return text.status();
  if (!ModText::IsUtf8(text.value())) {
    return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(file) + "' is not UTF-8");
  }
  std::string_view rest = text.value();
  for (std::string_view line; NextLine(rest, line);) {
    if (!ModText::Trim(line).empty()) words.emplace_back(ModText::Trim(line));
  }
  return words;
}

}  // namespace vespro::ModMailMerge
