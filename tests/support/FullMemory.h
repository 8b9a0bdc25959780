// FullMemory: the program's allocator, which counts, and runs out of memory when a test says so.
//
// A program links test_allocator to have the global operators new and delete replaced, and
// test_message_allocator to have VUGlobal's, which change messages come from, replaced as well.

#ifndef TESTS_SUPPORT_FULLMEMORY_H_
#define TESTS_SUPPORT_FULLMEMORY_H_

#include <cstddef>
#include <functional>
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

// Counts one allocation without making it. Returns whether it would succeed.
bool OneMoreIsLeft();

// Lets every allocation of this thread fail. Threads: any number, each with its own.
class NoMemoryForThisThread {
 public:
  NoMemoryForThisThread();
  ~NoMemoryForThisThread();
  NoMemoryForThisThread(const NoMemoryForThisThread&) = delete;
  NoMemoryForThisThread& operator=(const NoMemoryForThisThread&) = delete;
};

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

// What a thread did since it began, or since the test set it to {}.
struct Heap {
  long taken = 0;  // allocations, failed ones too
  long freed = 0;  // null pointers not counted
  std::size_t bytes = 0;
  std::size_t largest = 0;  // in bytes
};
extern thread_local Heap heap;         // the global operators
extern thread_local Heap messageHeap;  // VUGlobal's; defined with test_message_allocator

// Calls `event` once, when the storage is next given back to the global operators.
void WhenFreed(void* storage, std::function<void()> event);

// For the replaced operators: counts an allocation in `counts` and makes it. Returns null where it
// fails.
void* Take(std::size_t size, Heap& counts) noexcept;
void Free(void* storage, Heap& counts) noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_FULLMEMORY_H_
