// engine/job.h - the job configuration file as data. Format: docs/formats/job-file.md. Any thread.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "engine/message.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// Relative paths are meant from the job file's folder.
struct Job {
  std::size_t connections = 5;  // what the installation proposes
  Distribution list;
  int bcc_mode = 0;  // 0: personalised; n: one copy to n recipients
  std::filesystem::path message_file;
  std::vector<Account> accounts;      // at least one, in the order of the file
  std::vector<std::string> warnings;  // unknown keys, unusable accounts; no secrets
};

// `bytes` are in the ANSI code page. kBadInput names the line that is missing or can't be used;
// kConfig when there is no HOST line, or none that can be used.
Result<Job> ParseJob(std::string_view bytes);

// The same for a file, with the job's paths joined to its folder.
Result<Job> ReadJob(const std::filesystem::path& job_file);

}  // namespace vespro::engine
