#include "cli/start_job.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <set>
#include <thread>

#include "base/clock.h"
#include "base/command_line.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/random.h"
#include "base/text.h"
#include "cli/job_verbs.h"
#include "engine/job.h"
#include "engine/options.h"
#include "merge/custom_words.h"
#include "mime/reader.h"
#include "send/session.h"
#include "settings/settings.h"
#include "terminal/process.h"
#include "terminal/send_job.h"
#include "terminal/terminal_host.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::JobStatus;
using engine::State;

constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kPause{50};
constexpr char kLogFile[] = "engine.log";
constexpr char kSendLock[] = "send.lock";  // of a home
constexpr std::size_t kMaxLogLines = 3, kMaxLogBytes = 4096;

engine::ParsedOptions Parse(const Globals& globals, const std::string& job_file) {
  std::vector<std::string> arguments = {"-s", job_file};
  arguments.insert(arguments.end(), globals.engine_options.begin(), globals.engine_options.end());
  return engine::ParseOptions(std::move(arguments));
}

// A line of the engine's, in our name.
void NoteOfEngine(std::string_view line) {
  constexpr std::string_view kEngine = "vespro-engine: ";
  if (line.starts_with(kEngine)) line.remove_prefix(kEngine.size());
  while (line.ends_with('\n')) line.remove_suffix(1);
  Note(line);
}

class NoteSink final : public ByteSink {
 public:
  explicit NoteSink(bool silent) : silent_(silent) {}
  Status Write(std::string_view line) override {
    if (!silent_) NoteOfEngine(line);
    return {};
  }

 private:
  bool silent_;
};

std::string Count(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Size(std::uint64_t bytes) {
  std::array<char, 32> text{};
  const double kib = static_cast<double>(bytes) / 1024;
  std::snprintf(text.data(), text.size(), kib < 1024 ? "%.1f KB" : "%.1f MB",
                kib < 1024 ? kib : kib / 1024);
  return text.data();
}

bool Ask(const ConsoleRules& rules, std::string_view question) {
  TerminalHost terminal(rules, nullptr, EditorType::kPlainText);
  return terminal.MsgBox(question, MessageIcon::kQuestion, MessageButtons::kYesNo, "vespro") ==
         MessageAnswer::kYes;
}

bool SameMail(const engine::Job& a, const engine::Job& b) {
  // All boundaries are of one length. A home may have hundreds of large messages.
  std::error_code error;
  const std::uintmax_t size = fs::file_size(a.message_file, error);
  if (error || fs::file_size(b.message_file, error) != size || error) return false;
  Result<std::string> first = ModFiles::ReadAll(a.message_file);
  Result<std::string> second = ModFiles::ReadAll(b.message_file);
  if (!first.ok() || !second.ok() || !SameButForBoundaries(first.value(), second.value())) {
    return false;
  }
  const auto words = ModMailMerge::LoadCustomWords(a.message_file.parent_path());
  const auto others = ModMailMerge::LoadCustomWords(b.message_file.parent_path());
  return words.ok() && others.ok() && words.value() == others.value();
}

// A list that was moved or copied since is the same one.
bool SameList(const Distribution& list, const Distribution& other, const fs::path& other_session) {
  if (list.kind != other.kind || list.column != other.column) return false;
  if (ModFiles::FromUtf8(list.path) == ModFiles::FromUtf8(other.path)) return true;
  const std::optional<engine::ListIdentity> last = engine::LastListOf(other_session);
  if (!last.has_value()) return false;
  const Result<engine::ListIdentity> now = engine::IdentifyList(ModFiles::FromUtf8(list.path));
  return now.ok() && now.value().Matches(*last);
}

// "server:port, server:port", in the order of the alphabet.
std::string Servers(const engine::Job& job) {
  std::set<std::string> names;
  for (const engine::Account& account : job.accounts) {
    names.insert(ModText::LowerAscii(account.server) + ":" + std::to_string(account.port));
  }
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// The last lines of what the engine has said.
std::vector<std::string> LogEnd(const fs::path& folder) {
  std::vector<std::string> lines;
  Result<std::string> text = ModFiles::ReadAll(folder / kLogFile);
  if (!text.ok()) return lines;
  std::string_view rest = text.value();
  if (rest.size() > kMaxLogBytes) rest.remove_prefix(rest.size() - kMaxLogBytes);
  for (std::string_view line; NextLine(rest, line);) {
    if (!ModText::Trim(line).empty()) lines.emplace_back(line);
  }
  if (lines.size() > kMaxLogLines) lines.erase(lines.begin(), lines.end() - kMaxLogLines);
  return lines;
}

// What became of the engine in its first seconds: the exit code for ours. `before`: the last run
// when it was started.
int WaitForNews(const Globals& globals, const fs::path& folder, const engine::LastRun& before,
                ModProcess::Detached& engine) {
  const std::string watch =
      ModCommandLine::VesproCommand({"status", ModFiles::ToUtf8(ModFiles::FullPath(folder))});
  const auto until = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < until) {
    // In this order: what it did before it ended is there when it has ended.
    const std::optional<int> ended = engine.ExitCode();
    if (ended.has_value()) {
      for (const std::string& line : LogEnd(folder)) NoteOfEngine(line);
      return *ended;
    }
    if (const engine::LastRun run = engine::ReadLastRun(folder); run.sent && !run.IsSame(before)) {
      if (!globals.json) {
        Note("sending: the first message was accepted. How far it is: " + watch);
        Note("the report will be " + ModFiles::ToUtf8(folder / "report.html"));
      }
      return 0;
    }
    std::this_thread::sleep_for(kPause);
  }
  for (const std::string& line : LogEnd(folder)) NoteOfEngine(line);
  Note("no message was accepted in the first " + std::to_string(kPatience.count()) +
       " seconds; the engine goes on trying. How far it is: " + watch);
  return 0;
}

}  // namespace

