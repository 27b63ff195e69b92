#include "engine/list_change.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "base/files.h"
#include "engine/list_source.h"
#include "engine/report_rows.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;
using Kind = JournalEvent::Kind;

// A row that is at fault, or that repeats another one, says nothing of the person.
bool IsOfRowOnly(const JournalEvent& event) {
  return event.outcome.state == State::kSkipped &&
         (!event.recipient.row.empty() || event.outcome.reply == kDuplicate);
}

std::string People(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " person" : " people");
}

}  // namespace

std::uint64_t ReadingOf(const Distribution& list) {
  if (list.kind != ListKind::kCsv) return 1;
  const int column = std::max<int>(list.column, -1);
  return 2 * static_cast<std::uint64_t>(column + 2) + (list.header ? 1 : 0);
}

Result<ListIdentity> IdentifyList(const Distribution& list, std::uint64_t at_most) {
  Result<ListIdentity> identity = IdentifyList(ModFiles::FromUtf8(list.path), at_most);
  if (identity.ok()) identity->reading = ReadingOf(list);
  return identity;
}

VerdictIndex::VerdictIndex(RecordFile records, Randomness& randomness)
    : records_(std::move(records)), key_{randomness.Next(), randomness.Next()} {}

Result<VerdictIndex> VerdictIndex::Read(const fs::path& journal, const JournalState& state,
                                        Randomness& randomness) {
  Result<RecordFile> records = RecordFile::Open(journal);
  if (!records.ok()) return records.status();
  Result<JournalReader> reader = JournalReader::Open(journal);
  if (!reader.ok()) return reader.status();
  VerdictIndex index(std::move(records).value(), randomness);
  LastOutcomes last(state);
  std::unordered_map<std::uint64_t, std::uint64_t> deferred;  // by line: where
  for (JournalEvent event; reader->Next(event);) {
    if (!state.IsCurrent(event)) continue;
    const std::uint64_t line = event.recipient.line;
    if (event.kind == Kind::kPutBack) deferred[line] = reader->offset();
    const bool is_gone = event.kind == Kind::kKept && line == 0;
    const bool was_on_wire = event.kind == Kind::kIntent && state.lines().InDoubt(line);
    if (!is_gone && !was_on_wire) {
      if (event.kind != Kind::kOutcome && event.kind != Kind::kKept) continue;
      const auto deferral = deferred.extract(line);
      if (!last.Is(event) || IsOfRowOnly(event)) continue;
      if (!deferral.empty()) {
        index.deferrals_.push_back(
            {SipHash(index.key_, event.recipient.address), deferral.mapped()});
      }
    }
    index.verdicts_.push_back({SipHash(index.key_, event.recipient.address), reader->offset()});
  }
  if (!reader->status().ok()) return reader->status();
  for (Entries* const entries : {&index.verdicts_, &index.deferrals_}) {
    std::sort(entries->begin(), entries->end(), [](const Entry& a, const Entry& b) {
      return std::pair(a.hash, a.offset) < std::pair(b.hash, b.offset);
    });
  }
  if (Status dropped = index.DropRepeats(); !dropped.ok()) return dropped;
  index.found_.resize(index.verdicts_.size());
  return index;
}

// Whose unknown message was on the wire again has two records, and the last one counts. Two
// addresses may have one hash, too.
Status VerdictIndex::DropRepeats() {
  std::size_t left = 0;
  for (std::size_t i = 0; i < verdicts_.size(); ++i) {
    const Entry entry = verdicts_[i];
    bool is_repeated = false;
    for (std::size_t k = i + 1; !is_repeated && k < verdicts_.size(); ++k) {
      if (verdicts_[k].hash != entry.hash) break;
      JournalEvent event, later;
      if (Status read = records_.Read(entry.offset, event); !read.ok()) return read;
      if (Status read = records_.Read(verdicts_[k].offset, later); !read.ok()) return read;
      is_repeated = event.recipient.address == later.recipient.address;
    }
    if (!is_repeated) verdicts_[left++] = entry;
  }
  verdicts_.resize(left);
  return {};
}

VerdictIndex::Entries::const_iterator VerdictIndex::FirstOf(const Entries& entries,
                                                            std::uint64_t hash) {
  return std::partition_point(entries.begin(), entries.end(),
                              [hash](const Entry& entry) { return entry.hash < hash; });
}

bool VerdictIndex::MayHave(std::string_view address) const {
  const std::uint64_t hash = SipHash(key_, address);
  const auto entry = FirstOf(verdicts_, hash);
  return entry != verdicts_.end() && entry->hash == hash;
}

