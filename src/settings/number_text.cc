#include "settings/number_text.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "base/text.h"

namespace vespro {

std::string NumberText(std::string_view value) {
  using Limits = std::numeric_limits<std::int32_t>;
  const double number =
      std::clamp<double>(ModText::LeadingNumber(value), Limits::min(), Limits::max());
  return std::to_string(static_cast<std::int32_t>(number));
}

}  // namespace vespro
