#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "cli/long_work.h"
#include "cli/verbs.h"
#include "recipients/distribution.h"
#include "recipients/list_text.h"
#include "recipients/load.h"
#include "recipients/operations.h"
#include "settings/settings.h"
#include "terminal/home.h"
#include "terminal/send_job.h"
#include "terminal/terminal_host.h"

namespace vespro::cli {
namespace {

struct ListArguments {
  std::string file;
  std::string second;  // of merge and filter
  std::string column;
  bool header = false;
  bool value = false;

  ListChoice Choice() const {
    ListChoice choice;
    choice.file = ModFiles::FromUtf8(file);
    choice.column = column;
    if (header || value) choice.header = header;
    return choice;
  }
};

// What tells a file's kind: a folder's name counts, too.
std::string FullPath(const std::string& file) {
  return ModFiles::ToUtf8(ModFiles::FullPath(ModFiles::FromUtf8(file)));
}

// The column's name among the fields of the first row; empty when there is none.
std::string ColumnName(const Distribution& distribution) {
  if (distribution.kind != ListKind::kCsv || distribution.column < 0) return {};
  Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(distribution.path);
  if (!rows.ok()) return {};
  Result<ModDistribution::Mapping> mapping =
      ModDistribution::ProposeMapping(rows->first, rows->second);
  const auto column = static_cast<std::size_t>(distribution.column);
  return mapping.ok() && column < mapping->fields.size() ? mapping->fields[column] : std::string();
}

void Print(const Globals& globals, const Distribution& distribution) {
  const std::string_view kind = ModDistribution::KindName(distribution.kind);
  const bool is_csv = distribution.kind == ListKind::kCsv;
  if (globals.json) {
    nlohmann::json data = {{"file", distribution.path}, {"kind", kind}};
    if (is_csv) {
      data["column"] = distribution.column + 1;
      data["column_name"] = ColumnName(distribution);
      data["header"] = distribution.header;
    }
    return PrintJson(data);
  }
  std::cout << "file:   " << ModText::Printable(distribution.path, distribution.path.size())
            << "\nkind:   " << kind << "\n";
  if (!is_csv) return;
  std::cout << "column: " << distribution.column + 1 << " ("
            << ModText::Printable(ColumnName(distribution))
            << ")\nfirst line: " << (distribution.header ? "column names" : "a recipient") << "\n";
}

int Show(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Settings settings(*home->backend);
  const Distribution distribution = ModDistribution::Parse(settings.Read(setting::kMailList));
  if (distribution.path.empty()) {
    return Fail(Status(Code::kConfig, "No file selected: choose one with 'vespro list use FILE'"));
  }
  Print(globals, distribution);
  return 0;
}

int Use(const Globals& globals, const ListArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<Distribution> chosen = ModSendJob::ChooseList(arguments.Choice());
  if (!chosen.ok()) return Fail(chosen.status());
  Settings settings(*home->backend);
  Status written = settings.Write(setting::kMailList, ModDistribution::Compose(chosen.value()));
  if (!written.ok()) return Fail(written);
  Print(globals, chosen.value());
  return 0;
}

int Kind(const Globals& globals, const ListArguments& arguments) {
  const std::string_view kind =
      ModDistribution::KindName(ModDistribution::KindOf(FullPath(arguments.file)));
  if (globals.json) {
    PrintJson({{"file", arguments.file}, {"kind", kind}});
  } else {
    std::cout << (kind.empty() ? "unknown" : kind) << "\n";
  }
  return 0;
}

int Map(const Globals& globals, const ListArguments& arguments) {
  ListChoice choice = arguments.Choice();
  choice.may_guess = true;
  Result<Distribution> chosen = ModSendJob::ChooseList(choice);
  if (!chosen.ok()) return Fail(chosen.status());
  if (chosen->kind != ListKind::kCsv) {
    return Fail(Status(Code::kBadInput, "'" + arguments.file + "' is no CSV table"));
  }
  Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(chosen->path);
  if (!rows.ok()) return Fail(rows.status());
  Result<ModDistribution::Mapping> mapping =
      ModDistribution::ProposeMapping(rows->first, rows->second);
  if (!mapping.ok()) return Fail(mapping.status());
  if (globals.json) {
    PrintJson(
        {{"fields", mapping->fields}, {"column", chosen->column + 1}, {"header", chosen->header}});
    return 0;
  }
  for (std::size_t i = 0; i < mapping->fields.size(); ++i) {
    const bool is_address = static_cast<std::size_t>(chosen->column) == i;
    std::cout << (is_address ? "* " : "  ") << i + 1 << "  "
              << ModText::Printable(mapping->fields[i]) << "\n";
  }
  std::cout << "first line: " << (chosen->header ? "column names" : "a recipient") << "\n";
  return 0;
}

// Whether a terminal and a script may have the bytes as they are.
bool ArePlain(std::string_view lines) {
  unsigned odd = 0;
  for (const char c : lines) {
    const auto byte = static_cast<unsigned char>(c);
    odd |=
        static_cast<unsigned>((byte < 0x20) & (byte != '\n')) | static_cast<unsigned>(byte > 0x7E);
  }
  return odd == 0;
}

// A list's lines, each ended by LF, on standard output. Half a million of them are no rarity, and
// nearly all are plain.
void PrintLines(std::string_view lines) {
  constexpr std::size_t kPieceBytes = 64 * 1024;
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n', std::min(kPieceBytes, lines.size() - 1));
    std::string_view piece = lines.substr(0, end + 1);
    lines.remove_prefix(piece.size());
    if (ArePlain(piece)) {
      std::cout << piece;
      continue;
    }
    for (std::string_view line; NextLine(piece, line);) {
      std::cout << ModText::Printable(ListText(line), line.size() * 4) << "\n";
    }
  }
}

Result<ModRecipients::Loaded> Deduplicate(const Distribution& list) {
  LongWork work;
  return ModRecipients::LoadAndDeduplicate(list, work.on_line());
}

// What a person should know of rows that a rewritten list no longer has.
void NoteRowsWithoutAddress(const ModRecipients::Loaded& loaded) {
  const char* const fate = loaded.rewritten ? " and was left out" : "";
  for (const std::uint64_t line : loaded.without_address_lines) {
    Note("line " + std::to_string(line) + " has no address" + fate);
  }
  if (const std::uint64_t more = loaded.without_address - loaded.without_address_lines.size();
      more > 0) {
    Note(std::to_string(more) + " more lines have none either");
  }
}

nlohmann::json Lines(std::string_view lines) {
  nlohmann::json array = nlohmann::json::array();
  for (std::string_view line; NextLine(lines, line);) array.push_back(ListText(line));
  return array;
}

int Dedupe(const Globals& globals, const ListArguments& arguments) {
  Result<Distribution> chosen = ModSendJob::ChooseList(arguments.Choice());
  if (!chosen.ok()) return Fail(chosen.status());
  const bool can_ask = !globals.rules.no_input && ModConsole::CanAsk();
  if (!globals.rules.assume_yes && !can_ask) {
    return Fail(Status(Code::kUsage, "nobody to ask: --yes removes the duplicates"));
  }
  TerminalHost host(globals.rules, nullptr, EditorType::kPlainText);
  if (host.MsgBox("Do you want to remove duplicate emails?", MessageIcon::kQuestion,
                  MessageButtons::kYesNo, "Vespro") == MessageAnswer::kNo) {
    return 0;
  }
  Result<ModRecipients::Loaded> loaded = Deduplicate(chosen.value());
  if (!loaded.ok()) return Fail(loaded.status());
  if (globals.json) {
    PrintJson({{"duplicates", loaded->duplicates},
               {"addresses", loaded->distinct},
               {"removed", Lines(loaded->duplicate_addresses)},
               {"without_address", loaded->without_address},
               {"without_address_lines", loaded->without_address_lines}});
    return 0;
  }
  PrintLines(loaded->duplicate_addresses);
  NoteRowsWithoutAddress(loaded.value());
  Note(loaded->duplicates == 0
           ? std::string("No email duplicates found")
           : "Found and removed " + std::to_string(loaded->duplicates) + " email duplicates, " +
                 std::to_string(loaded->distinct) + " addresses stay");
  return 0;
}

int Merge(const Globals& globals, const ListArguments& arguments) {
  std::uint64_t lines = 0;
  Status merged;
  {
    LongWork work;
    merged =
        ModRecipients::Merge(FullPath(arguments.file), FullPath(arguments.second), work.on_line());
    lines = work.lines();
  }
  if (!merged.ok()) return Fail(merged);
  if (globals.json) {
    PrintJson({{"file", arguments.file}, {"second", arguments.second}, {"lines", lines}});
  } else {
    Note("File Merged into the current distribution file, " + std::to_string(lines) +
         (lines == 1 ? " line" : " lines"));
  }
  return 0;
}

int Filter(const Globals& globals, const ListArguments& arguments) {
  Result<Distribution> chosen = ModSendJob::ChooseList(arguments.Choice());
  if (!chosen.ok()) return Fail(chosen.status());
  const Result<ModRecipients::Cleared> cleared = [&] {
    LongWork work;
    return ModRecipients::DeduplicateAndFilter(chosen.value(), FullPath(arguments.second),
                                               work.on_line());
  }();
  if (!cleared.ok()) return Fail(cleared.status());
  const ModRecipients::Loaded& loaded = cleared->loaded;
  const ModRecipients::Filtered& filtered = cleared->filtered;
  if (globals.json) {
    PrintJson({{"filtered", filtered.removed},
               {"removed", Lines(filtered.removed_addresses)},
               {"duplicates", loaded.duplicates},
               {"duplicate_addresses", Lines(loaded.duplicate_addresses)},
               {"without_address", loaded.without_address},
               {"without_address_lines", loaded.without_address_lines}});
    return 0;
  }
  PrintLines(filtered.removed_addresses);
  NoteRowsWithoutAddress(loaded);
  if (loaded.duplicates > 0) {
    Note("Found and removed " + std::to_string(loaded.duplicates) + " email duplicates");
  }
  Note(filtered.removed == 0
           ? std::string("No unwanted emails found in the current distribution file")
           : "Filtered out " + std::to_string(filtered.removed) +
                 " unwanted emails from the current distribution file");
  return 0;
}

void AddMapping(CLI::App* verb, const std::shared_ptr<ListArguments>& arguments) {
  verb->add_option("--column", arguments->column, "The address column: its name or number from 1")
      ->type_name("NAME|N");
  auto* header = verb->add_flag("--header", arguments->header, "The first line holds column names");
  verb->add_flag("--value", arguments->value, "The first line is a recipient")->excludes(header);
}

}  // namespace

void AddListVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* list = app.add_subcommand("list", "The distribution file");
  auto arguments = std::make_shared<ListArguments>();

  CLI::App* show = list->add_subcommand("show", "Show the current one");
  show->footer("Example: vespro list show");
  show->callback([&] { action = [&globals] { return Show(globals); }; });

  const auto add = [&](const char* name, const char* description, const char* example, bool mapped,
                       int (*run)(const Globals&, const ListArguments&)) {
    CLI::App* verb = list->add_subcommand(name, description);
    verb->add_option("FILE", arguments->file, "A text file with one address a line, or a CSV table")
        ->required();
    if (mapped) AddMapping(verb, arguments);
    verb->footer(example);
    verb->callback([&globals, &action, arguments, run] {
      action = [&globals, arguments, run] { return run(globals, *arguments); };
    });
    return verb;
  };
  add("use", "Make a file the current one", "Example: vespro list use members.csv --column Email",
      true, Use);
  add("kind", "Tell a file's kind by its name: TEXT, CSV or unknown",
      "Example: vespro list kind members.csv", false, Kind);
  add("map", "Show a CSV table's columns, the address column marked",
      "Example: vespro list map members.csv", true, Map);
  add("dedupe", "Remove duplicate addresses from a file, and print them",
      "Example: vespro list dedupe members.txt --yes", true, Dedupe);
  add("merge", "Append a second file of the same kind",
      "Example: vespro list merge members.csv newcomers.csv\nNothing is sorted out: 'vespro list "
      "dedupe' takes duplicates away afterwards.",
      false, Merge)
      ->add_option("SECOND", arguments->second, "What is appended; it stays as it is")
      ->required();
  add("filter",
      "Remove the addresses that stand in a second file, and print them; removes duplicates first",
      "Example: vespro list filter members.csv unsubscribed.txt --column Email\nThe list comes "
      "back "
      "in lower case. Lines of UNWANTED are compared as they stand: write them in lower case, one "
      "address a line.",
      true, Filter)
      ->add_option("UNWANTED", arguments->second, "The addresses that shall go, one a line")
      ->required();
}

}  // namespace vespro::cli
