// engine/progress.h - the one line that tells a person how far the job is. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/files.h"
#include "engine/delivery/delivery.h"

namespace vespro::engine {

// A terminal's line is redrawn at most ten times a second; elsewhere a line is written every ten
// seconds.
class ProgressLine {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  ProgressLine(ByteSink& err, bool terminal, Moment start);

  // `left`: how many have no verdict yet, as far as the list is known.
  void Show(const Progress& progress, std::uint64_t left, Moment now);
  // Ends a terminal's line, so that the next text begins its own.
  void Finish();

  static std::string Text(const Progress& progress, std::uint64_t left,
                          std::chrono::duration<double> elapsed);

 private:
  ByteSink& err_;
  bool terminal_;
  Moment start_, shown_;
  std::size_t width_ = 0;  // of what is on the terminal
};

// What a person is told of servers that ask for less: each kind of it once, and each rest.
class LimitNotes {
 public:
  // The lines to be told now.
  std::vector<std::string> New(const Progress& progress, ProgressLine::Moment now);

 private:
  struct Told {
    bool paced = false, fewer = false;
    ProgressLine::Moment rests_until{};
  };
  std::map<std::string, Told> told_;  // by server
};

}  // namespace vespro::engine
