// The verbs that do what the mail client's menu of reports does.
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/text.h"
#include "cli/job_verbs.h"
#include "cli/verbs.h"
#include "engine/session_lock.h"
#include "reports/report_commands.h"
#include "reports/session_files.h"
#include "reports/show_page.h"
#include "terminal/home.h"
#include "terminal/terminal_host.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::JobStatus;

// The home, and the add-in as it is without a mail client.
class Place {
 public:
  Place(const Globals& globals, Home home)
      : home_(std::move(home)),
        host_(globals.rules, nullptr, EditorType::kPlainText),
        add_in_(InstalledAddIn(home_)) {
    add_in_.desktop = &host_;
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const Home& home() const { return home_; }
  AddIn& add_in() { return add_in_; }

 private:
  Home home_;
  TerminalHost host_;
  AddIn add_in_;
};

int View(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Place place(globals, std::move(home).value());
  const Result<fs::path> page = ModReports::MakeIndex(place.add_in());
  if (!page.ok()) {
    if (page.status().code() != Code::kNotFound) return Fail(page.status());
    Note(page.status().text());
    return 0;
  }
  const std::string path = ModFiles::ToUtf8(page.value());
  if (globals.json) {
    PrintJson({{"page", path}});
    return 0;
  }
  if (globals.rules.no_input) {
    std::cout << path << "\n";
    return 0;
  }
  const Status shown = ShowPage(place.add_in(), page.value());
  if (shown.ok()) return 0;
  std::cout << path << "\n";
  return Fail(shown);
}

struct FinishedSessions {
  std::vector<fs::path> folders;
  std::vector<std::string> others;  // why each of the others stays as it is
};

FinishedSessions FindFinished(const Home& home) {
  FinishedSessions sessions;
  for (const fs::path& job : Jobs(home)) {
    const fs::path folder = job.parent_path();
    const Result<JobStatus> status = StatusOf(job);
    if (status.ok() && status->phase == JobStatus::Phase::kFinished) {
      sessions.folders.push_back(folder);
      continue;
    }
    sessions.others.push_back(ModFiles::ToUtf8(folder) + ": " +
                              (status.ok() ? StatusText(status.value()) : status.status().text()));
  }
  return sessions;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return ModText::Printable(text, text.size());
}

int CleanSessions(const Globals& globals, const FinishedSessions& sessions) {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  int code = 0;
  for (const fs::path& folder : sessions.folders) {
    // Somebody may have run the job again while the question was on the screen.
    const Result<FileLock> lock =
        FileLock::Take(folder / engine::kJournalLock, FileLock::Wait::kNo);
    if (!lock.ok()) {
      code = Fail(lock.status());
      continue;
    }
    const Result<ModSessionFiles::Cleaned> cleaned = ModSessionFiles::RemoveResults(folder);
    if (!cleaned.ok()) {
      code = Fail(cleaned.status());
      continue;
    }
    const std::string path = ModFiles::ToUtf8(folder);
    rows.push_back({{"session", path}, {"removed", cleaned->removed}, {"left", cleaned->left}});
    if (globals.json) continue;
    std::cout << ModText::Printable(path, path.size()) << ": removed " << Joined(cleaned->removed)
              << "; left " << (cleaned->left.empty() ? "nothing" : Joined(cleaned->left)) << "\n";
  }
  if (globals.json) PrintJson(rows);
  for (const std::string& other : sessions.others) Note("not finished, and left: " + other);
  return code;
}

int PurgeVerb(const Globals& globals, bool all) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Place place(globals, std::move(home).value());
  FinishedSessions sessions;
  if (all) {
    sessions = FindFinished(place.home());
    Note("of " + std::to_string(sessions.folders.size()) +
         " finished sessions also the further pages, failed.csv, the journals and the jobs: nobody "
         "can be mailed again from these");
  }
  const Status purged = ModReports::Purge(place.add_in()).status;
  if (purged.code() == Code::kCancelled) return ExitCode(purged.code());
  const int code = all ? CleanSessions(globals, sessions) : 0;
  // The user has been told already. Without reports there is nothing to do, which is no failure.
  return purged.ok() || purged.code() == Code::kNotFound ? code : ExitCode(purged.code());
}

int PerPage(const Globals& globals, const std::string& number) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Settings settings(*home->backend);
  const Status stored = ModReports::SetPerPage(settings, number);
  return stored.ok() ? 0 : Fail(stored);
}

}  // namespace

void AddReportPageVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* reports = app.get_subcommand("reports");
  CLI::App* view = reports->add_subcommand(
      "view", "Write the page that leads to all reports, and open it in the browser");
  view->footer(
      "With --no-input the page's path is printed, and nothing is opened.\n"
      "Example: vespro reports view");
  view->callback([&globals, &action] { action = [&globals] { return View(globals); }; });

  auto all = std::make_shared<bool>(false);
  CLI::App* purge = reports->add_subcommand("purge", "Delete all report.html and report.txt");
  purge->add_flag("--all", *all,
                  "Also the further pages, failed.csv, journals and jobs of finished sessions");
  purge->footer("Asks first; --yes answers.\nExample: vespro reports purge --all --yes");
  purge->callback(
      [&globals, &action, all] { action = [&globals, all] { return PurgeVerb(globals, *all); }; });

  auto number = std::make_shared<std::string>();
  CLI::App* per_page =
      reports->add_subcommand("per-page", "Set how many recipients a report shows on a page");
  per_page->add_option("N", *number, "1 to 500; from the next job on")->required();
  per_page->footer("Example: vespro reports per-page 200");
  per_page->callback([&globals, &action, number] {
    action = [&globals, number] { return PerPage(globals, *number); };
  });
}

}  // namespace vespro::cli
