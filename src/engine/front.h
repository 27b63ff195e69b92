// engine/front.h - the person who started the engine: at a console, behind a redirected stream or,
// on Windows, in front of nothing but a screen. The build picks the implementation.
#pragma once

#include <atomic>
#include <functional>

#include "engine/engine.h"

namespace vespro::engine {

// Does the run; `watcher` may be nullptr. `stops`: how often the person has asked it to stop, as by
// SIGTERM; it is looked at about ten times a second. Returns an ExitCode. Called again, when it has
// returned, to go on with the same job.
using RunFunction = std::function<int(RunWatcher* watcher, const std::atomic<int>& stops)>;

class Front {
 public:
  // First of all in main, before the standard streams are touched.
  Front();

  // Whether whatever is printed is lost.
  bool alone() const { return alone_; }
  // The run, and all that the person sees of it but the standard streams. Returns when both are
  // through, with the last run's ExitCode. Once in a process.
  int Show(const Clock& clock, const RunFunction& run) const;

 private:
  bool alone_ = false;
};

}  // namespace vespro::engine
