// What every libsfthread must do: the reader/writer lock takes nothing from the heap. This program
// replaces the global allocator by one that counts and can fail.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>

#include <chrono>
#include <cstdlib>
#include <new>

#include "Actor.h"

namespace {
using namespace std::chrono_literals;
thread_local int allocations = 0;
thread_local bool heapIsEmpty = false;
}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  void* const storage = heapIsEmpty ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (storage == nullptr) throw std::bad_alloc();
  return storage;
}
void operator delete(void* storage) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t) noexcept {
  std::free(storage);
}

namespace {

// Makes the calls with an empty heap, on any thread.
template <class Calls>
auto WithoutHeap(Calls calls) {
  return [calls] {
    const int before = allocations;
    bool threw = false;
    heapIsEmpty = true;
    try {
      calls();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    heapIsEmpty = false;
    EXPECT_FALSE(threw);
    EXPECT_EQ(allocations, before);
  };
}

// Interleaving: the writer is asleep in writeLock() before the reads end, and a new reader behind
// it.
TEST(MutexRWMemory, NothingIsTakenFromTheHeapToTakeWaitForOrEndALock) {
  sfMutexRW lock;
  Actor writer, reader;
  for (int round = 0; round < 10; ++round) {
    WithoutHeap([&] {
      for (int read = 0; read < 1000; ++read) lock.readLock();
      EXPECT_TRUE(lock.tryReadLock());
    })();
    writer.Start(WithoutHeap([&] {
      lock.writeLock();
      lock.unlock();
    }));
    ASSERT_TRUE(writer.Waits());
    reader.Start(WithoutHeap([&] {
      lock.readLock();
      lock.unlock();
    }));
    reader.Waits();
    WithoutHeap([&] {
      for (int read = 0; read < 1001; ++read) lock.unlock();
    })();
    ASSERT_TRUE(writer.EndsWithin(5s));
    ASSERT_TRUE(reader.EndsWithin(5s));
  }
  EXPECT_TRUE(lock.tryWriteLock());
}

}  // namespace
