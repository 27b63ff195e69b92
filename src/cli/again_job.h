// cli/again_job.h - `vespro send --again`: a job's message once more, to those whom it did not
// reach.
#pragma once

#include <string>
#include <vector>

#include "cli/verbs.h"
#include "engine/again.h"

namespace vespro::cli {

struct AgainArguments {
  std::string session;  // of the first job, as FindJob takes it
  engine::AgainChoice choice;
  std::vector<std::string> accounts;  // instead of the first job's
  bool no_start = false, wait = false;
};

// Says the counts, asks, hands the people over from the first job to a new one and starts that.
// Gives the exit code.
int SendAgain(Globals globals, const AgainArguments& arguments);

}  // namespace vespro::cli
