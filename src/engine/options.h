// engine/options.h - the engine's command line. The engine reads it when it starts, and the command
// line checks with it what it is going to pass on. Any thread. Text is UTF-8.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "engine/engine_options.h"

namespace CLI {
class App;
}

namespace vespro::engine {

struct ParsedOptions {
  EngineOptions options;
  // Set when the program has nothing to do but to print `text`: kExitAllSent for --help and
  // --version, kExitUsage for an option that can't be used. No secrets.
  std::optional<int> exit;
  std::string text;  // whole lines
};

// `arguments` are without the program's name.
ParsedOptions ParseOptions(std::vector<std::string> arguments);

// Shows `visit` the declared options, for the manual.
void VisitOptions(const std::function<void(const CLI::App&)>& visit);

struct OptionName {
  std::string name;  // the long one, with its dashes
  bool takes_value = false;
};
std::vector<OptionName> OptionNames();

// "30/min": a number and "/s", "/min", "/h" or "/day", as messages a second.
Result<double> ParseRate(std::string_view text);
// What -p says: 1 to 500, and 100 for anything else.
std::size_t ParseEntriesPerPage(std::string_view text);

}  // namespace vespro::engine
