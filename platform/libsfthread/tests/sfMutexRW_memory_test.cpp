// What every libsfthread must do: what the reader/writer lock takes from the heap, and what happens
// when that is empty. This program replaces the global allocator by one that counts and can fail.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>

#include <cstdlib>
#include <new>

namespace {
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

TEST(MutexRWMemory, ReadingAgainTakesNothingFromTheHeap) {
  sfMutexRW lock;
  lock.readLock();
  lock.unlock();
  const int before = allocations;

  for (int round = 0; round < 10; ++round) {
    lock.readLock();
    lock.readLock();
    lock.unlock();
    lock.unlock();
  }

  EXPECT_EQ(allocations, before);
}

TEST(MutexRWMemory, AReadThatCannotBeRememberedThrowsAndHoldsNothing) {
  sfMutexRW lock;

  heapIsEmpty = true;
  EXPECT_THROW(lock.readLock(), std::bad_alloc);
  EXPECT_THROW(lock.tryReadLock(), std::bad_alloc);
  heapIsEmpty = false;

  EXPECT_TRUE(lock.tryWriteLock());
  lock.unlock();
}

}  // namespace
