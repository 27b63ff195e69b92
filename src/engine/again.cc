#include "engine/again.h"

#include <utility>

#include "base/files.h"
#include "engine/job.h"
#include "engine/journal.h"
#include "engine/list_change.h"
#include "engine/list_source.h"
#include "recipients/row.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

// What the journal says of every line; kResumable where they are not the lines of the list as it is
// now.
Result<LineStates> StatesOf(const Job& job, const fs::path& folder) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  Result<ListIdentity> now = IdentifyList(job.list);
  if (!now.ok()) return now.status();
  JournalState state;
  for (JournalEvent event; reader->Next(event);) state.Take(event);
  if (!reader->status().ok()) return reader->status();
  if (state.list().has_value() && !state.list()->Matches(now.value())) {
    return Status(Code::kResumable,
                  "the list '" + job.list.path +
                      "' was changed since this job, so it can't be told from it whom the job "
                      "did not reach: put it back as it was, or go on with the job first; "
                      "'vespro reports failed' has the rows of those who failed");
  }
  return std::move(state.lines());
}

// Nothing for who was not reached.
std::optional<State> VerdictOf(const LineStates& states, std::uint64_t line) {
  if (states.InDoubt(line) || states.MayBeLost(line)) return State::kUnknown;
  return states.OutcomeOf(line);
}

}  // namespace

bool AgainChoice::Has(std::optional<State> verdict) const {
  if (!verdict.has_value() || *verdict == State::kFailed) return true;
  return (*verdict == State::kRefused && refused) || (*verdict == State::kUnknown && unknown);
}

Result<AgainCounts> WriteAgainList(const EngineOptions& first, AgainChoice choice,
                                   const fs::path& file, Randomness& randomness) {
  Result<Job> job = ReadJob(first.job_file);
  if (!job.ok()) return job.status();
  Result<LineStates> states = StatesOf(job.value(), first.job_file.parent_path());
  if (!states.ok()) return states.status();
  Result<ListSource> source = ListSource::Open(job->list, first.list, randomness);
  if (!source.ok()) return source.status();
  for (const fs::path& suppressed : first.suppress) {
    if (Status status = source->Suppress(suppressed); !status.ok()) return status;
  }
  AgainCounts counts;
  source->SetWanted([&](std::uint64_t line) {
    const std::optional<State> verdict = VerdictOf(states.value(), line);
    if (verdict == State::kRefused) ++counts.refused;
    if (verdict == State::kUnknown) ++counts.unknown;
    return choice.Has(verdict) && states->Outcomes(line) < LineStates::kMaxOutcomes;
  });
  Result<AtomicFile> list = AtomicFile::Create(file, Access::kPrivate);
  if (!list.ok()) return list.status();
  if (job->list.kind == ListKind::kCsv) {
    std::string head(source->has_byte_order_mark() ? ModRow::kByteOrderMark : "");
    if (Status status = list->Write(head + source->first_row() + "\r\n"); !status.ok()) {
      return status;
    }
  }
  for (;;) {
    Result<std::vector<Recipient>> block = source->Next(1000);
    if (!block.ok()) return block.status();
    if (block->empty()) break;
    for (const Recipient& recipient : block.value()) {
      // Counted here, since rows that will be skipped have no verdict yet either.
      const std::optional<State> verdict = VerdictOf(states.value(), recipient.line);
      if (verdict == State::kFailed) ++counts.failed;
      if (!verdict.has_value()) ++counts.not_reached;
      const std::string& row = job->list.kind == ListKind::kCsv ? recipient.row : recipient.address;
      if (Status status = list->Write(row + "\r\n"); !status.ok()) return status;
    }
    counts.people += block->size();
  }
  if (Status status = list->Commit(); !status.ok()) return status;
  return counts;
}

std::string AgainDistribution(const Distribution& first, std::string_view file_name) {
  Distribution again = first;
  again.path = file_name;
  again.header = true;
  return ModDistribution::Compose(again);
}

}  // namespace vespro::engine
