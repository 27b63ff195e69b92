// engine/report.h - what a job's user reads afterwards, made from its journal: report.txt,
// report.html with report-2.html and so on, and failed.csv. One thread.
//
// The journal is read several times as a stream, so that a report needs one byte a line of the list
// and no more. Each file is written beside its place and renamed.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/status.h"
#include "engine/delivery/delivery.h"
#include "engine/journal.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// What is said of an account whose messages went over a connection without TLS.
inline constexpr char kInClear[] = "mail went in clear, without TLS";

// What the journal does not know. Text is UTF-8.
struct ReportFacts {
  std::string subject;
  std::string from;
  Distribution list;                   // its path as the report shows it
  std::string first_row;               // of a CSV list, bytes, a header or not
  bool byte_order_mark = false;        // the list begins with one
  std::string result;                  // how the job stands, for a person
  std::vector<AccountTally> accounts;  // for those that did not work
  std::int64_t ended = 0;              // seconds since 1970
  std::size_t entries_per_page = 100;
};

struct ReportCounts {
  StateCounts by_state{};
  std::map<std::string, StateCounts> by_server;
  std::uint64_t in_doubt = 0;  // on the wire when the job broke off, and not yet called unknown
  std::uint64_t to_mend = 0;   // rows in failed.csv
  std::uint64_t skipped_to_mend = 0;  // of them, rows of state skipped
  std::int64_t started = 0;

  std::uint64_t Of(State state) const { return by_state[static_cast<std::size_t>(state)]; }
  std::uint64_t Total() const;
};

// Counts every recipient once, by its last outcome.
Result<ReportCounts> CountJournal(const std::filesystem::path& folder, const ListIdentity& list);

// Writes all reports into the session folder. The pages show problems - refused, failed,
// unknown, and skipped rows that are to be mended - on at most `kMaxProblemPages`, and the first
// `kMaxOthers` of the others, so that a large job does not leave thousands of files; report.txt has
// everybody. failed.csv holds
// the rows that surely were not sent: state and reason, then the row as read. It can be used as a
// list: it always has a header, and the reason has neither commas nor quotes nor an "@".
// Duplicates, suppressed and unknown recipients are not in it, since sending to it would mail them
// wrongly. Without such rows there is no failed.csv.
inline constexpr std::uint64_t kMaxProblemPages = 1000, kMaxOthers = 10'000;
Status WriteReports(const std::filesystem::path& folder, const ListIdentity& list,
                    const ReportFacts& facts, const ReportCounts& counts);

}  // namespace vespro::engine
