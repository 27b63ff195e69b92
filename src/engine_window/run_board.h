// engine_window/run_board.h - what is known of a run, from the run's thread to the window's.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "engine/engine.h"

namespace vespro::engine {

// What the window shows. Text is UTF-8.
struct RunLook {
  std::string subject;            // empty until the job is in order
  std::string list;               // its file's name
  std::string counts;             // one line: how many were sent, refused, are left; how fast
  std::string goes_on;            // "14:05", while nothing can be sent before; otherwise empty
  std::vector<std::string> said;  // warnings and why it ended, the last few
  std::filesystem::path report;   // empty until it is written
  std::optional<int> exit;        // an ExitCode, when it has ended
};

// Any thread.
class RunBoard final : public RunWatcher {
 public:
  // `clock` must outlive the board.
  explicit RunBoard(const Clock& clock) : clock_(clock) {}

  // A run begins: nothing is known of it, whatever was known of an earlier one.
  void Begin();

  void OnStart(const std::string& subject, const std::filesystem::path& list) override;
  void OnProgress(const Progress& progress, std::uint64_t left) override;
  void OnSay(const std::string& text) override;
  void OnReport(const std::string& counts, const std::filesystem::path& page) override;
  // The run is over; no call comes any more.
  void End(int exit);

  RunLook Look() const;
  // False: it has not ended by then.
  bool WaitForEnd(std::chrono::milliseconds limit) const;

 private:
  std::string TimeOf(std::chrono::steady_clock::time_point moment) const;

  const Clock& clock_;
  mutable std::mutex mutex_;
  mutable std::condition_variable ended_;
  RunLook look_;
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace vespro::engine
