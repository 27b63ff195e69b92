// engine/report_rows.h - what the reports say of one recipient, read from the journal. For
// report.cc and report_html.cc. One thread.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/status.h"
#include "engine/journal.h"
#include "engine/report_facts.h"

namespace vespro::engine::ModReportRows {

// In the order of the pages: who still has to be looked at comes first.
inline constexpr std::array<State, kReportStates> kProblemsFirst = {
    State::kRefused, State::kFailed,     State::kUnknown,
    State::kSkipped, State::kNotReached, State::kSent};

using Wanted = std::function<bool(const JournalEvent&)>;
// `deferral` is empty for none.
using Take = std::function<Status(const JournalEvent&, std::string_view deferral)>;

// Reads the journal once more and gives the last outcome of each line of the list named last, in
// the order in which they were settled, with how it was deferred last. Ends at the first failure of
// `take`. Memory: the words of those who wait for another attempt at any point of the journal, as
// the engine has it.
Status ForEach(const std::filesystem::path& folder, const JournalState& state, const Take& take);
// The first `at_most` of them that are `wanted`; reads no further.
Status ForFirst(const std::filesystem::path& folder, const JournalState& state,
                std::uint64_t at_most, const Wanted& wanted, const Take& take);

// Those whom a stopped run has not reached, from the list, with how they were deferred before if
// they wait for another attempt. `facts` and `state` must outlive the object.
class NotReached {
 public:
  NotReached(const ReportFacts& facts, const JournalState& state) : facts_(facts), state_(state) {}
  // Must come first if there are any. Memory: the words of those who wait.
  Status ReadDeferrals(const std::filesystem::path& folder);
  // Gives the first `at_most` as outcomes of State::kNotReached; nobody without ReadDeferrals.
  // Reads the list anew.
  Status ForFirst(std::uint64_t at_most, const Take& take) const;

 private:
  const ReportFacts& facts_;
  const JournalState& state_;
  bool are_any_ = false;
  std::unordered_map<std::uint64_t, Outcome> deferrals_;  // by line
};

// What is not ours, made fit to be read: UTF-8 on one line, of a length that a page can bear.
std::string Value(std::string_view text);
// Who a row is about: the address, or the row itself when it has none.
std::string Who(const JournalEvent& event);
// The server's words or ours; for a skipped row with its line's number.
std::string Words(const JournalEvent& event);
// The same with the deferral, unless the words say that already.
std::string Words(const JournalEvent& event, std::string_view deferral);
// How somebody was deferred: the server's words and its name; empty without words.
std::string DeferralText(const Outcome& attempt);
// "2026-11-24 20:15:00 +0100", in the local time.
std::string LocalTimeText(std::int64_t seconds);

}  // namespace vespro::engine::ModReportRows
