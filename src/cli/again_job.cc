#include "cli/again_job.h"

#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/clock.h"
#include "base/command_line.h"
#include "base/files.h"
#include "base/random.h"
#include "cli/job_verbs.h"
#include "cli/start_job.h"
#include "engine/job.h"
#include "engine/options.h"
#include "engine/session_lock.h"
#include "merge/custom_words.h"
#include "send/job_file.h"
#include "send/session.h"
#include "settings/password.h"
#include "terminal/send_job.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::AgainCounts;
using engine::JobStatus;

// Those of a job's HOST lines.
std::vector<std::string> HostsOf(const engine::Job& job) {
  std::vector<std::string> hosts;
  for (const engine::Account& account : job.accounts) {
    const auto encoded = [](const std::string& text) {
      return text.empty() ? text : ModPassword::EncodePassword(text);
    };
    hosts.push_back(account.server + "," + std::to_string(account.port) + "," +
                    encoded(account.login) + "," + encoded(account.password));
  }
  return hosts;
}

// What narrows the new job would leave out people whom the first one has given up already.
Status CheckEngineOptionsFit(const Globals& globals) {
  std::vector<std::string> words = globals.engine_options;
  words.insert(words.begin(), {"-s", "job"});
  const engine::EngineOptions options = engine::ParseOptions(std::move(words)).options;
  if (options.list.limit == 0 && options.list.only.empty() && options.dry_run.empty()) return {};
  return Status(Code::kUsage,
                "--again is for everybody whom the job did not reach: leave out "
                "--limit, --only and --dry-run");
}

Status CheckPhase(const fs::path& first, const JobStatus& status) {
  switch (status.phase) {
    case JobStatus::Phase::kNotBegun:
      return Status(Code::kNotFound,
                    "this job was not begun, so there is nobody to send to again; begin it with: " +
                        engine::RunCommand(first));
    case JobStatus::Phase::kRunning:
      return Status(Code::kResumable, "this job is being sent; see how far it is with: " +
                                          ModCommandLine::VesproCommand(
                                              {"status", ModFiles::ToUtf8(first.parent_path())}));
    case JobStatus::Phase::kStopped:
    case JobStatus::Phase::kFinished:
      break;
  }
  return {};
}

// "185 people: 5 failed, 180 not reached; not 3 refused (--refused adds them)".
std::string Describe(const AgainCounts& counts, engine::AgainChoice choice) {
  std::string to, not_to;
  const auto add = [](std::string& text, std::uint64_t count, const char* what) {
    if (count > 0) text += (text.empty() ? "" : ", ") + std::to_string(count) + what;
  };
  add(to, counts.failed, " failed");
  add(to, counts.not_reached, " not reached");
  add(choice.refused ? to : not_to, counts.refused,
      choice.refused ? " refused" : " refused (--refused adds them)");
  add(choice.unknown ? to : not_to, counts.unknown,
      choice.unknown ? " unknown, who may have the mail already"
                     : " unknown (--unknown adds them; they may have the mail already)");
  return std::to_string(counts.people) + (counts.people == 1 ? " person" : " people") +
         (to.empty() ? "" : ": " + to) + (not_to.empty() ? "" : "; not to " + not_to);
}

Status CopyFile(const fs::path& from, const fs::path& to) {
  const Result<std::string> bytes = ModFiles::ReadAll(from);
  return bytes.ok() ? ModFiles::ReplaceWith(to, bytes.value(), Access::kPrivate) : bytes.status();
}

// The new job, in a session of its own that goes again unless it is kept.
class AgainJob {
 public:
  AgainJob(const Home& home, fs::path first) : home_(home), first_(std::move(first)) {}
  ~AgainJob() {
    if (!kept_ && !folder_.empty()) ModFiles::Remove(folder_).Ignore();  // what failed is told
  }
  AgainJob(const AgainJob&) = delete;
  AgainJob& operator=(const AgainJob&) = delete;

