// An allocator that runs out of memory when a test says so, in place of the program's own.

#ifndef LIBDATASRC_TESTS_FAILINGALLOCATOR_H_
#define LIBDATASRC_TESTS_FAILINGALLOCATOR_H_

// Allocations that still succeed; negative for all. One thread at a time.
extern long allocationsLeft;

#endif  // LIBDATASRC_TESTS_FAILINGALLOCATOR_H_
