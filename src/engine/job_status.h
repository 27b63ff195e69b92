// engine/job_status.h - how far a job is, from its session's folder alone. One thread.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/random.h"
#include "base/status.h"
#include "engine/engine_options.h"
#include "engine/journal.h"

namespace vespro::engine {

struct JobStatus {
  enum class Phase {
    kNotBegun,  // no message has been sent
    kRunning,   // an engine is at work on it
    kStopped,   // it can be taken up again
    kFinished,
  };
  Phase phase = Phase::kNotBegun;
  StateCounts counts{};        // of all runs
  std::uint64_t in_doubt = 0;  // on the wire when the journal was read
  // Recipients without a verdict, without those in doubt; nothing when the list can't be read. Of
  // the list as it is now: `list_changed` when that is not the one that the last run was about.
  // `counts` have everybody of that one.
  std::optional<std::uint64_t> left;
  bool list_changed = false;
  std::int64_t began = 0;  // the last run's begin, seconds since 1970, UTC; 0: no run
  std::int64_t ended = 0;  // its end; 0 while it runs, or if it was killed
  std::string result;      // how the last run ended; empty while it runs, or if it was killed
  std::string subject;     // decoded, merge words and all; empty when it can't be read
  // The last run finished, and every row of the list has its verdict in a journal without damage:
  // another run would find nothing to do.
  bool complete = false;

  std::uint64_t Of(State state) const { return counts[static_cast<std::size_t>(state)]; }
};

// `options` name the job file and what narrows the list. Reads the journal, and the list where
// somebody may be left: linear in both. kNotFound or kBadInput for a job that can't be read.
Result<JobStatus> ReadJobStatus(const EngineOptions& options, Randomness& randomness);

// Gives the people of the list, as `options` narrow it, who have no verdict and were not on the
// wire. `lines` must outlive it.
Result<std::unique_ptr<ListSource>> OpenWithoutVerdict(const Distribution& list,
                                                       const EngineOptions& options,
                                                       const LineStates& lines,
                                                       Randomness& randomness);

// The list that the job's last run was about; nothing where the journal does not say. Reads all of
// it.
std::optional<ListIdentity> LastListOf(const std::filesystem::path& session_folder);

// The last run that the journal tells of. Another one has another number or time.
struct LastRun {
  std::uint64_t number = 0;  // of the record that begins it; 0: no run
  std::int64_t time = 0;     // seconds since 1970, UTC
  bool sent = false;         // a server has accepted a message in it

  bool IsSame(const LastRun& other) const { return number == other.number && time == other.time; }
};
// No run where the journal can't be read. Reads all of it.
LastRun ReadLastRun(const std::filesystem::path& session_folder);

// The command that takes the job up again.
std::string RunCommand(const std::filesystem::path& job_file);
// The command that sends its message once more to those whom it did not reach.
std::string SendAgainCommand(const std::filesystem::path& job_file);

}  // namespace vespro::engine
