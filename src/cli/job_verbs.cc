#include "cli/job_verbs.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/clock.h"
#include "base/command_line.h"
#include "base/files.h"
#include "base/random.h"
#include "base/text.h"
#include "engine/journal.h"
#include "engine/options.h"
#include "engine/session_lock.h"
#include "send/send_command.h"
#include "send/session.h"
#include "settings/settings.h"
#include "terminal/job_accounts.h"
#include "terminal/send_job.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::JobStatus;
using engine::State;
using Phase = JobStatus::Phase;

// Of the home that the job lies in, which may be another one than ours.
fs::path AccountFileOf(const Home& home, const fs::path& job_file) {
  const fs::path session = ModFiles::FullPath(job_file).parent_path();
  const fs::path data_folder = session.parent_path().parent_path();
  const fs::path file = data_folder / home.AccountFile().filename();
  const bool is_home =
      session.parent_path() == ModSession::SessionsFolder(data_folder) && ModFiles::IsFile(file);
  return is_home ? file : home.AccountFile();
}

const char* PhaseName(Phase phase) {
  switch (phase) {
    case Phase::kNotBegun:
      return "not begun";
    case Phase::kRunning:
      return "running";
    case Phase::kStopped:
      return "stopped";
    case Phase::kFinished:
      return "finished";
  }
  return "";
}

struct KnownJob {
  fs::path file;
  JobStatus status;
};

nlohmann::ordered_json ToJson(const KnownJob& job) {
  nlohmann::ordered_json row;
  row["session"] = ModFiles::ToUtf8(job.file.parent_path().filename());
  row["job"] = ModFiles::ToUtf8(job.file);
  row["phase"] = PhaseName(job.status.phase);
  row["subject"] = job.status.subject;
  for (const State state : engine::kStateOrder) {
    row[std::string(engine::StateName(state))] = job.status.Of(state);
  }
  row["in_doubt"] = job.status.in_doubt;
  row["left"] = job.status.left.has_value() ? nlohmann::ordered_json(*job.status.left) : nullptr;
  row["result"] = job.status.result;
  return row;
}

void Print(const KnownJob& job) {
  const JobStatus& status = job.status;
  const std::string text = ModFiles::ToUtf8(job.file.parent_path().filename()) + "  " +
                           PhaseName(status.phase) + ": " + StatusText(status) + "; " +
                           status.subject;
  std::cout << ModText::Printable(text, text.size()) << "\n";
  if (status.phase == Phase::kStopped || status.phase == Phase::kNotBegun) {
    std::cout << "    " << engine::RunCommand(job.file) << "\n";
  }
}

int ShowStatus(const Globals& globals, const std::string& name) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  std::vector<KnownJob> jobs;
  if (!name.empty()) {
    Result<fs::path> file = FindJob(home.value(), name);
    if (!file.ok()) return Fail(file.status());
    Result<JobStatus> status = StatusOf(file.value());
    if (!status.ok()) return Fail(status.status());
    jobs.push_back({file.value(), std::move(status).value()});
  } else {
    for (const fs::path& file : Jobs(home.value())) {
      if (!WasBegun(file)) continue;
      Result<JobStatus> status = StatusOf(file);
      if (!status.ok()) {
        Note(ModFiles::ToUtf8(file) + ": " + status.status().text());
      } else if (status->phase != Phase::kFinished) {
        jobs.push_back({file, std::move(status).value()});
      }
    }
    std::sort(jobs.begin(), jobs.end(),
              [](const KnownJob& a, const KnownJob& b) { return a.status.began > b.status.began; });
  }
  if (globals.json) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const KnownJob& job : jobs) rows.push_back(ToJson(job));
    std::cout << JsonText(rows) << "\n";
    return 0;
  }
  for (const KnownJob& job : jobs) Print(job);
  if (jobs.empty()) Note("nothing is being sent, and no job was left unfinished");
  return 0;
}

int RunVerb(const Globals& globals, const std::string& name, RunIn place) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<fs::path> file = FindJob(home.value(), name);
  if (!file.ok()) return Fail(file.status());
  return ResumeJob(globals, home.value(), file.value(), place);
}

}  // namespace

Result<fs::path> FindJob(const Home& home, const std::string& job) {
  std::error_code error;
  fs::path file = ModFiles::FullPath(ModFiles::FromUtf8(job));
  if (!fs::exists(file, error) && job.find_first_of("/\\") == std::string::npos) {
    file = ModSession::SessionsFolder(home.data_folder) / ModFiles::FromUtf8(job);
  }
  if (ModFiles::IsFolder(file)) file = ModSession::JobFileIn(file);
  if (ModFiles::IsFile(file)) return file;
  return Status(Code::kNotFound, "there is no job '" + ModFiles::ToUtf8(file) +
                                     "': give a session's folder or its Vespro.cfg; " +
                                     ModCommandLine::VesproCommand({"status"}) + " lists them");
}

