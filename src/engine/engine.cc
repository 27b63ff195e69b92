#include "engine/engine.h"

#include <algorithm>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/command_line.h"
#include "base/signals.h"
#include "base/text.h"
#include "engine/events.h"
#include "engine/go_on_file.h"
#include "engine/hash.h"
#include "engine/job.h"
#include "engine/job_status.h"
#include "engine/journal.h"
#include "engine/list_change.h"
#include "engine/preview.h"
#include "engine/progress.h"
#include "engine/report.h"
#include "engine/session_lock.h"
#include "engine/template.h"
#include "engine/trace_file.h"
#include "engine/usage_book.h"
#include "merge/custom_words.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr char kSessions[] = "session";  // what a data folder calls the folder of all jobs
constexpr std::string_view kMaybeLost =
    "the journal is damaged and may hide that this message was sent; it may have arrived";

int ExitOf(const Status& status) {
  switch (status.code()) {
    case Code::kUsage:
      return kExitUsage;
    case Code::kConfig:
      return kExitNoAccount;
    case Code::kCannotWrite:
    case Code::kUnavailable:
    case Code::kTimedOut:
    case Code::kResumable:
      return kExitRunAgain;
    case Code::kLogin:
      return kExitLogin;
    case Code::kInternal:
      return kExitInternal;
    default:
      return kExitBadInput;
  }
}

// The first signal has no more to ask for, the second one ends the program.
void RestoreDefault(int number) { std::signal(number, SIG_DFL); }

// One run; the parts of it share these.
class Run {
 public:
  Run(const EngineOptions& options, EngineEnvironment& world)
      : options_(options), world_(world), events_(world.out) {}

  // For JobOutlook.
  Result<JobOutlook> Look() {
    if (Status status = Prepare(); !status.ok()) return status;
    JobOutlook outlook;
    outlook.subject = template_->subject();
    outlook.from = template_->from();
    outlook.people_per_message = template_->recipients_per_message();
    outlook.connections = job_.connections;
    for (const Account& account : job_.accounts) {
      const std::string server = account.server + ":" + std::to_string(account.port);
      auto& servers = outlook.servers;
      if (std::find(servers.begin(), servers.end(), server) == servers.end()) {
        servers.push_back(server);
      }
    }
    source_->OnSkip([&outlook](const Recipient&, std::string_view, bool mend) -> Status {
      ++(mend ? outlook.unusable : outlook.left_out);
      return {};
    });
    for (;;) {
      Result<std::vector<Recipient>> block =
          source_->Next(std::min<std::size_t>(template_->recipients_per_message(), 1000));
      if (!block.ok()) return block.status();
      if (block->empty()) break;
      if (outlook.people == 0) {
        RenderedMessage first;
        template_->Render(block.value(), first);
        outlook.message_bytes = first.bytes;
      }
      outlook.people += block->size();
    }
    return outlook;
  }

  int Go() {
    Status status = Prepare();
    if (status.ok()) {
      if (!options_.dry_run.empty()) return DryRun();
      status = OpenTrace();
      if (status.ok()) status = LockSession();
      if (status.ok() && IsComplete()) return TellComplete();
      if (status.ok()) status = OpenJournal();
    }
    if (!status.ok()) {
      const bool later = ExitOf(status) == kExitRunAgain && options_.dry_run.empty() && !busy_;
      Say(status.text() + (later ? GoOnWith() : ""));
      return ExitOf(status);
    }
    return Send();
  }

  Status HandOver(AgainChoice choice, const std::string& reason) {
    hand_over_ = choice;
    Status status = Prepare();
    if (status.ok()) status = LockSession();
    if (status.ok()) status = OpenJournal();
    if (!status.ok()) return status;
    for (;;) {
      const Result<std::vector<Recipient>> block = source_->Next(1000);
      if (!block.ok()) return block.status();
      if (block->empty()) break;
      for (const Recipient& recipient : block.value()) {
        status = journal_->Skip(recipient, reason, false);
        if (!status.ok()) return status;
      }
    }
    const int exit = Conclude({});
    if (exit == kExitAllSent || exit == kExitSomeNotSent) return {};
    return Status(Code::kResumable, "the job could not be ended in order");
  }

