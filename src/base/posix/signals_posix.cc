#include "base/signals.h"

namespace vespro::ModSignals {

std::span<const int> Endings() {
  static constexpr int kEndings[] = {SIGINT, SIGTERM, SIGHUP};
  return kEndings;
}

void IgnoreBrokenPipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace vespro::ModSignals
