// Uses the reader/writer lock at random on many threads. Some reads are nested, or held while a
// helper thread reads; some reads and writes are released by other threads. No thread may wait 20
// seconds, and no reader may see a partial write. LOCK_STRESS_SECONDS sets the duration,
// LOCK_STRESS_SEED the random choices.

#include <gtest/gtest.h>
#include <libsfthread/sfMutexRW.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kWorkers = 12;
constexpr int kHelpers = 3;
// Threads hold a lock much more briefly. So even on a busy machine, a thread that has waited this
// long would wait forever.
constexpr auto kForEver = 20s;

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : static_cast<unsigned>(std::stoul(value));
}

// Counts waits and measures the longest. Detects a wait that does not end.
class Waits {
 public:
  template <class Call>
  void Measure(Call call) {
    const auto start = Clock::now();
    {
      const std::lock_guard guard(mutex_);
      since_.push_back(start);
    }
    call();
    const std::lock_guard guard(mutex_);
    longest_ = std::max(longest_, Clock::now() - start);
    since_.erase(std::find(since_.begin(), since_.end(), start));
    ++count_;
  }

  void StopTheProgramWhereOneIsEndless(const char* what) {
    const std::lock_guard guard(mutex_);
    for (const auto start : since_) {
      if (Clock::now() - start < kForEver) continue;
      std::fprintf(stderr, "a thread waits forever to %s\n", what);
      std::abort();
    }
  }

  milliseconds Longest() const { return std::chrono::duration_cast<milliseconds>(longest_); }
  long Count() const { return count_; }

 private:
  std::mutex mutex_;
  std::vector<Clock::time_point> since_;
  Clock::duration longest_{};
  long count_ = 0;
};

// Jobs that other threads run, in any order.
class Jobs {
 public:
  void Give(std::function<void()> job) {
    const std::lock_guard guard(mutex_);
    jobs_.push_back(std::move(job));
  }
  // Runs one job. Returns false if there is no job.
  bool DoOne() {
    std::function<void()> job;
    {
      const std::lock_guard guard(mutex_);
      if (jobs_.empty()) return false;
      std::swap(jobs_.front(), jobs_.back());
      job = std::move(jobs_.back());
      jobs_.pop_back();
    }
    job();
    return true;
  }

 private:
  std::mutex mutex_;
  std::vector<std::function<void()>> jobs_;
};

struct Guarded {
  sfMutexRW lock;
  long left = 0;
  long right = 0;
};

class Stress {
 public:
  void Run(std::chrono::seconds length, unsigned seed) {
    const auto end = Clock::now() + length;
    std::vector<std::jthread> supporters;
    // Starts a thread that releases locks for other threads. That thread acquires no lock itself,
    // so it never waits for a lock, and it releases every lock that is passed to it.
    supporters.emplace_back([this](std::stop_token stop) { DoJobs(toEnd_, stop); });
    for (int helper = 0; helper < kHelpers; ++helper) {
      supporters.emplace_back([this](std::stop_token stop) { DoJobs(toHelp_, stop); });
    }
    supporters.emplace_back([this](std::stop_token stop) {
      while (!stop.stop_requested()) {
        reading.StopTheProgramWhereOneIsEndless("read");
        writing.StopTheProgramWhereOneIsEndless("write");
        std::this_thread::sleep_for(10ms);
      }
    });
    std::vector<std::jthread> workers;
    for (unsigned worker = 0; worker < kWorkers; ++worker) {
      workers.emplace_back([this, end, random = std::mt19937(seed + worker)]() mutable {
        while (Clock::now() < end) Work(random);
      });
    }
    workers.clear();
    supporters.clear();
    while (toEnd_.DoOne()) {
    }
  }

  std::array<Guarded, 3> data;
  std::atomic<long> torn = 0;
  Waits reading, writing;

 private:
  using Random = std::mt19937;

  static void DoJobs(Jobs& jobs, const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      if (!jobs.DoOne()) std::this_thread::sleep_for(50us);
    }
  }

  static void Hold(Random& random) {
    if (random() % 4 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
  }

  void Work(Random& random) {
    Guarded& guarded = data[random() % data.size()];
    switch (random() % 12) {
      case 0:
        Write(guarded, random);
        break;
      case 1:
        if (guarded.lock.tryWriteLock()) Change(guarded, random);
        break;
      case 2:
        if (guarded.lock.tryReadLock()) {
          Look(guarded);
          EndHereOrElsewhere(guarded.lock, random);
        }
        break;
      case 3:
        toEnd_.DoOne();
        break;
      default:
        Read(guarded, random, 0);
    }
  }

  void Write(Guarded& guarded, Random& random) {
    writing.Measure([&] { guarded.lock.writeLock(); });
    Change(guarded, random);
  }
  void Change(Guarded& guarded, Random& random) {
    ++guarded.left;
    Hold(random);
    ++guarded.right;
    EndHereOrElsewhere(guarded.lock, random);
  }

  // Acquires a read. While holding it, may read the same or another lock, nested at most four deep.
  void Read(Guarded& guarded, Random& random, int depth) {
    reading.Measure([&] { guarded.lock.readLock(); });
    Look(guarded);
    Hold(random);
    if (random() % 16 == 0) WaitForAHelper(data[random() % data.size()]);
    if (random() % 8 == 0 && depth < 3) Read(data[random() % data.size()], random, depth + 1);
    EndHereOrElsewhere(guarded.lock, random);
  }
  void Look(const Guarded& guarded) {
    if (guarded.left != guarded.right) ++torn;
  }

  void WaitForAHelper(Guarded& guarded) {
    const auto helped = std::make_shared<std::latch>(1);
    toHelp_.Give([this, &guarded, helped] {
      reading.Measure([&] { guarded.lock.readLock(); });
      Look(guarded);
      guarded.lock.unlock();
      helped->count_down();
    });
    helped->wait();
  }

  void EndHereOrElsewhere(sfMutexRW& lock, Random& random) {
    if (random() % 3 == 0) {
      toEnd_.Give([&lock] { lock.unlock(); });
    } else {
      lock.unlock();
    }
  }

  Jobs toEnd_, toHelp_;
};

TEST(MutexRWStress, NobodyWaitsForeverWithNestedSharedOrRemotelyReleasedReads) {
  const auto length = std::chrono::seconds(FromEnvironment("LOCK_STRESS_SECONDS", 3));
  const unsigned seed = FromEnvironment("LOCK_STRESS_SEED", std::random_device()());
  SCOPED_TRACE("LOCK_STRESS_SEED=" + std::to_string(seed));
  Stress stress;

  stress.Run(length, seed);

  EXPECT_EQ(stress.torn, 0);
  for (Guarded& guarded : stress.data) {
    EXPECT_EQ(guarded.left, guarded.right);
    EXPECT_TRUE(guarded.lock.tryWriteLock()) << "still held";
  }
  std::printf("%ld reads, the longest wait %ld ms; %ld writes, %ld ms\n", stress.reading.Count(),
              static_cast<long>(stress.reading.Longest().count()), stress.writing.Count(),
              static_cast<long>(stress.writing.Longest().count()));
}

}  // namespace
