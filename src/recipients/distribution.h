// recipients/distribution.h - which file the recipients come from, and how to read it: the setting
// `MailList`, the kind of a file, the mapping of a CSV table. Format:
// docs/formats/distribution-file.md. Paths and the setting are UTF-8; rows are the file's bytes.
// Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "recipients/row.h"

namespace vespro {

struct Distribution {
  std::string path;  // empty: no distribution file has been chosen
  ListKind kind = ListKind::kUnknown;
  std::int16_t column = 0;  // CSV: where the address is, from 0; negative: nowhere
  bool header = false;      // CSV: the first row holds column names
};

namespace ModDistribution {

// The text of a CSV table whose first line is blank.
inline constexpr std::string_view kIncorrectCsv = "Incorrect CSV file format";

// By the name alone: "txt" or "text", then "csv", anywhere after the first dot of the whole path.
ListKind KindOf(std::string_view path);
// "TEXT", "CSV" or "".
std::string_view KindName(ListKind kind);

// The value of `MailList`: "path,TEXT" or "path,CSV,column,HEADER|VALUE". The path is trimmed; a
// comma in it is not escaped, and Parse takes what is before it for the path.
std::string Compose(const Distribution& distribution);
Distribution Parse(std::string_view mail_list);
// Whether a setting that is not empty says all that Compose writes: kBadInput with what it lacks.
Status CheckSetting(std::string_view mail_list);
// Whether a path comes back from the setting as it went in, and can be in a job: kBadInput with
// the reason and what to do otherwise. Parse would give a part of it: somebody else's list, maybe.
Status CheckPath(std::string_view path);
// What is said where a file is to be chosen and there is none of that name.
inline constexpr char kNoSuchFile[] =
    "The current distribution file does not exist.  Please select another file.";
// "path,KIND": all there is to say of a TEXT list; of a CSV table, until its mapping is known.
std::string ComposeUnmapped(std::string_view path, ListKind kind);

// The first two lines, empty when the file has fewer. A byte-order mark is left out.
struct FirstRows {
  std::string first;
  std::string second;
};
// kNotFound, or kBadInput for a folder, a device, bytes that are no text, or a row of more than
// ModRow::kMaxLineBytes.
Result<FirstRows> ReadFirstRows(std::string_view path);

struct Mapping {
  std::vector<std::string> fields;  // the first row's cells for people: UTF-8, no quotes, trimmed
  std::int16_t column = 0;
  bool header = false;
  bool guessed = false;  // there was nothing to go by
  // Every column with an "@" in the row that decided, from 0; the proposal is the last of them.
  std::vector<std::int16_t> candidates;
};
// The columns and a proposal. The last cell of the first row with an "@" is the address; when there
// is none the first row is a header, and the last cell with an "@" of the second row decides
// (column 0, guessed, when that has none either). kBadInput with kIncorrectCsv when the first row
// is blank but for quotes.
Result<Mapping> ProposeMapping(std::string_view first, std::string_view second);

// What splits the columns of a table by its first two rows where the comma does not: ";", a tab or
// "|", as spreadsheets of some countries save it. 0: the comma, or there is one column.
char OtherSeparator(std::string_view first, std::string_view second);
// What is said of such a table where it can't be used.
std::string OtherSeparatorText(std::string_view path, char separator);

// CheckIsText for the beginning of a file. kNotFound, or kBadInput for a folder or a device, too.
Status ProbeText(std::string_view path);
inline constexpr std::size_t kTextProbeBytes = 64 * 1024;

// Whether `start`, the beginning of a list, is no text: it holds a NUL, as spreadsheets' own
// formats and UTF-16 do. kBadInput then, with the file, the line and what to do.
Status CheckIsText(std::string_view path, std::string_view start);
// What is said of a line with a NUL: kBadInput.
Status NoTextLine(std::string_view path, std::uint64_t line_number);
// What is said of a line that is longer than ModRow::kMaxLineBytes: kBadInput.
Status OverlongLine(std::string_view path, std::uint64_t line_number);

}  // namespace ModDistribution
}  // namespace vespro