std::optional<int> CheckEngineOptions(const Globals& globals) {
  const engine::ParsedOptions parsed = Parse(globals, "job");
  if (!parsed.exit.has_value()) return std::nullopt;
  (*parsed.exit == 0 ? std::cout : std::cerr) << parsed.text;
  return parsed.exit;
}

bool IsDryRun(const Globals& globals) { return !Parse(globals, "job").options.dry_run.empty(); }

Result<engine::UnsubscribeOptions> UnsubscribeOf(const Globals& globals) {
  const engine::EngineOptions options = Parse(globals, "job").options;
  return engine::LoadKey(options.unsubscribe, options.unsubscribe_key);
}

Result<engine::JobOutlook> LookAtJob(const Globals& globals, const fs::path& job_file,
                                     bool engine_is_seen) {
  const engine::ParsedOptions parsed = Parse(globals, ModFiles::ToUtf8(job_file));
  SystemClock clock;
  SystemRandomness randomness;
  NoteSink notes(engine_is_seen);
  engine::EngineEnvironment world{clock, randomness, notes, notes, false, {}};
  return engine::LookAtJob(parsed.options, world);
}

Status HandOver(engine::EngineOptions first, engine::AgainChoice choice, const std::string& session,
                engine::SessionLock lock) {
  first.quiet = true;
  SystemClock clock;
  SystemRandomness randomness;
  NoteSink notes(false);
  engine::EngineEnvironment world{clock, randomness, notes, notes, false, {}};
  world.lock.emplace(std::move(lock));
  return engine::HandOver(first, choice, "handed over to the job " + session, world);
}

