// base/random.h - unpredictable numbers for message ids, boundaries and temporary names, behind an
// interface so that tests can fix them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vespro {

class Randomness {
 public:
  virtual ~Randomness() = default;
  virtual std::uint64_t Next() = 0;
};

// The system's own source, asked for several numbers at a time. One thread per object.
class SystemRandomness final : public Randomness {
 public:
  std::uint64_t Next() override {
    if (used_ == numbers_.size()) Refill();
    return numbers_[used_++];
  }

 private:
  void Refill();

  std::array<std::uint64_t, 32> numbers_{};
  std::size_t used_ = numbers_.size();
};

}  // namespace vespro