 private:
  void Say(const std::string& text) {
    world_.err.Write("vespro-engine: " + text + "\n").Ignore();  // nobody is left to tell
    if (world_.watcher != nullptr) world_.watcher->OnSay(text);
  }

  Status Prepare() {
    const bool narrowed = options_.list.limit > 0 || !options_.list.only.empty();
    if (options_.resend_unknown && narrowed) {
      return Status(Code::kUsage,
                    "--resend-unknown is for the whole list: leave out --limit and "
                    "--only");
    }
    // Before --fresh sets anything aside.
    if (const fs::path& ca = options_.delivery.extra_ca; !ca.empty()) {
      if (Result<File> readable = File::Open(ca, File::Mode::kRead); !readable.ok()) {
        return readable.status();
      }
    }
    Result<Job> job = ReadJob(options_.job_file);
    if (!job.ok()) return job.status();
    job_ = std::move(job).value();
    for (const std::string& warning : job_.warnings) Say("warning: " + warning);
    if (Status servers = CheckServers(); !servers.ok()) return servers;
    folder_ = options_.job_file.parent_path();
    if (folder_.empty()) folder_ = ".";
    if (Status limits = OpenLimits(); !limits.ok()) return limits;

    Result<std::string> message = ModFiles::ReadAll(job_.message_file);
    if (!message.ok()) return message.status();
    message_hash_ = SipHash({}, message.value());
    Result<ListSource> source = ListSource::Open(job_.list, options_.list, world_.randomness);
    if (!source.ok()) return source.status();
    source_ = std::make_unique<ListSource>(std::move(source).value());
    for (const fs::path& file : options_.suppress) {
      if (Status status = source_->Suppress(file); !status.ok()) return status;
    }
    Result<UnsubscribeOptions> unsubscribe =
        LoadKey(options_.unsubscribe, options_.unsubscribe_key);
    if (!unsubscribe.ok()) return unsubscribe.status();
    Result<std::vector<std::string>> words = ModMailMerge::LoadCustomWords(folder_);
    if (!words.ok()) return words.status();
    Result<std::unique_ptr<Template>> prepared =
        Template::Prepare(std::move(message).value(),
                          {job_.bcc_mode, source_->first_row(), std::move(unsubscribe).value(),
                           std::move(words).value()},
                          world_.clock, world_.randomness);
    if (!prepared.ok()) return prepared.status();
    template_ = std::move(prepared).value();
    return {};
  }

  // A data folder holds the folder of all jobs and, beside it, the limits and counts of accounts. A
  // job elsewhere has none.
  Status OpenLimits() {
    if (!options_.dry_run.empty()) return {};
    const fs::path sessions = ModFiles::FullPath(folder_).parent_path();
    fs::path file = sessions.parent_path() / kLimitsFile;
    if (!options_.limits.empty()) {
      file = ModFiles::FullPath(options_.limits);
      if (Result<File> there = File::Open(file, File::Mode::kRead); !there.ok()) {
        return there.status();
      }
    }
    Result<Limits> limits = Limits::Read(file);
    if (!limits.ok()) return limits.status();
    const bool is_job_of_home = sessions.filename() == kSessions;
    if (options_.limits.empty() && !is_job_of_home && limits->all().empty()) return {};
    Result<std::unique_ptr<UsageBook>> book = UsageBook::Open(
        file.parent_path() / kUsageFile, std::move(limits).value(), job_.accounts, world_.clock);
    if (!book.ok()) return book.status();
    book_ = std::move(book).value();
    return {};
  }

