// manual/completion.h - what bash, zsh and fish offer at the Tab key. Scripts for all our programs
// at once; nothing of ours is run when they are used.
#pragma once

#include <string>

#include "manual/program.h"

namespace vespro::manual {

// `engine`'s options are offered after "--" too, for the verbs that pass them on.
std::string BashCompletion(const Command& program, const Command& engine);
std::string ZshCompletion(const Command& program, const Command& engine);
std::string FishCompletion(const Command& program, const Command& engine);

}  // namespace vespro::manual
