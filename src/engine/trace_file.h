// engine/trace_file.h - the trace of a run in a file, readable for the user alone: a line each with
// the time (UTC), the connection, what kind of line it is, and the text.
//
//   2026-11-25 09:30:01.250 #2 > MAIL FROM:<news@example.org>
//
// Every line is with the system when Write returns, so that a killed run has left what it did until
// then. One thread per object.
#pragma once

#include <filesystem>
#include <string>

#include "base/clock.h"
#include "base/files.h"
#include "engine/trace.h"

namespace vespro::engine {

class TraceFile final : public Trace {
 public:
  // Appends to the file at `path`, or makes one. `clock` must outlive the object.
  static Result<TraceFile> Open(const std::filesystem::path& path, bool with_data,
                                const Clock& clock);

  // A failure does not stop the run: lines are missing then, and the next one that can be written
  // says so.
  void Write(std::uint64_t connection, TraceKind kind, std::string_view text) override;
  bool with_data() const override { return with_data_; }
  // The first failure.
  const Status& status() const { return status_; }

 private:
  TraceFile(File file, bool with_data, const Clock& clock)
      : file_(std::move(file)), clock_(&clock), with_data_(with_data) {}

  File file_;
  const Clock* clock_;
  bool with_data_;
  bool gap_ = false;   // lines are missing right before the next one
  std::string lines_;  // its memory is reused
  Status status_;
};

}  // namespace vespro::engine
