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
#include <unordered_map>
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
  // How its rows are read, see ReadingOf; 0 where that is not known.
  std::uint64_t reading = 0;

  // Whether a line of it is the same person's.
  bool Matches(const ListIdentity& other) const;
  friend bool operator==(const ListIdentity&, const ListIdentity&) = default;
};

// Reads the whole file once, in blocks, or its first `at_most` bytes.
Result<ListIdentity> IdentifyList(const std::filesystem::path& path,
                                  std::uint64_t at_most = UINT64_MAX);

// "sent", "refused", "failed", "skipped", "unknown", "not reached".
std::string_view StateName(State state);
constexpr std::size_t kStates = 5, kReportStates = 6;  // without and with State::kNotReached
// In which order verdicts are named, and in a report.
inline constexpr std::array<State, kStates> kStateOrder = {
    State::kSent, State::kRefused, State::kFailed, State::kSkipped, State::kUnknown};
inline constexpr std::array<State, kReportStates> kReportOrder = {
    State::kSent,    State::kRefused, State::kFailed,
    State::kSkipped, State::kUnknown, State::kNotReached};

using StateCounts = std::array<std::uint64_t, kReportStates>;
// "188 sent, 2 refused": those of which there are any, and "sent" always.
std::string CountsText(const StateCounts& counts);

// How a run ended that came to the end of its list, as the journal says it.
inline constexpr char kResultFinished[] = "finished";

struct JournalEvent {
  // kList: the first one names the list; a further one begins to say who of a changed list has a
  // verdict already, one kKept for each, and the next kRun makes that list the one that all lines
  // are about. kReach: intents up to this line of the list may follow. kInClear: a server took
  // messages without TLS. kLost: no event, but records that are missing at the end. kStray: a whole
  // record that is where another one belongs; it tells that there was something with `recipient`,
  // and no more.
  enum class Kind {
    kList,
    kRun,
    kKept,
    kReach,
    kIntent,
    kPutBack,
    kOutcome,
    kInClear,
    kEnd,
    kLost,
    kStray
  };
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
  Recipient recipient;   // kIntent: without row; kPutBack, kReach: the line only; kOutcome, kKept:
                         // all. An outcome's row is the one to mend and send again, empty for none.
                         // The line of a kKept is 0 for somebody who is not on the list any more.
  Outcome outcome;       // kOutcome, kKept; kIntent, kInClear: the server; kPutBack: all but the
                         // state, and nothing from an earlier version
  std::string deferral;  // kKept: how he was deferred before, as reports say it; empty for no way
  std::string mark;      // kPutBack: as in Deferral
  std::string reason;    // kEnd: how the run ended
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

  // Where the record begins that Next gave last.
  std::uint64_t offset() const { return record_at_; }
  // After the last event: what of the file is a torn end, and the number that the next record gets.
  std::uint64_t file_bytes() const { return lines_.file_bytes(); }
  std::uint64_t torn_bytes() const { return torn_bytes_; }
  std::uint64_t next_number() const { return last_ + 1; }

  static constexpr std::uint64_t kVersion = 4;

 private:
  explicit JournalReader(LineReader lines) : lines_(std::move(lines)) {}
  bool Fits(JournalEvent& event);
  void TakeStray(JournalEvent& event);
  bool FitsUnnumbered(JournalEvent& event);
  void NoteDamage(std::string_view line, bool terminated);
  bool AtEnd(JournalEvent& event);

  LineReader lines_;
  bool empty_ = false, ended_ = false;
  std::uint64_t version_ = kVersion;  // as its head says
  std::uint64_t first_at_ = 0;
  std::optional<JournalEvent> first_;  // read to see whose journal it is
  std::uint64_t damaged_ = 0;
  std::uint64_t last_ = 0;  // the last record's number
  bool has_unnumbered_ = false;
  std::uint64_t pending_ = 0;     // damaged lines since the last whole record
  bool pending_is_torn_ = false;  // the last of them may be a torn record
  bool pending_is_last_ = false;  // ... and has no line end
  std::uint64_t record_at_ = 0;
  std::uint64_t whole_bytes_ = 0;  // up to the last whole record
  std::uint64_t torn_bytes_ = 0;
};

// Reads single records of a journal that is whole up to there.
class RecordFile {
 public:
  static Result<RecordFile> Open(const std::filesystem::path& path);
  // The record at an offset that JournalReader has told. kBadInput where there is none (any more).
  Status Read(std::uint64_t offset, JournalEvent& event);

 private:
  explicit RecordFile(File file) : file_(std::move(file)) {}
  File file_;
  std::string block_;
  std::uint64_t block_at_ = 0;
};

// Where every line of the list is, in one byte a line.
class LineStates {
 public:
  explicit LineStates(std::uint64_t lines = 0) : marks_(static_cast<std::size_t>(lines) + 1) {}