  // A server that is misspelt would be mailed through without its ceiling.
  Status CheckServers() const {
    const auto has = [this](const std::string& server, bool with_login) {
      return std::any_of(job_.accounts.begin(), job_.accounts.end(), [&](const Account& account) {
        return Matches(server, account) && (!with_login || !account.login.empty());
      });
    };
    const std::string none = "', which is no account of this job";
    for (const ServerRateLimit& rate : options_.delivery.account_rates) {
      if (has(rate.server, false)) continue;
      return Status(Code::kUsage,
                    "--account-rate names '" + ModText::Printable(rate.server) + none);
    }
    for (const ServerPasswordCommand& command : options_.delivery.password_commands) {
      if (has(command.server, true)) continue;
      return Status(Code::kUsage, "--password-command names '" +
                                      ModText::Printable(command.server) + none + " with a login");
    }
    return {};
  }

  int DryRun() {
    Result<std::uint64_t> count =
        RenderToMaildir(options_.dry_run, *source_, *template_, world_.clock, world_.randomness);
    if (!count.ok()) {
      Say(count.status().text());
      return ExitOf(count.status());
    }
    if (!options_.quiet) {
      world_.out
          .Write(std::to_string(count.value()) + " messages for " +
                 std::to_string(source_->given()) + " recipients in '" +
                 ModFiles::ToUtf8(options_.dry_run) + "', " + std::to_string(source_->skipped()) +
                 " rows skipped; nothing was sent\n")
          .Ignore();  // the messages are there all the same
    }
    const std::string nobody = NoRecipientsReason();
    if (!nobody.empty()) Say(nobody);
    return nobody.empty() ? kExitAllSent : kExitBadInput;
  }

  // In other words, and remembered, where another engine holds it.
  template <class T>
  Result<T> UnlessBusy(Result<T> taken) {
    if (taken.ok() || taken.status().code() != Code::kResumable) return taken;
    busy_ = true;
    return Status(Code::kResumable,
                  "another engine is at work on this job; see how far it is with: " +
                      ModCommandLine::VesproCommand(
                          {"status", ModFiles::ToUtf8(ModFiles::FullPath(folder_))}));
  }

  std::string GoOnWith() const { return "; go on with: " + RunCommand(options_.job_file); }

  // Of a run that was stopped: the rows that can't be sent to are in the report as well, and so is
  // how many are left.
  void LookAtRest(const DeliveryEnd& end) {
    // A failure here would be the run's own, which is told.
    if (end.reason != DeliveryEnd::Reason::kCannotRecord) {
      for (;;) {
        const Result<std::vector<Recipient>> rest = source_->Next(1000);
        if (!rest.ok() || rest->empty()) break;
      }
    }
    journal_->Commit().Ignore();
    const Result<JobStatus> status = ReadJobStatus(options_, world_.randomness);
    if (!status.ok()) return;
    left_ = status->left;
    // Lines tell who is left only as long as they are the same people's.
    if (!status->list_changed) not_reached_ = left_.value_or(0);
  }

  // How many were not tried yet, and how they will be.
  std::string WhatIsLeft(const DeliveryEnd& end) {
    LookAtRest(end);
    using Remedy = AccountTally::Remedy;
    const auto helps = [](Remedy remedy) {
      return [remedy](const AccountTally& tally) { return tally.remedy == remedy; };
    };
    const auto& accounts = end.accounts;
    in_vain_ = !accounts.empty() &&
               std::all_of(accounts.begin(), accounts.end(), helps(Remedy::kAnotherJob));
    const bool untrusted =
        std::any_of(accounts.begin(), accounts.end(), helps(Remedy::kTrustAnchor));
    return (left_.has_value() ? ", " + std::to_string(*left_) + " left" : "") +
           (in_vain_ ? "; a job keeps its message and its accounts, so mend that and send it as a "
                       "new one, with --anew"
                     : GoOnWith()) +
           (untrusted ? " -- --ca FILE" : "");
  }

