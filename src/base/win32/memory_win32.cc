#include "base/memory.h"

namespace vespro::ModMemory {

// Large pages need a privilege there that users do not have.
void PreferLargePages(void*, std::size_t) {}

}  // namespace vespro::ModMemory
