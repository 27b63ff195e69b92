// engine/events.h - what happens in a run as JSON, one object a line, for other programs. Format:
// docs/engine.md. One thread.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "base/files.h"
#include "engine/delivery/delivery.h"

namespace vespro::engine {

class Events {
 public:
  // `out` must outlive the object.
  explicit Events(ByteSink& out) : out_(out) {}

  void Start(std::string_view job, std::string_view subject, std::size_t connections);
  void Final(const Recipient& recipient, const Outcome& outcome);
  // Another attempt follows.
  void Deferred(const Recipient& recipient, const Deferral& why);
  // At most once a second.
  void Show(const Progress& progress, std::uint64_t left,
            std::chrono::steady_clock::time_point now);
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
