#include <sys/random.h>

#include <cstdlib>

#include "base/random.h"

namespace vespro {

std::uint64_t SystemRandomness::Next() {
  std::uint64_t number = 0;
  // Up to 256 bytes getrandom gives all or nothing; it can't fail once the system has booted.
  if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) std::abort();
  return number;
}

}  // namespace vespro
