// engine/events.h - what happens in a run as JSON, one object a line, for other programs. Format:
// docs/engine.md. One thread.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/files.h"
#include "engine/delivery/delivery.h"
#include "engine/list_change.h"
#include "engine/report_facts.h"

namespace vespro::engine {

// How a run ended, with the counts of all runs of its job.
struct RunSummary {
  std::string result;
  const ReportCounts& counts;
  bool already_finished = false;
  // Accounts that failed, with the reason, while others may have carried the job.
  std::vector<std::pair<std::string, std::string>> dead_accounts;
  std::filesystem::path report;
  int exit = 0;
};

class Events {
 public:
  // `out` must outlive the object.
  explicit Events(ByteSink& out) : out_(out) {}

  void Start(std::string_view job, std::string_view subject, std::size_t connections);
  void Final(const Recipient& recipient, const Outcome& outcome);
  // Whom a stopped run has not reached.
  void NotReached(const Recipient& recipient, const Outcome& deferral);
  // Who of an edited list has a verdict already, before anything is sent.
  void ListChanged(const ListChange& change);
  // Another attempt follows.
  void Deferred(const Recipient& recipient, const Deferral& why);
  // At most once a second.
  void Show(const Progress& progress, std::uint64_t left,
            std::chrono::steady_clock::time_point now);
  // The last line.
  void End(const RunSummary& summary);
  // Flushes. A consumer that closed the pipe does not stop the job.
  void Flush();

 private:
  void FlushIfFull();

  ByteSink& out_;
  std::string lines_;
  std::chrono::steady_clock::time_point shown_{};
};

// Passes everything on to `sink` and makes an event of every verdict and deferral. Both must
// outlive it.
class EventSink final : public ResultSink {
 public:
  EventSink(ResultSink& sink, Events& events) : sink_(sink), events_(events) {}
  Status Sending(std::span<const Recipient> recipients, std::string_view server) override {
    return sink_.Sending(recipients, server);
  }
  Status PutBack(const Recipient& recipient, const Deferral& why) override {
    Status noted = sink_.PutBack(recipient, why);
    if (noted.ok()) events_.Deferred(recipient, why);
    return noted;
  }
  Status Record(const Recipient& recipient, const Outcome& outcome) override {
    Status recorded = sink_.Record(recipient, outcome);
    if (recorded.ok()) events_.Final(recipient, outcome);
    return recorded;
  }
  Status Commit() override { return sink_.Commit(); }

 private:
  ResultSink& sink_;
  Events& events_;
};

}  // namespace vespro::engine
