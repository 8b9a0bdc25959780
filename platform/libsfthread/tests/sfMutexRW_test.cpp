// Tests of libsfthread: the reader/writer lock, and when it admits which threads.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>
#include <tests/support/WatchedThread.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using support::WatchedThread;
using Clock = std::chrono::steady_clock;

// How long a waiting writer blocks new readers the first time.
constexpr auto kFirstClosing = 80ms;
// Time limit for expected events on a busy machine.
constexpr auto kSoon = 5s;

static_assert(!std::is_copy_constructible_v<sfMutexRW> && !std::is_copy_assignable_v<sfMutexRW>);

template <class Call>
std::chrono::milliseconds TimeOf(Call call) {
  const auto start = Clock::now();
  call();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

class MutexRW : public testing::Test {
 protected:
  void Read(WatchedThread& thread) {
    thread.Do([this] { lock_.readLock(); });
  }
  void StartReading(WatchedThread& thread) {
    thread.Start([this] { lock_.readLock(); });
  }
  void StartWriting(WatchedThread& thread) {
    thread.Start([this] { lock_.writeLock(); });
  }
  void Unlock(WatchedThread& thread) {
    thread.Do([this] { lock_.unlock(); });
  }
  bool TryRead(WatchedThread& thread) {
    bool held = false;
    thread.Do([&] { held = lock_.tryReadLock(); });
    return held;
  }
  bool TryWrite(WatchedThread& thread) {
    bool held = false;
    thread.Do([&] { held = lock_.tryWriteLock(); });
    return held;
  }
  // Whether a thread that holds no lock could acquire the write lock.
  bool IsFree() {
    WatchedThread prober;
    const bool free = TryWrite(prober);
    if (free) Unlock(prober);
    return free;
  }

  sfMutexRW lock_;
};

TEST_F(MutexRW, IsHeldByManyReadersTogether) {
  WatchedThread other;
  lock_.readLock();

  EXPECT_TRUE(TryRead(other));
  EXPECT_FALSE(TryWrite(other));

  lock_.unlock();
  EXPECT_FALSE(IsFree());
  Unlock(other);
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, IsHeldByOneWriterAlone) {
  WatchedThread other;
  lock_.writeLock();

  EXPECT_FALSE(TryRead(other));
  EXPECT_FALSE(TryWrite(other));

  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, UnlockReleasesEitherKindOfLock) {
  lock_.writeLock();
  lock_.unlock();
  lock_.readLock();
  lock_.readLock();
  lock_.unlock();
  EXPECT_FALSE(IsFree());
  lock_.unlock();
  EXPECT_TRUE(IsFree());
  ASSERT_TRUE(lock_.tryWriteLock());
  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, UnlockingAFreeLockDoesNothing) {
  lock_.unlock();

  EXPECT_TRUE(IsFree());
  lock_.readLock();
  EXPECT_FALSE(IsFree());
  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, TryingToWriteFailsForTheThreadThatReads) {
  lock_.readLock();

  EXPECT_FALSE(lock_.tryWriteLock());

  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, TryingFailsForTheThreadThatWrites) {
  lock_.writeLock();

  EXPECT_FALSE(lock_.tryReadLock());
  EXPECT_FALSE(lock_.tryWriteLock());

  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, TryingToReadNestsForTheThreadThatReads) {
  lock_.readLock();

  EXPECT_TRUE(lock_.tryReadLock());

  lock_.unlock();
  EXPECT_FALSE(IsFree());
  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

// Interleaving: the reader sleeps in readLock() before the writer releases.
TEST_F(MutexRW, AReaderWaitsForAWriter) {
  WatchedThread reader;
  lock_.writeLock();

  StartReading(reader);
  ASSERT_TRUE(reader.Waits());
  lock_.unlock();

  ASSERT_TRUE(reader.IsDoneWithin(kSoon));
  Unlock(reader);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer sleeps in writeLock() before the first of two readers releases.
TEST_F(MutexRW, AWriterWaitsForTheLastReader) {
  WatchedThread first, second, writer;
  Read(first);
  Read(second);

  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());
  Unlock(first);
  EXPECT_TRUE(writer.Waits());
  Unlock(second);

  ASSERT_TRUE(writer.IsDoneWithin(kSoon));
  Unlock(writer);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the next writer, then two readers, sleep in their calls before the first writer
// releases.
TEST_F(MutexRW, AReleasingWriterAdmitsAllWaitingReaders) {
  WatchedThread nextWriter, first, second;
  lock_.writeLock();
  StartWriting(nextWriter);
  ASSERT_TRUE(nextWriter.Waits());
  StartReading(first);
  ASSERT_TRUE(first.Waits());
  StartReading(second);
  ASSERT_TRUE(second.Waits());

  lock_.unlock();

  ASSERT_TRUE(first.IsDoneWithin(kSoon));
  ASSERT_TRUE(second.IsDoneWithin(kSoon));
  EXPECT_TRUE(nextWriter.Waits());
  Unlock(first);
  EXPECT_TRUE(nextWriter.Waits());
  Unlock(second);
  ASSERT_TRUE(nextWriter.IsDoneWithin(kSoon));
  Unlock(nextWriter);
  EXPECT_TRUE(IsFree());
}

// Interleaving: each writer sleeps in writeLock() before the next writer calls it.
TEST_F(MutexRW, WaitingWritersAreServedInOrder) {
  std::array<WatchedThread, 4> writers;
  lock_.writeLock();
  for (WatchedThread& writer : writers) {
    StartWriting(writer);
    ASSERT_TRUE(writer.Waits());
  }

  lock_.unlock();

  for (std::size_t turn = 0; turn < writers.size(); ++turn) {
    ASSERT_TRUE(writers[turn].IsDoneWithin(kSoon)) << "writer " << turn;
    for (std::size_t later = turn + 1; later < writers.size(); ++later) {
      EXPECT_TRUE(writers[later].Waits()) << "writer " << later << " in the turn of " << turn;
    }
    Unlock(writers[turn]);
  }
  EXPECT_TRUE(IsFree());
}

// Interleaving: a second writer sleeps in writeLock(); the first writer releases and immediately
// tries to acquire the lock again.
TEST_F(MutexRW, NobodyOvertakesTheNextWriter) {
  WatchedThread waiting;
  lock_.writeLock();
  StartWriting(waiting);
  ASSERT_TRUE(waiting.Waits());

  lock_.unlock();

  EXPECT_FALSE(lock_.tryWriteLock());
  EXPECT_FALSE(lock_.tryReadLock());
  ASSERT_TRUE(waiting.IsDoneWithin(kSoon));
  Unlock(waiting);
}

TEST_F(MutexRW, AnotherThreadMayReleaseARead) {
  WatchedThread other;
  lock_.readLock();

  Unlock(other);

  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, AnotherThreadMayReleaseAWrite) {
  WatchedThread other;
  lock_.writeLock();

  Unlock(other);

  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer sleeps in writeLock() before a third thread releases the read.
TEST_F(MutexRW, AWriterIsAdmittedWhenAnotherThreadReleasesTheRead) {
  WatchedThread writer, other;
  lock_.readLock();
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  Unlock(other);

  ASSERT_TRUE(writer.IsDoneWithin(kSoon));
  Unlock(writer);
}

// Interleaving: the thread sleeps in writeLock() because of its own read, which another thread then
// releases.
TEST_F(MutexRW, AReaderMayWaitToWriteUntilAnotherThreadReleasesItsRead) {
  WatchedThread reader, other;
  Read(reader);
  StartWriting(reader);
  ASSERT_TRUE(reader.Waits());

  Unlock(other);

  ASSERT_TRUE(reader.IsDoneWithin(kSoon));
  Unlock(reader);
  EXPECT_TRUE(IsFree());
}

// --- Reads while a writer waits -----------------------------------------------------------------

class MutexRWBehindAWriter : public MutexRW {
 protected:
  // Starts a writer that waits for the held reads.
  void LetAWriterWait() {
    StartWriting(writer_);
    ASSERT_TRUE(writer_.Waits());
  }
  // Releases this many reads, then waits until the writer has acquired and released the lock.
  void EndReads(int reads) {
    for (; reads > 0; --reads) {
      EXPECT_TRUE(writer_.Waits());
      Unlock(ender_);
    }
    ASSERT_TRUE(writer_.IsDoneWithin(kSoon));
    Unlock(writer_);
    EXPECT_TRUE(IsFree());
  }
  void ExpectToRead(WatchedThread& reader) {
    StartReading(reader);
    ASSERT_TRUE(reader.IsDoneWithin(kSoon)) << "waits forever";
  }

  WatchedThread writer_;
  WatchedThread ender_;
};

// Interleaving: the waiting writer blocks a new reader until the time limit; then the reader is
// admitted.
TEST_F(MutexRWBehindAWriter, ANewReaderIsAdmittedWhileAnotherReaderStays) {
  WatchedThread stays, comes;
  Read(stays);
  LetAWriterWait();
  ExpectToRead(comes);
  EndReads(2);
}

// Interleaving: other threads release the reads of the second and the third thread, so that only
// the first thread still reads; then the first thread reads again.
TEST_F(MutexRWBehindAWriter, AReaderNestsAfterThreadsReleasedEachOthersReads) {
  WatchedThread first, second, third, other;
  Read(first);
  Read(second);
  Unlock(other);
  Read(third);
  Unlock(second);
  LetAWriterWait();
  ExpectToRead(first);
  EndReads(2);
}

// Interleaving: two threads read, a third thread releases one of the reads; then the first two
// threads read again.
TEST_F(MutexRWBehindAWriter, BothReadersNestAfterAnotherThreadReleasedOneRead) {
  WatchedThread first, second, other;
  Read(first);
  Read(second);
  Unlock(other);
  LetAWriterWait();
  ExpectToRead(first);
  ExpectToRead(second);
  EndReads(3);
}

// Interleaving: a thread reads; another thread takes over this read and acquires a nested read.
TEST_F(MutexRWBehindAWriter, AThreadThatTookOverAReadNests) {
  WatchedThread gives, takes;
  Read(gives);
  LetAWriterWait();
  ExpectToRead(takes);
  Unlock(takes);
  EndReads(1);
}

// Interleaving: two threads read; the first thread releases the read of the second, keeps its own
// read, and reads again.
TEST_F(MutexRWBehindAWriter, AThreadThatReleasedAnothersReadNests) {
  WatchedThread first, second;
  Read(first);
  Read(second);
  Unlock(first);
  LetAWriterWait();
  ExpectToRead(first);
  EndReads(2);
}

// Interleaving: a thread that reads waits for helpers, which start to read while the writer waits.
TEST_F(MutexRWBehindAWriter, HelpersOfAReaderAreAdmitted) {
  WatchedThread reader;
  std::array<WatchedThread, 3> helpers;
  std::latch writerWaits(1);
  std::latch helped(3);
  Read(reader);
  reader.Start([&] { helped.wait(); });
  LetAWriterWait();
  for (WatchedThread& helper : helpers) {
    helper.Start([&] {
      writerWaits.wait();
      lock_.readLock();
      lock_.unlock();
      helped.count_down();
    });
  }
  writerWaits.count_down();
  ASSERT_TRUE(reader.IsDoneWithin(kSoon)) << "waits forever";
  EndReads(1);
}

// Interleaving: while a reader reads and a writer waits, a helper calls tryReadLock() until the
// call succeeds.
TEST_F(MutexRWBehindAWriter, AHelperThatOnlyTriesIsAdmitted) {
  WatchedThread reader, helper;
  Read(reader);
  LetAWriterWait();
  helper.Start([this, deadline = Clock::now() + kSoon] {
    while (!lock_.tryReadLock()) {
      if (Clock::now() > deadline) return;
      std::this_thread::yield();
    }
    lock_.unlock();
  });
  EXPECT_TRUE(helper.IsDoneWithin(kSoon - 1s)) << "tries forever";
  EndReads(1);
}

// Interleaving: a thread reads two locks, then the first lock again. Each thread remembers only the
// last lock that it read, so the first lock cannot know that the thread already reads it.
TEST_F(MutexRWBehindAWriter, AReaderNestsAfterReadingAnotherLock) {
  sfMutexRW second;
  WatchedThread reader;
  Read(reader);
  reader.Do([&] { second.readLock(); });
  LetAWriterWait();
  ExpectToRead(reader);
  EndReads(2);
}

// Interleaving: a helper reads 300 times in succession while the writer waits. If each read were
// blocked for 80 ms, the helper would exceed the time limit.
TEST_F(MutexRWBehindAWriter, SuccessiveReadsAreRarelyDelayed) {
  WatchedThread reader, helper;
  Read(reader);
  LetAWriterWait();
  helper.Start([this] {
    for (int read = 0; read < 300; ++read) {
      lock_.readLock();
      lock_.unlock();
    }
  });
  EXPECT_TRUE(helper.IsDoneWithin(kSoon));
  EndReads(1);
}

// Takes the shortest of several attempts, because a busy machine delays some of them.
TEST_F(MutexRWBehindAWriter, AReaderReadsAgainWithoutDelay) {
  auto shortest = std::chrono::milliseconds::max();
  for (int time = 0; time < 20; ++time) {
    lock_.readLock();
    LetAWriterWait();
    shortest = std::min(shortest, TimeOf([this] { lock_.readLock(); }));
    EndReads(2);
  }
  EXPECT_LT(shortest, kFirstClosing / 2);
}

// Interleaving: a writer waits while new readers are blocked three times, for 80, 160 and 320 ms;
// then the writer is admitted. A new reader calls readLock() while the next writer waits.
TEST_F(MutexRWBehindAWriter, TheNextWriterStartsWithTheShortestDelayAgain) {
  auto shortest = std::chrono::milliseconds::max();
  for (int time = 0; time < 5 && shortest > 2 * kFirstClosing; ++time) {
    WatchedThread stays, comes, comesLater;
    Read(stays);
    LetAWriterWait();
    for (int longer = 1; longer <= 4; longer *= 2) {
      ExpectToRead(comes);
      // The lock blocked readers for `longer` * 80 ms, and now admits readers for `longer` * 20 ms.
      // Sleeps until after these 20 ms (40, 80 ms), so that the lock blocks readers again.
      std::this_thread::sleep_for(longer * kFirstClosing / 3);
    }
    EndReads(4);
    Read(stays);
    LetAWriterWait();
    shortest = std::min(shortest, TimeOf([&] { ExpectToRead(comesLater); }));
    EndReads(2);
  }
  EXPECT_LT(shortest, 2 * kFirstClosing);
}

// Interleaving: the writer sleeps in writeLock(), then the new reader in readLock(), before the
// first reader releases. Repeated if the machine is so slow that the lock may have admitted the new
// reader first.
TEST_F(MutexRWBehindAWriter, ANewReaderLetsTheWriterGoFirst) {
  for (int time = 0; time < 20; ++time) {
    WatchedThread newReader;
    lock_.readLock();
    LetAWriterWait();
    const auto start = Clock::now();
    const bool tried = TryRead(newReader);
    StartReading(newReader);
    const bool waited = newReader.Waits();
    lock_.unlock();
    const bool isTimely = Clock::now() - start < kFirstClosing / 2;
    if (isTimely) {
      EXPECT_FALSE(tried);
      EXPECT_TRUE(waited);
      EXPECT_TRUE(writer_.IsDoneWithin(kSoon));
      EXPECT_TRUE(newReader.Waits());
      Unlock(writer_);
      EXPECT_TRUE(newReader.IsDoneWithin(kSoon));
      Unlock(newReader);
      EXPECT_TRUE(IsFree());
      return;
    }
    while (!newReader.IsDone() || !writer_.IsDone()) lock_.unlock();
    while (!lock_.tryWriteLock()) lock_.unlock();
    lock_.unlock();
  }
  FAIL() << "the machine is too busy to tell";
}

// --- Lifetime ----------------------------------------------------------------------------------

TEST(MutexRWLifetime, MayBeDestroyedWhileHeld) {
  auto written = std::make_unique<sfMutexRW>();
  written->writeLock();
  written.reset();

  auto read = std::make_unique<sfMutexRW>();
  read->readLock();
  read->readLock();
  read.reset();

  auto readElsewhere = std::make_unique<sfMutexRW>();
  std::jthread([&] { readElsewhere->readLock(); }).join();
  readElsewhere.reset();

  // The destroyed locks do not affect a new lock. The sanitizers detect other errors.
  sfMutexRW next;
  EXPECT_TRUE(next.tryWriteLock());
}

// Interleaving: the writer sleeps in writeLock() when the reader releases. As soon as the writer
// holds the lock, it destroys the lock, possibly before unlock() has returned.
TEST(MutexRWLifetime, MayBeDestroyedAsSoonAsTheLastWaiterHoldsIt) {
  for (int round = 0; round < 50; ++round) {
    auto lock = std::make_unique<sfMutexRW>();
    sfMutexRW* const borrowed = lock.get();
    WatchedThread writer;
    lock->readLock();
    writer.Start([&] {
      borrowed->writeLock();
      lock.reset();
    });
    ASSERT_TRUE(writer.Waits());

    borrowed->unlock();

    ASSERT_TRUE(writer.IsDoneWithin(kSoon));
  }
}

// Interleaving: any, in many rounds. The other thread calls tryWriteLock() until it succeeds and
// then destroys the lock, possibly before unlock() has returned.
TEST(MutexRWLifetime, MayBeDestroyedAsSoonAsItIsFree) {
  WatchedThread other;
  for (int round = 0; round < 5000; ++round) {
    auto lock = std::make_unique<sfMutexRW>();
    sfMutexRW* const borrowed = lock.get();
    std::atomic<bool> tries = false;
    lock->readLock();
    other.Start([&] {
      while (!borrowed->tryWriteLock()) tries = true;
      lock.reset();
    });
    while (!tries) std::this_thread::yield();
    borrowed->unlock();
    ASSERT_TRUE(other.IsDoneWithin(kSoon));
  }
}

// --- Fairness ---------------------------------------------------------------------------------

// Lets a test fail, instead of running forever, if a thread never acquires the lock.
class Deadline {
 public:
  bool HasPassed() const { return Clock::now() > end_; }

 private:
  const Clock::time_point end_ = Clock::now() + 5s;
};

// Interleaving: until the writer calls writeLock(), a reader releases only while the other reader
// also reads. After that, each reader reads again as soon as it has released, so that the reads
// overlap as far as the lock allows.
TEST(MutexRWFairness, AWriterIsAdmittedWhileTwoReadersOverlapForever) {
  sfMutexRW lock;
  const Deadline deadline;
  std::atomic<bool> writerAsks = false;
  std::atomic<bool> stop = false;
  std::atomic<int> reading = 0;
  std::latch overlapping(2);
  auto read = [&] {
    overlapping.count_down();
    while (!stop && !deadline.HasPassed()) {
      lock.readLock();
      ++reading;
      std::this_thread::sleep_for(1ms);  // the time that a read takes
      while (reading < 2 && !writerAsks && !stop) std::this_thread::yield();
      --reading;
      lock.unlock();
    }
  };
  std::jthread first(read), second(read);
  overlapping.wait();
  while (reading < 2) std::this_thread::yield();

  const auto waited = TimeOf([&] {
    writerAsks = true;
    lock.writeLock();
  });

  EXPECT_LT(waited, 100ms);
  stop = true;
  lock.unlock();
}

// Interleaving: a writer releases only after the other writer has called writeLock(), so one writer
// waits at every release.
TEST(MutexRWFairness, AReaderIsAdmittedWhileTwoWritersAlternateForever) {
  sfMutexRW lock;
  const Deadline deadline;
  std::atomic<bool> stop = false;
  std::atomic<int> turns = 0;
  std::array<std::atomic<bool>, 2> asking = {};
  auto write = [&](std::size_t self) {
    while (!stop && !deadline.HasPassed()) {
      asking[self] = true;
      lock.writeLock();
      asking[self] = false;
      ++turns;
      std::this_thread::sleep_for(1ms);  // the time that a write takes
      while (!asking[1 - self] && !stop && !deadline.HasPassed()) std::this_thread::yield();
      lock.unlock();
    }
    asking[self] = true;
  };
  std::jthread first(write, 0), second(write, 1);
  while (turns < 4) std::this_thread::yield();

  const auto waited = TimeOf([&] { lock.readLock(); });

  EXPECT_LT(waited, 100ms);
  stop = true;
  lock.unlock();
}

// Interleaving: two threads, started 20 ms apart, repeat reads of 40 ms; a third thread releases
// every read. So each thread reads again while the read of the other thread is held.
TEST(MutexRWFairness, AWriterIsAdmittedWhileRemotelyReleasedReadsOverlapForever) {
  sfMutexRW lock;
  const Deadline deadline;
  std::atomic<bool> stop = false;
  std::atomic<int> turns = 0;
  std::atomic<int> toEnd = 0;
  auto read = [&](std::chrono::milliseconds delay) {
    std::this_thread::sleep_for(delay);
    while (!stop && !deadline.HasPassed()) {
      lock.readLock();
      ++turns;
      std::this_thread::sleep_for(40ms);  // the time that a read takes
      ++toEnd;
      while (toEnd > 0) std::this_thread::yield();
    }
  };
  std::jthread ender([&](std::stop_token leave) {
    while (!leave.stop_requested()) {
      if (toEnd == 0) {
        std::this_thread::yield();
        continue;
      }
      lock.unlock();
      --toEnd;
    }
  });
  {
    std::jthread first(read, 0ms), second(read, 20ms);
    while (turns < 4) std::this_thread::yield();

    const auto waited = TimeOf([&] { lock.writeLock(); });

    EXPECT_LT(waited, 1s);
    stop = true;
    lock.unlock();
  }
}

// Threads that read repeatedly until this object is destroyed. Their starts are spread evenly over
// the length of a read, so each thread reads again while the other threads hold reads.
class OverlappingReaders {
 public:
  // Each thread calls `hold` with its number after acquiring a read; `hold` must release the read
  // after `length`.
  OverlappingReaders(sfMutexRW& lock, int threads, std::chrono::milliseconds length,
                     std::function<void(int)> hold)
      : lock_(lock), hold_(std::move(hold)) {
    for (int self = 0; self < threads; ++self) {
      threads_.emplace_back([this, self, delay = self * length / threads] {
        std::this_thread::sleep_for(delay);
        while (!stop_ && !deadline_.HasPassed()) {
          lock_.readLock();
          ++turns_;
          hold_(self);
        }
      });
    }
    while (turns_ < 2 * threads) std::this_thread::yield();
  }
  ~OverlappingReaders() { stop_ = true; }

 private:
  sfMutexRW& lock_;
  const std::function<void(int)> hold_;
  const Deadline deadline_;
  std::atomic<bool> stop_ = false;
  std::atomic<int> turns_ = 0;
  std::vector<std::jthread> threads_;
};

TEST(MutexRWFairness, AWriterIsAdmittedWhile50MillisecondReadsOverlapForever) {
  sfMutexRW lock;
  const OverlappingReaders readers(lock, 4, 50ms, [&](int) {
    std::this_thread::sleep_for(50ms);
    lock.unlock();
  });

  EXPECT_LT(TimeOf([&] { lock.writeLock(); }), 1s);

  lock.unlock();
}

// The reads are longer than the 80 ms for which new readers are blocked the first time.
TEST(MutexRWFairness, AWriterIsAdmittedWhile200MillisecondReadsOverlapForever) {
  sfMutexRW lock;
  const OverlappingReaders readers(lock, 3, 200ms, [&](int) {
    std::this_thread::sleep_for(200ms);
    lock.unlock();
  });

  EXPECT_LT(TimeOf([&] { lock.writeLock(); }), 4s);

  lock.unlock();
}

// Interleaving: other threads release the first read of each of two threads; then the two threads
// release each other's reads. So each thread has always acquired more reads than it has released,
// as if its next read were nested. If the lock always admitted such a read, the writer would wait
// forever. A thread releases its own read if the other thread waits for the lock.
TEST(MutexRWFairness, AWriterIsAdmittedWhileThreadsReleaseEachOthersReadsForever) {
  sfMutexRW lock;
  std::array<std::atomic<bool>, 2> hasToEnd = {};
  std::array<bool, 2> isKnown = {};
  const OverlappingReaders readers(lock, 2, 40ms, [&](int number) {
    const auto self = static_cast<std::size_t>(number);
    const auto end = [&](std::size_t whose) {
      if (hasToEnd[whose].exchange(false)) lock.unlock();
    };
    const auto start = Clock::now();
    if (!std::exchange(isKnown[self], true)) {
      std::jthread([&] { lock.unlock(); }).join();  // another thread releases this thread's read
      return;
    }
    while (Clock::now() < start + 40ms) {
      end(1 - self);
      std::this_thread::sleep_for(1ms);
    }
    hasToEnd[self] = true;
    while (Clock::now() < start + 45ms && hasToEnd[self]) {
      end(1 - self);
      std::this_thread::yield();
    }
    end(self);
  });

  EXPECT_LT(TimeOf([&] { lock.writeLock(); }), 1s);

  lock.unlock();
}

// Interleaving: any. The sums and the thread sanitizer detect a writer that is not exclusive.
TEST(MutexRWFairness, ReadersSeeOnlyCompleteWrites) {
  constexpr int kRounds = 500;
  sfMutexRW lock;
  int left = 0;
  int right = 0;
  std::atomic<int> torn = 0;
  std::latch start(4);
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 2; ++thread) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) {
          lock.writeLock();
          ++left;
          ++right;
          lock.unlock();
        }
      });
      threads.emplace_back([&] {
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) {
          lock.readLock();
          const int seen = left;
          lock.readLock();
          if (seen != right) ++torn;
          lock.unlock();
          lock.unlock();
        }
      });
    }
  }

  EXPECT_EQ(torn, 0);
  EXPECT_EQ(left, 2 * kRounds);
  EXPECT_EQ(right, 2 * kRounds);
}

}  // namespace
