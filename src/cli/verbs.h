// cli/verbs.h - how a verb is declared and run.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "terminal/console.h"

namespace vespro::cli {

// What is before or after any verb.
struct Globals {
  std::string home;
  bool json = false;
  ConsoleRules rules;
  std::vector<std::string> engine_options;  // what is after "--"
};

// The chosen verb's work, run once the whole command line was understood; gives the exit code.
using Action = std::function<int()>;

// The exit code for a failure, as in sysexits.h.
int ExitCode(Code code);
// The failure in one line on standard error; gives its exit code.
int Fail(const Status& status);
// Data on standard output. Bytes that are no UTF-8 become U+FFFD.
void PrintJson(const nlohmann::json& data);
// The same, its names in their order, as text; on one line where `indent` is -1.
std::string JsonText(const nlohmann::ordered_json& data, int indent = 2);
// A command to be copied, for the same home.
std::string CommandFor(const Globals& globals, std::vector<std::string> words);
// Puts "SERVER=COMMAND" for what `--password-command` takes, since a password may be in it.
// Whether there was any.
bool HidePasswordCommands(std::vector<std::string>& words);
// A remark on standard error.
void Note(std::string_view text);

void AddSendVerbs(CLI::App& app, Globals& globals, Action& action);
void AddJobVerbs(CLI::App& app, Globals& globals, Action& action);
void AddListVerbs(CLI::App& app, Globals& globals, Action& action);
void AddAccountVerbs(CLI::App& app, Globals& globals, Action& action);
void AddLimitVerbs(CLI::App& app, Globals& globals, Action& action);
void AddSettingsVerbs(CLI::App& app, Globals& globals, Action& action);
void AddMergeVerbs(CLI::App& app, Globals& globals, Action& action);
void AddReportVerbs(CLI::App& app, Globals& globals, Action& action);
// After AddReportVerbs.
void AddReportPageVerbs(CLI::App& app, Globals& globals, Action& action);
void AddSupportVerbs(CLI::App& app, Globals& globals, Action& action);
void AddCatchVerb(CLI::App& app, Globals& globals, Action& action);

}  // namespace vespro::cli
