// Memory that runs out when a test says so.
//
// FullMemory.cpp replaces the global operator new, so it is a source of the programs that need it
// and no part of the library of test support.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

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

}  // namespace support

#endif  // TESTS_SUPPORT_FULLMEMORY_H_
