// merge/custom_words.h - the user's own merge words, and the file in which a job carries them to
// the engine. Format: docs/formats/custom-words.md. Text is UTF-8. Any thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro::ModMailMerge {

inline constexpr char kWordsFile[] = "Vespro.words";

// What the mail says for an entry of the merge list: "#" and the entry, trimmed, in upper case.
std::string MergeWordOf(std::string_view entry);

// Writes the words, without the empty ones, into the session's folder; none, no file.
Status SaveCustomWords(const std::filesystem::path& folder, const std::vector<std::string>& words);
// None when there is no file. kBadInput when it is no list of words.
Result<std::vector<std::string>> LoadCustomWords(const std::filesystem::path& folder);

}  // namespace vespro::ModMailMerge