  Status LockSession() {
    if (world_.lock.has_value()) {
      lock_ = std::make_unique<SessionLock>(std::move(*world_.lock));
    } else {
      Result<SessionLock> lock = UnlessBusy(SessionLock::Take(folder_));
      if (!lock.ok()) return lock.status();
      lock_ = std::make_unique<SessionLock>(std::move(lock).value());
    }
    Result<ListIdentity> list = IdentifyList(job_.list);
    if (!list.ok()) return list.status();
    list_ = list.value();
    if (list_.bytes != source_->file_bytes()) {
      return Status(Code::kResumable, "the list is being changed; start the job when it is done");
    }
    return {};
  }

  // Whether an earlier run has left nothing to do.
  bool IsComplete() {
    if (options_.fresh || options_.resend_unknown || !options_.list.only.empty()) return false;
    Result<JobStatus> status = ReadJobStatus(options_, world_.randomness);
    if (!status.ok() || !status->complete) return false;
    complete_ = std::move(status).value();
    return true;
  }

  // Leaves everything as it is, the time that the job ended included; only reports that are
  // missing are written again.
  int TellComplete() {
    result_ = complete_->result;
    for (const State state : kStateOrder) before_ += complete_->Of(state);
    TellStart();
    return Report({}, kExitAllSent);
  }

  void TellStart() {
    if (options_.json) {
      events_.Start(ModFiles::ToUtf8(options_.job_file), template_->subject(), job_.connections);
    }
    if (world_.watcher != nullptr) {
      world_.watcher->OnStart(template_->subject(), ModFiles::FromUtf8(job_.list.path));
    }
  }

  Status OpenJournal() {
    Result<Journal> journal =
        UnlessBusy(Journal::Open(folder_, list_, options_.fresh, world_.clock));
    if (!journal.ok()) return journal.status();
    journal_ = std::make_unique<Journal>(std::move(journal).value());
    std::optional<ListChange> change;
    if (journal_->list_has_changed()) {
      Result<ListChange> carried = CarryOver(*journal_, folder_, job_.list, world_.randomness);
      if (!carried.ok()) return carried.status();
      change.emplace(std::move(carried).value());
    }
    if (Status status = journal_->BeginRun(message_hash_); !status.ok()) return status;
    if (!hand_over_.has_value()) AnnounceUnfinished();
    TellStart();
    if (change.has_value()) TellChange(*change);
    if (Status status = ResolveInDoubt(); !status.ok()) return status;
    if (journal_->damaged() > 0) Say(WhatDamageHides());
    before_ = CountRecorded();
    if (before_ > 0 && journal_->message_before().value_or(message_hash_) != message_hash_) {
      Say("warning: the message has changed since the last run; whoever has it already, has the "
          "earlier one");
    }
    source_->SetWanted([this](std::uint64_t line) { return Wanted(line); });
    if (!journal_->suspected().empty()) {
      source_->SetSuspected([this](std::uint64_t line) {
        const auto found = journal_->suspected().find(line);
        return found == journal_->suspected().end() ? 0 : found->second;
      });
    }
    source_->OnSkip([this](const Recipient& row, std::string_view reason, bool mend) -> Status {
      // The earlier message may have arrived, whatever keeps this one back.
      if (journal_->states().OutcomeOf(row.line) == State::kUnknown) return {};
      if (options_.json) {
        events_.Final(row, {State::kSkipped, 0, {}, std::string(reason)});
      }
      return journal_->Skip(row, reason, mend);
    });
    return {};
  }

  void TellChange(const ListChange& change) {
    Say(change.Text());
    if (!options_.json) return;
    events_.ListChanged(change);
    for (const JournalEvent& event : change.cut_off) events_.Final(event.recipient, event.outcome);
  }

  // Should the power go from here on, a person finds the job among the reports, and how to go on
  // with it. Reports that say so already stay as they are.
  void AnnounceUnfinished() {
    Status written;
    if (!HasReports() || !ModGoOnFile::IsThere(folder_)) {
      result_ = "not finished: it is being sent, or was cut off";
      const Result<ReportCounts> counts = CountJournal(folder_);
      ReportFacts facts = Facts({});
      facts.ended = 0;
      written = counts.ok() ? WriteReports(folder_, facts, counts.value()) : counts.status();
      result_.clear();
    }
    if (written.ok()) written = ModGoOnFile::Write(folder_);
    if (!written.ok()) Say("warning: " + written.text());
  }

