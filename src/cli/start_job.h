// cli/start_job.h - from a written job to a started engine: what is checked, asked and waited for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "base/status.h"
#include "cli/verbs.h"
#include "engine/engine.h"
#include "engine/job_status.h"
#include "host/desktop.h"
#include "recipients/distribution.h"
#include "terminal/home.h"

namespace vespro::cli {

// The exit code when the options after "--" can't be used, or only ask for help, which has then
// been printed.
std::optional<int> CheckEngineOptions(const Globals& globals);
// Whether they only render the messages into a folder.
bool IsDryRun(const Globals& globals);

// What they say of List-Unsubscribe, with its key.
Result<engine::UnsubscribeOptions> UnsubscribeOf(const Globals& globals);

// What the engine would do with the job and these options; its own failures.
// Warnings are left to the engine where it is going to show them itself.
Result<engine::JobOutlook> LookAtJob(const Globals& globals, const std::filesystem::path& job_file,
                                     bool engine_is_seen);

// engine::HandOver to the job of that session; its remarks are ours.
Status HandOver(engine::EngineOptions first, engine::AgainChoice choice, const std::string& session,
                engine::SessionLock lock);

// A job of the same message and list that was begun and is not finished.
struct UnfinishedJob {
  std::filesystem::path job_file;
  engine::JobStatus status;
  std::string servers;        // for a person
  bool same_servers = false;  // as those of the new job
  std::string other_list;     // its list's path where that is another one; the bytes were the same
  bool list_is_gone = false;  // what is at that path is not the list any more
};
// A failure as well where such a job may have sent something that can't be read any more.
Result<std::optional<UnfinishedJob>> FindUnfinished(const Home& home,
                                                    const std::filesystem::path& job_file);
// The same, and where there is none the job counts as begun: of two sends at the same time only one
// is the first.
Result<std::optional<UnfinishedJob>> BeginUnlessUnfinished(const Home& home,
                                                           const std::filesystem::path& job_file);
// Asks whether to go on with it and does so; or says how to. Gives the exit code.
int GoOnWith(const Globals& globals, const Home& home, const UnfinishedJob& job, bool wait);
// Only says how to.
int RefuseFor(const UnfinishedJob& job);

// Whether a person is to be asked before something is sent.
bool AsksFirst(const ConsoleRules& rules);
// Shows what is about to be sent, and asks.
bool MaySend(const ConsoleRules& rules, const engine::JobOutlook& outlook,
             const Distribution& distribution);

// Lets the engine try the accounts, in this program's place; gives its exit code. `from`: empty for
// the stored sender; `options`: of the engine, before those of the command line.
int TestAccounts(const Globals& globals, const Home& home, const std::string& from,
                 std::vector<std::string> options);

// kForeground: the engine takes this program's place, with its exit code. kWindow: with its own
// window where it has one, else as kForeground. kBackground: what came of it in the first seconds
// is said.
enum class RunIn { kForeground, kWindow, kBackground };
// Starts the engine; gives the exit code.
int StartJob(const Globals& globals, const std::filesystem::path& job_file,
             const CommandLine& engine, RunIn place);

}  // namespace vespro::cli
