#include "base/signals.h"

namespace vespro::ModSignals {

std::span<const int> Endings() {
  static constexpr int kEndings[] = {SIGINT, SIGTERM};
  return kEndings;
}

void IgnoreBrokenPipes() {}  // they never end a program here

}  // namespace vespro::ModSignals