Result<std::optional<UnfinishedJob>> FindUnfinished(const Home& home, const fs::path& job_file) {
  Result<engine::Job> wanted = engine::ReadJob(job_file);
  if (!wanted.ok()) return wanted.status();
  for (const fs::path& other : Jobs(home)) {
    if (other.parent_path() == job_file.parent_path() || !WasBegun(other)) continue;
    // A job that can't be read can't be gone on with either.
    const Result<engine::Job> job = engine::ReadJob(other);
    if (!job.ok() || (job->bcc_mode > 0) != (wanted->bcc_mode > 0) ||
        !SameMail(wanted.value(), job.value()) ||
        !SameList(wanted->list, job->list, other.parent_path())) {
      continue;
    }
    Result<JobStatus> status = StatusOf(other);
    if (!status.ok()) {
      // Nobody knows who of them has the mail already.
      return Status(
          status.status().code(),
          "a job of this mail and this list was begun, and how far it is can't be read: " +
              status.status().text() + ". Its folder is '" +
              ModFiles::ToUtf8(ModFiles::FullPath(other).parent_path()) +
              "'. Nothing was sent; to mail everybody anew: the same command with "
              "--anew");
    }
    if (status->phase == JobStatus::Phase::kFinished) continue;
    UnfinishedJob found;
    found.job_file = other;
    found.status = std::move(status).value();
    found.servers = Servers(job.value());
    found.same_servers = found.servers == Servers(wanted.value());
    if (ModFiles::FromUtf8(job->list.path) != ModFiles::FromUtf8(wanted->list.path)) {
      found.other_list = job->list.path;
      found.list_is_gone = !found.status.left.has_value();
    }
    return std::optional<UnfinishedJob>(std::move(found));
  }
  return std::optional<UnfinishedJob>();
}

Result<std::optional<UnfinishedJob>> BeginUnlessUnfinished(const Home& home,
                                                           const fs::path& job_file) {
  const Result<FileLock> lock =
      FileLock::Take(home.data_folder / kSendLock, FileLock::Wait::kUntilFree);
  if (!lock.ok()) return lock.status();
  Result<std::optional<UnfinishedJob>> found = FindUnfinished(home, job_file);
  if (!found.ok() || found.value().has_value()) return found;
  if (Status marked = MarkBegun(job_file); !marked.ok()) return marked;
  return found;
}

namespace {

// "a job of this mail and this list was begun and is not finished: 812 left, 188 sent".
std::string Describe(const UnfinishedJob& job) {
  std::string text =
      "a job of this mail and this list was begun and is not finished: " + StatusText(job.status);
  if (job.list_is_gone) {
    text += "; its list was '" + job.other_list + "', so put it back there to go on";
  } else if (!job.other_list.empty()) {
    text += "; its list is '" + job.other_list + "', which has the same rows";
  }
  if (!job.same_servers) {
    text += "; it does not go through the servers that are chosen now, but through " + job.servers;
  }
  return text;
}

// `go_on` is what the first of the two commands is for.
std::string HowTo(const UnfinishedJob& job, const char* go_on) {
  return std::string(go_on) + ": " + engine::RunCommand(job.job_file) +
         "; or mail everybody anew: the same command with --anew";
}

}  // namespace

int RefuseFor(const UnfinishedJob& job) {
  return Fail(Status(Code::kResumable,
                     Describe(job) + ". Nothing was sent. " + HowTo(job, "Go on with it")));
}

int GoOnWith(const Globals& globals, const Home& home, const UnfinishedJob& job, bool wait) {
  const JobStatus& status = job.status;
  const std::string folder = ModFiles::ToUtf8(ModFiles::FullPath(job.job_file).parent_path());
  if (status.phase == JobStatus::Phase::kRunning) {
    return Fail(Status(Code::kResumable,
                       "this mail is being sent to this list already; nothing new was begun. How "
                       "far it is: " +
                           ModCommandLine::VesproCommand({"status", folder})));
  }
  ConsoleRules rules = globals.rules;
  // One of the two may be a rehearsal: only a person can tell what is meant.
  rules.assume_yes = rules.assume_yes && job.same_servers;
  const bool can_ask = ModConsole::CanAsk() && !rules.no_input;
  if (job.list_is_gone || (!rules.assume_yes && !can_ask)) return RefuseFor(job);
  if (!Ask(rules, Describe(job) + ".\nGo on with it?")) {
    return Fail(Status(Code::kResumable, "nothing was sent. " + HowTo(job, "Go on with it later")));
  }
  return ResumeJob(globals, home, job.job_file, wait ? RunIn::kForeground : RunIn::kBackground);
}

