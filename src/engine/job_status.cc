#include "engine/job_status.h"

#include <algorithm>

#include "base/command_line.h"
#include "base/files.h"
#include "engine/job.h"
#include "engine/list_change.h"
#include "engine/list_source.h"
#include "engine/session_lock.h"
#include "mime/header.h"
#include "mime/reader.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kHeadBytes = 64 * 1024;

// As the command line takes it, from whatever folder.
std::string SessionName(const fs::path& job_file) {
  return ModFiles::ToUtf8(ModFiles::FullPath(job_file).parent_path());
}

std::string SubjectOf(const fs::path& message_file) {
  Result<File> file = File::Open(message_file, File::Mode::kRead);
  if (!file.ok()) return {};
  std::string head(kHeadBytes, '\0');
  Result<std::size_t> size = file->Read(head.data(), head.size());
  if (!size.ok()) return {};
  head.resize(size.value());
  const Result<MimePart> message = ParseMime(head);
  return message.ok() ? ModHeader::Decode(HeaderValue(message.value(), "Subject")) : "";
}

struct WithoutVerdict {
  std::uint64_t recipients = 0;
  std::uint64_t others = 0;  // rows that will be skipped
};

struct JournalContent {
  JournalState state;
  std::uint64_t damaged = 0;
};

Result<JournalContent> ReadJournal(const fs::path& folder, JobStatus& status) {
  JournalContent content;
  if (!ModFiles::IsFile(Journal::PathIn(folder))) return content;
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  for (JournalEvent event; reader->Next(event);) {
    if (event.kind == JournalEvent::Kind::kRun) {
      status.began = event.time;
      status.ended = 0;
      status.result.clear();
    }
    if (event.kind == JournalEvent::Kind::kEnd) {
      status.ended = event.time;
      status.result = event.reason;
    }
    content.state.Take(event);
  }
  if (!reader->status().ok()) return reader->status();
  content.damaged = reader->damaged();
  return content;
}

// Who of the list has no verdict, by lines or, where it has changed, by addresses. Nothing when it
// can't be read.
std::optional<WithoutVerdict> CountWithoutVerdict(const Job& job, const EngineOptions& options,
                                                  const JournalState& state, bool list_changed,
                                                  Randomness& randomness) {
  const LineStates none;
  Result<std::unique_ptr<ListSource>> source =
      OpenWithoutVerdict(job.list, options, list_changed ? none : state.lines(), randomness);
  if (!source.ok()) return std::nullopt;
  std::optional<VerdictIndex> verdicts;
  if (list_changed) {
    const fs::path journal = Journal::PathIn(options.job_file.parent_path());
    Result<VerdictIndex> index = VerdictIndex::Read(journal, state, randomness);
    if (!index.ok()) return std::nullopt;
    verdicts.emplace(std::move(index).value());
  }
  for (std::uint64_t left = 0;;) {
    Result<std::vector<Recipient>> block = source.value()->Next(1000);
    if (!block.ok()) return std::nullopt;
    if (block->empty()) return WithoutVerdict{left, source.value()->skipped()};
    left += static_cast<std::uint64_t>(
        std::count_if(block->begin(), block->end(), [&verdicts](const Recipient& recipient) {
          return !verdicts.has_value() || !verdicts->MayHave(recipient.address);
        }));
  }
}

}  // namespace

Result<JobStatus> ReadJobStatus(const EngineOptions& options, Randomness& randomness) {
  const fs::path folder = options.job_file.parent_path();
  Result<Job> job = ReadJob(options.job_file);
  if (!job.ok()) return job.status();
  JobStatus status;
  status.subject = SubjectOf(job->message_file);
  const bool running = SessionLock::IsHeld(folder);
  Result<JournalContent> journal = ReadJournal(folder, status);
  if (!journal.ok()) return journal.status();
  const LineStates& lines = journal->state.lines();
  for (const State state : kStateOrder) {
    status.counts[static_cast<std::size_t>(state)] = lines.Count(state);
  }
  status.in_doubt = lines.InDoubtCount();
  if (journal->state.list().has_value()) {
    const ListIdentity& list = *journal->state.list();
    // What is appended while an engine is at work is for its next run.
    const Result<ListIdentity> now = IdentifyList(job->list, running ? list.bytes : UINT64_MAX);
    status.list_changed = now.ok() && !now.value().Matches(list);
  }
  const std::optional<WithoutVerdict> left =
      CountWithoutVerdict(job.value(), options, journal->state, status.list_changed, randomness);
  if (left.has_value()) {
    status.left = left->recipients;
    status.complete = status.result == kResultFinished && status.in_doubt == 0 &&
                      journal->damaged == 0 && !status.list_changed &&
                      left->recipients + left->others == 0;
  }
  if (running) {
    status.phase = JobStatus::Phase::kRunning;
  } else if (status.began == 0) {
    status.phase = JobStatus::Phase::kNotBegun;
  } else if (status.result == kResultFinished || (status.left == 0u && status.in_doubt == 0)) {
    status.phase = JobStatus::Phase::kFinished;
  } else {
    status.phase = JobStatus::Phase::kStopped;
  }
  return status;
}

Result<std::unique_ptr<ListSource>> OpenWithoutVerdict(const Distribution& list,
                                                       const EngineOptions& options,
                                                       const LineStates& lines,
                                                       Randomness& randomness) {
  Result<ListSource> opened = ListSource::Open(list, options.list, randomness);
  if (!opened.ok()) return opened.status();
  auto source = std::make_unique<ListSource>(std::move(opened).value());
  for (const fs::path& file : options.suppress) {
    if (Status status = source->Suppress(file); !status.ok()) return status;
  }
  source->SetWanted([&lines](std::uint64_t line) {
    return lines.Outcomes(line) == 0 && !lines.InDoubt(line) && !lines.MayBeLost(line);
  });
  return source;
}

std::optional<ListIdentity> LastListOf(const fs::path& session_folder) {
  JobStatus unused;
  const Result<JournalContent> journal = ReadJournal(session_folder, unused);
  return journal.ok() ? journal->state.list() : std::nullopt;
}

LastRun ReadLastRun(const fs::path& session_folder) {
  LastRun run;
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(session_folder));
  if (!reader.ok()) return run;
  for (JournalEvent event; reader->Next(event);) {
    if (event.kind == JournalEvent::Kind::kRun) run = {event.number, event.time, false};
    if (event.kind == JournalEvent::Kind::kOutcome && event.outcome.state == State::kSent) {
      run.sent = true;
    }
  }
  return run;
}

std::string RunCommand(const fs::path& job_file) {
  return ModCommandLine::VesproCommand({"run", SessionName(job_file)});
}

std::string SendAgainCommand(const fs::path& job_file) {
  return ModCommandLine::VesproCommand({"send", "--again", SessionName(job_file)});
}

}  // namespace vespro::engine
