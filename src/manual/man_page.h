// manual/man_page.h - a program's manual page, in the man macros of roff (man(7)).
#pragma once

#include <string>

#include "manual/program.h"

namespace vespro::manual {

// `see_also`: "vespro-engine(1)". ASCII where the descriptions are.
std::string ManPage(const Command& program, const std::string& version,
                    const std::string& see_also);

}  // namespace vespro::manual
