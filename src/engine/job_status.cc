#include "engine/job_status.h"

#include "base/command_line.h"
#include "base/files.h"
#include "engine/job.h"
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

// Nothing when the list can't be read.
std::optional<WithoutVerdict> CountWithoutVerdict(const Job& job, const EngineOptions& options,
                                                  const LineStates& states,
                                                  Randomness& randomness) {
  Result<ListSource> source = ListSource::Open(job.list, options.list, randomness);
  if (!source.ok()) return std::nullopt;
  for (const fs::path& file : options.suppress) {
    if (!source->Suppress(file).ok()) return std::nullopt;
  }
  source->SetWanted([&states](std::uint64_t line) {
    return states.Outcomes(line) == 0 && !states.InDoubt(line) && !states.MayBeLost(line);
  });
  for (;;) {
    Result<std::vector<Recipient>> block = source->Next(1000);
    if (!block.ok()) return std::nullopt;
    if (block->empty()) return WithoutVerdict{source->given(), source->skipped()};
  }
}

bool NamesList(const JournalEvent& event) {
  return event.kind == JournalEvent::Kind::kList ||
         (event.kind == JournalEvent::Kind::kRun && event.number > 0);
}

// What the journal says; its list, unless it breaks off before that.
struct JournalContent {
  std::optional<ListIdentity> list;
  LineStates states;
  std::uint64_t damaged = 0;
};

Result<JournalContent> ReadJournal(const fs::path& folder, JobStatus& status) {
  JournalContent content;
  if (!ModFiles::IsFile(Journal::PathIn(folder))) return content;
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(folder));
  if (!reader.ok()) return reader.status();
  for (JournalEvent event; reader->Next(event);) {
    if (NamesList(event) && !content.list.has_value()) {
      content.list = event.list;
      content.states = LineStates(event.list.lines);
    }
    if (event.kind == JournalEvent::Kind::kRun) {
      status.began = event.time;
      status.ended = 0;
      status.result.clear();
    }
    if (event.kind == JournalEvent::Kind::kEnd) {
      status.ended = event.time;
      status.result = event.reason;
    }
    content.states.Take(event);
  }
  if (!reader->status().ok()) return reader->status();
  content.damaged = reader->damaged();
  return content;
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
  const LineStates& states = journal->states;
  for (std::size_t state = 0; state < kStates; ++state) {
    status.counts[state] = states.Count(static_cast<State>(state));
  }
  status.in_doubt = states.InDoubtCount();
  bool same_list = true;
  if (journal->list.has_value()) {
    const Result<ListIdentity> now =
        IdentifyList(ModFiles::FromUtf8(job->list.path), journal->list->bytes);
    same_list = now.ok() && now.value() == *journal->list;
  }
  std::optional<WithoutVerdict> left;
  if (same_list) left = CountWithoutVerdict(job.value(), options, states, randomness);
  if (left.has_value()) {
    status.left = left->recipients;
    status.complete = status.result == kResultFinished && status.in_doubt == 0 &&
                      journal->damaged == 0 && left->recipients + left->others == 0;
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

std::optional<ListIdentity> ListBegunWith(const fs::path& session_folder) {
  Result<JournalReader> reader = JournalReader::Open(Journal::PathIn(session_folder));
  if (!reader.ok()) return std::nullopt;
  for (JournalEvent event; reader->Next(event);) {
    if (NamesList(event)) return event.list;
  }
  return std::nullopt;
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
