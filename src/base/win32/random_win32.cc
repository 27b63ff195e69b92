#include <windows.h>
// After windows.h, on which it depends.
#include <ntsecapi.h>

#include <cstdlib>

#include "base/random.h"

namespace vespro {

// Windows XP has no newer way to this source, and the add-in is loaded there, too.
void SystemRandomness::Refill() {
  if (!RtlGenRandom(numbers_.data(), sizeof numbers_)) std::abort();
  used_ = 0;
}

}  // namespace vespro
