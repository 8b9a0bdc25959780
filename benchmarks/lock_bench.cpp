// The reader/writer lock compared with other locks (LockPeers.h): the cost without contention, the
// read throughput of two threads, and waiting times. Waiting times are compared only with
// std::shared_mutex and pthread_rwlock_t.
//
// Waiting times are reported as percentiles (10, 50, 90 and 99) in multiples of the hold time, and
// as the maximum in milliseconds. If a wait takes longer than a second plus 20 hold times, the
// benchmark stops the threads that keep the lock busy, and sets the counter given_up to 1.

#include <benchmark/benchmark.h>
#include <libsfthread/sfMutexRW.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "LockPeers.h"
#include "Ratio.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

struct Ours {
  sfMutexRW lock;
  void Read() { lock.readLock(); }
  void EndRead() { lock.unlock(); }
  void Write() { lock.writeLock(); }
  void EndWrite() { lock.unlock(); }
};

// --- Without contention ------------------------------------------------------------------------

template <class Lock>
class Reading {
 public:
  explicit Reading(std::int64_t held) {
    for (; held_ < held; ++held_) lock_.Read();
  }
  ~Reading() {
    for (; held_ > 0; --held_) lock_.EndRead();
  }
  void operator()() {
    lock_.Read();
    lock_.EndRead();
  }

 private:
  std::int64_t held_ = 0;
  Lock lock_;
};

// Argument: how many times the lock is already held for reading.
void Read(benchmark::State& state) {
  Reading<Ours> ours(state.range(0));
  for (auto _ : state) ours();
  ForEachLockPeer([&]<class Peer>(std::type_identity<Peer>) {
    Reading<Peer> peer(state.range(0));
    state.counters[Peer::kName] = Ratio([&] { ours(); }, [&] { peer(); });
  });
}
BENCHMARK(Read)->ArgName("held")->Arg(0)->Arg(1)->Arg(4000);

void Write(benchmark::State& state) {
  const auto writing = [](auto& lock) {
    return [&lock] {
      lock.Write();
      lock.EndWrite();
    };
  };
  Ours ours;
  for (auto _ : state) writing(ours)();
  ForEachLockPeer([&]<class Peer>(std::type_identity<Peer>) {
    Peer peer;
    state.counters[Peer::kName] = Ratio(writing(ours), writing(peer));
  });
}
BENCHMARK(Write);

void TwoThreadsRead(benchmark::State& state) {
  const auto reading = [](auto& lock) {
    return [&lock] {
      lock.Read();
      lock.EndRead();
    };
  };
  Ours ours;
  for (auto _ : state) state.counters["reads_per_second"] = PerSecondOnTwoThreads(reading(ours));
  ForEachLockPeer([&]<class Peer>(std::type_identity<Peer>) {
    Peer peer;
    state.counters[Peer::kName] = ThroughputRatio(reading(ours), reading(peer));
  });
}
BENCHMARK(TwoThreadsRead)->Iterations(1)->Unit(benchmark::kMillisecond);

// --- With the lock always held by others ---------------------------------------------------------

double Percentile(int percent, std::vector<double> values) {
  const std::size_t rank = values.size() * static_cast<std::size_t>(percent) / 100;
  const auto found = values.begin() + static_cast<std::ptrdiff_t>(rank);
  std::nth_element(values.begin(), found, values.end());
  return *found;
}

// Threads that repeat `turn`, which acquires the lock, holds it and releases it. Their start times
// are evenly spread over the hold time.
class Others {
 public:
  template <class Turn>
  Others(int threads, milliseconds hold, Turn turn) {
    for (int number = 0; number < threads; ++number) {
      threads_.emplace_back([this, delay = number * hold / threads, turn] {
        std::this_thread::sleep_for(delay);
        while (!stop_) {
          turn();
          ++turns_;
        }
      });
    }
    while (turns_ < threads) std::this_thread::yield();
  }
  ~Others() { Stop(); }

  void Stop() { stop_ = true; }
  bool HaveStopped() const { return stop_; }

 private:
  std::atomic<bool> stop_ = false;
  std::atomic<int> turns_ = 0;
  std::vector<std::jthread> threads_;
};

// Stops `others` if a wait takes longer than `after`. Call Restart before each wait.
class GivingUp {
 public:
  GivingUp(Others& others, milliseconds after)
      : watch_([this, &others, after](const std::stop_token& over) {
          while (!over.stop_requested()) {
            if (Clock::now() > since_.load() + after) others.Stop();
            std::this_thread::sleep_for(milliseconds(5));
          }
        }) {}
  void Restart() { since_ = Clock::now(); }

 private:
  std::atomic<Clock::time_point> since_ = Clock::now();
  std::jthread watch_;
};

// Measures and reports the waits for the lock. Acquires it with `take` at random times, and
// releases it with `end`.
template <class Take, class End>
void ReportWaits(benchmark::State& state, Others& others, milliseconds hold, Take take, End end) {
  GivingUp givingUp(others, 20 * hold + milliseconds(1000));
  std::minstd_rand random(1);
  std::vector<double> waits;
  for (auto _ : state) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000) * hold.count());
    givingUp.Restart();
    const auto start = Clock::now();
    take();
    const Milliseconds wait = Clock::now() - start;
    end();
    state.SetIterationTime(wait.count() / 1000);
    if (!others.HaveStopped() || waits.empty()) waits.push_back(wait.count());
  }
  for (const int percent : {10, 50, 90, 99}) {
    state.counters["p" + std::to_string(percent) + "_of_hold"] =
        Percentile(percent, waits) / static_cast<double>(hold.count());
  }
  state.counters["worst_ms"] = *std::max_element(waits.begin(), waits.end());
  state.counters["given_up"] = others.HaveStopped() ? 1 : 0;
}

template <class Lock>
void AWriterAmongOverlappingReaders(benchmark::State& state) {
  const milliseconds hold(state.range(0));
  Lock lock;
  Others readers(4, hold, [&lock, hold] {
    lock.Read();
    std::this_thread::sleep_for(hold);
    lock.EndRead();
  });
  ReportWaits(
      state, readers, hold, [&] { lock.Write(); }, [&] { lock.EndWrite(); });
}

template <class Lock>
void AReaderBehindWritersInALoop(benchmark::State& state) {
  const milliseconds hold(state.range(0));
  Lock lock;
  Others writers(2, hold, [&lock, hold] {
    lock.Write();
    std::this_thread::sleep_for(hold);
    lock.EndWrite();
  });
  ReportWaits(
      state, writers, hold, [&] { lock.Read(); }, [&] { lock.EndRead(); });
}

void OneMillisecondAndFifty(benchmark::internal::Benchmark* waits) {
  waits->ArgName("hold_ms")->Arg(1)->Arg(50)->Iterations(100)->UseManualTime();
}
BENCHMARK_TEMPLATE(AWriterAmongOverlappingReaders, Ours)->Apply(OneMillisecondAndFifty);
BENCHMARK_TEMPLATE(AWriterAmongOverlappingReaders, Standard)->Apply(OneMillisecondAndFifty);
BENCHMARK_TEMPLATE(AWriterAmongOverlappingReaders, Posix)->Apply(OneMillisecondAndFifty);
BENCHMARK_TEMPLATE(AReaderBehindWritersInALoop, Ours)->Apply(OneMillisecondAndFifty);
BENCHMARK_TEMPLATE(AReaderBehindWritersInALoop, Standard)->Apply(OneMillisecondAndFifty);
BENCHMARK_TEMPLATE(AReaderBehindWritersInALoop, Posix)->Apply(OneMillisecondAndFifty);

}  // namespace
