#include "engine/report_reader.h"

#include <array>
#include <chrono>
#include <optional>

#include "base/files.h"
#include "base/text.h"
#include "engine/report_rows.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kMaxLineBytes = 64 * 1024;  // a row's values have at most 1000 bytes each
constexpr std::size_t kMaxHeadLines = 100'000;    // a line for each account, and a few more

std::optional<State> StateOf(std::string_view name) {
  for (const State state : kReportOrder) {
    if (StateName(state) == name) return state;
  }
  return std::nullopt;
}

// "2026-11-24 20:15:00 +0100"; 0 for anything else.
std::int64_t SecondsOf(std::string_view text) {
  constexpr std::string_view kPattern = "dddd-dd-dd dd:dd:dd sdddd";
  if (text.size() != kPattern.size()) return 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool fits = kPattern[i] == 'd'   ? c >= '0' && c <= '9'
                      : kPattern[i] == 's' ? c == '+' || c == '-'
                                           : c == kPattern[i];
    if (!fits) return 0;
  }
  const auto number = [text](std::size_t from, std::size_t count) {
    int value = 0;
    for (const char c : text.substr(from, count)) value = value * 10 + (c - '0');
    return value;
  };
  using std::chrono::day, std::chrono::month, std::chrono::year;
  const std::chrono::year_month_day date(year(number(0, 4)),
                                         month(static_cast<unsigned>(number(5, 2))),
                                         day(static_cast<unsigned>(number(8, 2))));
  if (!date.ok()) return 0;
  const int offset = (number(21, 2) * 60 + number(23, 2)) * (text[20] == '-' ? -60 : 60);
  const std::chrono::seconds whole = std::chrono::sys_days(date).time_since_epoch();
  return whole.count() + number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2) - offset;
}

// A line of the head. Names that are not known are a newer version's, and left alone.
void Take(std::string_view name, std::string_view text, ReportHead& head) {
  const std::string value = ModText::Printable(text, kMaxLineBytes);
  if (name == "Subject") head.subject = value;
  if (name == "From") head.from = value;
  if (name == "List") head.list = value;
  if (name == "Result") head.result = value;
  if (name == "Ended") head.ended = value;
  if (name == "Started") {
    head.started = value;
    head.started_at = SecondsOf(value);
  }
  if (const std::optional<State> state = StateOf(name)) {
    std::uint64_t count = 0;
    if (ModText::ParseUnsigned(text, UINT64_MAX / 10, &count)) {
      head.by_state[static_cast<std::size_t>(*state)] = count;
    }
  }
  if (name == "Account" || name == "Login refused" || name == "Given up" || name == "Limited" ||
      name == "In clear") {
    head.accounts.emplace_back(name, value);
  }
}

}  // namespace

std::uint64_t ReportHead::Total() const {
  std::uint64_t total = 0;
  for (const std::uint64_t count : by_state) total += count;
  return total;
}

Result<ReportReader> ReportReader::Open(const std::filesystem::path& report_txt) {
  Result<LineReader> lines = LineReader::Open(report_txt, kMaxLineBytes);
  if (!lines.ok()) return lines.status();
  ReportReader reader(std::move(lines).value());
  std::string_view line;
  for (std::size_t count = 0; count < kMaxHeadLines && reader.lines_.Next(line); ++count) {
    if (line.empty() && count > 0) return reader;
    const std::size_t colon = line.find(": ");
    if (colon == std::string_view::npos || (count == 0 && line.substr(0, colon) != "Subject"))
      break;
    Take(line.substr(0, colon), line.substr(colon + 2), reader.head_);
  }
  if (!reader.lines_.status().ok()) return reader.lines_.status();
  return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(report_txt) + "' is not a delivery report");
}

bool ReportReader::Next(ReportRow& row) {
  std::string_view line;
  if (!status_.ok() || !lines_.Next(line)) {
    if (status_.ok()) status_ = lines_.status();
    return false;
  }
  std::array<std::string_view, 5> fields;  // the last takes the rest
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const bool is_last = i + 1 == fields.size();
    const std::size_t end = is_last ? line.size() : line.find('\t');
    if (end == std::string_view::npos) return Damaged();
    fields[i] = line.substr(0, end);
    line.remove_prefix(is_last ? end : end + 1);
  }
  const std::optional<State> state = StateOf(fields[1]);
  if (!state) return Damaged();
  row = {*state, fields[0], fields[2], fields[3], fields[4]};
  return true;
}

bool ReportReader::Damaged() {
  status_ =
      Status(Code::kBadInput, "the report is damaged: its line " +
                                  std::to_string(lines_.line_number()) + " is not a recipient's");
  return false;
}

}  // namespace vespro::engine
