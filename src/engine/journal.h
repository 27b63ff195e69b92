// engine/journal.h - what happened to whom, one line an event, for resuming a job and for its
// reports. Format: docs/journal.md. One thread per object.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/status.h"
#include "engine/delivery.h"

namespace vespro::engine {

// Tells one list from another, and a list from the same one after an edit.
struct ListIdentity {
  std::uint64_t bytes = 0;
  std::uint64_t hash = 0;   // of the bytes; the same on every machine
  std::uint64_t lines = 0;  // as LineReader counts them
  friend bool operator==(const ListIdentity&, const ListIdentity&) = default;
};

// Reads the whole file once, in blocks, or its first `at_most` bytes.
Result<ListIdentity> IdentifyList(const std::filesystem::path& path,
                                  std::uint64_t at_most = UINT64_MAX);

// "sent", "refused", "failed", "skipped", "unknown".
std::string_view StateName(State state);
constexpr std::size_t kStates = 5;

// How a run ended that came to the end of its list, as the journal says it.
inline constexpr char kResultFinished[] = "finished";
// Held while an engine works on the job in this folder.
inline constexpr char kJournalLock[] = "journal.lock";

struct JournalEvent {
  enum class Kind { kList, kRun, kIntent, kPutBack, kOutcome, kEnd };
  Kind kind = Kind::kList;
  ListIdentity list;      // kList
  std::int64_t time = 0;  // kRun, kEnd: seconds since 1970, UTC
  std::uint64_t message = 0;  // kRun: a hash of the message file
  Recipient recipient;    // kIntent: without row; kPutBack: the line only; kOutcome: all.
                          // An outcome's row is the one to mend and send again, empty for none.
  Outcome outcome;        // kOutcome; kIntent: the server
  std::string reason;     // kEnd: how the run ended
};

// Reads a journal from its beginning.
class JournalReader {
 public:
  // kNotFound; kBadInput when the first line is whole but not that of a journal we know.
  static Result<JournalReader> Open(const std::filesystem::path& path);

  // The next event; false at the end or when reading fails, see status(). Lines that were torn or
  // damaged are passed over and counted.
  bool Next(JournalEvent& event);
  std::uint64_t damaged() const { return damaged_; }
  const Status& status() const { return lines_.status(); }
  // Whether the file ends within its first line: the run ended before anything was sent.
  bool empty() const { return empty_; }

 private:
  explicit JournalReader(LineReader lines) : lines_(std::move(lines)) {}

  LineReader lines_;
  bool empty_ = false;
  std::uint64_t damaged_ = 0;
};

// Where every line of the list stands, in one byte a line.
class LineStates {
 public:
  explicit LineStates(std::uint64_t lines = 0) : marks_(static_cast<std::size_t>(lines) + 1) {}

  // Events must be taken in their order. False for a line that the list does not have.
  bool Take(const JournalEvent& event);

  // On the wire when the journal broke off.
  bool InDoubt(std::uint64_t line) const;
  std::optional<State> OutcomeOf(std::uint64_t line) const;
  // Outcomes so far. A line has several when its unknown message was sent again; kMaxOutcomes is
  // where such repeats end.
  unsigned Outcomes(std::uint64_t line) const;
  static constexpr unsigned kMaxOutcomes = 31;

  std::uint64_t Count(State state) const;
  std::uint64_t InDoubtCount() const;

 private:
  // Low three bits: 0 nothing known, 1 in doubt, 2 + State; high five: the number of outcomes.
  std::uint64_t CountMarks(unsigned mark) const;
  std::vector<std::uint8_t> marks_;
};

// Appends to the journal of a session folder. Lines are gathered; Commit has them with the system
// when it returns, and calling it again and again has them on the disk within about a second. After
// a failure, such as a full disk, every further call fails likewise and writes nothing.
class Journal final : public ResultSink {
 public:
  // Continues the journal in `folder`, or begins one. kBadInput when the one that is there belongs
  // to another list or version, or is no journal. `fresh` renames it to "journal.old" instead.
  // `clock` must outlive the object.
  static Result<Journal> Open(const std::filesystem::path& folder, const ListIdentity& list,
                              bool fresh, const Clock& clock);
  static std::filesystem::path PathIn(const std::filesystem::path& folder);

  // What earlier runs have left; does not follow what is written now.
  const LineStates& states() const { return states_; }
  LineStates& states() { return states_; }
  // Which server a line in doubt was on its way to; empty where that is not known.
  std::string ServerOf(std::uint64_t line) const {
    const auto found = doubted_.find(line);
    return found == doubted_.end() ? std::string() : found->second;
  }
  std::uint64_t damaged() const { return damaged_; }
  // The message file's hash of the run before; nothing in a new journal.
  std::optional<std::uint64_t> message_before() const { return message_before_; }

  Status Sending(std::span<const Recipient> recipients, std::string_view server) override;
  Status PutBack(std::span<const Recipient> recipients) override;
  Status Record(const Recipient& recipient, const Outcome& outcome) override;
  Status Commit() override;
  // A row that is not sent to. `mend`: it belongs among the rows to be corrected and sent again,
  // which a duplicate does not.
  Status Skip(const Recipient& row, std::string_view reason, bool mend);
  // `message`: a hash of the message file, the same on every machine.
  Status BeginRun(std::uint64_t message);
  // The last line of a run; waits for the disk.
  Status EndRun(std::string_view reason);

 private:
  Journal(File file, const Clock& clock, LineStates states, std::uint64_t damaged);
  Status Gathered();
  Status Write();
  Status Sync();
  Status AppendOutcome(const Recipient& recipient, const Outcome& outcome, std::string_view row);

  File file_;
  const Clock* clock_;
  LineStates states_;
  std::map<std::uint64_t, std::string> doubted_;
  std::uint64_t damaged_;
  std::optional<std::uint64_t> message_before_;
  std::string buffer_;
  std::chrono::steady_clock::time_point last_sync_;
  bool unsynced_ = false;
  Status failure_;
};

}  // namespace vespro::engine
