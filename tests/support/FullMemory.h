// Memory that runs out when a test says so.
//
// FullMemory.cpp replaces the global operator new, so it is a source of the programs that need it
// and no part of the library of test support. FullMessageMemory.cpp beside it replaces VUGlobal's,
// which change messages come from, in the same way.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

#include <new>

namespace support {

// Whether memory stays full after the allocation that fails, or that allocation alone fails.
enum class Shortage { Lasts, Passes };

// Lets `count` allocations succeed, then the next one fail; EndShortage() or the end of its life
// lets all succeed again. One at a time. Threads: the only one that allocates.
class MemoryFor {
 public:
  explicit MemoryFor(long count, Shortage shortage = Shortage::Lasts);
  ~MemoryFor();
  MemoryFor(const MemoryFor&) = delete;
  MemoryFor& operator=(const MemoryFor&) = delete;
};

void EndShortage();

// Counts one allocation. Returns whether it succeeds. For the replaced operators.
bool OneMoreIsLeft();

// Runs `work` where `count` allocations succeed. Returns whether one failed.
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
