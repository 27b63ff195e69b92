#include <windows.h>
// After windows.h, on which it depends.
#include <bcrypt.h>

#include <cstdlib>

#include "base/random.h"

namespace vespro {

void SystemRandomness::Refill() {
  if (BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(numbers_.data()), sizeof numbers_,
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    std::abort();
  }
  used_ = 0;
}

}  // namespace vespro
