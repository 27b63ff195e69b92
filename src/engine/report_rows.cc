#include "engine/report_rows.h"

#include <cstdio>
#include <cstdlib>
#include <unordered_map>

#include "base/clock.h"
#include "base/text.h"
#include "recipients/list_text.h"

namespace vespro::engine::ModReportRows {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxValueBytes = 1000;

std::string DeferralText(const Outcome& attempt) {
  if (attempt.reply.empty()) return {};
  return Value(attempt.reply) + ", " + Value(attempt.server);
}

}  // namespace

Status ForFirst(const fs::path& folder, const LineStates& states, std::uint64_t at_most,
                const Wanted& wanted, const Take& take) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  std::unordered_map<std::uint64_t, unsigned> seen;  // of the few lines with several outcomes
  std::unordered_map<std::uint64_t, std::string> deferrals;
  std::uint64_t count = 0;
  for (JournalEvent event; count < at_most && reader->Next(event);) {
    const std::uint64_t line = event.recipient.line;
    if (event.kind == JournalEvent::Kind::kPutBack) deferrals[line] = DeferralText(event.outcome);
    if (event.kind != JournalEvent::Kind::kOutcome) continue;
    const auto waited = deferrals.extract(line);
    const unsigned outcomes = states.Outcomes(line);
    if (outcomes == 0 || (outcomes > 1 && ++seen[line] != outcomes)) continue;
    if (!wanted(event)) continue;
    const std::string_view deferral = waited.empty() ? std::string_view() : waited.mapped();
    if (Status status = take(event, deferral); !status.ok()) return status;
    ++count;
  }
  return reader->status();
}

Status ForEach(const fs::path& folder, const LineStates& states, const Take& take) {
  return ForFirst(
      folder, states, UINT64_MAX, [](const JournalEvent&) { return true; }, take);
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
