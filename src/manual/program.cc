#include "manual/program.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace vespro::manual {
namespace {

// CLI11 appends to a value's name what checks it: "TEXT:{required,auto,off}".
void TakeValue(std::string type, Option& option) {
  const std::size_t colon = type.find(':');
  const std::string check = colon == std::string::npos ? "" : type.substr(colon + 1);
  // Of "SERVER[:PORT]" and "'NAME: VALUE'" it is the value's own.
  const bool is_check = check.starts_with('{') || type.starts_with("TEXT:") ||
                        check.find(" in [") != std::string::npos || check == "POSITIVE";
  if (is_check) type.resize(colon);
  option.value = type;
  if (check.starts_with('{') && check.ends_with('}')) {
    std::istringstream words(check.substr(1, check.size() - 2));
    for (std::string word; std::getline(words, word, ',');) option.choices.push_back(word);
    option.completes = Completes::kChoices;
  }
  if (type == "FILE") option.completes = Completes::kFiles;
  if (type == "DIR") option.completes = Completes::kFolders;
}

Option DescribeOption(const CLI::Option& from) {
  Option option;
  for (const std::string& name : from.get_snames()) option.names.push_back("-" + name);
  for (const std::string& name : from.get_lnames()) option.names.push_back("--" + name);
  if (from.get_items_expected_max() > 0) TakeValue(from.get_type_name(), option);
  if (from.get_positional()) {
    option.names.clear();
    option.value = from.get_name(true, false);
    if (option.value == "FILE") option.completes = Completes::kFiles;
  }
  option.text = from.get_description();
  option.required = from.get_required();
  return option;
}

void AddVerbs(const Command& command, std::vector<std::string>& words, std::vector<Verb>& verbs) {
  for (const Command& verb : command.verbs) {
    words.push_back(verb.name);
    verbs.push_back({words, &verb});
    AddVerbs(verb, words, verbs);
    words.pop_back();
  }
}

}  // namespace

Command Describe(const CLI::App& app) {
  Command command;
  command.name = app.get_name();
  command.summary = app.get_description();
  std::istringstream footer(app.get_footer());
  for (std::string line; std::getline(footer, line);) command.footer.push_back(line);
  for (const CLI::Option* option : app.get_options()) {
    auto& list = option->get_positional() ? command.arguments : command.options;
    list.push_back(DescribeOption(*option));
  }
  for (const CLI::App* verb : app.get_subcommands(nullptr)) {
    command.verbs.push_back(Describe(*verb));
  }
  return command;
}

std::vector<Verb> AllVerbs(const Command& command) {
  std::vector<Verb> verbs;
  std::vector<std::string> words;
  AddVerbs(command, words, verbs);
  return verbs;
}

}  // namespace vespro::manual
