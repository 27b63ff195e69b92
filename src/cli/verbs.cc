#include "cli/verbs.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "base/command_line.h"
#include "base/text.h"

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
      return 75;
    case Code::kInternal:
      break;
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

}  // namespace vespro::cli
