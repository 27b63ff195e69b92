// cli/app.h - the whole command line of vespro, declared.
#pragma once

#include "cli/verbs.h"

namespace vespro::cli {

// Everything that `vespro --help` and its verbs' help show. What is parsed goes into `globals`; the
// verb that was chosen puts its work into `action`. Both must outlive `app`.
void Declare(CLI::App& app, Globals& globals, Action& action);

}  // namespace vespro::cli
