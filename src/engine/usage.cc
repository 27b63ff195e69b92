#include "engine/usage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "base/lines.h"
#include "base/text.h"
#include "engine/hash.h"
#include "engine/limits_file.h"

namespace vespro::engine {
namespace {

constexpr std::string_view kFirstLine = "vespro-usage 1";
constexpr std::uint64_t kMaxNumber = std::uint64_t{1} << 53;

std::int64_t WallMs(const Clock& clock) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(clock.Now().time_since_epoch())
      .count();
}

std::string Checksum(std::string_view text) {
  std::array<char, 17> hex{};
  std::snprintf(hex.data(), hex.size(), "%016llx",
                static_cast<unsigned long long>(SipHash({}, text)));
  return hex.data();
}

bool ParseMs(std::string_view text, std::int64_t& number) {
  std::uint64_t value = 0;
  if (!ModText::ParseUnsigned(text, kMaxNumber, &value)) return false;
  number = static_cast<std::int64_t>(value);
  return true;
}

// Of a rate, which has to survive being written and read many times.
std::string Shortest(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), end.ptr};
}

bool ParsePositive(std::string_view text, double& number) {
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() && read.ptr == text.data() + text.size() && number >= 0 &&
         number < 1e9;
}

}  // namespace

bool AccountName::operator==(const AccountName& other) const {
  return server == other.server && port == other.port && SameLogin(login, other.login);
}

bool AccountName::Overlaps(const AccountName& other) const {
  const bool same_port = port == 0 || other.port == 0 || port == other.port;
  return server == other.server && same_port && SameLogin(login, other.login);
}

Usage::Usage(const Clock& clock)
    : now_ms_(std::max<std::int64_t>(0, WallMs(clock))),
      wall_ms_(now_ms_),
      since_boot_ms_(clock.SinceBoot().count()),
      boot_id_(clock.BootId()) {}

Result<Usage> Usage::Parse(std::string_view text) {
  const Status damaged(Code::kBadInput, "it is damaged");
  const std::size_t end = text.rfind("end\t");
  if (end == std::string_view::npos ||
      text.substr(end) != "end\t" + Checksum(text.substr(0, end)) + "\n") {
    return damaged;
  }
  Usage usage;
  std::string_view rest = text.substr(0, end);
  std::string_view line;
  if (!NextLine(rest, line) || line != kFirstLine) {
    return Status(Code::kBadInput, "it was made by another version of this program");
  }
  while (NextLine(rest, line)) {
    const std::vector<std::string_view> fields = ModText::Split(line, '\t');
    const std::string_view kind = fields.empty() ? std::string_view() : fields[0];
    Entry* const last = usage.entries_.empty() ? nullptr : &usage.entries_.back();
    bool ok = false;
    if (kind == "clock" && fields.size() == 5) {
      ok = ParseMs(fields[1], usage.now_ms_) && ParseMs(fields[2], usage.wall_ms_) &&
           ParseMs(fields[3], usage.since_boot_ms_);
      usage.boot_id_ = fields[4];
    } else if (kind == "account" && fields.size() == 4) {
      std::uint64_t port = 0;
      ok = ModText::ParseUnsigned(fields[2], 65535, &port);
      usage.entries_.push_back(
          {{std::string(fields[1]), static_cast<std::uint16_t>(port), std::string(fields[3])},
           {},
           {}});
    } else if (kind == "used" && fields.size() == 3 && last != nullptr) {
      Seconds span = 0;
      ok = ParseMs(fields[1], span) &&
           ModText::ParseUnsigned(fields[2], kMaxNumber, &last->spans[span]);
    } else if (kind == "learnt" && fields.size() == 3 && last != nullptr) {
      std::uint64_t connections = 0;
      ok = ParsePositive(fields[1], last->learnt.messages_per_second) &&
           ModText::ParseUnsigned(fields[2], 65535, &connections);
      last->learnt.connections = static_cast<std::size_t>(connections);
    }
    if (!ok) return damaged;
  }
  return usage;
}

