// Tests of libsfthread: the reader/writer lock allocates nothing.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>
#include <tests/support/FullMemory.h>
#include <tests/support/WatchedThread.h>

#include <chrono>
#include <new>

namespace {

using namespace std::chrono_literals;
using support::WatchedThread;

// Returns a function that makes the calls and checks that they allocate nothing. During the calls,
// every allocation on their thread fails.
template <class Calls>
auto WithoutHeap(Calls calls) {
  return [calls] {
    const long before = support::heap.taken;
    bool threw = false;
    try {
      const support::NoMemoryForThisThread shortage;
      calls();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    EXPECT_FALSE(threw);
    EXPECT_EQ(support::heap.taken, before);
  };
}

// Interleaving: while this thread reads, the writer sleeps in writeLock(), and then a new reader
// waits for the writer.
TEST(MutexRWMemory, LockingWaitingAndUnlockingAllocateNothing) {
  sfMutexRW lock;
  WatchedThread writer, reader;
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
    ASSERT_TRUE(writer.IsDoneWithin(5s));
    ASSERT_TRUE(reader.IsDoneWithin(5s));
  }
  EXPECT_TRUE(lock.tryWriteLock());
}

}  // namespace
