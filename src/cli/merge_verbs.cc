#include <iostream>
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

}  // namespace

void AddMergeVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* fields = app.add_subcommand(
      "fields", "Show the merge words of the current list, as a compose window offers them");
  fields->footer("Example: vespro fields");
  fields->callback([&] { action = [&globals] { return ShowFields(globals); }; });
}

}  // namespace vespro::cli
