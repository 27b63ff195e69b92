// recipients/testing.h - for tests only.
#pragma once

#include <random>
#include <string>
#include <vector>

namespace vespro {

// A small list in which everything odd meets often: line ends, blanks, quotes, capitals, letters
// beyond ASCII.
inline std::string RandomList(std::mt19937& random, bool csv) {
  // Few of each, so that duplicates, odd lines and every line end meet often.
  static const std::vector<std::string> kAddresses = {"a@b",
                                                      "A@B",
                                                      " a@b ",
                                                      "c@d",
                                                      "'c@d'",
                                                      "\"C@D\"",
                                                      "",
                                                      "  ",
                                                      "\xC3\x9C@x",
                                                      "\xC3\xBC@x",
                                                      "\xDC@x",
                                                      "\xE1\xBA\x9E@x",
                                                      "\xC3\x9F@x",
                                                      "\xC8\xBA@x",
                                                      "\xE2\xB1\xA5@x",
                                                      "a-very-long-name@example.org",
                                                      "A-Very-Long-Name@example.ORG",
                                                      "\ta@b",
                                                      "\xFF",
                                                      "a@b\xEF\xBB\xBF"};
  static const std::vector<std::string> kEnds = {"\r\n", "\n", "\r", "\r\r\n", "\n\r"};
  const auto pick = [&random](const std::vector<std::string>& from) -> const std::string& {
    return from[random() % from.size()];
  };
  std::string file = random() % 5 == 0 ? "\xEF\xBB\xBF" : "";
  const bool one_end = random() % 2 == 0;
  const std::string end = pick(kEnds);
  for (std::size_t lines = random() % 40; lines > 0; --lines) {
    const std::size_t fields = csv ? random() % 4 : 1;
    for (std::size_t i = 0; i < fields; ++i) file += (i > 0 ? "," : "") + pick(kAddresses);
    if (lines > 1 || random() % 2 == 0) file += one_end ? end : pick(kEnds);
  }
  return file;
}

}  // namespace vespro
