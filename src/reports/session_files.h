// reports/session_files.h - what a finished job leaves in its session's folder about its
// recipients.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/status.h"

namespace vespro::ModSessionFiles {

// Names without a folder, UTF-8, in the order of the alphabet.
struct Cleaned {
  std::vector<std::string> removed;
  std::vector<std::string> left;
};

// Removes the reports with all their pages, the list of who was not reached, the journals, the
// engine's log, and the job file: without a journal nobody knows any more who has the mail, so the
// job must not run again. The job file goes first. Nothing else goes, and no link is followed.
// kCannotWrite for what stayed against our will; the rest is gone then.
Result<Cleaned> RemoveResults(const std::filesystem::path& session_folder);

}  // namespace vespro::ModSessionFiles
