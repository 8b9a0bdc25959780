// Memory that runs out when a test says so.
//
// FullMemory.cpp replaces the global operator new, so it is a source of the programs that need it
// and no part of the library of test support.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

#include <new>

namespace support {

// Lets `count` allocations succeed for its life, and no more. One at a time. Threads: the only one
// that allocates.
class MemoryFor {
 public:
  explicit MemoryFor(long count);
  ~MemoryFor();
  MemoryFor(const MemoryFor&) = delete;
  MemoryFor& operator=(const MemoryFor&) = delete;
};

// Runs `work` where `count` allocations succeed. Returns whether one failed.
template <class Work>
bool FailsWithMemoryFor(long count, Work work) {
  const MemoryFor some(count);
  try {
    work();
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  }
}

}  // namespace support

#endif  // TESTS_SUPPORT_FULLMEMORY_H_
