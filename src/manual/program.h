// manual/program.h - what a program's command line offers, as data: the one source of its manual
// page and of its completions, read from the declarations that `--help` is printed from.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vespro::manual {

// What a shell can offer for a value.
enum class Completes { kNothing, kFiles, kFolders, kChoices };

// An option, or with `names` empty a positional argument.
struct Option {
  std::vector<std::string> names;  // "-h", "--help"
  std::string value;               // "FILE"; empty for a flag
  std::vector<std::string> choices;
  Completes completes = Completes::kNothing;
  std::string text;
  bool required = false;
};

// A program, or one of its verbs.
struct Command {
  std::string name;     // the last word alone
  std::string summary;  // one sentence
  // The lines after the options: remarks, "Exit: ..." and "Example: ...".
  std::vector<std::string> footer;
  std::vector<Option> options, arguments;
  std::vector<Command> verbs;
};

Command Describe(const CLI::App& app);

// The verbs of `command` with all that is below them, each with its words: "list", "use".
struct Verb {
  std::vector<std::string> words;
  const Command* command = nullptr;
};
// Points into `command`.
std::vector<Verb> AllVerbs(const Command& command);

}  // namespace vespro::manual
