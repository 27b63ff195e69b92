// The vespro command.
#include <algorithm>
#include <exception>
#include <iostream>

#include "base/command_line.h"
#include "base/text.h"
#include "cli/app.h"
#include "engine/options.h"

namespace vespro::cli {
namespace {

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
  CLI::App app;
  Declare(app, globals, action);
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