  // Whoever was on the wire when an earlier run was cut off is unknown from now on, and so is
  // everybody whose intent may be among the journal's missing records.
  Status ResolveInDoubt() {
    LineStates& states = journal_->states();
    if (states.InDoubtCount() == 0 && journal_->damaged() == 0) return {};
    Result<ListSource> again = ListSource::Open(job_.list, {}, world_.randomness);
    if (!again.ok()) return again.status();
    again->SetWanted(
        [&states](std::uint64_t line) { return states.InDoubt(line) || states.MayBeLost(line); });
    for (;;) {
      Result<std::vector<Recipient>> doubtful = again->Next(100);
      if (!doubtful.ok()) return doubtful.status();
      if (doubtful->empty()) return {};
      for (const Recipient& recipient : doubtful.value()) {
        const bool lost = states.MayBeLost(recipient.line);
        maybe_lost_ += lost ? 1 : 0;
        JournalEvent event;
        event.kind = JournalEvent::Kind::kOutcome;
        event.recipient = recipient;
        event.outcome = {State::kUnknown, 1, journal_->ServerOf(recipient.line),
                         std::string(lost ? kMaybeLost : kCutOff)};
        Status status = journal_->Record(recipient, event.outcome);
        if (!status.ok()) return status;
        if (options_.json) events_.Final(recipient, event.outcome);
        states.Take(event);
      }
    }
  }

  std::string WhatDamageHides() const {
    const std::uint64_t lines = journal_->damaged();
    const std::string damage =
        "warning: the journal has " + std::to_string(lines) +
        (lines == 1 ? " damaged or missing line" : " damaged or missing lines");
    if (maybe_lost_ == 0) return damage + "; the others tell who was sent to";
    return damage + " and may hide to whom messages were sent: " + std::to_string(maybe_lost_) +
           (maybe_lost_ == 1 ? " recipient is" : " recipients are") +
           " unknown now and not sent to by this job any more; see the report, and if they have "
           "nothing send to them with: " +
           RunCommand(options_.job_file) + " -- --resend-unknown";
  }

  std::uint64_t CountRecorded() const {
    std::uint64_t count = 0;
    for (std::uint64_t line = 1; line <= list_.lines; ++line) {
      if (journal_->states().Outcomes(line) > 0) ++count;
    }
    return count;
  }

  bool Wanted(std::uint64_t line) {
    const LineStates& states = journal_->states();
    const unsigned outcomes = states.Outcomes(line);
    if (outcomes == 0) return true;
    const std::optional<State> verdict = states.OutcomeOf(line);
    const bool again = hand_over_.has_value()
                           ? hand_over_->Has(verdict)
                           : options_.resend_unknown && verdict == State::kUnknown;
    if (!again || outcomes >= LineStates::kMaxOutcomes) return false;
    ++repeated_;
    return true;
  }

  // Recipients without a verdict, as far as the list has been read; blank lines count until then.
  std::uint64_t Left(const Progress& progress) const {
    const std::uint64_t done =
        progress.sent + progress.refused + progress.failed + progress.unknown;
    std::uint64_t ahead = list_.lines - std::min(list_.lines, source_->line());
    if (options_.list.limit > 0) {
      const std::uint64_t found = source_->given() + source_->passed_over();
      ahead = std::min(ahead, options_.list.limit - std::min(options_.list.limit, found));
    }
    return ahead + source_->given() - std::min(source_->given(), done);
  }

  Status OpenTrace() {
    if (options_.trace.empty()) return {};
    Result<TraceFile> trace = TraceFile::Open(options_.trace, options_.trace_data, world_.clock);
    if (!trace.ok()) return trace.status();
    trace_.emplace(std::move(trace).value());
    return {};
  }

