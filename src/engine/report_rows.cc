#include "engine/report_rows.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/clock.h"
#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro::engine::ModReportRows {
namespace {

namespace fs = std::filesystem;
using Kind = JournalEvent::Kind;

constexpr std::size_t kMaxValueBytes = 1000;

}  // namespace

std::string DeferralText(const Outcome& attempt) {
  if (attempt.reply.empty()) return {};
  return Value(attempt.reply) + ", " + Value(attempt.server);
}

Status ForFirst(const fs::path& folder, const JournalState& state, std::uint64_t at_most,
                const Wanted& wanted, const Take& take) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  LastOutcomes last(state);
  std::unordered_map<std::uint64_t, std::string> deferrals;
  std::uint64_t count = 0;
  for (JournalEvent event; count < at_most && reader->Next(event);) {
    if (!state.IsCurrent(event)) continue;
    const std::uint64_t line = event.recipient.line;
    if (event.kind == Kind::kPutBack) deferrals[line] = DeferralText(event.outcome);
    if (event.kind != Kind::kOutcome && event.kind != Kind::kKept) continue;
    const auto waited = deferrals.extract(line);
    if (!last.Is(event) || !wanted(event)) continue;
    const std::string_view deferral = event.kind == Kind::kKept ? std::string_view(event.deferral)
                                      : waited.empty()          ? std::string_view()
                                                                : waited.mapped();
    if (Status status = take(event, deferral); !status.ok()) return status;
    ++count;
  }
  return reader->status();
}

Status ForEach(const fs::path& folder, const JournalState& state, const Take& take) {
  return ForFirst(
      folder, state, UINT64_MAX, [](const JournalEvent&) { return true; }, take);
}

Status NotReached::ReadDeferrals(const fs::path& folder) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  for (JournalEvent event; reader->Next(event);) {
    if (!state_.IsCurrent(event)) continue;
    if (event.kind == Kind::kPutBack) deferrals_[event.recipient.line] = event.outcome;
    if (event.kind == Kind::kOutcome) deferrals_.erase(event.recipient.line);
  }
  are_any_ = true;
  return reader->status();
}

Status NotReached::ForFirst(std::uint64_t at_most, const Take& take) const {
  if (!are_any_ || at_most == 0) return {};
  Result<std::unique_ptr<WorkSource>> people = facts_.not_reached(state_.lines());
  if (!people.ok()) return people.status();
  JournalEvent event;
  event.kind = Kind::kOutcome;
  for (std::uint64_t count = 0; count < at_most;) {
    Result<std::vector<Recipient>> block = people.value()->Next(
        static_cast<std::size_t>(std::min<std::uint64_t>(1000, at_most - count)));
    if (!block.ok()) return block.status();
    if (block->empty()) break;
    count += block->size();
    for (Recipient& recipient : block.value()) {
      const auto deferral = deferrals_.find(recipient.line);
      event.outcome = deferral == deferrals_.end() ? Outcome() : deferral->second;
      event.outcome.state = State::kNotReached;
      event.recipient = std::move(recipient);
      if (Status status = take(event, {}); !status.ok()) return status;
    }
  }
  return {};
}

std::string Value(std::string_view text) { return ModText::Printable(text, kMaxValueBytes); }

std::string Who(const JournalEvent& event) {
  const Recipient& recipient = event.recipient;
  return Value(ListText(recipient.address.empty() ? recipient.row : recipient.address));
}

std::string Words(const JournalEvent& event) {
  std::string reply = Value(event.outcome.reply);
  if (event.outcome.state != State::kSkipped) return reply;
  return "line " + std::to_string(event.recipient.line) + ": " + reply;
}

std::string Words(const JournalEvent& event, std::string_view deferral) {
  const std::string words = Words(event);
  const bool is_told = deferral.empty() || deferral.starts_with(words);
  return is_told ? words : words + " (deferred before: " + std::string(deferral) + ")";
}

std::string LocalTimeText(std::int64_t seconds) {
  const LocalTime local =
      ModClock::ToLocal(std::chrono::system_clock::time_point(std::chrono::seconds(seconds)));
  const int offset = local.utc_offset_minutes;
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d %c%02d%02d", local.year,
                local.month, local.day, local.hour, local.minute, local.second,
                offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
  return text.data();
}

}  // namespace vespro::engine::ModReportRows
