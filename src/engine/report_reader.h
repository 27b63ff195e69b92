// engine/report_reader.h - report.txt as data: the inverse of what report.h writes. One thread.
//
// The file belongs to its user, who may have edited it: nothing in it is trusted.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/lines.h"
#include "base/status.h"
#include "engine/report.h"

namespace vespro::engine {

// What is before the recipients. UTF-8 without control characters.
struct ReportHead {
  std::string subject, from, list, result;
  std::string started, ended;   // in the local time of the machine that wrote them
  std::int64_t started_at = 0;  // seconds since 1970, UTC; 0 when it can't be told
  StateCounts by_state{};
  // "Account", "Login refused", "Given up", "Limited" and "In clear", in the order of the file.
  std::vector<std::pair<std::string, std::string>> accounts;

  std::uint64_t Of(State state) const { return by_state[static_cast<std::size_t>(state)]; }
  std::uint64_t Total() const;
};

// One recipient's line; views that hold until the next one is read.
struct ReportRow {
  State state = State::kSent;
  std::string_view address, attempts, server, reply;
};

class ReportReader {
 public:
  // Reads the head. kNotFound and the like when there is no file, kBadInput when it is no report.
  static Result<ReportReader> Open(const std::filesystem::path& report_txt);

  const ReportHead& head() const { return head_; }
  // The next recipient; false at the end, and at a line that is none, which status() tells.
  bool Next(ReportRow& row);
  const Status& status() const { return status_; }

 private:
  explicit ReportReader(LineReader lines) : lines_(std::move(lines)) {}
  bool Damaged();

  LineReader lines_;
  ReportHead head_;
  Status status_;
};

}  // namespace vespro::engine