std::string Usage::Text() const {
  std::string text(kFirstLine);
  text += "\nclock\t" + std::to_string(now_ms_) + "\t" + std::to_string(wall_ms_) + "\t" +
          std::to_string(since_boot_ms_) + "\t" + boot_id_ + "\n";
  for (const Entry& entry : entries_) {
    text += "account\t" + entry.name.server + "\t" + std::to_string(entry.name.port) + "\t" +
            entry.name.login + "\n";
    const Ceilings& learnt = entry.learnt;
    if (learnt.messages_per_second > 0 || learnt.connections > 0) {
      text += "learnt\t" + Shortest(learnt.messages_per_second) + "\t" +
              std::to_string(learnt.connections) + "\n";
    }
    for (const auto& [span, count] : entry.spans) {
      text += "used\t" + std::to_string(span) + "\t" + std::to_string(count) + "\n";
    }
  }
  return text + "end\t" + Checksum(text) + "\n";
}

void Usage::Advance(const Clock& clock) {
  const std::int64_t wall = WallMs(clock), since_boot = clock.SinceBoot().count();
  const std::string boot_id = clock.BootId();
  const std::int64_t by_wall = std::max<std::int64_t>(0, wall - wall_ms_);
  const std::int64_t by_machine = std::max<std::int64_t>(0, since_boot - since_boot_ms_);
  const bool known = !boot_id.empty() && !boot_id_.empty();
  const bool ran_on = since_boot >= since_boot_ms_ && (!known || boot_id == boot_id_);
  std::int64_t passed = ran_on ? by_machine : by_wall;
  // It may have been started anew: the shorter time is the safe one.
  if (ran_on && !known) passed = std::min(passed, by_wall);
  now_ms_ += passed;
  wall_ms_ = std::max<std::int64_t>(0, wall);
  since_boot_ms_ = since_boot;
  boot_id_ = boot_id;
  for (Entry& entry : entries_) {
    std::erase_if(entry.spans, [this](const auto& span) {
      return span.second == 0 || span.first + kSpan + kDay <= now();
    });
  }
  std::erase_if(entries_, [](const Entry& entry) {
    return entry.spans.empty() && entry.learnt.messages_per_second <= 0 &&
           entry.learnt.connections == 0;
  });
}

std::uint64_t Usage::Used(const AccountName& account) const {
  std::uint64_t used = 0;
  for (const Entry& entry : entries_) {
    if (!entry.name.Overlaps(account)) continue;
    for (const auto& [span, count] : entry.spans) used += count;
  }
  return used;
}

Usage::Seconds Usage::FreeAt(const AccountName& account, std::uint64_t per_day) const {
  std::map<Seconds, std::uint64_t> spans;
  for (const Entry& entry : entries_) {
    if (!entry.name.Overlaps(account)) continue;
    for (const auto& [span, count] : entry.spans) spans[span] += count;
  }
  std::uint64_t used = Used(account);
  Seconds free_at = now();
  for (const auto& [span, count] : spans) {
    if (used < per_day) break;
    used -= count;
    free_at = span + kSpan + kDay;
  }
  return free_at;
}

Usage::Entry& Usage::Of(const AccountName& account) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& entry) { return entry.name == account; });
  if (found != entries_.end()) return *found;
  return entries_.emplace_back(Entry{account, {}, {}});
}

void Usage::Add(const AccountName& account, std::uint64_t recipients) {
  if (recipients > 0) Of(account).spans[SpanAt(now())] += recipients;
}

std::uint64_t Usage::TakeBack(const AccountName& account, Seconds span, std::uint64_t recipients) {
  Entry& entry = Of(account);
  const auto found = entry.spans.find(span);
  if (found == entry.spans.end()) return 0;
  const std::uint64_t taken = std::min(found->second, recipients);
  found->second -= taken;
  return taken;
}

std::optional<Ceilings> Usage::Learnt(const AccountName& account) const {
  for (const Entry& entry : entries_) {
    if (entry.name == account) return entry.learnt;
  }
  return std::nullopt;
}

void Usage::Learn(const AccountName& account, const Ceilings& learnt) {
  Of(account).learnt = learnt;
}

std::vector<AccountName> Usage::accounts() const {
  std::vector<AccountName> names;
  names.reserve(entries_.size());
  for (const Entry& entry : entries_) names.push_back(entry.name);
  return names;
}

}  // namespace vespro::engine
