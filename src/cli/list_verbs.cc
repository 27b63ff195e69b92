#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <tuple>

#include "base/command_line.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/signals.h"
#include "base/text.h"
#include "cli/long_work.h"
#include "cli/verbs.h"
#include "recipients/distribution.h"
#include "recipients/list_text.h"
#include "recipients/load.h"
#include "recipients/long_rows.h"
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
  bool shifted_rows = false;

  // For looking at a file, or for changing it: whole rows are as good as columns.
  ListChoice Choice(const Globals& globals) const {
    ListChoice choice;
    choice.any_separator = true;
    choice.may_ask = !globals.rules.no_input;
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
  ListChoice choice = arguments.Choice(globals);
  choice.any_separator = false;
  Result<Distribution> chosen = ModSendJob::ChooseList(choice);
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
  ListChoice choice = arguments.Choice(globals);
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
  Result<ModRecipients::LongRows> long_rows = [&] {
    LongWork work;
    return ModRecipients::FindLongRows(chosen->path, work.on_line());
  }();
  if (!long_rows.ok()) return Fail(long_rows.status());
  if (globals.json) {
    nlohmann::json with_addresses = nlohmann::json::array();
    for (const std::int16_t column : mapping->candidates) with_addresses.push_back(column + 1);
    PrintJson({{"fields", mapping->fields},
               {"column", chosen->column + 1},
               {"columns_with_addresses", with_addresses},
               {"header", chosen->header},
               {"long_rows", long_rows->count},
               {"first_long_row", long_rows->first_line}});
    return 0;
  }
  const bool is_open = mapping->candidates.size() > 1 && arguments.column.empty();
  const auto marked = [&](std::int16_t column) {
    const auto& several = mapping->candidates;
    return is_open ? std::find(several.begin(), several.end(), column) != several.end()
                   : column == chosen->column;
  };
  for (std::size_t i = 0; i < mapping->fields.size(); ++i) {
    std::cout << (marked(static_cast<std::int16_t>(i)) ? "* " : "  ") << i + 1 << "  "
              << ModText::Printable(mapping->fields[i]) << "\n";
  }
  std::cout << "first line: " << (chosen->header ? "column names" : "a recipient") << "\n";
  if (is_open) {
    Note("several columns hold addresses: name the recipients' with --column wherever it matters");
  }
  if (long_rows->count > 0) Note(ModSendJob::LongRowsText(long_rows.value()));
  const char separator = ModDistribution::OtherSeparator(rows->first, rows->second);
  if (separator != 0) Note(ModDistribution::OtherSeparatorText(chosen->path, separator));
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

// The rows that go, in a file beside the list from before the list is replaced until standard
// output has told whose they were: "members.csv.removed.csv". Where what is printed is all of them,
// it is printed first, and there is a file only when that fails: it takes a tenth of the time.
class RemovedRows final : public ByteSink {
 public:
  // `print_first`: the rows are addresses, and standard output gets them one a line.
  RemovedRows(const Distribution& list, bool print_first)
      : list_path_(list.path),
        extension_(list.kind == ListKind::kCsv ? ".csv" : ".txt"),
        print_first_(print_first) {
    ModSignals::IgnoreBrokenPipes();  // a reader that goes away is a failure like others
  }

  Status Write(std::string_view rows) override {
    if (rows.empty()) return {};
    if (!file_.has_value()) {
      if (Status made = Make(); !made.ok()) return made;
    }
    return file_->Write(rows);
  }

  void Guard(ModRecipients::LoadGuards& guards) {
    if (!print_first_) guards.removed_rows = this;
    guards.before_rows_go = [this](std::string_view addresses) { return MakeSafe(addresses); };
  }
  // A list was about to be replaced.
  bool some_may_be_gone() const { return some_may_go_; }

  // After all was printed: what the command exits with.
  int Finish() {
    const bool printed = std::cout.flush().good();
    if (!file_.has_value()) return 0;
    if (printed) return Drop();
    return Fail(
        Status(Code::kCannotWrite, "cannot write to standard output; the removed rows are in '" +
                                       ModFiles::ToUtf8(path_) + "'"));
  }

  // The operation failed. Rows that went before that stay in the file.
  int FailWith(const Status& why, bool some_are_gone) {
    if (!file_.has_value()) return cli::Fail(why);
    if (!some_are_gone) {
      Drop();
      return cli::Fail(why);
    }
    return cli::Fail(Status(why.code(), why.text() + "; the rows that were removed are in '" +
                                            ModFiles::ToUtf8(path_) + "'"));
  }

 private:
  Status MakeSafe(std::string_view addresses) {
    some_may_go_ = true;
    if (print_first_) {
      PrintLines(addresses);
      if (std::cout.flush()) return {};
      if (Status written = Write(addresses); !written.ok()) return written;
    }
    return file_.has_value() ? file_->Sync() : Status();
  }
  Status Make() {
    constexpr int kMaxNames = 1000;
    Status made;
    for (int number = 1; number <= kMaxNames; ++number) {
      path_ = ModFiles::FromUtf8(list_path_ + ".removed" +
                                 (number == 1 ? "" : "-" + std::to_string(number)) + extension_);
      Result<File> file = File::Open(path_, File::Mode::kCreateNew, Access::kPrivate);
      if (file.ok()) {
        file_ = std::move(file).value();
        return {};
      }
      made = file.status();
      std::error_code error;
      if (!std::filesystem::exists(path_, error)) break;
    }
    return made;
  }
  int Drop() {
    file_.reset();
    const Status removed = ModFiles::Remove(path_);
    return removed.ok() ? 0 : cli::Fail(removed);
  }

  const std::string list_path_, extension_;
  const bool print_first_;
  std::filesystem::path path_;
  std::optional<File> file_;
  bool some_may_go_ = false;
};

Status NothingChanged() { return Status(Code::kCancelled, "nothing was changed"); }

bool CanAnswer(const Globals& globals) {
  return globals.rules.assume_yes || (!globals.rules.no_input && ModConsole::CanAsk());
}

bool Ask(const Globals& globals, std::string_view question) {
  TerminalHost host(globals.rules, nullptr, EditorType::kPlainText);
  return host.MsgBox(question, MessageIcon::kQuestion, MessageButtons::kYesNo, "Vespro") ==
         MessageAnswer::kYes;
}

std::string Count(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

// What a person should know of rows without an address: they stay, or are gone from a list that is
// written anew.
void NoteOddRows(const ModRecipients::OddRows& rows, const ListArguments& arguments,
                 bool rewritten) {
  constexpr std::size_t kMaxNamed = 20;
  const bool go = rewritten && arguments.shifted_rows;
  const std::string fate = go ? "; the row goes" : "; the row stays";
  const std::size_t named = std::min(kMaxNamed, rows.first.size());
  for (std::size_t i = 0; i < named; ++i) {
    const ModRecipients::OddRows::Row& row = rows.first[i];
    const bool repeats_only = go && !row.found.empty();
    Note("line " + std::to_string(row.line) + " has " +
         (row.found.empty() ? "no address"
                            : "'" + ModText::Printable(row.found) + "' in the address's place") +
         (repeats_only ? "; the row goes if that repeats" : fate));
  }
  if (const std::uint64_t more = rows.count - named; more > 0) {
    Note(Count(more, "more line has", "more lines have") + " no address either");
  }
  if (rows.count > 0 && !arguments.shifted_rows) {
    Note(
        "a comma in a cell shifts the cells after it, in quotes too; where such rows may go: "
        "--shifted-rows");
  }
}

// Before a list is replaced: the rows without an address are named, and a question is asked.
// Without --shifted-rows none of them goes.
ModRecipients::LoadGuards Guards(const Globals& globals, const ListArguments& arguments,
                                 LongWork& work) {
  ModRecipients::LoadGuards guards;
  guards.keep_odd_rows = !arguments.shifted_rows;
  guards.confirm = [&globals, &arguments, &work](const ModRecipients::Loaded& loaded) -> Status {
    work.Pause();
    if (!globals.json) NoteOddRows(loaded.without_address, arguments, true);
    const bool yes =
        globals.rules.assume_yes ||
        Ask(globals, Count(loaded.duplicates, "row has", "rows have") +
                         " the address of an earlier one.\r\nDo you want to remove duplicate "
                         "emails?");
    work.GoOn();
    return yes ? Status() : NothingChanged();
  };
  return guards;
}

nlohmann::json LineNumbers(const ModRecipients::OddRows& rows) {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& row : rows.first) array.push_back(row.line);
  return array;
}

nlohmann::json Lines(std::string_view lines) {
  nlohmann::json array = nlohmann::json::array();
  for (std::string_view line; NextLine(lines, line);) array.push_back(ListText(line));
  return array;
}

int Dedupe(const Globals& globals, const ListArguments& arguments) {
  Result<Distribution> chosen = ModSendJob::ChooseList(arguments.Choice(globals));
  if (!chosen.ok()) return Fail(chosen.status());
  if (!CanAnswer(globals)) {
    return Fail(Status(Code::kUsage, "nobody to ask: --yes removes the duplicates"));
  }
  const bool print_first = chosen->kind == ListKind::kText && !globals.json;
  RemovedRows removed(chosen.value(), print_first);
  Result<ModRecipients::Loaded> loaded = [&] {
    LongWork work;
    ModRecipients::LoadGuards guards = Guards(globals, arguments, work);
    removed.Guard(guards);
    return ModRecipients::LoadAndDeduplicate(chosen.value(), work.on_line(), guards);
  }();
  if (!loaded.ok()) return removed.FailWith(loaded.status(), false);
  if (globals.json) {
    PrintJson({{"duplicates", loaded->duplicates},
               {"addresses", loaded->distinct},
               {"removed", Lines(loaded->duplicate_addresses)},
               {"without_address", loaded->without_address.count},
               {"without_address_lines", LineNumbers(loaded->without_address)}});
    return removed.Finish();
  }
  if (!print_first) PrintLines(loaded->duplicate_addresses);
  if (!loaded->rewritten) NoteOddRows(loaded->without_address, arguments, false);
  Note(loaded->duplicates == 0
           ? std::string("No email duplicates found")
           : "Found and removed " + std::to_string(loaded->duplicates) + " email duplicates, " +
                 std::to_string(loaded->distinct) + " addresses stay");
  return removed.Finish();
}

// How the tables' columns differ, for a question; empty when they do not, or are no tables.
Result<std::string> ColumnsDiffer(const std::string& current, const std::string& second) {
  if (ModDistribution::KindOf(current) != ListKind::kCsv) return std::string();
  std::vector<ModDistribution::Mapping> mappings;
  for (const std::string& path : {current, second}) {
    Result<ModDistribution::FirstRows> rows = ModDistribution::ReadFirstRows(path);
    if (!rows.ok()) return rows.status();
    Result<ModDistribution::Mapping> mapping =
        ModDistribution::ProposeMapping(rows->first, rows->second);
    if (!mapping.ok()) return std::string();  // a blank first row has no columns
    mappings.push_back(std::move(mapping).value());
  }
  const auto& [first, other] = std::tie(mappings[0], mappings[1]);
  const auto& places = first.candidates;
  if (first.fields.size() != other.fields.size()) {
    return "the second table has " + Count(other.fields.size(), "column", "columns") +
           ", the first " + std::to_string(first.fields.size());
  }
  if (!first.guessed && !other.guessed &&
      std::find_first_of(places.begin(), places.end(), other.candidates.begin(),
                         other.candidates.end()) == places.end()) {
    return "addresses stand in column " + std::to_string(other.column + 1) +
           " of the second table, in column " + std::to_string(first.column + 1) + " of the first";
  }
  for (std::size_t i = 0; first.header && other.header && i < first.fields.size(); ++i) {
    if (first.fields[i] != other.fields[i]) {
      return "column " + std::to_string(i + 1) + " is '" + ModText::Printable(other.fields[i]) +
             "' in the second table, '" + ModText::Printable(first.fields[i]) + "' in the first";
    }
  }
  return std::string();
}

int Merge(const Globals& globals, const ListArguments& arguments) {
  const std::string current = FullPath(arguments.file), second = FullPath(arguments.second);
  if (Status fits = ModRecipients::CheckMerge(current, second); !fits.ok()) return Fail(fits);
  const Result<std::string> differ = ColumnsDiffer(current, second);
  if (!differ.ok()) return Fail(differ.status());
  if (!differ.value().empty()) {
    if (!CanAnswer(globals)) {
      return Fail(
          Status(Code::kBadInput, differ.value() + "; nothing was changed, --yes merges them"));
    }
    if (!Ask(globals, differ.value() + ".\r\nMerge them?")) return Fail(NothingChanged());
  }
  std::uint64_t lines = 0;
  Status merged;
  {
    LongWork work;
    merged = ModRecipients::Merge(current, second, work.on_line());
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

// What a person should know of the file of unwanted addresses.
void NoteUnwanted(const ModRecipients::Filtered& filtered, const std::string& unwanted) {
  if (ModDistribution::KindOf(unwanted) == ListKind::kCsv) {
    Note("'" + unwanted + "' is a table by its name: its lines are compared whole");
  }
  if (filtered.unmatchable == 0) return;
  Note(Count(filtered.unmatchable, "line", "lines") + " of '" + unwanted +
       "' can match nobody, having capitals or blanks at an end, such as '" +
       ListText(filtered.first_unmatchable) + "'. 'vespro send ... -- --suppress " +
       ModCommandLine::ForShell(unwanted) + "' keeps all of them back, and changes no file");
}

// Says what filtering would do, and asks.
Status ConfirmFilter(const Globals& globals, const ListArguments& arguments,
                     const Distribution& list, const std::string& unwanted) {
  if (globals.rules.assume_yes) return {};
  if (!CanAnswer(globals)) {
    return Status(Code::kUsage,
                  "nobody to ask: --yes filters the list; 'vespro send ... -- "
                  "--suppress " +
                      ModCommandLine::ForShell(unwanted) +
                      "' keeps the same people back, and changes no file");
  }
  const Result<ModRecipients::Filtered> preview = [&] {
    LongWork work;
    return ModRecipients::PreviewFilter(list, unwanted, !arguments.shifted_rows, work.on_line());
  }();
  if (!preview.ok()) return preview.status();
  NoteUnwanted(preview.value(), unwanted);
  NoteOddRows(preview->odd_rows, arguments, true);
  const std::string question = Count(preview->removed, "row goes", "rows go") +
                               ", duplicates too, and what stays is written in lower case.\r\n"
                               "Filter the list?";
  return Ask(globals, question) ? Status() : NothingChanged();
}

int Filter(const Globals& globals, const ListArguments& arguments) {
  Result<Distribution> chosen = ModSendJob::ChooseList(arguments.Choice(globals));
  if (!chosen.ok()) return Fail(chosen.status());
  const std::string unwanted = FullPath(arguments.second);
  if (Status fits = ModRecipients::CheckFilter(chosen->path, unwanted); !fits.ok())
    return Fail(fits);
  if (Status yes = ConfirmFilter(globals, arguments, chosen.value(), unwanted); !yes.ok())
    return Fail(yes);
  RemovedRows removed(chosen.value(), false);
  const Result<ModRecipients::Cleared> cleared = [&] {
    LongWork work;
    ModRecipients::LoadGuards guards = Guards(globals, arguments, work);
    removed.Guard(guards);
    if (!globals.rules.assume_yes) guards.confirm = {};  // that was asked
    return ModRecipients::DeduplicateAndFilter(chosen.value(), unwanted, work.on_line(), guards);
  }();
  if (!cleared.ok()) return removed.FailWith(cleared.status(), removed.some_may_be_gone());
  if (globals.rules.assume_yes) NoteUnwanted(cleared->filtered, unwanted);
  const ModRecipients::Loaded& loaded = cleared->loaded;
  const ModRecipients::Filtered& filtered = cleared->filtered;
  if (globals.json) {
    PrintJson({{"filtered", filtered.removed},
               {"removed", Lines(filtered.removed_addresses)},
               {"unmatchable", filtered.unmatchable},
               {"duplicates", loaded.duplicates},
               {"duplicate_addresses", Lines(loaded.duplicate_addresses)},
               {"without_address", loaded.without_address.count},
               {"without_address_lines", LineNumbers(loaded.without_address)}});
    return removed.Finish();
  }
  PrintLines(filtered.removed_addresses);
  if (globals.rules.assume_yes && !loaded.rewritten) {
    NoteOddRows(loaded.without_address, arguments, false);
  }
  if (loaded.duplicates > 0) {
    Note("Found and removed " + std::to_string(loaded.duplicates) + " email duplicates");
  }
  Note(filtered.removed == 0
           ? std::string("No unwanted emails found in the current distribution file")
           : "Filtered out " + std::to_string(filtered.removed) +
                 " unwanted emails from the current distribution file");
  return removed.Finish();
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
  const auto shifted = [&arguments](CLI::App* verb) {
    verb->add_flag("--shifted-rows", arguments->shifted_rows,
                   "Let rows without an address go as well, and those whose \"address\" is none");
    return verb;
  };
  shifted(add("dedupe", "Remove duplicate addresses from a file, and print them",
              "Example: vespro list dedupe members.txt --yes\nUntil their addresses are printed, a "
              "table's rows that go are in a file beside it, such as members.csv.removed.csv.",
              true, Dedupe));
  add("merge", "Append a second file of the same kind",
      "Example: vespro list merge members.csv newcomers.csv\nNothing is sorted out: 'vespro list "
      "dedupe' takes duplicates away afterwards.",
      false, Merge)
      ->add_option("SECOND", arguments->second, "What is appended; it stays as it is")
      ->required();
  shifted(
      add("filter",
          "Remove the addresses that stand in a second file, and print them; removes duplicates "
          "first",
          "Example: vespro list filter members.csv unsubscribed.txt --column Email\nThe list comes "
          "back "
          "in lower case. Lines of UNWANTED are compared as they stand: write them in lower case, "
          "one "
          "address a line. Until the addresses are printed, the rows that go are in a file beside "
          "the list, such as members.csv.removed.csv.",
          true, Filter))
      ->add_option("UNWANTED", arguments->second, "The addresses that shall go, one a line")
      ->required();
}

}  // namespace vespro::cli