  // `options`: the first job's own. Nothing but the list is written where nobody is left.
  Status Write(const engine::EngineOptions& options, const AgainArguments& arguments) {
    Result<engine::Job> job = engine::ReadJob(first_);
    if (!job.ok()) return job.status();
    std::vector<std::string> hosts = HostsOf(job.value());
    if (!arguments.accounts.empty()) {
      Result<std::vector<std::string>> chosen =
          ModSendJob::ChooseHosts(home_.AccountFile(), arguments.accounts);
      if (!chosen.ok()) return chosen.status();
      hosts = std::move(chosen).value();
    }
    int counter = 0;
    Result<std::string> session =
        ModSession::TakeSession(home_.data_folder, SystemClock(), counter);
    if (!session.ok()) return session.status();
    folder_ = ModSession::SessionsFolder(home_.data_folder) / session.value();

    const std::string list = job->list.kind == ListKind::kCsv ? "list.csv" : "list.txt";
    SystemRandomness randomness;
    Result<AgainCounts> counts =
        engine::WriteAgainList(options, arguments.choice, folder_ / list, randomness);
    if (!counts.ok()) return counts.status();
    counts_ = counts.value();
    if (counts_.people == 0) return {};
    const std::string setting = engine::AgainDistribution(job->list, list);
    distribution_ = ModDistribution::Parse(setting);
    distribution_.path = ModFiles::ToUtf8(folder_ / list);

    constexpr char kMessage[] = "Vespro.eml";
    if (Status copied = CopyFile(job->message_file, folder_ / kMessage); !copied.ok()) {
      return copied;
    }
    const fs::path words = first_.parent_path() / ModMailMerge::kWordsFile;
    if (ModFiles::IsFile(words)) {
      Status copied = CopyFile(words, folder_ / ModMailMerge::kWordsFile);
      if (!copied.ok()) return copied;
    }
    const JobFile fields = {std::to_string(job->connections), setting,
                            std::to_string(job->bcc_mode), kMessage, std::move(hosts)};
    return ModFiles::ReplaceWith(file(), ModSend::FormatJobFile(fields), Access::kPrivate);
  }
  void Keep() { kept_ = true; }

  fs::path file() const { return ModSession::JobFileIn(folder_); }
  std::string session() const { return ModFiles::ToUtf8(folder_.filename()); }
  const AgainCounts& counts() const { return counts_; }
  const Distribution& distribution() const { return distribution_; }

 private:
  const Home& home_;
  fs::path first_, folder_;
  bool kept_ = false;
  AgainCounts counts_;
  Distribution distribution_;
};

}  // namespace

int SendAgain(Globals globals, const AgainArguments& arguments) {
  if (std::optional<int> wrong = CheckEngineOptions(globals)) return *wrong;
  if (Status fit = CheckEngineOptionsFit(globals); !fit.ok()) return Fail(fit);
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<fs::path> first = FindJob(home.value(), arguments.session);
  if (!first.ok()) return Fail(first.status());
  const fs::path folder = ModFiles::FullPath(first.value()).parent_path();
  const Result<JobStatus> status = StatusOf(first.value());
  if (!status.ok()) return Fail(status.status());
  if (Status begun = CheckPhase(first.value(), status.value()); !begun.ok()) return Fail(begun);
  // Until the people are handed over nobody else may send to them.
  Result<engine::SessionLock> lock = engine::SessionLock::Take(folder);
  if (!lock.ok()) return Fail(lock.status());
  const Result<engine::EngineOptions> options = OptionsOf(first.value());
  if (!options.ok()) return Fail(options.status());

  AgainJob job(home.value(), first.value());
  if (Status written = job.Write(options.value(), arguments); !written.ok()) return Fail(written);
  const std::string counts = Describe(job.counts(), arguments.choice);
  Note("the job " + ModFiles::ToUtf8(folder.filename()) + ": " + StatusText(status.value()));
  if (job.counts().people == 0) {
    Note("there is nobody to send to again: " + counts);
    if (globals.json) PrintJson({{"job", nullptr}, {"people", 0}});
    return 0;
  }
  Note("its message goes again to " + counts);
  Result<std::vector<std::string>> kept = ModSendJob::KeptEngineOptions(folder);
  if (!kept.ok()) return Fail(kept.status());
  globals.engine_options.insert(globals.engine_options.begin(), kept->begin(), kept->end());
  Status prepared = ModSendJob::KeepEngineOptions(job.file().parent_path(), globals.engine_options);
  if (prepared.ok()) prepared = RefreshPasswords(home.value(), job.file(), first.value());
  if (!prepared.ok()) return Fail(prepared);
  Result<engine::JobOutlook> outlook = LookAtJob(globals, job.file(), arguments.wait);
  if (!outlook.ok()) return Fail(outlook.status());
  if (!arguments.no_start && AsksFirst(globals.rules) &&
      !MaySend(globals.rules, outlook.value(), job.distribution())) {
    return Fail(Status(Code::kCancelled, "nothing was sent"));
  }
  // Some may have been handed over when it fails.
  job.Keep();
  const Status handed =
      HandOver(options.value(), arguments.choice, job.session(), std::move(lock).value());
  if (!handed.ok()) {
    return Fail(Status(handed.code(), handed.text() +
                                          "; nothing was sent. Mend that and go on "
                                          "with: " +
                                          engine::RunCommand(job.file())));
  }
  if (Status marked = MarkBegun(job.file()); !marked.ok()) return Fail(marked);
  const std::string path = ModSession::ForwardSlashes(ModFiles::FullPath(job.file()));
  if (!arguments.wait) {
    if (globals.json) {
      PrintJson({{"job", path}, {"session", job.session()}, {"people", job.counts().people}});
    } else {
      std::cout << path << std::endl;
    }
  }
  if (arguments.no_start) return 0;
  return StartEngine(globals, home.value(), job.file(),
                     arguments.wait ? RunIn::kForeground : RunIn::kBackground);
}

}  // namespace vespro::cli
