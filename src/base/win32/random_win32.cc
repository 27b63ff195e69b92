#include <windows.h>
// After windows.h, on which it depends.
#include <bcrypt.h>

#include <cstdlib>

#include "base/random.h"

namespace vespro {

std::uint64_t SystemRandomness::Next() {
  std::uint64_t number = 0;
  if (BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&number), sizeof number,
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    std::abort();
  }
  return number;
}

}  // namespace vespro
