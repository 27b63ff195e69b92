// base/memory.h - advice to the system on large memory. Advice only: nothing depends on it.
#pragma once

#include <cstddef>

namespace vespro::ModMemory {

// Large pages, where the system has them, for memory of many megabytes that will be filled or
// looked up all over: far fewer page faults and look-ups of addresses. Call it before the memory is
// touched.
void PreferLargePages(void* memory, std::size_t size);

}  // namespace vespro::ModMemory
