// The vespro command.
#include <algorithm>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/command_line.h"
#include "base/text.h"
#include "cli/verbs.h"

namespace vespro::cli {

int ExitCode(Code code) {
  switch (code) {
    case Code::kOk:
      return 0;
    case Code::kUsage:
      return 2;
    case Code::kBadInput:
      return 65;
    case Code::kNotFound:
      return 66;
    case Code::kCannotWrite:
      return 73;
    case Code::kLogin:
      return 77;
    case Code::kConfig:
      return 78;
    case Code::kCancelled:
      return 130;
    case Code::kResumable:
    case Code::kTimedOut:
    case Code::kUnavailable:
    case Code::kProtocol:
      return 75;
  }
  return 70;
}

int Fail(const Status& status) {
  Note(status.text());
  return ExitCode(status.code());
}

std::string CommandFor(const Globals& globals, std::vector<std::string> words) {
  if (!globals.home.empty()) words.insert(words.begin(), {"--home", globals.home});
  return ModCommandLine::VesproCommand(words);
}

void PrintJson(const nlohmann::json& data) {
  std::cout << data.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void Note(std::string_view text) {
  // Files and servers have odd names.
  std::cerr << "vespro: " << ModText::Printable(text, text.size()) << "\n";
}

namespace {

void AddAbout(CLI::App& app, Action& action) {
  CLI::App* about = app.add_subcommand("about", "Show the version");
  about->callback([&action] {
    action = [] {
      std::cout << "Vespro " VESPRO_VERSION
                   "\n"
                   "Sends one mail to many people who want it.\n";
      return 0;
    };
  });
}

int Run(std::vector<std::string> arguments) {
  Globals globals;
  // What stands behind "--" is for the engine and none of our business.
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  if (dashes != arguments.end()) {
    globals.engine_options.assign(dashes + 1, arguments.end());
    arguments.erase(dashes, arguments.end());
  }

  Action action;
  CLI::App app("Vespro sends one mail to many people: newsletters, invitations, notices.",
               "vespro");
  app.set_version_flag("--version", VESPRO_VERSION);
  app.add_option("--home", globals.home, "Keep settings and data below this folder (VESPRO_HOME)")
      ->type_name("DIR")
      ->check([](const std::string& folder) {
        return folder.empty() ? std::string("needs a folder's name") : std::string();
      });
  app.add_flag("--json", globals.json, "Print data as JSON");
  app.add_flag("--yes", globals.rules.assume_yes, "Answer questions with yes");
  app.add_flag("--no-input", globals.rules.no_input, "Never ask");
  app.fallthrough();
  AddSendVerbs(app, globals, action);
  AddJobVerbs(app, globals, action);
  AddListVerbs(app, globals, action);
  AddAccountVerbs(app, globals, action);
  AddSettingsVerbs(app, globals, action);
  AddReportVerbs(app, globals, action);
  AddCatchVerb(app, globals, action);
  AddAbout(app, action);

  // CLI11 takes its arguments last first, without the program's name.
  std::reverse(arguments.begin(), arguments.end());
  if (!arguments.empty()) arguments.pop_back();
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : ExitCode(Code::kUsage);
  }
  if (!action) {
    std::cerr << app.help();  // of a group, when its name stands alone
    return ExitCode(Code::kUsage);
  }
  const int code = action();
  // A full disk behind standard output shows here and nowhere else.
  if (!std::cout.flush() && code == 0) {
    return Fail(Status(Code::kCannotWrite, "cannot write to standard output"));
  }
  return code;
}

}  // namespace
}  // namespace vespro::cli

int main(int argc, char** argv) {
  try {
    return vespro::cli::Run(vespro::ModCommandLine::Begin(argc, argv));
  } catch (const std::exception& error) {
    // Out of memory, or a fault of ours: nothing below throws on purpose.
    std::cerr << "vespro: " << vespro::ModText::Printable(error.what()) << "\n";
    return 70;
  }
}
