// engine/list_change.h - going on with a list that was edited since a job's last run: people are
// found again by their addresses, since lines tell nothing any more. One thread.
//
// Memory: 16 bytes for each person with a verdict, and as much as sending takes for the list.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/random.h"
#include "base/status.h"
#include "engine/hash.h"
#include "engine/journal.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// What is said of whoever was on the wire when a run was cut off.
inline constexpr std::string_view kCutOff =
    "the job was cut off while this message was on its way; it may have arrived";

// How a list's rows are read, as a number for ListIdentity: 1 for one address a line, for a table
// 2 * (column + 2), and 1 more with a header.
std::uint64_t ReadingOf(const Distribution& list);
// With how it is read.
Result<ListIdentity> IdentifyList(const Distribution& list, std::uint64_t at_most = UINT64_MAX);

// Where in a journal the verdict on each person is: what a server has said, that his message was on
// the wire, or that he is not to be mailed. A row that is at fault or repeats another one is no
// verdict on a person: it is judged again as the list is now.
class VerdictIndex {
 public:
  // `state` must have taken the whole journal.
  static Result<VerdictIndex> Read(const std::filesystem::path& journal, const JournalState& state,
                                   Randomness& randomness);

  struct Verdict {
    JournalEvent kept;         // of the kind kKept, its line still that of the earlier list
    bool was_on_wire = false;  // an earlier run was cut off: unknown now
  };
  // False for somebody who surely has none. Addresses are normalised.
  bool MayHave(std::string_view address) const;
  // The person's verdict, which is then marked as found; nothing for none.
  Result<std::optional<Verdict>> Find(std::string_view address);
  // Calls `take` for all that were not found, in the journal's order, and ends at its first
  // failure. The index is used up.
  Status ForOthers(const std::function<Status(const Verdict&)>& take);

 private:
  struct Entry {
    std::uint64_t hash = 0;
    std::uint64_t offset = 0;
  };
  using Entries = std::vector<Entry>;  // by hash, then in the journal's order
  VerdictIndex(RecordFile records, Randomness& randomness);
  static Entries::const_iterator FirstOf(const Entries& entries, std::uint64_t hash);
  Status DropRepeats();
  Result<Verdict> At(const Entry& entry);

  RecordFile records_;
  HashKey key_;
  Entries verdicts_, deferrals_;
  std::vector<bool> found_;  // of verdicts_
};

struct ListChange {
  StateCounts kept{};      // of the people on the list as it is now
  std::uint64_t left = 0;  // people on it without a verdict; suppressed ones too
  std::uint64_t gone = 0;  // people with a verdict who are not on it any more
  // The messages that were on the wire, unknown now. The line is 0 for who is gone.
  std::vector<JournalEvent> cut_off;

  std::uint64_t Kept() const;
  // "the list was changed ...", for a person.
  std::string Text() const;
};

// Has the journal, whose list has changed, say who of the list as it is now has a verdict already.
// BeginRun is still to be called. kBadInput where damage hides who was sent to: only the unchanged
// list tells who that may be.
Result<ListChange> CarryOver(Journal& journal, const std::filesystem::path& folder,
                             const Distribution& list, Randomness& randomness);

}  // namespace vespro::engine
