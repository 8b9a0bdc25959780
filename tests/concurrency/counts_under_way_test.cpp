// Tests that counts and flags of a dataset can be read and written without a lock while handles are
// created and destroyed.

#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <latch>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Starts all jobs together, and calls `watch` repeatedly on this thread until all jobs are done.
void RunWatched(const std::vector<std::function<void()>>& jobs,
                const std::function<void()>& watch) {
  std::latch start(static_cast<std::ptrdiff_t>(jobs.size()) + 1);
  std::atomic<std::size_t> done = 0;
  std::vector<std::thread> threads;
  for (const std::function<void()>& job : jobs) {
    threads.emplace_back([&start, &done, &job] {
      start.arrive_and_wait();
      job();
      ++done;
    });
  }
  start.arrive_and_wait();
  do {
    watch();
  } while (done < jobs.size());
  for (std::thread& thread : threads) thread.join();
}

std::function<void()> Repeated(int times, std::function<void()> step) {
  return [=] {
    for (int i = 0; i < times; ++i) step();
  };
}

class CountsUnderWay : public testing::Test {
 protected:
  void Read() { const SvrDMInputDataSource reader(registry, id, false); }
  void Write() { const SvrDMWriteableDataSource writer(registry, id, false, nullptr); }

  ServerDataManager registry;
  const LocallyUniqueID id = support::AddDataset(registry, "A", /*quiet=*/true);
  SvrDMDataset handle{registry, id};
};

// A writer that is being released briefly counts as a reader, so the two threads that read and the
// thread that writes may count as three readers.
TEST_F(CountsUnderWay, NeverExceedTheNumberOfHandlesAndEndAtZero) {
  const auto reading = Repeated(1000, [&] { Read(); });
  const auto writing = Repeated(500, [&] { Write(); });
  unsigned int mostReaders = 0;
  unsigned int mostWriters = 0;

  RunWatched({reading, reading, writing}, [&] {
    mostReaders = std::max(mostReaders, handle.ReadersCount());
    mostWriters = std::max(mostWriters, handle.WritersCount());
  });

  EXPECT_LE(mostReaders, 3U);
  EXPECT_LE(mostWriters, 1U);
  EXPECT_EQ(handle.ReadersCount(), 0U);
  EXPECT_EQ(handle.WritersCount(), 0U);
}

// All readers hold the lock before the first reader releases it. So several threads change the
// count of readers at the same time.
TEST_F(CountsUnderWay, OfConcurrentReadersAreExact) {
  constexpr int kReaders = 6;
  for (int round = 0; round < 30; ++round) {
    std::latch allIn(kReaders);
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i) {
      readers.emplace_back([&] {
        const SvrDMInputDataSource reader(registry, id, false);
        allIn.arrive_and_wait();
        EXPECT_GE(reader.ReadersCount(), 1U);
      });
    }
    for (std::thread& reader : readers) reader.join();
    ASSERT_EQ(handle.ReadersCount(), 0U) << "in round " << round;
  }
}

TEST_F(CountsUnderWay, CaseSequenceIncreasesForOtherThreads) {
  constexpr unsigned int kIncrements = 2000;
  SvrDMDataset other(registry, id);
  unsigned int last = 0;
  bool fell = false;

  RunWatched({[&] {
               SvrDMWriteableDataSource writer(registry, id, false, nullptr);
               for (unsigned int i = 0; i < kIncrements; ++i) writer.IncrementCaseSequence();
             }},
             [&] {
               const unsigned int seen = other.GetCaseSequence();
               fell |= seen < last;
               last = seen;
             });

  EXPECT_FALSE(fell);
  EXPECT_EQ(other.GetCaseSequence(), kIncrements);
}

// Each flag is written by one thread only, which must read back the value that it wrote.
TEST_F(CountsUnderWay, WindowFlagsAreIndependent) {
  const auto toggling = [&](auto set, auto get) {
    return [&, set, get] {
      SvrDMDataset own(registry, id);
      for (int i = 1; i <= 2000; ++i) {
        set(own, i % 2 == 0);
        EXPECT_EQ(get(own), i % 2 == 0);
      }
    };
  };
  using Dataset = SvrDMDataset;
  int looks = 0;

  RunWatched({toggling([](Dataset& d, bool value) { d.WindowFront(value); },
                       [](const Dataset& d) { return d.WindowFront(); }),
              toggling([](Dataset& d, bool value) { d.WindowMinimized(value); },
                       [](const Dataset& d) { return d.WindowMinimized(); }),
              toggling([](Dataset& d, bool value) { d.WindowHidden(value); },
                       [](const Dataset& d) { return d.WindowHidden(); })},
             [&] { looks += std::as_const(handle).WindowFront() ? 1 : 2; });

  EXPECT_GT(looks, 0);
  EXPECT_TRUE(std::as_const(handle).WindowFront());
  EXPECT_TRUE(std::as_const(handle).WindowMinimized());
  EXPECT_TRUE(std::as_const(handle).WindowHidden());
}

// A pointer may be compared with null at any time; using its object needs the lock.
TEST_F(CountsUnderWay, SourceAndSpecificationAreCheckedForNullWithoutALock) {
  int with = 0, without = 0;
  const auto replacing = Repeated(300, [&] {
    SvrDMWriteableDataSource writer(registry, id, false, nullptr);
    writer.SetDataSet(writer.GetDataSource() == nullptr ? new DataFreeDataSource : nullptr);
    writer.SetBootstrapSpecs(writer.GetBootstrapSpecs() == nullptr ? new SvrBootstrapSpecs
                                                                   : nullptr);
  });

  RunWatched({replacing}, [&] {
    ++(handle.HasDataSource() ? with : without);
    ++(handle.GetBootstrapSpecs() != nullptr ? with : without);
  });

  EXPECT_GT(with + without, 0);
  EXPECT_TRUE(handle.HasDataSource());
  EXPECT_EQ(handle.GetBootstrapSpecs(), nullptr);
}

}  // namespace