bool AsksFirst(const ConsoleRules& rules) {
  return !rules.assume_yes && !rules.no_input && ModConsole::CanAsk();
}

bool MaySend(const ConsoleRules& rules, const engine::JobOutlook& outlook,
             const Distribution& distribution) {
  const auto line = [](const char* name, const std::string& text) {
    std::cerr << "  " << name << ModText::Printable(text, text.size()) << "\n";
  };
  std::string servers;
  for (const std::string& server : outlook.servers) {
    servers += (servers.empty() ? "" : ", ") + server;
  }
  const std::string column = distribution.kind == ListKind::kCsv
                                 ? ", column " + std::to_string(distribution.column + 1)
                                 : "";
  std::cerr << "\n";
  line("subject   ", outlook.subject);
  line("from      ", outlook.from);
  line("to        ",
       Count(outlook.people, "person of ", "people of ") + distribution.path + column);
  if (outlook.unusable > 0) {
    line("left out  ", Count(outlook.unusable, "row", "rows") + " without a usable address");
  }
  if (outlook.left_out > 0) {
    line("left out  ", Count(outlook.left_out, "duplicate or suppressed address",
                             "duplicates and suppressed addresses"));
  }
  line("message   ", (outlook.people_per_message > 1 ? "one copy to many, " : "a copy each, ") +
                         Size(outlook.message_bytes));
  line("through   ",
       servers + ", " + Count(outlook.connections, "connection", "connections") + " at once");
  return Ask(rules, "Send it?");
}

int TestAccounts(const Globals& globals, const Home& home, const std::string& from,
                 std::vector<std::string> options) {
  Settings settings(*home.backend);
  const std::string sender = from.empty() ? settings.Read(setting::kSenderEmail) : from;
  if (sender.empty()) {
    return Fail(Status(Code::kConfig,
                       "the sender's address is required: give --from ADDRESS, or store it with " +
                           CommandFor(globals, {"settings", "set", "SenderEmail", "ADDRESS"})));
  }
  options.insert(options.begin(),
                 {"--check-accounts", ModFiles::ToUtf8(home.AccountFile()), "--from", sender});
  if (globals.json) options.push_back("--json");
  options.insert(options.end(), globals.engine_options.begin(), globals.engine_options.end());
  const AddIn add_in = InstalledAddIn(home);
  std::cout.flush();
  Result<int> code =
      ModProcess::Exec(add_in.install_folder / ModFiles::FromUtf8(add_in.engine_file), options);
  return code.ok() ? code.value() : Fail(code.status());
}

int StartJob(const Globals& globals, const fs::path& job_file, const CommandLine& engine,
             RunIn place) {
  std::vector<std::string> arguments = engine.arguments;
  arguments.insert(arguments.end(), globals.engine_options.begin(), globals.engine_options.end());
  const fs::path program = ModFiles::FromUtf8(engine.executable);
  if (place == RunIn::kWindow) {
    const Result<int> code = ModProcess::ExecInWindow(program, arguments);
    return code.ok() ? code.value() : Fail(code.status());
  }
  if (place == RunIn::kForeground) {
    if (globals.json) arguments.push_back("--json");
    std::cout.flush();
    Result<int> code = ModProcess::Exec(program, arguments);
    return code.ok() ? code.value() : Fail(code.status());
  }
  const fs::path folder = job_file.parent_path();
  const engine::LastRun before = engine::ReadLastRun(folder);
  Result<std::unique_ptr<ModProcess::Detached>> started =
      ModProcess::StartDetached(program, arguments, folder / kLogFile);
  if (!started.ok()) {
    Note("the job is written; start it with: " + engine::RunCommand(job_file));
    return Fail(started.status());
  }
  return WaitForNews(globals, folder, before, *started.value());
}

}  // namespace vespro::cli