  int Send() {
    DeliveryOptions delivery = options_.delivery;
    delivery.connections = job_.connections;
    delivery.allowances = book_.get();
    if (trace_) delivery.trace = &*trace_;
    ProgressLine line(world_.err, world_.err_is_terminal, std::chrono::steady_clock::now());
    EventSink watched(*journal_, events_);
    ResultSink& results = options_.json ? static_cast<ResultSink&>(watched) : *journal_;
    LimitNotes limits;
    const auto on_tick = [&](const Progress& progress) {
      const auto now = std::chrono::steady_clock::now();
      if (options_.json) events_.Show(progress, Left(progress), now);
      if (!options_.quiet) {
        for (const std::string& note : limits.New(progress, now)) {
          line.Finish();
          Say(note);
        }
        line.Show(progress, Left(progress), now);
      }
      if (world_.watcher != nullptr) world_.watcher->OnProgress(progress, Left(progress));
    };
    const DeliveryEnd end =
        world_.deliver(delivery, job_.accounts, *source_, *template_, results, on_tick);
    line.Finish();
    events_.Flush();
    if (book_ != nullptr) {
      Status closed = book_->Close();
      if (!closed.ok() && end.status.ok()) Say("warning: " + closed.text());
    }
    if (trace_ && !trace_->status().ok()) {
      Say("warning: the trace is incomplete: " + trace_->status().text());
    }
    return Conclude(end);
  }

  // Why a finished run had nobody to send to; empty when it had.
  std::string NoRecipientsReason() const {
    if (source_->given() > 0 || source_->passed_over() > 0) return {};
    const std::string& only = options_.list.only;
    if (!only.empty()) {
      const bool kept_back = source_->skipped() > 0;  // the report says why
      return kept_back ? "" : "'" + ModText::Printable(only) + "' is not on the list";
    }
    return before_ == 0 && source_->skipped() == 0 ? "there is nobody on the list" : "";
  }

  int Conclude(const DeliveryEnd& end) {
    int exit = kExitAllSent;
    switch (end.reason) {
      case DeliveryEnd::Reason::kDone:
        result_ = kResultFinished;
        if (ListIsUnchanged()) break;
        exit = kExitRunAgain;
        result_ =
            "stopped (the list was changed while it was sent to, so somebody on it may have been "
            "left out)" +
            WhatIsLeft(end);
        break;
      case DeliveryEnd::Reason::kStopped:
        exit = end.status.ok() ? kExitInterrupted : ExitOf(end.status);
        result_ = (end.status.ok() ? "interrupted" : "stopped (" + end.status.text() + ")") +
                  WhatIsLeft(end);
        break;
      case DeliveryEnd::Reason::kNoLogin:
        exit = kExitLogin;
        result_ = "stopped (" + end.status.text() +
                  "; correct it with 'vespro accounts remove' and 'vespro accounts add')" +
                  WhatIsLeft(end);
        break;
      case DeliveryEnd::Reason::kCannotRecord:
        exit = end.status.code() == Code::kInternal ? kExitInternal : kExitRunAgain;
        result_ = "stopped (" + end.status.text() + ")" + WhatIsLeft(end);
        break;
    }
    if (exit != kExitAllSent) Say(result_);
    for (const AccountTally& account : end.accounts) {
      // A failure is the next one's too.
      if (account.in_clear) journal_->NoteInClear(account.server).Ignore();
    }
    // What a signal asks for is written down now, and an earlier one has asked for it already.
    const ModSignals::Handled signals(exit == kExitInterrupted ? SIG_DFL : RestoreDefault);
    Status ended = journal_->EndRun(result_);
    if (!ended.ok()) {
      if (exit == kExitAllSent) Say(ended.text());
      return exit == kExitAllSent ? kExitRunAgain : exit;
    }
    return Report(end, exit);
  }

