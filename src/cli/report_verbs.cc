// The verbs that show reports on the terminal.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/text.h"
#include "cli/send_again.h"
#include "cli/verbs.h"
#include "engine/go_on_file.h"
#include "engine/report_html.h"
#include "engine/report_reader.h"
#include "engine/report_rows.h"
#include "reports/report_index.h"
#include "send/session.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::CountsText;
using engine::ReportHead;
using engine::ReportReader;
using engine::ReportRow;
using engine::State;
using engine::StateName;
using engine::ModReportRows::kProblemsFirst;

constexpr char kFailedList[] = "failed.csv";

std::string Shown(std::string_view text) { return ModText::Printable(text, text.size()); }

using ModText::CountCharacters;

// In characters, not bytes, so that columns stay straight.
std::string Padded(std::string text, std::size_t width) {
  const std::size_t now = CountCharacters(text);
  return now < width ? text.append(width - now, ' ') : text;
}

struct KnownReport {
  fs::path folder;
  ReportHead head;

  std::string Session() const { return ModFiles::ToUtf8(folder.filename()); }
  std::string File(const char* name) const { return ModFiles::ToUtf8(folder / name); }
  bool HasFailed() const { return ModFiles::IsFile(folder / kFailedList); }
  bool IsFinished() const { return head.result == engine::kResultFinished; }
  std::string Counts() const {
    return CountsText(head.by_state) + (IsFinished() ? "" : "; not finished");
  }
};

// All that can be read, the newest first.
std::vector<KnownReport> KnownReports(const Home& home) {
  std::vector<KnownReport> reports;
  for (const fs::path& folder :
       ModReportIndex::ReportFolders(ModSession::SessionsFolder(home.data_folder))) {
    Result<ReportReader> reader = ReportReader::Open(folder / ModReportIndex::kTextReport);
    if (!reader.ok()) {
      Note(reader.status().text());
      continue;
    }
    reports.push_back({folder, reader->head()});
  }
  std::sort(reports.begin(), reports.end(), [](const KnownReport& a, const KnownReport& b) {
    return std::pair(a.head.started_at, a.folder) > std::pair(b.head.started_at, b.folder);
  });
  return reports;
}

Status NoReports() { return Status(Code::kNotFound, "No reports available"); }

// By its session's name, by its folder, or by any file in that; the newest one without a name.
Result<KnownReport> FindReport(const Globals& globals, const Home& home, const std::string& name) {
  if (name.empty()) {
    const std::vector<KnownReport> reports = KnownReports(home);
    return reports.empty() ? Result<KnownReport>(NoReports()) : reports.front();
  }
  const fs::path given = ModFiles::FromUtf8(name);
  fs::path folder = ModSession::SessionsFolder(home.data_folder) / given;
  if (!ModFiles::IsFolder(folder)) folder = ModFiles::FullPath(given);
  if (ModFiles::IsFile(folder)) folder = folder.parent_path();
  Result<ReportReader> reader = ReportReader::Open(folder / ModReportIndex::kTextReport);
  if (reader.ok()) return KnownReport{folder, reader->head()};
  if (reader.status().code() != Code::kNotFound) return reader.status();
  return Status(Code::kNotFound, "there is no report of '" + Shown(name) + "'; " +
                                     CommandFor(globals, {"reports", "list"}) +
                                     " names those there are");
}

nlohmann::ordered_json ToJson(const KnownReport& report) {
  nlohmann::ordered_json row;
  row["session"] = report.Session();
  row["title"] = report.head.subject;
  row["from"] = report.head.from;
  row["list"] = report.head.list;
  row["started"] = report.head.started;
  row["ended"] = report.head.ended;
  row["result"] = report.head.result;
  row["finished"] = report.IsFinished();
  const bool can_go_on = engine::ModGoOnFile::IsThere(report.folder);
  row["go_on"] =
      can_go_on
          ? nlohmann::ordered_json(ModFiles::ToUtf8(engine::ModGoOnFile::PathIn(report.folder)))
          : nullptr;
  row["recipients"] = report.head.Total();
  for (const State state : engine::kStateOrder) {
    row[std::string(StateName(state))] = report.head.Of(state);
  }
  row["not_reached"] = report.head.Of(State::kNotReached);
  row["report"] = report.File(ModReportIndex::kHtmlReport);
  row["text_report"] = report.File(ModReportIndex::kTextReport);
  row["failed_list"] =
      report.HasFailed() ? nlohmann::ordered_json(report.File(kFailedList)) : nullptr;
  return row;
}

