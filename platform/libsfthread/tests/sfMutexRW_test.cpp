// What every libsfthread must do: the reader/writer lock, who it lets in and when.
//
// The tests see from outside that a thread waits: the system has put it to sleep in its call.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <latch>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Actor.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Well above the time that a thread is held back at most where it is open who reads, at first.
constexpr auto kLongerThanTheFirstGrace = 50ms;
// For what must happen, on a busy machine.
constexpr auto kSoon = 10s;

class MutexRW : public testing::Test {
 protected:
  void Read(Actor& actor) {
    actor.Do([this] { lock_.readLock(); });
  }
  void StartReading(Actor& actor) {
    actor.Start([this] { lock_.readLock(); });
  }
  void StartWriting(Actor& actor) {
    actor.Start([this] { lock_.writeLock(); });
  }
  void Unlock(Actor& actor) {
    actor.Do([this] { lock_.unlock(); });
  }
  bool TryRead(Actor& actor) {
    bool held = false;
    actor.Do([&] { held = lock_.tryReadLock(); });
    return held;
  }
  bool TryWrite(Actor& actor) {
    bool held = false;
    actor.Do([&] { held = lock_.tryWriteLock(); });
    return held;
  }
  // Whether a thread that holds nothing could write.
  bool IsFree() {
    Actor prober;
    const bool free = TryWrite(prober);
    if (free) Unlock(prober);
    return free;
  }

  sfMutexRW lock_;
};

