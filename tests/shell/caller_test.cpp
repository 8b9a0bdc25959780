// Tests of callers and their threads.

#include <CommandError.h>
#include <Locks.h>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <new>

using sdmsh::Caller;

namespace {

TEST(Caller, RunsItsWorkOnItsOwnThread) {
  Caller caller("recode", "caller 1");
  std::thread::id first;
  std::thread::id second;
  caller.Do([&] { first = std::this_thread::get_id(); });
  caller.Do([&] { second = std::this_thread::get_id(); });
  EXPECT_EQ(first, second);
  EXPECT_NE(first, std::this_thread::get_id());
}

TEST(Caller, RethrowsTheExceptionsOfItsWork) {
  Caller caller("recode", "caller 1");
  EXPECT_THROW(caller.Do([] { throw 55; }), int);
  EXPECT_THROW(caller.Do([] { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_NO_THROW(caller.Do([] {}));
}

TEST(Caller, HasFinishedOnceTheJobHasEnded) {
  Caller caller("recode", "caller 1");
  std::latch go(1);
  EXPECT_TRUE(caller.HasFinished());
  caller.Start([&] { go.wait(); });
  EXPECT_FALSE(caller.HasFinished());
  go.count_down();
  while (!caller.HasFinished()) std::this_thread::yield();
  caller.Finish();
  EXPECT_TRUE(caller.HasFinished());
}

TEST(Caller, RunsAJobOnTheShellsThreadWhileTheCallersThreadIsBusy) {
  Caller caller("recode", "caller 1");
  std::latch go(1);
  caller.Start([&] { go.wait(); });
  std::thread::id thread;
  caller.Do([&] { thread = std::this_thread::get_id(); });
  EXPECT_EQ(thread, std::this_thread::get_id());
  go.count_down();
  caller.Finish();
}

TEST(Caller, DestructorWaitsForTheJob) {
  std::atomic<bool> done{false};
  std::latch go(1);
  {
    Caller caller("recode", "caller 1");
    caller.Start([&] {
      go.wait();
      done = true;
    });
    go.count_down();
  }
  EXPECT_TRUE(done);
}

}  // namespace
