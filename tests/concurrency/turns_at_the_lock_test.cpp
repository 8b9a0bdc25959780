// Tests which threads wait for the lock of a dataset, and for how long.

#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/WatchedThread.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using support::WatchedThread;
using Clock = std::chrono::steady_clock;

class TurnsAtTheLock : public testing::Test {
 protected:
  std::unique_ptr<SvrDMInputDataSource> Reader() {
    return std::make_unique<SvrDMInputDataSource>(registry, id, false);
  }
  std::unique_ptr<SvrDMWriteableDataSource> Writer() {
    return std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
  }

  std::string LabelNow() {
    const auto reader = Reader();
    const ORVX_DataSource& source = ***reader;
    return source.GetVariable(0).GetLabel();
  }

  ServerDataManager registry;
  const LocallyUniqueID id = support::AddDataset(registry, "A", /*quiet=*/true);
};

// --- Who waits ---

// The reader sleeps waiting for the lock before the writer makes its change.
TEST_F(TurnsAtTheLock, AReaderWaitsForTheWriterAndSeesItsChanges) {
  std::string seen;
  auto writer = Writer();
  WatchedThread reading([&] { seen = LabelNow(); });
  EXPECT_TRUE(reading.Waits());

  (*writer)->GetVariable(0).SetLabel("written");
  writer.reset();
  reading.Join();

  EXPECT_EQ(seen, "written");
}

// Two readers, made on different threads, hold the lock when the writer requests it.
TEST_F(TurnsAtTheLock, AWriterWaitsForTheLastReader) {
  auto first = Reader();
  std::unique_ptr<SvrDMInputDataSource> second;
  std::thread([&] { second = Reader(); }).join();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  first.reset();
  EXPECT_TRUE(writing.Waits());
  second.reset();
  EXPECT_FALSE(writing.Waits());
}

// This thread creates a reader. While a writer sleeps waiting for the lock, this thread creates two
// more readers.
TEST_F(TurnsAtTheLock, AReaderMayReadAgainWhileAWriterWaits) {
  auto outer = Reader();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  auto inner = Reader();
  auto innermost = Reader();
  EXPECT_EQ(inner->ReadersCount(), 3U);
  EXPECT_TRUE(writing.Waits());

  innermost.reset();
  inner.reset();
  EXPECT_TRUE(writing.Waits());
  outer.reset();
  EXPECT_FALSE(writing.Waits());
}

// While a writer sleeps waiting for the lock, a new reader requests the lock. The new reader must
// wait for the writer. Because the lock may admit the new reader after 80 ms, a round counts only
// if the first reader was released within 40 ms of the new reader's request.
TEST_F(TurnsAtTheLock, ANewReaderWaitsForAWaitingWriter) {
  std::string seen;
  for (int time = 0; seen.empty() && time < 20; ++time) {
    auto reader = Reader();
    std::latch mayRelease(1);
    WatchedThread writing([&] {
      auto writer = Writer();
      mayRelease.wait();
      (*writer)->GetVariable(0).SetLabel("written");
    });
    EXPECT_TRUE(writing.Waits());
    const auto asked = Clock::now();
    WatchedThread reading([&] { seen = LabelNow(); });
    reading.Waits();

    reader.reset();
    const bool isTimely = Clock::now() < asked + milliseconds(40);
    mayRelease.count_down();
    writing.Join();
    reading.Join();
    if (!isTimely) seen.clear();
  }

  EXPECT_EQ(seen, "written");
}

TEST_F(TurnsAtTheLock, AllWaitingWritersGetTheLock) {
  constexpr int kWriters = 4;
  auto holder = Writer();
  std::vector<std::unique_ptr<WatchedThread>> writing;
  for (int i = 0; i < kWriters; ++i) {
    writing.push_back(std::make_unique<WatchedThread>([&] {
      auto writer = Writer();
      ORVX_Variable& variable = (*writer)->GetVariable(0);
      variable.SetLabel(variable.GetLabel() + "x");
    }));
    EXPECT_TRUE(writing.back()->Waits());
  }
  EXPECT_EQ(holder->WritersCount(), 1U + kWriters);

  holder.reset();
  writing.clear();

  EXPECT_EQ(LabelNow(), std::string(kWriters, 'x'));
}

// --- A waiting writer does not block readers forever ---

bool ComesTrue(const std::function<bool()>& condition) {
  const auto givingUp = Clock::now() + std::chrono::seconds(5);
  while (!condition() && Clock::now() < givingUp) std::this_thread::yield();
  return condition();
}

