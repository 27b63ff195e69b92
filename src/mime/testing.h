// mime/testing.h - for tests only.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

namespace vespro {

// The same numbers in every run.
class TestNumbers {
 public:
  explicit TestNumbers(std::uint64_t seed) : state_(seed * 2 + 1) {}
  std::size_t Below(std::size_t end) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<std::size_t>(state_ % end);
  }
  std::string Bytes(std::size_t size) {
    std::string bytes;
    while (bytes.size() < size) bytes += static_cast<char>(Below(256));
    return bytes;
  }
  // Well-formed UTF-8, with what encoders trip over in it more often than in real text.
  std::string Text(std::size_t characters) {
    static constexpr const char* kCharacters[] = {" ",
                                                  "  ",
                                                  "\t",
                                                  "=",
                                                  "?",
                                                  "=?",
                                                  "_",
                                                  ".",
                                                  "\"",
                                                  "\\",
                                                  "(",
                                                  ";",
                                                  "'",
                                                  "%",
                                                  "From ",
                                                  "a",
                                                  "Zz",
                                                  "word",
                                                  "\xC3\xBC",
                                                  "\xE2\x82\xAC",
                                                  "\xF0\x9F\x8E\x89",
                                                  "e\xCC\x81",
                                                  "\x7F"};
    std::string text;
    while (characters-- > 0) text += kCharacters[Below(std::size(kCharacters))];
    return text;
  }

 private:
  std::uint64_t state_;
};

// The length of the longest line, CR LF not counted; SIZE_MAX when a CR or LF is alone.
inline std::size_t LongestLine(const std::string& text) {
  std::size_t longest = 0;
  std::size_t begin = 0;
  while (begin < text.size()) {
    std::size_t end = text.find_first_of("\r\n", begin);
    if (end == std::string::npos) end = text.size();
    if (end < text.size() && text.compare(end, 2, "\r\n") != 0) return SIZE_MAX;
    longest = std::max(longest, end - begin);
    begin = end + 2;
  }
  return longest;
}

}  // namespace vespro
