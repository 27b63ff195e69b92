#include "cli/long_work.h"

#include <csignal>
#include <iostream>
#include <string>

#include "base/command_line.h"

namespace vespro::cli {
namespace {

// A clock is looked at once in so many lines, about once in a millisecond.
constexpr std::uint64_t kLinesPerLook = 16 * 1024;

volatile std::sig_atomic_t stopped = 0;

extern "C" void Stop(int) { stopped = 1; }

}  // namespace

LongWork::LongWork()
    : terminal_(ModCommandLine::IsTerminal(ModCommandLine::Stream::kError)), shown_(Clock::now()) {
  stopped = 0;
  signals_.emplace(Stop);
}

LongWork::~LongWork() { Wipe(); }

void LongWork::Wipe() {
  if (width_ > 0) std::cerr << "\r" << std::string(width_, ' ') << "\r" << std::flush;
  width_ = 0;
}

void LongWork::Pause() {
  Wipe();
  signals_.reset();
}

void LongWork::GoOn() { signals_.emplace(Stop); }

ModRecipients::OnLine LongWork::on_line() {
  return [this] {
    if (++lines_ % kLinesPerLook == 0 && terminal_) Show();
    return stopped == 0;
  };
}

void LongWork::Show() {
  const Clock::time_point now = Clock::now();
  if (now - shown_ < std::chrono::milliseconds(500)) return;
  shown_ = now;
  const std::string text = std::to_string(lines_) + " lines";
  width_ = text.size();
  std::cerr << "\r" << text << std::flush;
}

}  // namespace vespro::cli