// Threads X and Z create the readers x and z. A third thread destroys z, a fourth thread creates w,
// and thread Z destroys w. While a writer sleeps waiting for the lock, thread X, which still holds
// x, creates one more reader.
TEST_F(TurnsAtTheLock, AReaderMayReadAgainAfterOtherThreadsReleasedReaders) {
  std::unique_ptr<SvrDMInputDataSource> x, z, w;
  std::latch xReads(1), zReads(1), mayDestroyW(1), mayReadAgain(1);
  WatchedThread threadX([&] {
    x = Reader();
    xReads.count_down();
    mayReadAgain.wait();
    Reader();
  });
  WatchedThread threadZ([&] {
    z = Reader();
    zReads.count_down();
    mayDestroyW.wait();
    w.reset();
  });
  xReads.wait();
  zReads.wait();
  std::thread([&] { z.reset(); }).join();
  std::thread([&] { w = Reader(); }).join();
  mayDestroyW.count_down();
  threadZ.Join();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  mayReadAgain.count_down();
  EXPECT_TRUE(ComesTrue([&] { return threadX.IsDone(); }));

  x.reset();
  EXPECT_FALSE(writing.Waits());
}

// The reader is passed to another thread. While a writer sleeps waiting for the lock, this thread
// creates a second reader.
TEST_F(TurnsAtTheLock, AThreadThatTookOverAReaderMayReadAgain) {
  auto given = Reader();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  WatchedThread nesting([this, &given] {
    const auto inner = Reader();
    given.reset();
  });
  EXPECT_TRUE(ComesTrue([&] { return nesting.IsDone(); }));

  if (!nesting.IsDone()) given.reset();
  EXPECT_FALSE(writing.Waits());
}

// This thread holds the read lock, and a writer sleeps waiting for the lock. Then this thread waits
// for two threads that also acquire the read lock.
TEST_F(TurnsAtTheLock, AReaderMayWaitForThreadsThatRead) {
  auto reader = Reader();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  WatchedThread first([&] { Reader(); });
  WatchedThread second([&] { Reader(); });
  EXPECT_TRUE(ComesTrue([&] { return first.IsDone() && second.IsDone(); }));

  reader.reset();
  EXPECT_FALSE(writing.Waits());
}

// --- Handles that are released on another thread ---

TEST_F(TurnsAtTheLock, AReaderReleasedOnAnotherThreadAdmitsTheWriter) {
  auto reader = Reader();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  std::thread([handle = std::move(reader)]() mutable { handle.reset(); }).join();

  EXPECT_FALSE(writing.Waits());
  EXPECT_EQ(SvrDMDataset(registry, id).ReadersCount(), 0U);
}

TEST_F(TurnsAtTheLock, AWriterReleasedOnAnotherThreadAdmitsTheReader) {
  auto writer = Writer();
  WatchedThread reading([&] { Reader(); });
  EXPECT_TRUE(reading.Waits());

  std::thread([handle = std::move(writer)]() mutable { handle.reset(); }).join();

  EXPECT_FALSE(reading.Waits());
  EXPECT_EQ(SvrDMDataset(registry, id).WritersCount(), 0U);
}

// The thread that created the handle has ended when the handle is released.
TEST_F(TurnsAtTheLock, AHandleMayOutliveItsThread) {
  std::unique_ptr<SvrDMInputDataSource> reader;
  std::thread([&] { reader = Reader(); }).join();
  WatchedThread writing([&] { Writer(); });
  EXPECT_TRUE(writing.Waits());

  reader.reset();
  EXPECT_FALSE(writing.Waits());

  std::unique_ptr<SvrDMWriteableDataSource> writer;
  std::thread([&] { writer = Writer(); }).join();
  WatchedThread reading([&] { Reader(); });
  EXPECT_TRUE(reading.Waits());
  writer.reset();
  EXPECT_FALSE(reading.Waits());
}

// --- How long a thread waits while two others use the lock ---

// Two threads that keep the lock held. In each turn, a thread holds the lock for half a
// millisecond, then until `isOtherThere` returns true or one more half millisecond has passed.
// Both threads stop after 5 seconds, so that a starved third thread fails the test instead of
// waiting forever.
class TwoInTurns {
 public:
  // Creates a handle, calls the given function, and releases the handle.
  using Hold = std::function<void(const std::function<void()>&)>;

  // `isOtherThere` returns whether the other thread has reached the point at which this thread may
  // end its turn. Each thread calls `isOtherThere` with its own number, 0 or 1, while it holds the
  // lock.
  TwoInTurns(Hold hold, std::function<bool(const TwoInTurns&, int)> isOtherThere)
      : hold_(std::move(hold)), isOtherThere_(std::move(isOtherThere)) {
    for (int self : {0, 1}) threads_.emplace_back([this, self] { Run(self); });
    for (int self : {0, 1}) {
      while (TurnsOf(self) == 0) std::this_thread::yield();
    }
  }
  ~TwoInTurns() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

