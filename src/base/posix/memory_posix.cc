#include <sys/mman.h>

#include <cstdint>

#include "base/memory.h"

namespace vespro::ModMemory {

void PreferLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
  // Only whole large pages: the system may refuse a range that does not begin at a page.
  constexpr std::uintptr_t kPageBytes = 2 * 1024 * 1024;
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t skipped = (kPageBytes - address % kPageBytes) % kPageBytes;
  if (size < skipped + kPageBytes) return;
  const std::size_t whole = (size - skipped) / kPageBytes * kPageBytes;
  madvise(static_cast<char*>(memory) + skipped, whole, MADV_HUGEPAGE);
#endif
}

}  // namespace vespro::ModMemory
