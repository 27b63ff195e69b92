#include "manual/completion.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace vespro::manual {
namespace {

// A place on the command line: the program itself, a verb, or what is after "--".
struct Place {
  std::string words;  // "list use"; empty for the program itself
  const Command* command = nullptr;
  bool takes_engine_options = false;
};

// The verbs whose own help says that they pass options on.
bool PassesOptionsOn(const Command& verb) {
  return std::any_of(verb.footer.begin(), verb.footer.end(), [](const std::string& line) {
    return line.find("after \"--\"") != std::string::npos;
  });
}

std::vector<Place> PlacesOf(const Command& program) {
  std::vector<Place> places = {{"", &program, false}};
  for (const Verb& verb : AllVerbs(program)) {
    std::string words;
    for (const std::string& word : verb.words) words += (words.empty() ? "" : " ") + word;
    places.push_back({words, verb.command, PassesOptionsOn(*verb.command)});
  }
  return places;
}

// A verb's own options and those of the program, which may come after it.
std::vector<const Option*> OptionsAt(const Command& program, const Command& command) {
  std::vector<const Option*> options;
  for (const Option& option : command.options) options.push_back(&option);
  if (&command == &program) return options;
  for (const Option& option : program.options) {
    if (option.names.back() != "--help" && option.names.back() != "--version") {
      options.push_back(&option);
    }
  }
  return options;
}

std::string Replaced(std::string_view text, char what, std::string_view with) {
  std::string replaced;
  for (const char c : text) {
    if (c == what) {
      replaced += with;
    } else {
      replaced += c;
    }
  }
  return replaced;
}

// For bash and zsh.
std::string Quoted(std::string_view text) { return "'" + Replaced(text, '\'', "'\\''") + "'"; }
std::string FishQuoted(std::string_view text) {
  return "'" + Replaced(Replaced(text, '\\', "\\\\"), '\'', "\\'") + "'";
}

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

std::string FunctionName(const std::string& program, const std::string& words) {
  std::string name = "_" + program + (words.empty() ? "" : "_" + words);
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == ' ' || c == '-'; }, '_');
  return name;
}

// Every name of an option that takes a value, so that its value is not taken for a verb.
std::set<std::string> NamesWithValue(const std::vector<Place>& places) {
  std::set<std::string> names;
  for (const Place& place : places) {
    for (const Option& option : place.command->options) {
      if (!option.value.empty()) names.insert(option.names.begin(), option.names.end());
    }
  }
  return names;
}

std::string Alternatives(const std::set<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : "|") + name;
  return text;
}

// bash

std::string BashValues(const Option& option) {
  switch (option.completes) {
    case Completes::kFiles:
      return "_vespro_files -f";
    case Completes::kFolders:
      return "_vespro_files -d";
    case Completes::kChoices:
      return "_vespro_words " + Quoted(Joined(option.choices));
    case Completes::kNothing:
      break;
  }
  return "COMPREPLY=()";
}

// What may come at a place: the values of the option before the cursor, or the next word.
std::string BashPlace(const Command& program, const Command& command) {
  std::string words;
  std::vector<std::pair<std::string, std::string>> values;  // what to offer, and after which names
  for (const Option* option : OptionsAt(program, command)) {
    words += " " + Joined(option->names);
    if (option->value.empty()) continue;
    const std::string offer = BashValues(*option);
    auto same = std::find_if(values.begin(), values.end(),
                             [&](const auto& value) { return value.first == offer; });
    if (same == values.end()) same = values.insert(values.end(), {offer, ""});
    for (const std::string& name : option->names) {
      same->second += (same->second.empty() ? "" : "|") + name;
    }
  }
  for (const Command& verb : command.verbs) words += " " + verb.name;
  std::string place;
  if (!values.empty()) {
    place += "      case $previous in\n";
    for (const auto& [offer, names] : values) {
      place += "        " + names + ") " + offer + "; return ;;\n";
    }
    place += "      esac\n";
  }
  const bool takes_file =
      std::any_of(command.arguments.begin(), command.arguments.end(),
                  [](const Option& argument) { return argument.completes == Completes::kFiles; });
  if (takes_file) place += "      [[ $current == -* ]] || { _vespro_files -f; return; }\n";
  return place + "      _vespro_words " + Quoted(words.substr(1));
}

