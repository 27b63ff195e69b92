// engine/engine.h - one run of the sending engine over a job, from the job file to the reports. One
// thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/again.h"
#include "engine/delivery/delivery.h"
#include "engine/engine_options.h"
#include "engine/session_lock.h"

namespace vespro::engine {

// Makes a Delivery of these and runs it; tests put something else here.
using DeliverFunction = std::function<DeliveryEnd(
    const DeliveryOptions& options, const std::vector<Account>& accounts, WorkSource& source,
    Renderer& renderer, ResultSink& results, const std::function<void(const Progress&)>& on_tick)>;

// Told what a person wants to see of a run, on its thread.
class RunWatcher {
 public:
  virtual ~RunWatcher() = default;
  // The job is in order and begins, or goes on. Text is as the author wrote it.
  virtual void OnStart(const std::string& subject, const std::filesystem::path& list) = 0;
  // About ten times a second. `left`: how many have no verdict yet, as far as the list is known.
  virtual void OnProgress(const Progress& progress, std::uint64_t left) = 0;
  // A warning, or why the job ends.
  virtual void OnSay(const std::string& text) = 0;
  // Once, when the report is written: what became of everybody so far.
  virtual void OnReport(const std::string& counts, const std::filesystem::path& page) = 0;
};

// What a run needs from outside.
struct EngineEnvironment {
  const Clock& clock;
  Randomness& randomness;
  ByteSink& out;
  ByteSink& err;
  bool err_is_terminal = false;
  DeliverFunction deliver;
  RunWatcher* watcher = nullptr;
  std::optional<SessionLock> lock = {};  // the job's, where the caller has taken it already
};

// Says what went wrong in one line on `err`. Returns an ExitCode.
int RunEngine(const EngineOptions& options, EngineEnvironment& world);

// For another job that sends to the people of this `choice` from now on: in this one they get the
// verdict "skipped" with `reason`, so that it mails none of them any more, and it is finished, its
// reports written. Sends nothing. Failures as those of a run, not said on `err`.
Status HandOver(const EngineOptions& options, AgainChoice choice, const std::string& reason,
                EngineEnvironment& world);

// What a new job would do, for the question before it is started.
struct JobOutlook {
  std::string subject, from;         // as the author wrote them, merge words and all
  std::vector<std::string> servers;  // "name:port", each once, in the job's order
  std::size_t connections = 0;
  std::uint64_t people = 0;    // who will get a message
  std::uint64_t unusable = 0;  // rows to be corrected: no address, or one with a fault
  std::uint64_t left_out = 0;  // duplicates and suppressed addresses
  std::size_t people_per_message = 1;
  std::uint64_t message_bytes = 0;  // of the first message, as it is sent; 0: nobody to send to
};

// Everything that RunEngine checks before it sends, with its failures, and the list read to its
// end. Contacts nobody and writes nothing but warnings on `err`.
Result<JobOutlook> LookAtJob(const EngineOptions& options, EngineEnvironment& world);

}  // namespace vespro::engine
