#include "manual/man_page.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"

namespace vespro::manual {
namespace {

constexpr std::string_view kExample = "Example: ", kExit = "Exit:", kProduct = "Vespro ";

// A backslash, a hyphen that is typed, and a line that would be a request.
std::string Escaped(std::string_view text) {
  std::string escaped;
  if (text.starts_with('.') || text.starts_with('\'')) escaped = "\\&";
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else if (c == '\'') {
      escaped += "\\(aq";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Joined(const std::vector<std::string>& words, std::string_view between) {
  std::string joined;
  for (const std::string& word : words) {
    if (!joined.empty()) joined += between;
    joined += word;
  }
  return joined;
}

std::string OptionEntry(const Option& option) {
  std::string head = "\\fB" + Escaped(Joined(option.names, ", ")) + "\\fR";
  const std::string value = option.choices.empty() ? option.value : Joined(option.choices, "|");
  if (option.names.empty()) {
    head = "\\fI" + Escaped(value) + "\\fR";
  } else if (!value.empty()) {
    head += " \\fI" + Escaped(value) + "\\fR";
  }
  return ".TP\n" + head + "\n" + Escaped(option.text) + (option.required ? " (required)" : "") +
         "\n";
}

std::string Options(const Command& command, bool is_verb) {
  std::string page;
  for (const Option& argument : command.arguments) page += OptionEntry(argument);
  for (const Option& option : command.options) {
    // Every verb has --help; the program's own entry is for all.
    if (!is_verb || option.names.back() != "--help") page += OptionEntry(option);
  }
  return page;
}

std::string Synopsis(const std::string& name, const Command& command) {
  std::string line = "\\fB" + Escaped(name) + "\\fR [\\fIOPTIONS\\fR]";
  if (!command.verbs.empty()) line += " \\fIVERB\\fR";
  for (const Option& argument : command.arguments) {
    const std::string value = "\\fI" + Escaped(argument.value) + "\\fR";
    line += argument.required ? " " + value : " [" + value + "]";
  }
  return line;
}

// "sends one mail to many people": a line of apropos(1), without the program's name.
std::string Purpose(const Command& program) {
  std::string purpose = program.summary;
  if (purpose.starts_with(kProduct)) purpose.erase(0, kProduct.size());
  if (purpose.ends_with('.')) purpose.pop_back();
  if (purpose.starts_with("Sends")) purpose[0] = 's';
  return purpose;
}

// A command to be copied, on a line of its own and not filled.
std::string Example(std::string_view command) {
  return ".PP\n.nf\n.RS\n" + Escaped(command) + "\n.RE\n.fi\n";
}

std::string Footer(const Command& command) {
  std::string page;
  for (const std::string& line : command.footer) {
    if (line.starts_with(kExample)) {
      page += Example(std::string_view(line).substr(kExample.size()));
    } else if (!line.empty()) {
      page += ".PP\n" + Escaped(line) + "\n";
    }
  }
  return page;
}

// The program's own footer says what it exits with, and gives an example.
std::string LastSections(const Command& program) {
  std::string exit, examples, remarks;
  bool in_exit = false;
  for (const std::string& line : program.footer) {
    const std::string_view text = ModText::Trim(line);
    if (text.starts_with(kExample)) {
      examples += Example(text.substr(kExample.size()));
    } else if (text.starts_with(kExit) || (in_exit && line.starts_with(' '))) {
      in_exit = true;
      const std::string_view codes =
          text.starts_with(kExit) ? ModText::Trim(text.substr(kExit.size())) : text;
      if (!codes.empty()) exit += ".PP\n" + Escaped(codes) + "\n";
    } else if (!text.empty()) {
      remarks += ".PP\n" + Escaped(text) + "\n";
    }
  }
  std::string page = remarks.empty() ? "" : ".SH NOTES\n" + remarks;
  if (!exit.empty()) page += ".SH EXIT STATUS\n" + exit;
  if (!examples.empty()) page += ".SH EXAMPLES\n" + examples;
  return page;
}

}  // namespace

std::string ManPage(const Command& program, const std::string& version,
                    const std::string& see_also) {
  std::string title = program.name;
  std::transform(title.begin(), title.end(), title.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  std::string page = ".TH " + Escaped(title) + " 1 \"\" \"Vespro " + version + "\" \"Vespro\"\n";
  // Sentences are not hyphenated, since they hold commands.
  page += ".nh\n.ad l\n.SH NAME\n" + Escaped(program.name) + " \\- " + Escaped(Purpose(program)) +
          "\n.SH SYNOPSIS\n" + Synopsis(program.name, program) + "\n";
  page += ".SH OPTIONS\n" + Options(program, false);
  const std::vector<Verb> verbs = AllVerbs(program);
  if (!verbs.empty()) page += ".SH VERBS\n";
  for (const Verb& verb : verbs) {
    const std::string name = program.name + " " + Joined(verb.words, " ");
    page += ".SS " + Synopsis(name, *verb.command) + "\n" + Escaped(verb.command->summary) + "\n" +
            Options(*verb.command, true) + Footer(*verb.command);
  }
  page += LastSections(program);
  page += ".SH SEE ALSO\n" + Escaped(see_also) + "\n";
  return page;
}

}  // namespace vespro::manual
