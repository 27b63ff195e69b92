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
#include "engine/work.h"

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
// In which order states are named.
inline constexpr std::array<State, kStates> kStateOrder = {
    State::kSent, State::kRefused, State::kFailed, State::kSkipped, State::kUnknown};

using StateCounts = std::array<std::uint64_t, kStates>;
// "188 sent, 2 refused": those of which there are any, and "sent" always.
std::string CountsText(const StateCounts& counts);

// How a run ended that came to the end of its list, as the journal says it.
inline constexpr char kResultFinished[] = "finished";

struct JournalEvent {
  // kReach: intents up to this line of the list may follow. kLost: no event, but records that are
  // missing at the end. kStray: a whole record that is where another one belongs; it tells that
  // there was something with `recipient`, and no more.
  enum class Kind { kList, kRun, kReach, kIntent, kPutBack, kOutcome, kEnd, kLost, kStray };
  Kind kind = Kind::kList;
  // The record's number; 0 in what the first version has written.
  std::uint64_t number = 0;
  // How many records are missing right before this one. kAnyNumber: nobody knows.
  std::uint64_t missing = 0;
  static constexpr std::uint64_t kAnyNumber = UINT64_MAX;
  ListIdentity list;          // kList; kRun of a numbered record
  std::uint64_t version = 0;  // kList of a numbered record: of the journal that begins with it
  std::int64_t time = 0;      // kRun, kEnd: seconds since 1970, UTC
  std::uint64_t message = 0;  // kRun: a hash of the message file
  Recipient recipient;  // kIntent: without row; kPutBack, kReach: the line only; kOutcome: all.
                        // An outcome's row is the one to mend and send again, empty for none.
  Outcome outcome;      // kOutcome; kIntent: the server; kPutBack: all but the state, and nothing
                        // from an earlier version
  std::string reason;   // kEnd: how the run ended
};

// Reads a journal from its beginning. What can't be read is told as missing records, so that nobody
// takes a damaged journal for a complete one. Only a torn end is nothing to worry about: the record
// was not written when the process or the power went, so what it announces did not happen.
class JournalReader {
 public:
  // kNotFound; kBadInput when the first line is whole but not that of a journal we know.
  static Result<JournalReader> Open(const std::filesystem::path& path);

  // The next event; false at the end or when reading fails, see status().
  bool Next(JournalEvent& event);
  // Lines that could not be read, a torn end not among them, or that are gone.
  std::uint64_t damaged() const { return damaged_; }
  const Status& status() const { return lines_.status(); }
  // Whether the file ends within its first line: the run ended before anything was sent.
  bool empty() const { return empty_; }
  // Whether it has an earlier version's head. The first one's records have no numbers.
  bool of_earlier_version() const { return version_ < kVersion; }

  // After the last event: what of the file is a torn end, and the number that the next record gets.
  std::uint64_t file_bytes() const { return lines_.file_bytes(); }
  std::uint64_t torn_bytes() const { return torn_bytes_; }
  std::uint64_t next_number() const { return last_ + 1; }

  static constexpr std::uint64_t kVersion = 3;

 private:
  explicit JournalReader(LineReader lines) : lines_(std::move(lines)) {}
  bool Fits(JournalEvent& event);
  void TakeStray(JournalEvent& event);
  bool FitsUnnumbered(JournalEvent& event);
  void NoteDamage(std::string_view line, bool terminated);
  bool AtEnd(JournalEvent& event);

  LineReader lines_;
  bool empty_ = false, ended_ = false;
  std::uint64_t version_ = kVersion;   // as its head says
  std::optional<JournalEvent> first_;  // read to see whose journal it is
  std::uint64_t damaged_ = 0;
  std::uint64_t last_ = 0;  // the last record's number
  bool has_unnumbered_ = false;
  std::uint64_t pending_ = 0;      // damaged lines since the last whole record
  bool pending_is_torn_ = false;   // the last of them may be a torn record
  bool pending_is_last_ = false;   // ... and has no line end
  std::uint64_t whole_bytes_ = 0;  // up to the last whole record
  std::uint64_t torn_bytes_ = 0;
};

// Where every line of the list is, in one byte a line.
class LineStates {
 public:
  explicit LineStates(std::uint64_t lines = 0) : marks_(static_cast<std::size_t>(lines) + 1) {}

  // Events must be taken in their order. False for a line that the list does not have.
  bool Take(const JournalEvent& event);

  // On the wire when the journal broke off.
  bool InDoubt(std::uint64_t line) const;
  // A record is missing that may have been this line's intent, and nothing after it tells.
  bool MayBeLost(std::uint64_t line) const;
  // No intent so far is for a line beyond this one.
  std::uint64_t reach() const { return reach_; }
  // An intent for a line beyond `reach` is written only after the reach was raised, by so much.
  static constexpr std::uint64_t kReachStep = 10;
  std::optional<State> OutcomeOf(std::uint64_t line) const;
  // Outcomes so far. A line has several when its unknown message was sent again; kMaxOutcomes is
  // where such repeats end.
  unsigned Outcomes(std::uint64_t line) const;
  static constexpr unsigned kMaxOutcomes = 31;

  std::uint64_t Count(State state) const;
  std::uint64_t InDoubtCount() const;

 private:
  void Miss(std::uint64_t records);
  void Reach(std::uint64_t line);
  std::uint64_t CountMarks(unsigned mark) const;

  // Low three bits: 0 nothing known, 1 in doubt, 2 + State, 7 may be lost; high five: the number of
  // outcomes.
  std::vector<std::uint8_t> marks_;
  std::uint64_t reach_ = 0;
  std::uint64_t lost_to_ = 0;  // lines up to this one were marked when records were missed
  std::vector<std::uint64_t> put_back_;  // of those, put back since
};

// Appends to the journal of a session folder, which no other Journal can do as long as the object
// lives. Lines are gathered; Commit has them with the system when it returns, and calling it again
// and again has them on the disk within about a second. After a failure, such as a full disk, every
// further call fails likewise and writes nothing.
//
// A journal that is moved or removed meanwhile is a failure too, noticed within a second of
// sending: an engine that came then would find none and send to everybody again. In its place there
// is then a file that no engine takes for a journal, unless another file is there.
class Journal final : public ResultSink {
 public:
  // Continues the journal in `folder`, or begins one: that it is there has then reached the disk,
  // and so has the folder. kResumable while another Journal has it. kBadInput when the one that is
  // there belongs to another list or version, or is no journal. `fresh` renames it to "journal.old"
  // instead. `clock` must outlive the object.
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
  Status PutBack(const Recipient& recipient, const Deferral& why) override;
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
  Journal(File file, std::filesystem::path path, const Clock& clock, const ListIdentity& list,
          LineStates states);
  void RaiseReach(std::uint64_t line);
  Status FlushIfFull();
  Status Write();
  Status Sync();
  Status CheckPlace() const;
  Status AppendOutcome(const Recipient& recipient, const Outcome& outcome, std::string_view row);

  File file_;
  std::filesystem::path path_;
  const Clock* clock_;
  ListIdentity list_;
  LineStates states_;
  std::map<std::uint64_t, std::string> doubted_;
  std::uint64_t damaged_ = 0, torn_bytes_ = 0;
  std::uint64_t next_number_ = 1, reach_ = 0;
  std::optional<std::uint64_t> message_before_;
  std::string buffer_;
  std::chrono::steady_clock::time_point last_sync_;
  bool unsynced_ = false;
  Status failure_;
};

}  // namespace vespro::engine