  int Report(const DeliveryEnd& end, int exit) {
    Result<ReportCounts> counts = CountJournal(folder_);
    if (!counts.ok()) {
      Say(counts.status().text());
      return kExitRunAgain;
    }
    ReportFacts facts = Facts(end);
    const bool adds_up = CountsAreConsistent(end, counts.value());
    if (!adds_up) {
      facts.result += "; but the verdicts do not add up to the recipients, see the journal";
    }
    counts->by_state[static_cast<std::size_t>(State::kNotReached)] = not_reached_;
    const bool stays = complete_.has_value() && HasReports() && !ModGoOnFile::IsThere(folder_);
    Status written = stays ? Status() : WriteReports(folder_, facts, counts.value());
    // After the reports: where it is, they may say that the job is not finished.
    if (written.ok() && facts.how_to_go_on.empty()) written = ModGoOnFile::Remove(folder_);
    if (written.ok() && options_.json) {
      written = ForNotReached(folder_, facts, counts.value(),
                              [this](const JournalEvent& event, std::string_view) {
                                events_.NotReached(event.recipient, event.outcome);
                                return Status();
                              });
    }
    if (written.ok() && world_.watcher != nullptr) {
      world_.watcher->OnReport(CountsText(counts->by_state), folder_ / "report.html");
    }
    if (!written.ok()) {
      Say(written.text() +
          "; the journal is whole; write its report with: " + RunCommand(options_.job_file));
      exit = kExitRunAgain;
    }
    if (!adds_up) {
      Say("internal error: the verdicts do not add up to the recipients of the list; the journal "
          "says who was served");
      exit = kExitInternal;
    }
    if (const std::string nobody = NoRecipientsReason(); exit == kExitAllSent && !nobody.empty()) {
      Say(nobody);
      exit = kExitBadInput;
    }
    const bool some_not = counts->Of(State::kRefused) + counts->Of(State::kFailed) +
                              counts->Of(State::kUnknown) + counts->to_mend >
                          0;
    dead_accounts_ = DeadAccounts(end);
    if (exit == kExitAllSent && (some_not || !dead_accounts_.empty())) exit = kExitSomeNotSent;
    // A run that was stopped for lack of accounts has named them.
    if (end.status.ok()) {
      for (const auto& [server, reason] : dead_accounts_) {
        Say("account " + server + " did not work: " + reason);
      }
      if (!dead_accounts_.empty()) {
        Say("correct or remove these accounts; all are shown by: " +
            ModCommandLine::VesproCommand({"accounts", "list"}));
      }
    }
    Summarise(counts.value(), exit);
    return exit;
  }

  ReportFacts Facts(const DeliveryEnd& end) {
    ReportFacts facts;
    facts.subject = template_->subject();
    facts.from = template_->from();
    facts.list = job_.list;
    facts.first_row = source_->first_row();
    facts.byte_order_mark = source_->has_byte_order_mark();
    facts.result = result_;
    facts.finished = result_ == kResultFinished;
    if (!facts.finished && !in_vain_) facts.how_to_go_on = ModGoOnFile::HowTo(folder_);
    facts.accounts = end.accounts;
    facts.ended = complete_.has_value() ? complete_->ended
                                        : std::chrono::duration_cast<std::chrono::seconds>(
                                              world_.clock.Now().time_since_epoch())
                                              .count();
    facts.entries_per_page = options_.entries_per_page;
    facts.not_reached = [this](const LineStates& lines) { return OpenNotReached(lines); };
    return facts;
  }

  bool HasReports() const {
    return ModFiles::IsFile(folder_ / "report.html") && ModFiles::IsFile(folder_ / "report.txt");
  }

  Result<std::unique_ptr<WorkSource>> OpenNotReached(const LineStates& lines) {
    Result<std::unique_ptr<ListSource>> source =
        OpenWithoutVerdict(job_.list, options_, lines, world_.randomness);
    if (!source.ok()) return source.status();
    return std::unique_ptr<WorkSource>(std::move(source).value());
  }

  // The accounts that failed, with the reason, while others may have carried the job.
  static std::vector<std::pair<std::string, std::string>> DeadAccounts(const DeliveryEnd& end) {
    std::vector<std::pair<std::string, std::string>> dead;
    for (const AccountTally& account : end.accounts) {
      if (!account.login_refused.empty()) {
        dead.emplace_back(account.server, "login refused: " + account.login_refused);
      } else if (!account.disabled.empty()) {
        dead.emplace_back(account.server, account.disabled);
      }
    }
    return dead;
  }

