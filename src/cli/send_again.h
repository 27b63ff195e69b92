// cli/send_again.h - the same message to others.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"

namespace vespro::cli {

// The arguments of the command that sends a job's message as it was sent, with the same engine
// options, to the people of its failed.csv, `list`. The settings and accounts are those of now.
// Fails when the job's files can't be read.
Result<std::vector<std::string>> SendAgainArguments(const std::filesystem::path& session_folder,
                                                    const std::filesystem::path& list);

}  // namespace vespro::cli