  // Events must be taken in their order. False for a line that the list does not have.
  bool Take(const JournalEvent& event);

  // An outcome that was carried over from another list. False as above.
  bool Keep(std::uint64_t line, State state);
  // Records are missing that may have been about any of these lines.
  void Lose(std::uint64_t first, std::uint64_t last);

  std::uint64_t lines() const { return marks_.size() - 1; }
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
  std::uint64_t MayBeLostCount() const;

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

// Follows a journal from list to list: what it says of the one that its lines are about now.
class JournalState {
 public:
  // Events must be taken in their order. False for a line that the list does not have.
  bool Take(const JournalEvent& event);

  // Nothing until the journal has named it.
  const std::optional<ListIdentity>& list() const { return list_; }
  const LineStates& lines() const { return lines_; }
  LineStates& lines() { return lines_; }
  // The number of the first record that is about this list.
  std::uint64_t since() const { return since_; }
  // Whether a record is about this list, or about somebody who was on an earlier one.
  bool IsCurrent(const JournalEvent& event) const;

 private:
  // A list that counts from the next run on.
  struct Opened {
    ListIdentity list;
    LineStates lines;
    std::uint64_t since = 0;
    std::uint64_t last_kept = 0;  // the line; they come in the list's order
  };
  bool TakeWhileOpened(const JournalEvent& event, bool begins_run);
  void Open(const JournalEvent& event);
  bool Keep(const JournalEvent& event);
  void ChangeToUnknown(const JournalEvent& run);
  void ChangeList(const ListIdentity& list, LineStates lines, std::uint64_t since);

  std::optional<ListIdentity> list_;
  LineStates lines_;
  std::uint64_t since_ = 0, kept_until_ = 0;
  std::optional<Opened> opened_;
};

// Finds the outcomes that count while a journal is read once more: a line has several when its
// unknown message was sent again, and the last one counts.
class LastOutcomes {
 public:
  // `state` must have taken the whole journal, and outlive the object.
  explicit LastOutcomes(const JournalState& state) : state_(state) {}
  // Whether this is an outcome that counts: of a person on the list named last.
  bool Is(const JournalEvent& event);

 private:
  const JournalState& state_;
  std::unordered_map<std::uint64_t, unsigned> seen_;  // of the few lines with several
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
  // there is of a later version, or is no journal. `fresh` renames it to "journal.old" instead.
  // `clock` must outlive the object.
  static Result<Journal> Open(const std::filesystem::path& folder, const ListIdentity& list,
                              bool fresh, const Clock& clock);
  static std::filesystem::path PathIn(const std::filesystem::path& folder);

  // Whether earlier runs were about another list than Open was given, or read it differently. Then
  // states() are that one's, and nothing may be written before BeginList.
  bool list_has_changed() const { return !state_.list()->Matches(list_); }
  // What earlier runs have left; does not follow what is written now, but for a change of the list.
  const JournalState& state() const { return state_; }
  const LineStates& states() const { return state_.lines(); }
  LineStates& states() { return state_.lines(); }
  // Which server a line in doubt was on its way to; empty where that is not known.
  std::string ServerOf(std::uint64_t line) const {
    const auto found = doubted_.find(line);
    return found == doubted_.end() ? std::string() : found->second;
  }
  // See Recipient::suspected; nothing for most lines.
  const std::map<std::uint64_t, int>& suspected() const { return suspected_; }
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
  // For a list that has changed: BeginList, Keep for everybody who has a verdict, in the list's
  // order, then for those who are not on it any more with line 0. BeginRun makes it count; when the
  // process ends before, nothing has changed.
  Status BeginList();
  Status Keep(const JournalEvent& kept);
  // The server has taken messages without TLS.
  Status NoteInClear(std::string_view server);
  // `message`: a hash of the message file, the same on every machine.
  Status BeginRun(std::uint64_t message);
  // The last line of a run; waits for the disk.
  Status EndRun(std::string_view reason);

 private:
  Journal(File file, std::filesystem::path path, const Clock& clock, const ListIdentity& list,
          JournalState state);
  void RaiseReach(std::uint64_t line);
  Status FlushIfFull();
  Status Write();
  Status Sync();
  Status CheckPlace() const;

  File file_;
  std::filesystem::path path_;
  const Clock* clock_;
  ListIdentity list_;
  JournalState state_;
  std::map<std::uint64_t, std::string> doubted_;
  std::map<std::uint64_t, int> suspected_;
  std::uint64_t damaged_ = 0, torn_bytes_ = 0;
  std::uint64_t next_number_ = 1, reach_ = 0;
  std::optional<std::uint64_t> message_before_;
  std::string buffer_;
  std::chrono::steady_clock::time_point last_sync_;
  bool unsynced_ = false;
  Status failure_;
};

}  // namespace vespro::engine
