// Tests of libsfthread: the mutex, and holding it for a scope.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libsfthread/sfGuard.h>
#include <libsfthread/sfMutex.h>
#include <tests/support/WatchedThread.h>

#include <limits>
#include <stdexcept>
#include <vector>

namespace {

using support::WatchedThread;
using testing::HasSubstr;

// Whether another thread could lock `mutex` now.
bool IsFree(sfMutex& mutex) {
  bool taken = false;
  std::jthread([&] {
    taken = mutex.tryLock();
    if (taken) mutex.unlock();
  }).join();
  return taken;
}

TEST(Mutex, IsHeldFromLockToUnlock) {
  sfMutex mutex;

  EXPECT_TRUE(IsFree(mutex));
  mutex.lock();
  EXPECT_FALSE(IsFree(mutex));
  mutex.unlock();
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, ASuccessfulTryHoldsTheMutex) {
  sfMutex mutex;

  ASSERT_TRUE(mutex.tryLock());
  EXPECT_FALSE(IsFree(mutex));
  mutex.unlock();
}

// Interleaving: the second thread sleeps in lock() before the first thread unlocks.
TEST(Mutex, AWaitingThreadAcquiresAfterTheRelease) {
  sfMutex mutex;
  WatchedThread other;
  mutex.lock();

  other.Start([&] { mutex.lock(); });
  ASSERT_TRUE(other.Waits());
  mutex.unlock();

  other.Do([&] { mutex.unlock(); });
  EXPECT_TRUE(IsFree(mutex));
}

// Interleaving: any; the sum and the thread sanitizer detect two threads that hold the mutex
// at the same time.
TEST(Mutex, IsHeldByOneThreadAtATime) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2'000;
  sfMutex mutex;
  int sum = 0;
  std::vector<std::jthread> threads;

  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const sfGuard guard(mutex, 1);
        ++sum;
      }
    });
  }
  threads.clear();

  EXPECT_EQ(sum, kThreads * kRounds);
}

TEST(Guard, HoldsItsMutexForTheScope) {
  sfMutex mutex;
  {
    const sfGuard guard(mutex, 1);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Guard, ReleasesWhenAnExceptionLeavesTheScope) {
  sfMutex mutex;

  try {
    const sfGuard guard(mutex, 1);
    throw std::runtime_error("out");
  } catch (const std::runtime_error&) {
  }

  EXPECT_TRUE(IsFree(mutex));
}

class GuardLockType : public testing::TestWithParam<int> {};

TEST_P(GuardLockType, OtherThanOneIsRejectedAndDoesNotTouchTheMutex) {
  sfMutex mutex;

  try {
    const sfGuard guard(mutex, GetParam());
    FAIL() << "no exception";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), HasSubstr(" " + std::to_string(GetParam()) + ","));
  }

  EXPECT_TRUE(IsFree(mutex));
}

INSTANTIATE_TEST_SUITE_P(Guard, GuardLockType,
                         testing::Values(0, 2, -1, std::numeric_limits<int>::min()));

}  // namespace