TEST_F(MutexRW, IsHeldByManyReadersTogether) {
  Actor other;
  lock_.readLock();

  EXPECT_TRUE(TryRead(other));
  EXPECT_FALSE(TryWrite(other));

  lock_.unlock();
  EXPECT_FALSE(IsFree());
  Unlock(other);
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, IsHeldByOneWriterAlone) {
  Actor other;
  lock_.writeLock();

  EXPECT_FALSE(TryRead(other));
  EXPECT_FALSE(TryWrite(other));

  lock_.unlock();
  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, UnlockEndsWhicheverLockIsHeld) {
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

// Interleaving: the reader is asleep in readLock() before the writer releases.
TEST_F(MutexRW, AReaderWaitsForAWriter) {
  Actor reader;
  lock_.writeLock();

  StartReading(reader);
  ASSERT_TRUE(reader.Waits());
  lock_.unlock();

  ASSERT_TRUE(reader.EndsWithin(kSoon));
  Unlock(reader);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer is asleep in writeLock() before the first of two readers releases.
TEST_F(MutexRW, AWriterWaitsForTheLastReader) {
  Actor first, second, writer;
  Read(first);
  Read(second);

  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());
  Unlock(first);
  EXPECT_TRUE(writer.Waits());
  Unlock(second);

  ASSERT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer is asleep in writeLock() before the reader reads again.
TEST_F(MutexRW, AThreadThatReadsMayReadAgainWhileAWriterWaits) {
  Actor reader, writer;
  Read(reader);
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  StartReading(reader);
  ASSERT_TRUE(reader.EndsWithin(kSoon));
  EXPECT_TRUE(TryRead(reader));

  Unlock(reader);
  Unlock(reader);
  EXPECT_TRUE(writer.Waits());
  Unlock(reader);
  ASSERT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer is asleep in writeLock(), then the new reader in readLock(), before the
// first reader releases.
TEST_F(MutexRW, ANewReaderQueuesBehindAWaitingWriter) {
  Actor writer, newReader;
  lock_.readLock();
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  EXPECT_FALSE(TryRead(newReader));
  StartReading(newReader);
  ASSERT_TRUE(newReader.Waits());
  lock_.unlock();

  ASSERT_TRUE(writer.EndsWithin(kSoon));
  EXPECT_TRUE(newReader.Waits());
  Unlock(writer);
  ASSERT_TRUE(newReader.EndsWithin(kSoon));
  Unlock(newReader);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the next writer, then two readers, are asleep in their calls before the first
// writer releases.
TEST_F(MutexRW, AReleasingWriterLetsInAllWaitingReadersBeforeTheNextWriter) {
  Actor nextWriter, first, second;
  lock_.writeLock();
  StartWriting(nextWriter);
  ASSERT_TRUE(nextWriter.Waits());
  StartReading(first);
  ASSERT_TRUE(first.Waits());
  StartReading(second);
  ASSERT_TRUE(second.Waits());

  lock_.unlock();

  ASSERT_TRUE(first.EndsWithin(kSoon));
  ASSERT_TRUE(second.EndsWithin(kSoon));
  EXPECT_TRUE(nextWriter.Waits());
  Unlock(first);
  EXPECT_TRUE(nextWriter.Waits());
  Unlock(second);
  ASSERT_TRUE(nextWriter.EndsWithin(kSoon));
  Unlock(nextWriter);
  EXPECT_TRUE(IsFree());
}

// Interleaving: each writer is asleep in writeLock() before the next one asks.
TEST_F(MutexRW, WaitingWritersGoFirstComeFirstServed) {
  std::array<Actor, 4> writers;
  lock_.writeLock();
  for (Actor& writer : writers) {
    StartWriting(writer);
    ASSERT_TRUE(writer.Waits());
  }

  lock_.unlock();

  for (std::size_t turn = 0; turn < writers.size(); ++turn) {
    ASSERT_TRUE(writers[turn].EndsWithin(kSoon)) << "writer " << turn;
    for (std::size_t later = turn + 1; later < writers.size(); ++later) {
      EXPECT_TRUE(writers[later].Waits()) << "writer " << later << " in the turn of " << turn;
    }
    Unlock(writers[turn]);
  }
  EXPECT_TRUE(IsFree());
}

// Interleaving: a second writer waits and the first one, having released, asks again at once.
TEST_F(MutexRW, NobodySlipsInBeforeTheWriterWhoseTurnItIs) {
  Actor waiting;
  lock_.writeLock();
  StartWriting(waiting);
  ASSERT_TRUE(waiting.Waits());

  lock_.unlock();

  EXPECT_FALSE(lock_.tryWriteLock());
  EXPECT_FALSE(lock_.tryReadLock());
  ASSERT_TRUE(waiting.EndsWithin(kSoon));
  Unlock(waiting);
}

TEST_F(MutexRW, AnotherThreadMayEndARead) {
  Actor other;
  lock_.readLock();

  Unlock(other);

  EXPECT_TRUE(IsFree());
}

TEST_F(MutexRW, AnotherThreadMayEndAWrite) {
  Actor other;
  lock_.writeLock();

  Unlock(other);

  EXPECT_TRUE(IsFree());
}

// Interleaving: the writer is asleep in writeLock() before a third thread ends the read.
TEST_F(MutexRW, AWriterGetsInWhenAnotherThreadEndsTheRead) {
  Actor writer, other;
  lock_.readLock();
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  Unlock(other);

  ASSERT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
}

// Interleaving: the thread waits for its own read to end, which another thread then does.
TEST_F(MutexRW, AThreadThatReadsMayWaitToWriteForAnotherToEndItsRead) {
  Actor reader, other;
  Read(reader);
  StartWriting(reader);
  ASSERT_TRUE(reader.Waits());

  Unlock(other);

  ASSERT_TRUE(reader.EndsWithin(kSoon));
  Unlock(reader);
  EXPECT_TRUE(IsFree());
}

// Interleaving: the only reader's second read is ended elsewhere, then a writer waits.
TEST_F(MutexRW, TheOnlyReaderStillNestsAtOnceAfterAnotherThreadEndedOneOfItsReads) {
  Actor reader, other, writer;
  Read(reader);
  Read(reader);
  Unlock(other);
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  EXPECT_TRUE(TryRead(reader));

  Unlock(reader);
  EXPECT_TRUE(writer.Waits());
  Unlock(reader);
  EXPECT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
}

// Interleaving: two threads read, a third one ends one of the reads, a writer waits; so it is open
// which of the two still reads when they read again.
TEST_F(MutexRW, NestingDoesNotStopForEverWhenItIsOpenWhoReads) {
  Actor first, second, other, writer;
  Read(first);
  Read(second);
  Unlock(other);
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  StartReading(first);
  StartReading(second);

  EXPECT_TRUE(first.EndsWithin(kSoon));
  EXPECT_TRUE(second.EndsWithin(kSoon));
  for (int read = 0; read < 3; ++read) Unlock(other);
  EXPECT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
  EXPECT_TRUE(IsFree());
}

// Interleaving: as before, and the thread that still reads reads again on the way, so that reads of
// which the holder is known come on top of those of which it is not.
TEST_F(MutexRW, ATryFailsAsLongAsItIsOpenWhetherItsThreadReads) {
  Actor first, second, other, writer;
  Read(first);
  Read(second);
  Unlock(other);
  EXPECT_TRUE(TryRead(first));
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  EXPECT_TRUE(TryRead(first));
  EXPECT_FALSE(TryRead(second));

  for (int read = 0; read < 3; ++read) Unlock(first);
  EXPECT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
}

// Interleaving: the first thread's read has been ended elsewhere, then the second thread's ended
// too, while a third one reads. The first one then reads again while a writer waits.
TEST_F(MutexRW, AThreadWhoseReadWasEndedElsewhereQueuesOnceThatIsCertain) {
  Actor first, second, third, other, writer;
  Read(first);
  Read(second);
  Unlock(other);
  Read(third);
  Unlock(second);
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  StartReading(first);

  EXPECT_FALSE(first.EndsWithin(kLongerThanTheFirstGrace));
  Unlock(third);
  ASSERT_TRUE(writer.EndsWithin(kSoon));
  EXPECT_TRUE(first.Waits());
  Unlock(writer);
  ASSERT_TRUE(first.EndsWithin(kSoon));
  Unlock(first);
  EXPECT_TRUE(IsFree());
}

// Interleaving: a thread reads and ends, a writer waits for that read, and a new thread comes that
// the system most likely gives the identity of the ended one.
TEST_F(MutexRW, ALaterThreadDoesNotPassForOneThatEndedWhileReading) {
  Actor writer;
  std::jthread([&] { lock_.readLock(); }).join();
  StartWriting(writer);
  ASSERT_TRUE(writer.Waits());

  bool read = false;
  std::jthread([&] { read = lock_.tryReadLock(); }).join();

  EXPECT_FALSE(read);
  lock_.unlock();
  EXPECT_TRUE(writer.EndsWithin(kSoon));
  Unlock(writer);
}

TEST(MutexRWLifetime, MayEndWhileHeld) {
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

  // The address and thread sanitizers judge the rest; a new lock in that place works.
  sfMutexRW next;
  EXPECT_TRUE(next.tryWriteLock());
}

// Interleaving: the writer is asleep in writeLock() when the reader releases; it destroys the lock
// as soon as it holds it, maybe before the releasing thread has returned.
TEST(MutexRWLifetime, MayEndAsSoonAsTheLastWaiterHoldsIt) {
  for (int round = 0; round < 50; ++round) {
    auto lock = std::make_unique<sfMutexRW>();
    sfMutexRW* const borrowed = lock.get();
    Actor writer;
    lock->readLock();
    writer.Start([&] {
      borrowed->writeLock();
      lock.reset();
    });
    ASSERT_TRUE(writer.Waits());

    borrowed->unlock();

    ASSERT_TRUE(writer.EndsWithin(kSoon));
  }
}

// --- Nobody starves ---------------------------------------------------------------------------

// Makes a starved test end red instead of running for ever.
class Deadline {
 public:
  bool HasPassed() const { return Clock::now() > end_; }

 private:
  const Clock::time_point end_ = Clock::now() + 5s;
};

template <class Call>
std::chrono::milliseconds TimeOf(Call call) {
  const auto start = Clock::now();
  call();
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

// Interleaving: until the writer asks, a reader releases only while the other one reads too; from
// then on each reads again as soon as it has released, so that their reads overlap wherever the
// lock lets them.
TEST(MutexRWFairness, AWriterGetsInWhileTwoReadersOverlapForEver) {
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

// Interleaving: a writer releases only after the other one has asked, so one of them waits at every
// release.
TEST(MutexRWFairness, AReaderGetsInWhileTwoWritersRelayForEver) {
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

// Interleaving: two threads read in turns for 40 ms each, half a turn apart, and a third one ends
// every read. It is always open who reads, and each comes again while the other's read is held.
TEST(MutexRWFairness, AWriterGetsInWhileReadsEndedElsewhereOverlapForEver) {
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

// Interleaving: any. The sums, and the thread sanitizer, tell whether a writer was ever alone.
TEST(MutexRWFairness, ReadersSeeWholeWritesOnly) {
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
