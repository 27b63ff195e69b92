// cli/findings.h - what lint finds in a mail, as a person or a script reads it.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "base/status.h"
#include "cli/verbs.h"
#include "lint/lint.h"
#include "terminal/home.h"

namespace vespro::cli {

// Looks at a mail; its list may be long, so a person sees how far that is and can stop it. Of the
// engine's options those count that change the mail.
Result<lint::Report> LintMail(const Globals& globals, lint::Mail mail);
// The same for a job.
Result<lint::Report> LintJob(const Globals& globals, const std::filesystem::path& job_file);
// The accounts that a mail would go through: all, or those on these servers.
std::vector<lint::Account> AccountsFor(const Home& home, const std::vector<std::string>& servers);

// Everything on standard output, with a summary. Gives the exit code.
int PrintReport(const Globals& globals, const lint::Report& report, const Distribution& list);

struct FindingRules {
  std::set<std::string> allowed;  // options by which the user lets errors be
  bool sends = false;             // something is going to be sent
  bool is_dry_run = false;        // nothing is, and nothing is stopped
};
// Before a job is sent: shows its warnings and errors. The exit code where it must not be.
std::optional<int> StopForFindings(const Globals& globals, const lint::Report& report,
                                   const FindingRules& rules);

}  // namespace vespro::cli
