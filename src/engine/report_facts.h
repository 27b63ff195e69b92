// engine/report_facts.h - what reports are made from beside the journal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "engine/delivery/delivery_end.h"
#include "engine/journal.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// What is said of an account whose messages went over a connection without TLS.
inline constexpr char kInClear[] = "mail went in clear, without TLS";

// What the journal does not know. Text is UTF-8.
struct ReportFacts {
  std::string subject;
  std::string from;
  Distribution list;             // its path as the report shows it
  std::string first_row;         // of a CSV list, bytes, a header or not
  bool byte_order_mark = false;  // the list begins with one
  std::string result;            // how the job went, for a person
  bool finished = true;
  std::string how_to_go_on;            // a sentence; empty when it is finished, or can't
  std::vector<AccountTally> accounts;  // for those that did not work
  std::int64_t ended = 0;              // seconds since 1970; 0: not yet
  std::size_t entries_per_page = 100;
  // Gives those who have no verdict, from the beginning of the list on. Asked when
  // ReportCounts::by_state has any State::kNotReached.
  std::function<Result<std::unique_ptr<WorkSource>>(const LineStates& lines)> not_reached;
};

struct ReportCounts {
  StateCounts by_state{};  // those not reached are not known from the journal
  std::map<std::string, StateCounts> by_server;
  std::uint64_t in_doubt = 0;  // on the wire when the job broke off, and not yet called unknown
  std::uint64_t to_mend = 0;   // rows in failed.csv
  std::uint64_t skipped_to_mend = 0;  // of them, rows of state skipped
  std::set<std::string> in_clear;     // servers that took messages without TLS, in any run
  std::int64_t started = 0;

  std::uint64_t Of(State state) const { return by_state[static_cast<std::size_t>(state)]; }
  std::uint64_t Total() const;
};

}  // namespace vespro::engine
