// Tests of libplatdep: a recursive lock.

#include <gtest/gtest.h>
#include <libplatdep/CriticalSection.h>

#include <latch>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 5'000;

// Calls `round` kRounds times on each of kThreads threads, which start together.
template <class Round>
void PlayTogether(Round round) {
  std::latch start(kThreads);
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int count = 0; count < kRounds; ++count) round();
    });
  }
}

TEST(CriticalSection, MayBeAcquiredAgainByItsHolder) {
  CriticalSection section;
  int depth = 0;

  const CriticalSection::Lock first(section);
  ++depth;
  {
    const CriticalSection::Lock second(section);
    const CriticalSection::Lock third(section);
    depth += 2;
  }

  EXPECT_EQ(depth, 3);
}

// Interleaving: any; the sum and the thread sanitizer detect two threads that hold the lock
// at the same time.
TEST(CriticalSection, IsHeldByOneThreadAtATime) {
  CriticalSection section;
  int sum = 0;

  PlayTogether([&] {
    const CriticalSection::Lock lock(section);
    ++sum;
  });

  EXPECT_EQ(sum, kThreads * kRounds);
}

// Interleaving: any. If the end of the inner lock released the section, the sum could be wrong, and
// the thread sanitizer would report a race.
TEST(CriticalSection, StaysHeldUntilTheOutermostLockIsDestroyed) {
  CriticalSection section;
  int sum = 0;

  PlayTogether([&] {
    const CriticalSection::Lock outer(section);
    { const CriticalSection::Lock inner(section); }
    ++sum;
  });

  EXPECT_EQ(sum, kThreads * kRounds);
}

// Interleaving: the other thread locks after the holder has left every scope.
TEST(CriticalSection, IsFreeAfterTheOutermostLockIsDestroyed) {
  CriticalSection section;
  bool entered = false;
  {
    const CriticalSection::Lock outer(section);
    const CriticalSection::Lock inner(section);
  }

  std::jthread([&] {
    const CriticalSection::Lock lock(section);
    entered = true;
  }).join();

  EXPECT_TRUE(entered);
}

}  // namespace
