#include "recipients/distribution.h"

#include <algorithm>
#include <limits>

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro::ModDistribution {
namespace {

constexpr std::int16_t kLastColumn = std::numeric_limits<std::int16_t>::max();

std::string WithoutQuotes(std::string_view text) {
  std::string out(text);
  std::erase_if(out, [](char c) { return c == '"' || c == '\''; });
  return out;
}

// The indexes of the pieces that hold an "@".
std::vector<std::int16_t> AllWithAt(const std::vector<std::string_view>& pieces) {
  std::vector<std::int16_t> found;
  for (std::size_t i = 0; i < pieces.size() && i <= static_cast<std::size_t>(kLastColumn); ++i) {
    if (pieces[i].find('@') != std::string_view::npos)
      found.push_back(static_cast<std::int16_t>(i));
  }
  return found;
}

}  // namespace

ListKind KindOf(std::string_view path) {
  const std::size_t dot = path.find('.');
  if (dot == std::string_view::npos) return ListKind::kUnknown;
  const std::string rest = ModText::LowerAscii(path.substr(dot + 1));
  if (rest.find("txt") != std::string::npos) return ListKind::kText;
  if (rest.find("text") != std::string::npos) return ListKind::kText;
  if (rest.find("csv") != std::string::npos) return ListKind::kCsv;
  return ListKind::kUnknown;
}

std::string_view KindName(ListKind kind) {
  switch (kind) {
    case ListKind::kText:
      return "TEXT";
    case ListKind::kCsv:
      return "CSV";
    case ListKind::kUnknown:
      break;
  }
  return "";
}

std::string ComposeUnmapped(std::string_view path, ListKind kind) {
  return std::string(ModText::Trim(path)).append(",").append(KindName(kind));
}

std::string Compose(const Distribution& distribution) {
  std::string setting = ComposeUnmapped(distribution.path, distribution.kind);
  if (distribution.kind == ListKind::kCsv) {
    setting.append(",").append(std::to_string(distribution.column));
    setting.append(distribution.header ? ",HEADER" : ",VALUE");
  }
  return setting;
}

Distribution Parse(std::string_view mail_list) {
  const std::vector<std::string_view> fields = ModText::Split(ModText::Trim(mail_list), ',');
  const auto field = [&fields](std::size_t i) {
    return i < fields.size() ? fields[i] : std::string_view();
  };
  Distribution distribution;
  distribution.path = field(0);
  if (field(1) == "TEXT") distribution.kind = ListKind::kText;
  if (field(1) == "CSV") distribution.kind = ListKind::kCsv;
  distribution.column = ModText::LeadingInt16(field(2));
  distribution.header = field(3) == "HEADER";
  return distribution;
}

Status CheckSetting(std::string_view mail_list) {
  const std::string_view setting = ModText::Trim(mail_list);
  if (setting.empty()) return {};
  const std::vector<std::string_view> fields = ModText::Split(setting, ',');
  const auto damaged = [&setting](const char* what) {
    return Status(Code::kBadInput, "'" + ModText::Printable(setting) + "' does not say " + what);
  };
  if (fields[0].empty()) return damaged("which file it is");
  if (fields.size() < 2 || (fields[1] != "TEXT" && fields[1] != "CSV")) {
    return damaged("whether it is TEXT or CSV");
  }
  if (fields[1] == "TEXT") return {};
  std::uint64_t column = 0;
  if (fields.size() < 3 || !ModText::ParseUnsigned(fields[2], kLastColumn, &column)) {
    return damaged("which column holds the address");
  }
  if (fields.size() < 4 || (fields[3] != "HEADER" && fields[3] != "VALUE")) {
    return damaged("whether the first row is a HEADER or a VALUE");
  }
  return {};
}

Status CheckIsText(std::string_view path, std::string_view start) {
  const std::size_t nul = start.find('\0');
  if (nul == std::string_view::npos) return {};
  std::string_view before = start.substr(0, nul);
  std::string_view line;
  std::uint64_t number = 0;
  while (NextLine(before, line)) ++number;
  if (nul == 0 || start[nul - 1] == '\n' || start[nul - 1] == '\r') ++number;
  return NoTextLine(path, number);
}

Status NoTextLine(std::string_view path, std::uint64_t line_number) {
  return Status(Code::kBadInput, "'" + std::string(path) + "', line " +
                                     std::to_string(line_number) +
                                     ": this is no text. Save the list as text or CSV "
                                     "(comma separated) and choose that file");
}

Status OverlongLine(std::string_view path, std::uint64_t line_number) {
  return Status(Code::kBadInput, "'" + std::string(path) + "', line " +
                                     std::to_string(line_number) +
                                     ": longer than a mebibyte, so this is no list");
}

char OtherSeparator(std::string_view first, std::string_view second) {
  const bool has_second = !ModText::Trim(second).empty();
  for (const char separator : {';', '\t', '|'}) {
    if (first.find(separator) == std::string_view::npos) continue;
    if (has_second && second.find(separator) == std::string_view::npos) continue;
    if (first.find(',') == std::string_view::npos) return separator;
    // Commas in cells: then the address shares its cell with others.
    for (const std::string_view cell : ModText::Split(has_second ? second : first, ',')) {
      if (cell.find('@') != std::string_view::npos &&
          cell.find(separator) != std::string_view::npos) {
        return separator;
      }
    }
  }
  return 0;
}

std::string OtherSeparatorText(std::string_view path, char separator) {
  const char* const name = separator == ';'    ? "semicolons (;)"
                           : separator == '\t' ? "tabs"
                                               : "bars (|)";
  return "the columns of '" + ModText::Printable(path) + "' are split by " + name +
         ", and every row would be a single column: save it again with commas";
}

Status ProbeText(std::string_view path) {
  Result<File> file = File::Open(ModFiles::FromUtf8(path), File::Mode::kRead);
  if (!file.ok()) return file.status();
  std::string start(kTextProbeBytes, '\0');
  Result<std::size_t> count = file->Read(start.data(), start.size());
  if (!count.ok()) return count.status();
  return CheckIsText(path, std::string_view(start).substr(0, count.value()));
}

Result<FirstRows> ReadFirstRows(std::string_view path) {
  if (Status text = ProbeText(path); !text.ok()) return text;
  Result<LineReader> reader = LineReader::Open(ModFiles::FromUtf8(path), ModRow::kMaxLineBytes);
  if (!reader.ok()) return reader.status();
  FirstRows rows;
  for (std::string* row : {&rows.first, &rows.second}) {
    std::string_view line;
    if (!reader->Next(line)) break;
    if (reader->overlong()) return OverlongLine(path, reader->line_number());
    *row = reader->line_number() == 1 ? ModRow::StripByteOrderMark(line) : line;
  }
  if (!reader->status().ok()) return reader->status();
  return rows;
}

Result<Mapping> ProposeMapping(std::string_view first, std::string_view second) {
  const std::string bare = WithoutQuotes(first);
  if (ModText::Trim(bare).empty()) return Status(Code::kBadInput, std::string(kIncorrectCsv));
  const std::vector<std::string_view> cells = ModText::Split(bare, ',');
  Mapping mapping;
  for (const std::string_view cell : cells) {
    mapping.fields.push_back(ListText(ModText::Trim(cell)));
  }
  mapping.candidates = AllWithAt(cells);
  if (!mapping.candidates.empty()) {
    mapping.column = mapping.candidates.back();
    return mapping;
  }
  mapping.header = true;
  // A cell of the second row may be where the first has no column.
  std::vector<std::string_view> values = ModText::Split(second, ',');
  values.resize(std::min(values.size(), cells.size()));
  mapping.candidates = AllWithAt(values);
  mapping.guessed = mapping.candidates.empty();
  if (!mapping.guessed) mapping.column = mapping.candidates.back();
  return mapping;
}

Status CheckPath(std::string_view path) {
  const char* what = nullptr;
  if (path != ModText::Trim(path)) what = "a blank at its end";
  if (path.find(',') != std::string_view::npos) what = "a comma";
  if (std::filesystem::path::preferred_separator == '/' &&
      path.find('\\') != std::string_view::npos) {
    what = "a backslash";
  }
  if (ModText::HasControls(path)) what = "a control character";
  if (!ModText::IsUtf8(path)) what = "bytes that are no UTF-8";
  if (what == nullptr) return {};
  return Status(Code::kBadInput, "'" + ModText::Printable(path, path.size()) +
                                     "' can't be a distribution file: its path holds " + what +
                                     ", rename or move it");
}

}  // namespace vespro::ModDistribution
