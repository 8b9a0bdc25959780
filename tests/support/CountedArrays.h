// Counts array allocations.
//
// A program links test_array_allocator to have the global operator new[] replaced. Memory for
// arrays comes from operator new, where FullMemory may let it run out.

#ifndef TESTS_SUPPORT_COUNTEDARRAYS_H_
#define TESTS_SUPPORT_COUNTEDARRAYS_H_

#include <cstddef>
#include <string_view>

namespace support {

struct Arrays {
  int taken = 0;
  int given = 0;             // back
  std::size_t lastSize = 0;  // of the last one taken, in bytes
  std::string_view behind;   // bytes that the memory of every array has behind its end
};

// Since the start of the program, or since a test set it to {}.
// Threads: the only one that allocates.
extern Arrays arrays;

}  // namespace support

#endif  // TESTS_SUPPORT_COUNTEDARRAYS_H_
