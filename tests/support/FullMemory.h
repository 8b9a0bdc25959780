// Simulates running out of memory.
//
// FullMemory.cpp replaces the global operator new, so it is a source of the programs that need it
// and no part of the library of test support. FullMessageMemory.cpp beside it replaces VUGlobal's,
// which change messages come from, in the same way.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

#include <new>

namespace support {

// Whether all later allocations fail too, or only one.
enum class Shortage { Lasts, Passes };

// After `count` successful allocations, the next one fails, until EndShortage() or destruction.
// Only one object at a time.
// Threads: the only one that allocates.
class MemoryFor {
 public:
  explicit MemoryFor(long count, Shortage shortage = Shortage::Lasts);
  ~MemoryFor();
  MemoryFor(const MemoryFor&) = delete;
  MemoryFor& operator=(const MemoryFor&) = delete;
};

void EndShortage();

// For the replaced operators: counts one allocation and returns whether it succeeds.
bool OneMoreIsLeft();

// Runs `work` with `count` successful allocations. Returns whether an allocation failed.
template <class Work>
bool FailsWithMemoryFor(long count, Work work, Shortage shortage = Shortage::Lasts) {
  const MemoryFor some(count, shortage);
  try {
    work();
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  }
}

}  // namespace support

#endif  // TESTS_SUPPORT_FULLMEMORY_H_
