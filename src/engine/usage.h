// engine/usage.h - how many recipients each account had in the last 24 hours, and what was learnt
// of its server: the content of the file of counts. Format: docs/formats/limits.md. Pure: the times
// are passed in. Any thread.
//
// The counts have a clock of their own, which starts as the time of day and goes on as the machine
// runs, so that setting the time of day moves nothing. While the machine is off only the time of
// day can tell, and one that was set back tells of no time.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/status.h"
#include "engine/delivery/allowance.h"

namespace vespro::engine {

// A login at a server.
struct AccountName {
  std::string server;      // as ServerKey gives it
  std::uint16_t port = 0;  // 0: counted whatever the port
  std::string login;       // empty: none
  bool operator==(const AccountName& other) const;
  // Whether what the two count may be the same mail.
  bool Overlaps(const AccountName& other) const;
};

class Usage {
 public:
  using Seconds = std::int64_t;  // of the counts' clock

  // Recipients are counted in spans of this length, and for a day after the end of theirs.
  static constexpr Seconds kSpan = 300;
  static constexpr Seconds kDay = 86'400;

  // Nothing used.
  explicit Usage(const Clock& clock);
  // kBadInput for what is not whole: nobody knows then what was used.
  static Result<Usage> Parse(std::string_view text);
  std::string Text() const;

  // Lets the time pass since the last call, by whatever program, and drops what has expired.
  void Advance(const Clock& clock);
  Seconds now() const { return now_ms_ / 1000; }
  static Seconds SpanAt(Seconds moment) { return moment - moment % kSpan; }

  std::uint64_t Used(const AccountName& account) const;
  // When less than `per_day` is used, should nothing be added. `per_day` is at least 1.
  Seconds FreeAt(const AccountName& account, std::uint64_t per_day) const;
  void Add(const AccountName& account, std::uint64_t recipients);
  // Takes back up to so many of those that were added in the span; gives how many it had.
  std::uint64_t TakeBack(const AccountName& account, Seconds span, std::uint64_t recipients);

  std::optional<Ceilings> Learnt(const AccountName& account) const;
  void Learn(const AccountName& account, const Ceilings& learnt);

  std::vector<AccountName> accounts() const;

 private:
  struct Entry {
    AccountName name;
    std::map<Seconds, std::uint64_t> spans;  // by their beginning
    Ceilings learnt;
  };
  Usage() = default;
  Entry& Of(const AccountName& account);

  std::int64_t now_ms_ = 0, wall_ms_ = 0, since_boot_ms_ = 0;
  std::string boot_id_;
  std::vector<Entry> entries_;
};

}  // namespace vespro::engine
