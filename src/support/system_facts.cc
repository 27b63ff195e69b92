#include "support/system_facts.h"

#include <array>
#include <cstdio>

namespace vespro {

std::string FileVersionText(std::uint32_t most_significant, std::uint32_t least_significant) {
  const auto high = [](std::uint32_t half) { return static_cast<unsigned>(half >> 16); };
  const auto low = [](std::uint32_t half) { return static_cast<unsigned>(half & 0xFFFF); };
  std::array<char, 64> text{};
  if (static_cast<std::int32_t>(least_significant) < 1) {
    std::snprintf(text.data(), text.size(), "%u.%02u.0000", high(most_significant),
                  low(most_significant));
  } else {
    std::snprintf(text.data(), text.size(), "%u.%02u.%02u.%02u", high(most_significant),
                  low(most_significant), high(least_significant), low(least_significant));
  }
  return text.data();
}

}  // namespace vespro
