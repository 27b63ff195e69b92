// The vespro command.
#include <algorithm>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/command_line.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "engine/options.h"

namespace vespro::cli {
namespace {

// Bytes that are not UTF-8 become U+FFFD.
template <class Json>
std::string Dump(const Json& data, int indent) {
  return data.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

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

bool HidePasswordCommands(std::vector<std::string>& words) {
  constexpr std::string_view kOption = "--password-command";
  const std::string shown = "SERVER=COMMAND";
  bool hidden = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i].starts_with(std::string(kOption) + "=")) {
      words[i].replace(kOption.size() + 1, std::string::npos, shown);
      hidden = true;
    }
    if (i > 0 && words[i - 1] == kOption) {
      words[i] = shown;
      hidden = true;
    }
  }
  return hidden;
}

void PrintJson(const nlohmann::json& data) { std::cout << Dump(data, 2) << "\n"; }

std::string JsonText(const nlohmann::ordered_json& data, int indent) { return Dump(data, indent); }

void Note(std::string_view text) {
  // Files and servers have odd names.
  std::cerr << "vespro: " << ModText::Printable(text, text.size()) << "\n";
}

namespace {

constexpr char kFooter[] =
    "'vespro VERB --help' tells more and has an example.\n"
    "Exit:\n"
    "  0 done; 1 sent, but not to everybody; 2 usage; 65 input that can't be used\n"
    "  66 a file that can't be read; 70 internal error; 73 a file that can't be written\n"
    "  75 stopped, or not possible now: it may be run again; 77 every login was refused\n"
    "  78 a setting or an account is missing; 130 interrupted, or answered with no";

// "vespro send --rate 10/s" as it was meant: the engine's options come after "--". Empty where
// there is none of them before it. `given` lack the program's name.
std::string WithEngineOptionsLast(CLI::App& app, const std::vector<std::string>& given,
                                  const std::vector<std::string>& engine_options) {
  const std::vector<CLI::App*> verbs = app.get_subcommands();
  if (verbs.empty() || (verbs[0]->get_name() != "send" && verbs[0]->get_name() != "run")) return {};
  const std::vector<engine::OptionName> known = engine::OptionNames();
  std::vector<std::string> words, moved;
  for (std::size_t i = 0; i < given.size(); ++i) {
    const std::string name = given[i].substr(0, given[i].find('='));
    const bool joined = name.size() < given[i].size();
    const CLI::Option* own = verbs[0]->get_option_no_throw(name);
    if (own == nullptr) own = app.get_option_no_throw(name);
    const auto option = std::find_if(known.begin(), known.end(), [&](const engine::OptionName& o) {
      return own == nullptr && o.name == name;
    });
    const bool is_moved = option != known.end();
    std::vector<std::string>& to = is_moved ? moved : words;
    to.push_back(given[i]);
    const bool takes_value =
        is_moved ? option->takes_value : own != nullptr && own->get_items_expected_max() > 0;
    if (takes_value && !joined && i + 1 < given.size()) to.push_back(given[++i]);
  }
  if (moved.empty()) return {};
  words.push_back("--");
  words.insert(words.end(), moved.begin(), moved.end());
  words.insert(words.end(), engine_options.begin(), engine_options.end());
  HidePasswordCommands(words);
  return ModCommandLine::VesproCommand(words);
}

int Run(std::vector<std::string> arguments) {
  Globals globals;
  // What is after "--" is for the engine and none of our business.
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
  AddMergeVerbs(app, globals, action);
  AddReportVerbs(app, globals, action);
  AddReportPageVerbs(app, globals, action);
  AddCatchVerb(app, globals, action);
  AddSupportVerbs(app, globals, action);

  app.footer(kFooter);  // here, since verbs that are declared later would show it too

  if (!arguments.empty()) arguments.erase(arguments.begin());
  std::vector<std::string> last_first(arguments.rbegin(), arguments.rend());  // as CLI11 wants them
  try {
    app.parse(last_first);
  } catch (const CLI::ParseError& error) {
    const std::string meant = error.get_exit_code() == 0
                                  ? std::string()
                                  : WithEngineOptionsLast(app, arguments, globals.engine_options);
    if (!meant.empty()) {
      return Fail(Status(Code::kUsage, "the engine's options come after \"--\": " + meant));
    }
    return app.exit(error) == 0 ? 0 : ExitCode(Code::kUsage);
  }
  if (!action) {
    std::cerr << app.help();  // of a group, when its name is alone
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
