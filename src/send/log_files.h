// send/log_files.h - the log files: the sessions' folders with everything in them. One thread.
#pragma once

#include <filesystem>

#include "base/status.h"

namespace vespro::ModLogFiles {

// Empties the sessions' folder below the data folder, or makes it. A link in there is removed,
// never followed. The first failure ends it, and what was removed before stays so: kResumable when
// a session's job is being sent, kCannotWrite for what can't be removed and for a file that is
// read-only, which is not forced.
Status DeleteAll(const std::filesystem::path& data_folder);

}  // namespace vespro::ModLogFiles