  // What was appended to it meanwhile is no part of the job.
  bool ListIsUnchanged() const {
    const fs::path path = ModFiles::FromUtf8(job_.list.path);
    const Result<ListIdentity> now = IdentifyList(path, list_.bytes);
    return now.ok() && now.value().Matches(list_);
  }

  // Every recipient has one verdict, or the run says that it was stopped before.
  bool CountsAreConsistent(const DeliveryEnd& end, const ReportCounts& counts) const {
    const std::uint64_t expected = before_ + source_->given() + source_->skipped() - repeated_;
    if (end.reason == DeliveryEnd::Reason::kDone) {
      return counts.Total() == expected && counts.in_doubt == 0;
    }
    return counts.Total() <= expected;
  }

  void Summarise(const ReportCounts& counts, int exit) {
    const bool nothing_new = complete_.has_value() && before_ > 0;
    if (options_.json) {
      events_.End({result_, counts, nothing_new && exit != kExitInterrupted, dead_accounts_,
                   folder_ / "report.html", exit});
      return;
    }
    if (options_.quiet) return;
    std::string text;
    if (nothing_new) text = "this job was finished before; nobody is left\n";
    text += CountsText(counts.by_state) + "; report: " + ModFiles::ToUtf8(folder_ / "report.html") +
            "\n";
    for (const std::string& server : counts.in_clear) text += server + ": " + kInClear + "\n";
    if (counts.Of(State::kUnknown) > 0) {
      text +=
          "unknown: the message may have arrived; they are mailed again, and maybe twice, with: " +
          RunCommand(options_.job_file) + " -- --resend-unknown\n";
    }
    if (result_ == kResultFinished && counts.Of(State::kFailed) + counts.Of(State::kRefused) > 0) {
      text += "those who failed are sent to again with: " + SendAgainCommand(options_.job_file) +
              "; --refused adds those who were refused\n";
    }
    world_.out.Write(text).Ignore();  // progress is best effort
  }

  const EngineOptions& options_;
  EngineEnvironment& world_;
  Job job_;
  fs::path folder_;  // of the session
  std::unique_ptr<ListSource> source_;
  std::unique_ptr<Template> template_;
  std::unique_ptr<SessionLock> lock_;
  ListIdentity list_;
  std::unique_ptr<Journal> journal_;
  std::optional<TraceFile> trace_;
  std::unique_ptr<UsageBook> book_;  // nullptr where nothing is kept for accounts
  std::uint64_t message_hash_ = 0;
  std::optional<AgainChoice> hand_over_;
  std::optional<JobStatus> complete_;  // where an earlier run has left nothing to do
  std::uint64_t before_ = 0;           // lines that had an outcome when the run began
  std::uint64_t repeated_ = 0;         // of them, taken up again
  std::uint64_t maybe_lost_ = 0;       // recipients whose intent damage may hide
  std::string result_;
  std::vector<std::pair<std::string, std::string>> dead_accounts_;  // server and reason
  std::optional<std::uint64_t> left_;  // of a run that was stopped, where that can be told
  std::uint64_t not_reached_ = 0;      // of them, those whom the report names
  bool in_vain_ = false;               // the job stopped, and would again
  bool busy_ = false;                  // another engine is at work on the job
  Events events_;
};

}  // namespace

int RunEngine(const EngineOptions& options, EngineEnvironment& world) {
  return Run(options, world).Go();
}

Status HandOver(const EngineOptions& options, AgainChoice choice, const std::string& reason,
                EngineEnvironment& world) {
  return Run(options, world).HandOver(choice, reason);
}

Result<JobOutlook> LookAtJob(const EngineOptions& options, EngineEnvironment& world) {
  return Run(options, world).Look();
}

}  // namespace vespro::engine
