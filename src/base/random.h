// base/random.h - unpredictable numbers for message ids, boundaries and temporary names, behind an
// interface so that tests can fix them.
#pragma once

#include <cstdint>
#include <string>

namespace vespro {

class Randomness {
 public:
  virtual ~Randomness() = default;
  virtual std::uint64_t Next() = 0;
};

// The system's own source. Any thread.
class SystemRandomness final : public Randomness {
 public:
  std::uint64_t Next() override;
};

}  // namespace vespro