constexpr std::string_view kBashHelpers = R"(
_vespro_words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }
_vespro_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$current")
}
# Sets current and previous: the word at the cursor, and the option that it may be a value of.
_vespro_cursor() {
  current=${COMP_WORDS[COMP_CWORD]}
  previous=${COMP_WORDS[COMP_CWORD - 1]}
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
}
)";

// zsh

// In a specification of _arguments "[", "]" and ":" have a meaning, in a description of _describe
// the ":".
std::string ZshText(std::string_view text) {
  return Replaced(Replaced(Replaced(Replaced(text, '\\', "\\\\"), '[', "\\["), ']', "\\]"), ':',
                  "\\:");
}

std::string ZshValues(const Option& option) {
  switch (option.completes) {
    case Completes::kFiles:
      return "_files";
    case Completes::kFolders:
      return "_files -/";
    case Completes::kChoices:
      return "(" + Joined(option.choices) + ")";
    case Completes::kNothing:
      break;
  }
  return " ";
}

std::string ZshOptions(const std::vector<const Option*>& options) {
  std::string specs;
  for (const Option* option : options) {
    for (const std::string& name : option->names) {
      // "=" takes the value after a blank or after "=".
      std::string spec = "*" + name;
      if (!option->value.empty() && name.starts_with("--")) spec += "=";
      spec += "[" + ZshText(option->text) + "]";
      if (!option->value.empty()) {
        spec += ":" + ZshText(option->value) + ":" + ZshValues(*option);
      }
      specs += " \\\n    " + Quoted(spec);
    }
  }
  return specs;
}

std::string ZshFunction(const Command& program, const Place& place) {
  const Command& command = *place.command;
  std::string text = "\n" + FunctionName(program.name, place.words) + "() {\n";
  if (place.takes_engine_options) {
    // The words after "--", as if they were the engine's own command line.
    text +=
        "  local dashes=${words[(i)--]}\n"
        "  if (( dashes < CURRENT )); then\n"
        "    words=(vespro-engine ${words[dashes + 1,-1]}) CURRENT=$(( CURRENT - dashes + 1 ))\n"
        "    _vespro_engine\n"
        "    return\n"
        "  fi\n";
  }
  const std::string options = ZshOptions(OptionsAt(program, command));
  if (command.verbs.empty()) {
    text += "  _arguments" + options;
    for (const Option& argument : command.arguments) {
      text += " \\\n    " + Quoted(std::string(argument.required ? ":" : "::") +
                                   ZshText(argument.value) + ":" + ZshValues(argument));
    }
    return text + "\n}\n";
  }
  text += "  local curcontext=$curcontext state line\n  typeset -A opt_args\n  _arguments -C" +
          options + " \\\n    '1: :->verb' \\\n    '*:: :->rest'\n  case $state in\n" +
          "    verb)\n      local -a verbs=(";
  for (const Command& verb : command.verbs) {
    text += "\n        " + Quoted(verb.name + ":" + ZshText(verb.summary));
  }
  text += ")\n      _describe verb verbs ;;\n    rest)\n      case $line[1] in\n";
  for (const Command& verb : command.verbs) {
    const std::string words = place.words + (place.words.empty() ? "" : " ") + verb.name;
    text += "        " + verb.name + ") " + FunctionName(program.name, words) + " ;;\n";
  }
  return text + "      esac ;;\n  esac\n}\n";
}

// fish

std::string FishOption(const std::string& program, const std::string& condition,
                       const Option& option) {
  std::string line = "complete -c " + program + condition;
  for (const std::string& name : option.names) {
    line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!option.value.empty()) line += " -x";
  switch (option.completes) {
    case Completes::kFiles:
      line += " -a '(__fish_complete_path (commandline -ct))'";
      break;
    case Completes::kFolders:
      line += " -a '(__fish_complete_directories (commandline -ct))'";
      break;
    case Completes::kChoices:
      line += " -a " + FishQuoted(Joined(option.choices));
      break;
    case Completes::kNothing:
      break;
  }
  return line + " -d " + FishQuoted(option.text) + "\n";
}

