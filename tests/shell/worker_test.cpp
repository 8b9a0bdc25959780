// The thread of a caller.

#include <CommandError.h>
#include <Worker.h>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <new>

using namespace std::chrono_literals;
using sdmsh::Worker;

namespace {

TEST(Worker, RunsItsJobsOnOneThreadOfItsOwn) {
  Worker worker;
  std::thread::id first;
  std::thread::id second;
  worker.Start([&] { first = std::this_thread::get_id(); });
  worker.Finish();
  worker.Start([&] { second = std::this_thread::get_id(); });
  worker.Finish();
  EXPECT_EQ(first, second);
  EXPECT_NE(first, std::this_thread::get_id());
}

TEST(Worker, HandsOverWhatAJobThrew) {
  Worker worker;
  worker.Start([] { throw 55; });
  EXPECT_THROW(worker.Finish(), sdmsh::CommandError);
  worker.Start([] { throw std::bad_alloc(); });
  EXPECT_THROW(worker.Finish(), std::bad_alloc);
  worker.Start([] {});
  EXPECT_NO_THROW(worker.Finish());
}

TEST(Worker, IsBusyUntilTheEndOfItsJobWasNoticed) {
  std::latch go(1);
  Worker worker;
  worker.Start([&] { go.wait(); });
  EXPECT_FALSE(worker.FinishesWithin(0ms));
  go.count_down();
  EXPECT_TRUE(worker.FinishesWithin(10s));
  EXPECT_TRUE(worker.IsBusy());
  worker.Finish();
  EXPECT_FALSE(worker.IsBusy());
}

TEST(Worker, WaitsForItsJobBeforeItGoes) {
  std::atomic<bool> done{false};
  std::latch go(1);
  {
    Worker worker;
    worker.Start([&] {
      go.wait();
      done = true;
    });
    go.count_down();
  }
  EXPECT_TRUE(done);
}

}  // namespace