  int TurnsOf(int which) const { return turns_[static_cast<std::size_t>(which)]; }
  int Turns() const { return TurnsOf(0) + TurnsOf(1); }

 private:
  void Run(int self) {
    const auto givingUp = Clock::now() + std::chrono::seconds(5);
    while (!stop_ && Clock::now() < givingUp) hold_([&] { TakeATurn(self); });
  }

  void TakeATurn(int self) {
    ++turns_[static_cast<std::size_t>(self)];
    const auto start = Clock::now();
    while (Clock::now() < start + microseconds(500)) std::this_thread::yield();
    while (Clock::now() < start + microseconds(1000) && !isOtherThere_(*this, self)) {
      std::this_thread::yield();
    }
  }

  Hold hold_;
  std::function<bool(const TwoInTurns&, int)> isOtherThere_;
  std::atomic<bool> stop_ = false;
  std::array<std::atomic<int>, 2> turns_ = {};
  std::vector<std::thread> threads_;
};

// Makes a third thread repeatedly acquire the lock while two other threads use it.
class Third {
 public:
  // `take` creates a handle, calls the given function, and releases the handle.
  Third(const TwoInTurns& others, const TwoInTurns::Hold& take) {
    for (int i = 0; i < kTimes; ++i) GetIn(others, take);
  }

  // The median of all waits, because the machine may cause a single long wait.
  Clock::duration TypicalWait() {
    std::nth_element(waits_.begin(), waits_.begin() + kTimes / 2, waits_.end());
    return waits_[kTimes / 2];
  }

  // The maximum number of turns that the two others started during one wait, after the third thread
  // fell asleep.
  int MostTurnsOfOthers() const { return mostTurns_; }

 private:
  static constexpr int kTimes = 21;

  void GetIn(const TwoInTurns& others, const TwoInTurns::Hold& take) {
    Clock::duration wait{};
    int turnsWhenIn = 0;
    WatchedThread asking([&] {
      const auto asked = Clock::now();
      take([&] {
        wait = Clock::now() - asked;
        turnsWhenIn = others.Turns();
      });
    });
    const bool slept = asking.Waits();
    const int turnsWhenAsleep = others.Turns();
    asking.Join();
    waits_.push_back(wait);
    if (slept) mostTurns_ = std::max(mostTurns_, turnsWhenIn - turnsWhenAsleep);
  }

  std::vector<Clock::duration> waits_;
  int mostTurns_ = 0;
};

// The maximum number of turns that started before the third thread fell asleep, but were counted
// after it fell asleep: a thread first acquires the lock, then counts its turn. Two readers can be
// between these two steps at the same time, but only one writer.
constexpr int kTurnsUnderWay = 2;

// While no writer waits, each reader ends its turn after the other reader has started a turn. So at
// almost every moment, a reader holds the lock. While a writer waits, the other reader may be
// blocked; then a reader ends its turn at the time limit of TwoInTurns.
TEST_F(TurnsAtTheLock, AWriterIsAdmittedWithin100MillisecondsWhileReadersOverlapForever) {
  const TwoInTurns readers(
      [&](const auto& turn) {
        const auto reader = Reader();
        turn();
      },
      [](const TwoInTurns& both, int self) {
        return self == 0 ? both.TurnsOf(1) >= both.TurnsOf(0) : both.TurnsOf(0) > both.TurnsOf(1);
      });

  Third writing(readers, [&](const auto& isIn) {
    const auto writer = Writer();
    isIn();
  });

  EXPECT_LT(writing.TypicalWait(), milliseconds(100));
  EXPECT_LE(writing.MostTurnsOfOthers(), kTurnsUnderWay);
}

// Each writer ends its turn after the other writer has requested the lock, or at the time limit of
// TwoInTurns. So when a writer releases the lock, another writer is almost always waiting.
TEST_F(TurnsAtTheLock, AReaderIsAdmittedWithin100MillisecondsWhileWritersAlternateForever) {
  const SvrDMDataset handle(registry, id);
  const TwoInTurns writers(
      [&](const auto& turn) {
        const auto writer = Writer();
        turn();
      },
      [&](const TwoInTurns&, int) { return handle.WritersCount() == 2; });

  Third reading(writers, [&](const auto& isIn) {
    const auto reader = Reader();
    isIn();
  });

  EXPECT_LT(reading.TypicalWait(), milliseconds(100));
  EXPECT_LE(reading.MostTurnsOfOthers(), kTurnsUnderWay);
}

}  // namespace