int ListReports(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const std::vector<KnownReport> reports = KnownReports(home.value());
  if (globals.json) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const KnownReport& report : reports) rows.push_back(ToJson(report));
    std::cout << JsonText(rows) << "\n";
    return 0;
  }
  constexpr std::size_t kMinutes = 16;  // "2026-11-24 20:15"
  std::size_t session = 0, counts = 0;
  for (const KnownReport& report : reports) {
    session = std::max(session, CountCharacters(report.Session()));
    counts = std::max(counts, report.Counts().size());
  }
  for (const KnownReport& report : reports) {
    std::cout << Padded(report.head.started.substr(0, kMinutes), kMinutes) << "  "
              << Padded(Shown(report.Session()), session) << "  " << Padded(report.Counts(), counts)
              << "  " << report.head.subject << "\n";
  }
  if (reports.empty()) Note(NoReports().text());
  return 0;
}

struct ShowArguments {
  std::string session;
  std::vector<std::string> states;

  bool Wants(State state) const {
    return states.empty() ||
           std::find(states.begin(), states.end(), StateName(state)) != states.end();
  }
};

// Calls `take` for the recipients of a report, at most `at_most` times. Reads the file anew.
template <class Take>
Status ForRows(const KnownReport& report, std::uint64_t at_most, const Take& take) {
  Result<ReportReader> reader = ReportReader::Open(report.folder / ModReportIndex::kTextReport);
  if (!reader.ok()) return reader.status();
  std::uint64_t taken = 0;
  for (ReportRow row; taken < at_most && reader->Next(row);) {
    if (take(row)) ++taken;
  }
  return reader->status();
}

// Everybody, in the file's order, as a stream: a report may be longer than the memory.
int ShowAsJson(const KnownReport& report, const ShowArguments& arguments) {
  std::string head = JsonText(ToJson(report));
  head.resize(head.rfind("\n}"));
  std::cout << head << ",\n  \"rows\": [";
  const char* before = "\n    ";
  const Status read = ForRows(report, UINT64_MAX, [&](const ReportRow& row) {
    if (!arguments.Wants(row.state)) return false;
    std::uint64_t attempts = 0;
    static_cast<void>(ModText::ParseUnsigned(row.attempts, 1'000'000, &attempts));
    nlohmann::ordered_json data;
    data["address"] = row.address;
    data["state"] = StateName(row.state);
    data["attempts"] = attempts;
    data["server"] = row.server;
    data["reply"] = row.reply;
    std::cout << before << JsonText(data, -1);
    before = ",\n    ";
    return true;
  });
  std::cout << "\n  ]\n}\n";
  return read.ok() ? 0 : Fail(read);
}

struct Columns {
  std::size_t address = 7, state = 7, server = 6;  // as wide as their headings, or "refused"

  void Fit(const ReportRow& row) {
    constexpr std::size_t kWidest = 44;  // longer ones push the rest of their line
    address = std::max(address, std::min(CountCharacters(row.address), kWidest));
    state = std::max(state, StateName(row.state).size());
    server = std::max(server, std::min(CountCharacters(row.server), kWidest));
  }
  void Print(std::string_view who, std::string_view what, std::string_view attempts,
             std::string_view where, std::string_view reply) const {
    std::cout << Padded(Shown(who), address) << "  " << Padded(std::string(what), state) << "  "
              << Padded(Shown(attempts), 8) << "  " << Padded(Shown(where), server) << "  "
              << Shown(reply) << "\n";
  }
};

void PrintHead(const KnownReport& report) {
  const ReportHead& head = report.head;
  const auto line = [](std::string_view name, std::string_view value) {
    std::cout << Padded(std::string(name) + ":", 15) << value << "\n";
  };
  line("Subject", head.subject);
  line("From", head.from);
  line("List", head.list);
  line("Started", head.started);
  line("Ended", head.ended);
  line("Result", head.result);
  for (const auto& [name, value] : head.accounts) line(name, value);
  line("Recipients", std::to_string(head.Total()) + ": " + CountsText(head.by_state));
  line("Page", Shown(report.File(ModReportIndex::kHtmlReport)));
  line("Text", Shown(report.File(ModReportIndex::kTextReport)));
  if (report.HasFailed()) line("To correct", Shown(report.File(kFailedList)));
}

