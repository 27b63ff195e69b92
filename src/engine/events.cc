#include "engine/events.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "engine/journal.h"

namespace vespro::engine {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxBufferBytes = 64 * 1024;  // bytes
constexpr auto kShowEvery = std::chrono::seconds(1);

// Bytes that are no UTF-8 - a server's words, an address in another charset - are replaced.
std::string Line(const Json& event) {
  return event.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

void Events::FlushIfFull() {
  if (lines_.size() >= kMaxBufferBytes) Flush();
}

void Events::Flush() {
  if (lines_.empty()) return;
  out_.Write(lines_).Ignore();  // the journal and the reports say the same
  lines_.clear();
}

void Events::Start(std::string_view job, std::string_view subject, std::size_t connections) {
  lines_ += Line({{"event", "start"},
                  {"job", std::string(job)},
                  {"subject", std::string(subject)},
                  {"connections", connections}});
  Flush();
}

void Events::Final(const Recipient& recipient, const Outcome& outcome) {
  lines_ += Line({{"event", "recipient"},
                  {"line", recipient.line},
                  {"address", recipient.address},
                  {"state", std::string(StateName(outcome.state))},
                  {"attempts", outcome.attempts},
                  {"server", outcome.server},
                  {"reply", outcome.reply}});
  FlushIfFull();
}

void Events::NotReached(const Recipient& recipient, const Outcome& deferral) {
  lines_ += Line({{"event", "not_reached"},
                  {"line", recipient.line},
                  {"address", recipient.address},
                  {"attempts", deferral.attempts},
                  {"server", deferral.server},
                  {"reply", deferral.reply}});
  FlushIfFull();
}

void Events::ListChanged(const ListChange& change) {
  Json event{{"event", "list_changed"}};
  for (const State state : kStateOrder) {
    event[std::string(StateName(state))] = change.kept[static_cast<std::size_t>(state)];
  }
  event["left"] = change.left;
  event["gone"] = change.gone;
  lines_ += Line(event);
  Flush();
}

void Events::Deferred(const Recipient& recipient, const Deferral& why) {
  lines_ += Line({{"event", "deferred"},
                  {"line", recipient.line},
                  {"address", recipient.address},
                  {"attempts", why.attempts},
                  {"server", why.server},
                  {"reply", why.reply}});
  FlushIfFull();
}

void Events::Show(const Progress& progress, std::uint64_t left,
                  std::chrono::steady_clock::time_point now) {
  Flush();
  if (now - shown_ < kShowEvery) return;
  shown_ = now;
  Json event = {{"event", "progress"},
                {"sent", progress.sent},
                {"refused", progress.refused},
                {"failed", progress.failed},
                {"unknown", progress.unknown},
                {"left", left},
                {"connections", progress.connections_open}};
  for (const ServerLimit& limit : progress.limits) {
    const std::chrono::duration<double> rests = limit.rests_until - now;
    event["limits"].push_back({{"server", limit.server},
                               {"reply", limit.words},
                               {"recipients_per_second", limit.per_second},
                               {"connections", limit.connections},
                               {"rests_seconds", std::max(0.0, rests.count())}});
  }
  lines_ += Line(event);
  Flush();
}

void Events::End(const RunSummary& summary) {
  Json event{{"event", "end"}, {"result", summary.result}};
  for (const State state : kStateOrder) {
    event[std::string(StateName(state))] = summary.counts.Of(state);
  }
  event["not_reached"] = summary.counts.Of(State::kNotReached);
  event["in_doubt"] = summary.counts.in_doubt;
  event["already_finished"] = summary.already_finished;
  event["accounts_not_working"] = Json::array();
  for (const auto& [server, reason] : summary.dead_accounts) {
    event["accounts_not_working"].push_back({{"server", server}, {"reason", reason}});
  }
  event["in_clear"] = summary.counts.in_clear;
  event["report"] = ModFiles::ToUtf8(summary.report);
  event["exit"] = summary.exit;
  lines_ += Line(event);
  Flush();
}

}  // namespace vespro::engine
