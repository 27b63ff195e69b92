// engine/engine.h - one run of the sending engine over a job, from the job file to the reports. One
// thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/delivery/delivery.h"
#include "engine/list_source.h"
#include "engine/unsubscribe.h"

namespace vespro::engine {

// What the program exits with.
enum ExitCode : int {
  kExitAllSent = 0,
  // Finished, but somebody was refused, failed, unknown or has a bad row, or an account did not
  // work.
  kExitSomeNotSent = 1,
  kExitUsage = 2,
  kExitBadInput = 65,  // job, list or message
  kExitInternal = 70,  // the verdicts do not add up: a fault of ours
  kExitRunAgain = 75,  // stopped with nothing lost
  kExitLogin = 77,     // every account refused the login
  kExitNoAccount = 78,
  kExitInterrupted = 130,
};

struct EngineOptions {
  std::filesystem::path job_file;
  std::size_t entries_per_page = 100;
  std::filesystem::path dry_run;  // a Maildir to render into, contacting nobody; empty: send
  ListOptions list;
  std::vector<std::filesystem::path> suppress;
  DeliveryOptions delivery;               // `connections` comes from the job
  UnsubscribeOptions unsubscribe;         // without the key,
  std::filesystem::path unsubscribe_key;  // which is in this file; empty for none
  bool fresh = false;
  bool resend_unknown = false;
  std::filesystem::path trace;  // a file for the dialogue with the servers; empty for none
  bool trace_data = false;      // with the messages' text
  bool json = false;
  bool quiet = false;
};

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
struct EngineWorld {
  const Clock& clock;
  Randomness& randomness;
  ByteSink& out;
  ByteSink& err;
  bool err_is_terminal = false;
  DeliverFunction deliver;
  RunWatcher* watcher = nullptr;
};

// Says what went wrong in one line on `err`. Returns an ExitCode.
int RunEngine(const EngineOptions& options, EngineWorld& world);

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
Result<JobOutlook> LookAtJob(const EngineOptions& options, EngineWorld& world);

// "30/min": a number and "/s", "/min", "/h" or "/day", as messages a second.
Result<double> ParseRate(std::string_view text);
// What -p says: 1 to 500, and 100 for anything else.
std::size_t ParseEntriesPerPage(std::string_view text);

}  // namespace vespro::engine
