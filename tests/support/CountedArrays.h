// Counts array allocations.
//
// Linking test_array_allocator replaces the global operators new[] and delete[]. The replacement of
// new[] calls operator new, so new[] also fails when FullMemory simulates a lack of memory.

#ifndef TESTS_SUPPORT_COUNTEDARRAYS_H_
#define TESTS_SUPPORT_COUNTEDARRAYS_H_

#include <cstddef>

namespace support {

struct Arrays {
  int taken = 0;
  int freed = 0;
  std::size_t lastSize = 0;  // of the last allocation, in bytes
};

// Counts since the start of the program, or since a test set `arrays` to {}.
// Threads: only while no other thread allocates.
extern Arrays arrays;

}  // namespace support

#endif  // TESTS_SUPPORT_COUNTEDARRAYS_H_
