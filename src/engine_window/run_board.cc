#include "engine_window/run_board.h"

#include <array>
#include <cstdio>

#include "engine/progress.h"

namespace vespro::engine {
namespace {

constexpr std::size_t kLinesKept = 4;
// A shorter pause is a part of sending.
constexpr std::chrono::seconds kShownPause{20};

}  // namespace

void RunBoard::Begin() {
  const std::lock_guard<std::mutex> lock(mutex_);
  look_ = {};
  began_ = std::chrono::steady_clock::now();
}

void RunBoard::OnStart(const std::string& subject, const std::filesystem::path& list) {
  const std::lock_guard<std::mutex> lock(mutex_);
  look_.subject = subject;
  look_.list = ModFiles::ToUtf8(list.filename());
}

void RunBoard::OnProgress(const Progress& progress, std::uint64_t left) {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard<std::mutex> lock(mutex_);
  look_.counts = ProgressLine::Text(progress, left, now - began_);
  look_.goes_on = progress.goes_on > now + kShownPause ? TimeOf(progress.goes_on) : "";
}

void RunBoard::OnSay(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (look_.said.size() == kLinesKept) look_.said.erase(look_.said.begin());
  look_.said.push_back(text);
}

void RunBoard::OnReport(const std::string& counts, const std::filesystem::path& page) {
  const std::lock_guard<std::mutex> lock(mutex_);
  look_.counts = counts;
  look_.report = page;
}

void RunBoard::End(int exit) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    look_.goes_on.clear();
    look_.exit = exit;
  }
  ended_.notify_all();
}

RunLook RunBoard::Look() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return look_;
}

bool RunBoard::WaitForEnd(std::chrono::milliseconds limit) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return ended_.wait_for(lock, limit, [this] { return look_.exit.has_value(); });
}

// With the date unless it is today.
std::string RunBoard::TimeOf(std::chrono::steady_clock::time_point moment) const {
  const auto now = clock_.Now();
  const LocalTime today = ModClock::ToLocal(now);
  const LocalTime time =
      ModClock::ToLocal(now + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                  moment - std::chrono::steady_clock::now()));
  if (time.day != today.day || time.month != today.month || time.year != today.year) {
    return ModClock::RegionalText(time);
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d", time.hour, time.minute);
  return text.data();
}

}  // namespace vespro::engine
