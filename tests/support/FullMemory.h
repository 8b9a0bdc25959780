// FullMemory: an allocator that counts, and simulates running out of memory.
//
// Linking test_allocator replaces the global operators new and delete. Linking
// test_message_allocator also replaces the operators of VUGlobal, which allocate change messages.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

#include <cstddef>
#include <functional>
#include <new>
#include <string>

namespace support {

// Longer than the small-string buffer.
inline const std::string kLong = "a text that is too long to stand inside a string object";

// What follows the first failed allocation. Lasts: all later allocations also fail. Passes: all
// later allocations succeed.
enum class Shortage { Lasts, Passes };

// Lets `count` allocations succeed and the next allocation fail. Shortage says whether the later
// allocations fail, too. EndShortage() and the destructor let all allocations succeed again. Only
// one object may exist at a time.
// Threads: only while no other thread allocates.
class MemoryFor {
 public:
  explicit MemoryFor(long count, Shortage shortage = Shortage::Lasts);
  ~MemoryFor();
  MemoryFor(const MemoryFor&) = delete;
  MemoryFor& operator=(const MemoryFor&) = delete;
};

void EndShortage();

// Counts as an allocation for MemoryFor, but allocates nothing. Returns false if this allocation
// must fail.
bool OneMoreIsLeft();

// Makes every allocation of this thread fail during the lifetime of the object.
// Threads: any; each thread needs its own object.
class NoMemoryForThisThread {
 public:
  NoMemoryForThisThread();
  ~NoMemoryForThisThread();
  NoMemoryForThisThread(const NoMemoryForThisThread&) = delete;
  NoMemoryForThisThread& operator=(const NoMemoryForThisThread&) = delete;
};

// Runs `work`, whose first `count` allocations succeed. Returns whether it threw bad_alloc.
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

// The number of allocations that still succeed; negative if all succeed.
long AllocationsLeft();

// Runs `work` and returns the number of its allocations.
template <class Work>
long AllocationsOf(const Work& work) {
  constexpr long kPlenty = 1'000'000'000;
  const MemoryFor plenty(kPlenty);
  work();
  return kPlenty - AllocationsLeft();
}

// The counts of one thread, since the start of the thread or since the test set them to {}.
struct Heap {
  long taken = 0;  // allocations, including failed ones
  long failed = 0;
  long freed = 0;  // excluding null pointers
  std::size_t bytes = 0;
  std::size_t largest = 0;  // in bytes
};
extern thread_local Heap heap;         // counts of the global operators
extern thread_local Heap messageHeap;  // counts of VUGlobal; needs test_message_allocator

// Returns the number of blocks that this thread has allocated and not freed, from `heap` and
// `messageHeap` together.
inline long LivingBlocks() {
  const auto living = [](const Heap& counts) {
    return counts.taken - counts.failed - counts.freed;
  };
  return living(heap) + living(messageHeap);
}

// Calls `event` once, just before `storage` is next freed with the global operators. A second call
// of WhenFreed replaces the first.
void WhenFreed(void* storage, std::function<void()> event);

// Called by the operators that replace new and delete. Take allocates storage, or returns null on
// failure. Free frees storage. Both update `counts`.
void* Take(std::size_t size, Heap& counts) noexcept;
void Free(void* storage, Heap& counts) noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_FULLMEMORY_H_
