#include <array>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "cli/verbs.h"
#include "merge/custom_words.h"
#include "merge/merge_list.h"
#include "settings/settings.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

int ShowFields(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const ModMailMerge::MergeEntries offered =
      ModMailMerge::ReadMergeEntries(Settings(*home->backend));
  nlohmann::json rows = nlohmann::json::array();
  for (const std::string& entry : offered.entries) {
    // A compose window's alone: the mail has no word for it.
    if (entry == ModMailMerge::kDateAndTime) continue;
    const std::string word = ModMailMerge::MergeWordOf(entry);
    rows.push_back({{"entry", entry}, {"word", word}});
    if (!globals.json) std::cout << ModText::Printable(word, word.size()) << "\n";
  }
  if (globals.json) PrintJson(rows);
  if (!offered.prompt.empty()) Note(offered.prompt);
  if (rows.empty() && offered.prompt.empty()) {
    Note("no table is chosen: 'vespro list use FILE' chooses one");
  }
  return 0;
}

constexpr std::array<std::string_view, 3> kWordSettings = {
    setting::kCustomWord1, setting::kCustomWord2, setting::kCustomWord3};

int ListWords(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const Settings settings(*home->backend);
  nlohmann::json rows = nlohmann::json::array();
  for (const std::string_view name : kWordSettings) {
    const std::string word = settings.Read(name);
    const std::string merge_word = word.empty() ? word : ModMailMerge::MergeWordOf(word);
    rows.push_back({{"number", rows.size() + 1}, {"word", word}, {"merge_word", merge_word}});
    if (globals.json) continue;
    std::cout << rows.size() << "\t" << ModText::Printable(word, word.size()) << "\t"
              << ModText::Printable(merge_word, merge_word.size()) << "\n";
  }
  if (globals.json) PrintJson(rows);
  return 0;
}

int SetWords(const Globals& globals, const std::vector<std::string>& words) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Settings settings(*home->backend);
  for (std::size_t i = 0; i < kWordSettings.size(); ++i) {
    const std::string word = i < words.size() ? ModConsole::ArgumentText(words[i]) : std::string();
    Status written = settings.Write(kWordSettings[i], ModText::Trim(word));
    if (!written.ok()) return Fail(written);
  }
  return 0;
}

}  // namespace

void AddMergeVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* fields = app.add_subcommand(
      "fields", "Show the merge words of the current list, as a compose window offers them");
  fields->footer("Example: vespro fields");
  fields->callback([&] { action = [&globals] { return ShowFields(globals); }; });

  CLI::App* words =
      app.add_subcommand("words", "Merge words of your own, the same for every recipient");
  CLI::App* list = words->add_subcommand("list", "Show the three, and how a mail writes them");
  list->footer("Example: vespro words list");
  list->callback([&] { action = [&globals] { return ListWords(globals); }; });

  CLI::App* set = words->add_subcommand("set", "Store all three; what is not given is emptied");
  auto given = std::make_shared<std::vector<std::string>>();
  set->add_option("WORD", *given, "A word or a phrase; may be empty")->required()->expected(1, 3);
  set->footer("Example: vespro words set 'Kind regards' 'The board'");
  set->callback([&globals, &action, given] {
    action = [&globals, given] { return SetWords(globals, *given); };
  });
}

}  // namespace vespro::cli
