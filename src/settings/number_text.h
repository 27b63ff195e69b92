// settings/number_text.h - a number as the settings keep it, where there is no registry to keep it.
#pragma once

#include <string>
#include <string_view>

namespace vespro {

// The decimal text of the number with which `value` begins, cut to a whole number and kept within
// 32 bits; "0" when there is none.
std::string NumberText(std::string_view value);

}  // namespace vespro