// All problems, and of the others as many as the pages show, state by state.
int ShowAsTable(const KnownReport& report, const ShowArguments& arguments) {
  const auto limit = [](State state) {
    const bool is_problem =
        state != State::kSent && state != State::kSkipped && state != State::kNotReached;
    return is_problem ? UINT64_MAX : engine::kMaxOthers;
  };
  const auto rows = [&](State state, const auto& take) {
    if (report.head.Of(state) == 0 || !arguments.Wants(state)) return Status();
    return ForRows(report, limit(state), [&](const ReportRow& row) {
      if (row.state != state) return false;
      take(row);
      return true;
    });
  };
  Columns columns;
  for (const State state : kProblemsFirst) {
    Status read = rows(state, [&](const ReportRow& row) { columns.Fit(row); });
    if (!read.ok()) return Fail(read);
  }
  PrintHead(report);
  std::cout << "\n";
  columns.Print("ADDRESS", "STATE", "ATTEMPTS", "SERVER", "REPLY");
  for (const State state : kProblemsFirst) {
    Status read = rows(state, [&](const ReportRow& row) {
      columns.Print(row.address, StateName(row.state), row.attempts, row.server, row.reply);
    });
    if (!read.ok()) return Fail(read);
    if (arguments.Wants(state) && report.head.Of(state) > limit(state)) {
      std::cout << "... and " << report.head.Of(state) - limit(state) << " more "
                << StateName(state) << ": " << Shown(report.File(ModReportIndex::kTextReport))
                << "\n";
    }
  }
  return 0;
}

int ShowReport(const Globals& globals, const ShowArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<KnownReport> report = FindReport(globals, home.value(), arguments.session);
  if (!report.ok()) return Fail(report.status());
  return globals.json ? ShowAsJson(report.value(), arguments)
                      : ShowAsTable(report.value(), arguments);
}

int ShowFailed(const Globals& globals, const std::string& session) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<KnownReport> report = FindReport(globals, home.value(), session);
  if (!report.ok()) return Fail(report.status());
  if (!report->HasFailed()) {
    if (globals.json) PrintJson({{"failed_list", nullptr}, {"command", nullptr}});
    Note("there is nobody to send to again");
    return 0;
  }
  Result<std::vector<std::string>> words =
      SendAgainArguments(report->folder, report->folder / kFailedList);
  if (!words.ok()) return Fail(words.status());
  if (HidePasswordCommands(words.value())) {
    Note("SERVER=COMMAND stands for the password command that the job was begun with");
  }
  const std::string command = CommandFor(globals, words.value());
  const std::string path = report->File(kFailedList);
  if (globals.json) {
    PrintJson({{"failed_list", path}, {"command", command}});
  } else {
    std::cout << path << "\n" << command << "\n";
  }
  if (!report->IsFinished()) {
    Note("this job was not finished (" + report->head.result +
         "); first go on with: " + CommandFor(globals, {"run", report->Session()}));
  }
  return 0;
}

}  // namespace

void AddReportVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* reports = app.add_subcommand("reports", "The delivery reports of earlier jobs");
  CLI::App* list = reports->add_subcommand("list", "List them by date, the newest first");
  list->footer("Example: vespro reports list");
  list->callback([&] { action = [&globals] { return ListReports(globals); }; });

  auto arguments = std::make_shared<ShowArguments>();
  CLI::App* show = reports->add_subcommand("show", "Show what became of whom, problems first");
  show->add_option("SESSION", arguments->session, "The session's name or folder; the newest");
  show->add_option("--state", arguments->states, "Only recipients of this state; may be repeated")
      ->check(CLI::IsMember({"sent", "refused", "failed", "skipped", "unknown", "not reached"}))
      ->allow_extra_args(false);
  show->footer(
      "With --json everybody, in the order in which they were settled.\n"
      "Example: vespro reports show --state refused");
  show->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return ShowReport(globals, *arguments); };
  });

  CLI::App* failed = reports->add_subcommand(
      "failed", "Print where those stand who were not reached, and the command that sends to them");
  failed->add_option("SESSION", arguments->session, "The session's name or folder")->required();
  failed->footer(
      "Correct the addresses in that file first; what is right already stays as it is.\n"
      "Example: vespro reports failed 2411262015001");
  failed->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return ShowFailed(globals, arguments->session); };
  });
}

}  // namespace vespro::cli
