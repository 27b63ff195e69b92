// engine/again.h - whom a job's message is to be sent to once more, as the list of another job. One
// thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/random.h"
#include "base/status.h"
#include "engine/engine_options.h"
#include "engine/work.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// Beside those who failed and those who were not reached. An unknown one may get a second copy.
struct AgainChoice {
  bool refused = false;
  bool unknown = false;

  // `verdict`: nothing for who was not reached.
  bool Has(std::optional<State> verdict) const;
};

struct AgainCounts {
  std::uint64_t failed = 0, not_reached = 0, refused = 0, unknown = 0;  // of the first job
  std::uint64_t people = 0;                                             // in the list
};

// Writes the people whom the first job did not reach into `file`, in the order of its list. A table
// begins with the first row of that list, header or not, as its header: it names the merge fields,
// and is nobody. Rows are the bytes that they were. `first`: the options that the job was begun
// with, which decide who belongs to it. kResumable when the list has changed since.
Result<AgainCounts> WriteAgainList(const EngineOptions& first, AgainChoice choice,
                                   const std::filesystem::path& file, Randomness& randomness);
// How a job names that list; `file_name` is in its own folder.
std::string AgainDistribution(const Distribution& first, std::string_view file_name);

}  // namespace vespro::engine