std::vector<fs::path> Jobs(const Home& home) {
  std::vector<fs::path> jobs;
  for (const fs::path& session : ModFiles::PathsIn(ModSession::SessionsFolder(home.data_folder))) {
    const fs::path file = ModSession::JobFileIn(session);
    if (ModFiles::IsFile(file)) jobs.push_back(file);
  }
  return jobs;
}

bool WasBegun(const fs::path& job_file) {
  const fs::path folder = job_file.parent_path();
  return ModFiles::IsFile(engine::Journal::PathIn(folder)) ||
         ModFiles::IsFile(folder / engine::kJournalLock);
}

Status MarkBegun(const fs::path& job_file) {
  return FileLock::Take(job_file.parent_path() / engine::kJournalLock, FileLock::Wait::kNo)
      .status();
}

Result<engine::EngineOptions> OptionsOf(const fs::path& job_file,
                                        const std::vector<std::string>& further) {
  Result<std::vector<std::string>> arguments =
      ModSendJob::KeptEngineOptions(job_file.parent_path());
  if (!arguments.ok()) return arguments.status();
  arguments->insert(arguments->begin(), {"-s", ModFiles::ToUtf8(job_file)});
  arguments->insert(arguments->end(), further.begin(), further.end());
  engine::ParsedOptions parsed = engine::ParseOptions(std::move(arguments).value());
  if (parsed.exit.has_value())
    return Status(Code::kBadInput, std::string(ModText::Trim(parsed.text)));
  return std::move(parsed.options);
}

Result<JobStatus> StatusOf(const fs::path& job_file) {
  const Result<engine::EngineOptions> options = OptionsOf(job_file);
  if (!options.ok()) return options.status();
  SystemRandomness randomness;
  return engine::ReadJobStatus(options.value(), randomness);
}

std::string StatusText(const JobStatus& status) {
  std::string text =
      status.left.has_value() ? std::to_string(*status.left) + " left" : "the list can't be read";
  if (status.list_changed) text += " of the list as it is now";
  text += ", " + engine::CountsText(status.counts);
  if (status.in_doubt > 0) text += ", " + std::to_string(status.in_doubt) + " on the way";
  return text;
}

Status RefreshPasswords(const Home& home, const fs::path& job_file, const fs::path& of_job) {
  return ModJobAccounts::RefreshPasswords(AccountFileOf(home, of_job), job_file,
                                          job_file.parent_path() / engine::kJournalLock);
}

int ResumeJob(Globals globals, const Home& home, const fs::path& job_file, RunIn place) {
  Result<std::vector<std::string>> kept = ModSendJob::KeptEngineOptions(job_file.parent_path());
  if (!kept.ok()) return Fail(kept.status());
  // A finished job stays as it is, unless it is told to do more.
  const Result<JobStatus> status = StatusOf(job_file);
  const bool stays = status.ok() && status->complete && globals.engine_options.empty();
  if (!stays) {
    Status fresh = RefreshPasswords(home, job_file, job_file);
    if (!fresh.ok()) return Fail(fresh);
  }
  // What is said now comes after what was said then, and wins.
  globals.engine_options.insert(globals.engine_options.begin(), kept->begin(), kept->end());
  if (std::optional<int> wrong = CheckEngineOptions(globals)) return *wrong;
  return StartEngine(globals, home, job_file, place);
}

int StartEngine(const Globals& globals, const Home& home, const fs::path& job_file, RunIn place) {
  Settings settings(*home.backend);
  const std::string per_page(ModText::Trim(settings.Read(setting::kReportPerPage)));
  return StartJob(
      globals, job_file,
      ModSend::EngineCommand(InstalledAddIn(home), ModFiles::ToUtf8(job_file), per_page), place);
}

void AddJobVerbs(CLI::App& app, Globals& globals, Action& action) {
  auto name = std::make_shared<std::string>();
  CLI::App* run = app.add_subcommand("run", "Start or resume a job that is written already");
  run->add_option("JOB", *name, "A session's name or folder, or its Vespro.cfg")->required();
  run->footer(
      "Options for the engine come after \"--\".\n"
      "Exit: how the run ended; 0 everyone was accepted, 1 not everybody, 75 go on with it later.\n"
      "Example: vespro run 0104261200001");
  auto window = std::make_shared<bool>(false);
  run->add_flag("--window", *window,
                "Show the progress in the engine's own window where it has one, on Windows");
  run->callback([&globals, &action, name, window] {
    action = [&globals, name, window] {
      return RunVerb(globals, *name, *window ? RunIn::kWindow : RunIn::kForeground);
    };
  });

  CLI::App* status = app.add_subcommand("status", "Show what is being sent, and what was left");
  status->add_option("JOB", *name, "One job, finished or not: its session's name or folder");
  status->footer("Example: vespro status");
  status->callback([&globals, &action, name] {
    action = [&globals, name] { return ShowStatus(globals, *name); };
  });
}

}  // namespace vespro::cli