std::string FishPlace(const Command& program, const Command& engine, const Place& place) {
  const std::string condition = " -n " + FishQuoted("__vespro_at " + FishQuoted(place.words));
  std::string text;
  for (const Command& verb : place.command->verbs) {
    text += "complete -c " + program.name + condition + " -a " + verb.name + " -d " +
            FishQuoted(verb.summary) + "\n";
  }
  for (const Option* option : OptionsAt(program, *place.command)) {
    text += FishOption(program.name, condition, *option);
  }
  for (const Option& argument : place.command->arguments) {
    if (argument.completes != Completes::kFiles) continue;
    text += "complete -c " + program.name + condition +
            " -a '(__fish_complete_path (commandline -ct))'\n";
  }
  if (!place.takes_engine_options) return text;
  const std::string after = " -n " + FishQuoted("__vespro_at " + FishQuoted(place.words + " --"));
  for (const Option& option : engine.options) {
    // fish itself offers no options after "--": they are words there.
    for (const std::string& name : option.names) {
      text += "complete -c " + program.name + after + " -a " + FishQuoted(name) + " -d " +
              FishQuoted(option.text) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string BashCompletion(const Command& program, const Command& engine) {
  const std::vector<Place> places = PlacesOf(program);
  std::string verbs, cases;
  for (const Place& place : places) {
    if (!place.words.empty()) verbs += (verbs.empty() ? "" : "|") + Quoted(place.words);
    cases += "    " + Quoted(place.words) + ")\n" + BashPlace(program, *place.command) + " ;;\n";
  }
  std::string passes;
  for (const Place& place : places) {
    if (!place.takes_engine_options) continue;
    passes += (passes.empty() ? "" : "|") + Quoted(place.words + " --");
  }
  std::string text = "# bash completion of vespro and vespro-engine\n";
  text += kBashHelpers;
  text += "\n_vespro_engine() {\n  local current previous\n  _vespro_cursor\n" +
          BashPlace(engine, engine) + "\n}\n";
  text +=
      "\n_vespro() {\n"
      "  local current previous verb= word skip= i\n"
      "  _vespro_cursor\n"
      "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
      "    word=${COMP_WORDS[i]}\n"
      "    [[ $word == = ]] && { skip=1; continue; }\n"
      "    [[ $skip ]] && { skip=; continue; }\n"
      "    case $word in\n"
      "      --) verb+=' --'; break ;;\n      " +
      Alternatives(NamesWithValue(places)) +
      ") skip=1; continue ;;\n"
      "    esac\n"
      "    case ${verb:+$verb }$word in\n      " +
      verbs +
      ") verb=${verb:+$verb }$word ;;\n"
      "    esac\n"
      "  done\n"
      "  case $verb in\n" +
      cases + "    " + passes +
      ") _vespro_engine ;;\n"
      "  esac\n}\n\n"
      "complete -F _vespro vespro\ncomplete -F _vespro_engine vespro-engine\n";
  return text;
}

std::string ZshCompletion(const Command& program, const Command& engine) {
  std::string text = "#compdef vespro vespro-engine\n";
  for (const Place& place : PlacesOf(program)) text += ZshFunction(program, place);
  text += ZshFunction(engine, {"", &engine, false});
  return text +
         "\nif [[ $service == vespro-engine ]]; then\n  _vespro_engine\nelse\n  _vespro\nfi\n";
}

std::string FishCompletion(const Command& program, const Command& engine) {
  const std::vector<Place> places = PlacesOf(program);
  std::string verbs, values;
  for (const Place& place : places) {
    if (!place.words.empty()) verbs += " " + FishQuoted(place.words);
  }
  for (const std::string& name : NamesWithValue(places)) values += " " + name;
  std::string text =
      "# fish completion of vespro and vespro-engine\n"
      "\n# Whether the words so far name this verb.\n"
      "function __vespro_at\n"
      "    set -l verb\n    set -l skip\n    set -l words (commandline -opc)\n"
      "    for word in $words[2..]\n"
      "        if set -q skip[1]\n            set skip\n            continue\n        end\n"
      "        if test \"$word\" = --\n            set verb \"$verb --\"\n            break\n      "
      "  end\n"
      "        if contains -- $word" +
      values +
      "\n            set skip 1\n            continue\n        end\n"
      "        set -l longer (string trim -- \"$verb $word\")\n"
      "        if contains -- $longer" +
      verbs +
      "\n            set verb $longer\n        end\n"
      "    end\n"
      "    test \"$verb\" = \"$argv[1]\"\n"
      "end\n\n"
      "complete -c vespro -f\ncomplete -c vespro-engine -f\n";
  for (const Place& place : places) text += FishPlace(program, engine, place);
  for (const Option& option : engine.options) text += FishOption("vespro-engine", "", option);
  return text;
}

}  // namespace vespro::manual
