// The overhead of a reader handle over its lock. Most benchmarks report their time as a multiple of
// the times of the bare lock (of_sfMutexRW) and of other locks (LockPeers.h), measured alternately.

#include <benchmark/benchmark.h>
#include <libsfthread/sfMutexRW.h>
#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <atomic>
#include <thread>
#include <type_traits>

#include "BenchDataset.h"
#include "LockPeers.h"
#include "Ratio.h"

namespace {

sfMutexRW bareLock;

void TakeBareLock() {
  bareLock.readLock();
  bareLock.unlock();
}

template <class Peer>
void TakeLockOfPeer() {
  static Peer peer;
  peer.Read();
  peer.EndRead();
}

// A counter that a reader handle raises and lowers: reference count, lock word or count of readers.
// In an item, these three counters are in different cache lines, so each Field has its own cache
// line.
struct alignas(64) Field {
  std::atomic<unsigned> value = 0;
  void Add() { value.fetch_add(1); }
  void Subtract() { value.fetch_sub(1); }
};
Field references, lockWord, readers;

void CountAsReader() {
  references.Add();
  readers.Add();
  readers.Subtract();
  references.Subtract();
}

void CountAndLockAsReader() {
  references.Add();
  lockWord.Add();
  readers.Add();
  lockWord.Subtract();
  readers.Subtract();
  references.Subtract();
}

template <class Operation>
void Measure(benchmark::State& state, Operation operation) {
  for (auto _ : state) operation();
  state.counters["of_sfMutexRW"] = Ratio(operation, TakeBareLock);
  ForEachLockPeer([&]<class Peer>(std::type_identity<Peer>) {
    state.counters[Peer::kName] = Ratio(operation, TakeLockOfPeer<Peer>);
  });
}

void BareLock(benchmark::State& state) {
  Measure(state, TakeBareLock);
}
BENCHMARK(BareLock);

void ReaderHandleOnAnItem(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  Measure(state, [&] { SvrDMInputDataSource reader(dataset.Item(), /*tryOnly=*/false); });
}
BENCHMARK(ReaderHandleOnAnItem);

// A lower bound for the time of ReaderHandleOnAnItem.
void AtomicOperationsOfAReader(benchmark::State& state) {
  for (auto _ : state) CountAndLockAsReader();
  state.counters["of_sfMutexRW"] = Ratio(CountAndLockAsReader, TakeBareLock);
  state.counters["of_shared_mutex"] = Ratio(CountAndLockAsReader, TakeLockOfPeer<Standard>);
}
BENCHMARK(AtomicOperationsOfAReader);

// The throughput of handles on one item; a higher number is better.
void ReaderHandlesOnTwoThreads(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  const auto read = [&] { SvrDMInputDataSource reader(dataset.Item(), /*tryOnly=*/false); };
  for (auto _ : state) state.counters["handles_per_second"] = PerSecondOnTwoThreads(read);
  state.counters["of_sfMutexRW"] = ThroughputRatio(read, TakeBareLock);
  ForEachLockPeer([&]<class Peer>(std::type_identity<Peer>) {
    state.counters[Peer::kName] = ThroughputRatio(read, TakeLockOfPeer<Peer>);
  });
}
BENCHMARK(ReaderHandlesOnTwoThreads)->Iterations(1)->Unit(benchmark::kMillisecond);

// Two upper bounds for the throughput of ReaderHandlesOnTwoThreads, both as a multiple of the
// throughput of std::shared_mutex. of_shared_mutex: only the atomic operations of a handle whose
// lock is one atomic counter. without_lock: these operations, except those of the lock.
void AtomicOperationsOnTwoThreads(benchmark::State& state) {
  for (auto _ : state) {
    state.counters["readers_per_second"] = PerSecondOnTwoThreads(CountAndLockAsReader);
  }
  state.counters["of_shared_mutex"] =
      ThroughputRatio(CountAndLockAsReader, TakeLockOfPeer<Standard>);
  state.counters["without_lock"] = ThroughputRatio(CountAsReader, TakeLockOfPeer<Standard>);
}
BENCHMARK(AtomicOperationsOnTwoThreads)->Iterations(1)->Unit(benchmark::kMillisecond);

// The overhead of the lock monitor while another thread continuously makes reports. of_unmonitored
// is the time of ten thousand handles with the monitor, divided by the time of ten thousand handles
// without the monitor, measured alternately.
void MonitoredReaderHandle(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  std::atomic<bool> over{false};
  std::thread reports([&] {
    while (!over) {
      benchmark::DoNotOptimize(ServerDataManager::GetInstance().GetLockReport());
    }
  });
  const auto acquireMany = [&] {
    for (int i = 0; i < 10000; ++i) SvrDMInputDataSource reader(dataset.Item(), /*tryOnly=*/false);
  };
  const auto acquireManyMonitored = [&] {
    LockMonitor::Start();
    acquireMany();
    LockMonitor::Stop();
  };
  for (auto _ : state) acquireManyMonitored();
  state.counters["of_unmonitored"] = Ratio(acquireManyMonitored, acquireMany);
  over = true;
  reports.join();
}
BENCHMARK(MonitoredReaderHandle);

// Includes the search for the dataset in the registry.
void ReaderHandleByIdentifier(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  Measure(state, [&] { SvrDMInputDataSource reader(dataset.ID(), /*tryOnly=*/false); });
}
BENCHMARK(ReaderHandleByIdentifier);

}  // namespace
