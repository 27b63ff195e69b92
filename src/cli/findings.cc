#include "cli/findings.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/random.h"
#include "base/text.h"
#include "cli/long_work.h"
#include "cli/start_job.h"
#include "engine/job.h"
#include "settings/account_file.h"

namespace vespro::cli {
namespace {

using lint::Finding;
using lint::Severity;

nlohmann::ordered_json JsonOf(const Finding& finding) {
  nlohmann::ordered_json data;
  data["severity"] = lint::SeverityName(finding.severity);
  data["id"] = finding.id;
  if (!finding.subject.empty()) data["subject"] = finding.subject;
  data["text"] = finding.text;
  if (!finding.option.empty()) data["option"] = finding.option;
  if (finding.rows.count == 0) return data;
  data["count"] = finding.rows.count;
  data["lines"] = nlohmann::ordered_json::array();
  for (const auto& row : finding.rows.first) data["lines"].push_back(row.line);
  return data;
}

std::string Line(const Finding& finding) {
  return std::string(lint::SeverityName(finding.severity)) + ": " + finding.text + " [" +
         std::string(finding.id) + "]";
}

std::string Count(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Result<lint::Report> LintMail(const Globals& globals, lint::Mail mail) {
  Result<engine::UnsubscribeOptions> unsubscribe = UnsubscribeOf(globals);
  if (!unsubscribe.ok()) return unsubscribe.status();
  mail.unsubscribe = std::move(unsubscribe).value();
  SystemRandomness randomness;
  LongWork work;
  return lint::Check(mail, randomness, work.on_line());
}

Result<lint::Report> LintJob(const Globals& globals, const std::filesystem::path& job_file) {
  Result<engine::Job> job = engine::ReadJob(job_file);
  if (!job.ok()) return job.status();
  lint::Mail mail{job->message_file, job->bcc_mode, job->list};
  for (const engine::Account& account : job->accounts) {
    mail.accounts.push_back({account.server, account.login});
  }
  return LintMail(globals, std::move(mail));
}

std::vector<lint::Account> AccountsFor(const Home& home, const std::vector<std::string>& servers) {
  std::vector<lint::Account> accounts;
  Result<std::vector<AccountEntry>> entries = ReadAccountFile(home.AccountFile());
  if (!entries.ok()) return accounts;  // a send says why
  for (const AccountEntry& entry : entries.value()) {
    const bool wanted =
        servers.empty() || std::any_of(servers.begin(), servers.end(), [&](const std::string& one) {
          return ModText::EqualsIgnoringAsciiCase(one, entry.server) ||
                 ModText::EqualsIgnoringAsciiCase(one, entry.server + ":" + entry.port);
        });
    if (wanted) accounts.push_back({entry.server, entry.login});
  }
  return accounts;
}

int PrintReport(const Globals& globals, const lint::Report& report, const Distribution& list) {
  const std::size_t errors = report.Count(Severity::kError);
  const std::size_t warnings = report.Count(Severity::kWarning);
  const int code = errors > 0 ? ExitCode(Code::kBadInput) : 0;
  if (globals.json) {
    nlohmann::ordered_json data;
    data["errors"] = errors;
    data["warnings"] = warnings;
    data["findings"] = nlohmann::ordered_json::array();
    for (const Finding& finding : report.findings) data["findings"].push_back(JsonOf(finding));
    data["subject"] = report.subject;
    data["from"] = report.from;
    data["list"] = list.path;
    data["people"] = report.people;
    data["message_bytes"] = report.message_bytes;
    std::cout << JsonText(data) << "\n";
    return code;
  }
  for (const Finding& finding : report.findings) {
    const std::string line = Line(finding);
    std::cout << ModText::Printable(line, line.size()) << "\n";
  }
  const std::string mail =
      "'" + ModText::Printable(report.subject) + "' from " + ModText::Printable(report.from) +
      " to " + (report.people == 1 ? "1 person" : std::to_string(report.people) + " people") +
      " of " + ModText::Printable(list.path, list.path.size());
  std::cout << Count(errors, "error") << ", " << Count(warnings, "warning") << "; would send "
            << mail << "\n";
  return code;
}

std::optional<int> StopForFindings(const Globals& globals, const lint::Report& report,
                                   const FindingRules& rules) {
  std::size_t warnings = 0;
  std::set<std::string> options;
  bool is_hopeless = false, has_errors = false;
  for (const Finding& finding : report.findings) {
    const bool is_error = finding.severity == Severity::kError;
    if (finding.severity == Severity::kNote ||
        (is_error && rules.allowed.contains(finding.option))) {
      continue;
    }
    Note(Line(finding));
    if (!is_error) {
      ++warnings;
      continue;
    }
    has_errors = true;
    is_hopeless = is_hopeless || finding.option.empty();
    options.insert(finding.option);
  }
  if (rules.is_dry_run) return std::nullopt;
  if (has_errors) {
    std::string names;
    for (const std::string& option : options) names += " " + option;
    return Fail(Status(Code::kBadInput,
                       "nothing was sent: correct the mail or the list" +
                           (is_hopeless ? std::string() : "; or send it as it is with" + names)));
  }
  // Where a person is asked before it is sent, they have read the warnings by then.
  const bool is_told_not_to_ask = globals.rules.no_input && !globals.rules.assume_yes;
  if (warnings == 0 || !rules.sends || !is_told_not_to_ask) return std::nullopt;
  return Fail(Status(Code::kBadInput, "nothing was sent, for " + Count(warnings, "warning") +
                                          "; --yes sends it all the same"));
}

}  // namespace vespro::cli