Result<VerdictIndex::Verdict> VerdictIndex::At(const Entry& entry) {
  Verdict verdict;
  JournalEvent& event = verdict.kept;
  if (Status read = records_.Read(entry.offset, event); !read.ok()) return read;
  verdict.was_on_wire = event.kind == Kind::kIntent;
  if (verdict.was_on_wire) {
    event.outcome = {State::kUnknown, 1, event.outcome.server, std::string(kCutOff)};
  }
  for (auto deferral = FirstOf(deferrals_, entry.hash);
       deferral != deferrals_.end() && deferral->hash == entry.hash; ++deferral) {
    JournalEvent before;
    if (Status read = records_.Read(deferral->offset, before); !read.ok()) return read;
    event.deferral = ModReportRows::DeferralText(before.outcome);
  }
  event.kind = Kind::kKept;
  return verdict;
}

// The journal's address decides, since two may have one hash.
Result<std::optional<VerdictIndex::Verdict>> VerdictIndex::Find(std::string_view address) {
  const std::uint64_t hash = SipHash(key_, address);
  for (auto entry = FirstOf(verdicts_, hash); entry != verdicts_.end() && entry->hash == hash;
       ++entry) {
    Result<Verdict> verdict = At(*entry);
    if (!verdict.ok()) return verdict.status();
    if (verdict->kept.recipient.address != address) continue;
    found_[static_cast<std::size_t>(entry - verdicts_.begin())] = true;
    return std::optional<Verdict>(std::move(verdict).value());
  }
  return std::optional<Verdict>();
}

Status VerdictIndex::ForOthers(const std::function<Status(const Verdict&)>& take) {
  std::size_t left = 0;
  for (std::size_t i = 0; i < verdicts_.size(); ++i) {
    if (!found_[i]) verdicts_[left++] = verdicts_[i];
  }
  verdicts_.resize(left);
  std::sort(verdicts_.begin(), verdicts_.end(),
            [](const Entry& a, const Entry& b) { return a.offset < b.offset; });
  for (const Entry& entry : verdicts_) {
    const Result<Verdict> verdict = At(entry);
    if (!verdict.ok()) return verdict.status();
    if (Status taken = take(verdict.value()); !taken.ok()) return taken;
  }
  return {};
}

std::uint64_t ListChange::Kept() const {
  std::uint64_t count = 0;
  for (const std::uint64_t of_state : kept) count += of_state;
  return count;
}

std::string ListChange::Text() const {
  const std::uint64_t done = Kept();
  std::string text = "the list was changed since the last run: " + People(done) + " on it ";
  text += done == 1 ? "is done" : "are done";
  if (done > 0) text += " (" + CountsText(kept) + ")";
  text += done == 1 ? " and is not mailed again, " : " and are not mailed again, ";
  text += std::to_string(left) + (left == 1 ? " has" : " have") + " no verdict yet";
  if (gone > 0) {
    text += ", " + std::to_string(gone) + " who " + (gone == 1 ? "is" : "are") + " done " +
            (gone == 1 ? "is" : "are") + " not on it any more";
  }
  return text;
}

Result<ListChange> CarryOver(Journal& journal, const fs::path& folder, const Distribution& list,
                             Randomness& randomness) {
  if (journal.states().MayBeLostCount() > 0) {
    return Status(
        Code::kBadInput,
        "the journal is damaged and may hide to whom messages were sent, and the list was changed "
        "since, so nobody knows who that may be and nobody is sent to; put the list back as it was "
        "and start the job once, then change it; or start the job anew with --fresh, which mails "
        "again whoever has been served");
  }
  Result<VerdictIndex> index =
      VerdictIndex::Read(Journal::PathIn(folder), journal.state(), randomness);
  if (!index.ok()) return index.status();
  Result<ListSource> source = ListSource::Open(list, {}, randomness);
  if (!source.ok()) return source.status();
  if (Status begun = journal.BeginList(); !begun.ok()) return begun;
  ListChange change;
  const auto keep = [&journal, &change](const VerdictIndex::Verdict& verdict) {
    if (verdict.was_on_wire) change.cut_off.push_back(verdict.kept);
    return journal.Keep(verdict.kept);
  };
  for (;;) {
    Result<std::vector<Recipient>> block = source->Next(1000);
    if (!block.ok()) return block.status();
    if (block->empty()) break;
    for (Recipient& recipient : block.value()) {
      Result<std::optional<VerdictIndex::Verdict>> found = index->Find(recipient.address);
      if (!found.ok()) return found.status();
      if (!found.value().has_value()) {
        ++change.left;
        continue;
      }
      VerdictIndex::Verdict& verdict = *found.value();
      verdict.kept.recipient = std::move(recipient);
      ++change.kept[static_cast<std::size_t>(verdict.kept.outcome.state)];
      if (Status kept = keep(verdict); !kept.ok()) return kept;
    }
  }
  const Status others = index->ForOthers([&](const VerdictIndex::Verdict& verdict) {
    ++change.gone;
    VerdictIndex::Verdict gone = verdict;
    gone.kept.recipient.line = 0;
    return keep(gone);
  });
  if (!others.ok()) return others;
  return change;
}

}  // namespace vespro::engine
