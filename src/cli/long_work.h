// cli/long_work.h - what a person sees of an operation that goes through a long list, and how they
// stop it: a count on standard error, where that is a terminal, and Ctrl-C.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "base/signals.h"
#include "recipients/list_blocks.h"

namespace vespro::cli {

// From its making to its end SIGINT, SIGTERM and a closed terminal's SIGHUP end the operation in
// place of the program, so that no half-written file stays behind; a signal that the program was
// started to ignore is ignored. One at a time, on the main thread.
class LongWork {
 public:
  LongWork();
  // Takes the count off the terminal.
  ~LongWork();
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  // For the operation; must not be called after this object's end.
  ModRecipients::OnLine on_line();
  // While a question is asked: signals end the program, as nothing is half done. Then back.
  void Pause();
  void GoOn();
  // How often it was called.
  std::uint64_t lines() const { return lines_; }

 private:
  using Clock = std::chrono::steady_clock;
  void Show();
  void Wipe();

  bool terminal_;
  std::uint64_t lines_ = 0;
  Clock::time_point shown_;
  std::size_t width_ = 0;  // of what is on the terminal
  std::optional<ModSignals::Handled> signals_;
};

}  // namespace vespro::cli
