#include <sys/random.h>

#include <cstdlib>

#include "base/random.h"

namespace vespro {

void SystemRandomness::Refill() {
  // Up to 256 bytes getrandom gives all or nothing; it can't fail once the system has booted.
  static_assert(sizeof numbers_ <= 256);
  if (getrandom(numbers_.data(), sizeof numbers_, 0) != static_cast<ssize_t>(sizeof numbers_)) {
    std::abort();
  }
  used_ = 0;
}

}  // namespace vespro
