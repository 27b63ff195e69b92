#include "engine/front.h"

namespace vespro::engine {

Front::Front() = default;

// It is stopped by a signal.
int Front::Show(const Clock&, const RunFunction& run) const {
  const std::atomic<int> never{0};
  return run(nullptr, never);
}

}  // namespace vespro::engine
