// An allocator that counts, and runs out of memory when a test says so, in place of the program's
// own.

#ifndef LIBDATASRC_TESTS_FAILINGALLOCATOR_H_
#define LIBDATASRC_TESTS_FAILINGALLOCATOR_H_

#include <cstddef>

// Allocations that still succeed; negative for all. One thread at a time.
extern long allocationsLeft;

// The sum over all allocations since the program began, whatever was freed since.
extern std::size_t bytesAllocated;

#endif  // LIBDATASRC_TESTS_FAILINGALLOCATOR_H_
