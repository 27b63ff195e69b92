#include "engine/progress.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vespro::engine {
namespace {

std::string Duration(std::uint64_t seconds) {
  std::array<char, 32> text{};
  if (seconds < 3600) {
    std::snprintf(text.data(), text.size(), "%u:%02u", static_cast<unsigned>(seconds / 60),
                  static_cast<unsigned>(seconds % 60));
  } else {
    std::snprintf(text.data(), text.size(), "%llu h %02u min",
                  static_cast<unsigned long long>(seconds / 3600),
                  static_cast<unsigned>(seconds / 60 % 60));
  }
  return text.data();
}

}  // namespace

ProgressLine::ProgressLine(ByteSink& err, bool terminal, Moment start)
    : err_(err), terminal_(terminal), start_(start), shown_(start) {}

std::string ProgressLine::Text(const Progress& progress, std::uint64_t left,
                               std::chrono::duration<double> elapsed) {
  const std::uint64_t done = progress.sent + progress.refused + progress.failed + progress.unknown;
  const double rate = elapsed.count() > 0 ? static_cast<double>(done) / elapsed.count() : 0;
  std::string text = std::to_string(progress.sent) + " sent, " + std::to_string(progress.refused) +
                     " refused, " + std::to_string(progress.failed) + " failed, " +
                     std::to_string(left) + " left";
  if (progress.waiting_for_retry > 0) {
    text += " (" + std::to_string(progress.waiting_for_retry) + " to try again)";
  }
  std::array<char, 48> speed{};
  std::snprintf(speed.data(), speed.size(), ", %.1f/s", rate);
  text += speed.data();
  if (rate > 0 && left > 0) {
    text +=
        ", " + Duration(static_cast<std::uint64_t>(static_cast<double>(left) / rate)) + " to go";
  }
  for (const ServerLimit& limit : progress.limits) {
    if (const std::string at_most = LimitText(limit); !at_most.empty()) {
      text += "; " + limit.server + " " + at_most;
    }
  }
  return text;
}

std::vector<std::string> LimitNotes::New(const Progress& progress, ProgressLine::Moment now) {
  std::vector<std::string> notes;
  for (const ServerLimit& limit : progress.limits) {
    Told& told = told_[limit.server];
    const bool rests = limit.rests_until > now && limit.rests_until != told.rests_until;
    const bool paced = limit.per_second > 0 && !told.paced;
    const bool fewer = limit.connections > 0 && !told.fewer && limit.rests_until <= now;
    told = {told.paced || paced, told.fewer || fewer,
            std::max(told.rests_until, limit.rests_until)};
    if (!rests && !paced && !fewer) continue;
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(limit.rests_until - now).count();
    notes.push_back(limit.server + " asks for less: " + limit.words + "; it gets " +
                    (rests ? "nothing for " + Duration(static_cast<std::uint64_t>(seconds))
                           : LimitText(limit)));
  }
  return notes;
}

void ProgressLine::Show(const Progress& progress, std::uint64_t left, Moment now) {
  const auto pause = terminal_ ? std::chrono::milliseconds(100) : std::chrono::seconds(10);
  if (now - shown_ < pause) return;
  shown_ = now;
  std::string text = Text(progress, left, now - start_);
  if (!terminal_) {
    err_.Write(text + "\n").Ignore();  // a closed standard error must not stop the job
    return;
  }
  const std::size_t width = text.size();
  text.append(width_ > width ? width_ - width : 0, ' ');
  width_ = width;
  err_.Write("\r" + text).Ignore();  // the same
}

void ProgressLine::Finish() {
  if (width_ > 0) err_.Write("\n").Ignore();  // the same
  width_ = 0;
}

}  // namespace vespro::engine
