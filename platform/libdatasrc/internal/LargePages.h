// Asks the system for large pages, which make the first use of a large block of memory faster.

#ifndef LIBDATASRC_INTERNAL_LARGEPAGES_H_
#define LIBDATASRC_INTERNAL_LARGEPAGES_H_

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace sdm_internal {

// Call it between the allocation and the first use of memory. The last eighth, which may stay
// unused, keeps small pages: using one byte of a large page takes up the whole page.
inline void UseLargePages(void* memory, std::size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kPage = std::uintptr_t{2} << 20;
  const auto address = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (address + kPage - 1) & ~(kPage - 1);
  const std::uintptr_t end = (address + bytes / 8 * 7) & ~(kPage - 1);
  // If madvise fails, the pages stay small.
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_LARGEPAGES_H_
