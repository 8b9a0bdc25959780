// What a reader handle adds to the lock that it takes: each benchmark reports its time as a
// multiple of the bare lock's (of_sfMutexRW) and of the standard library's (of_shared_mutex),
// measured in turns with it.

#include <benchmark/benchmark.h>
#include <libsfthread/sfMutexRW.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <shared_mutex>

#include "BenchDataset.h"

namespace {

sfMutexRW bareLock;
std::shared_mutex standardLock;

void TakeBareLock() {
  bareLock.readLock();
  bareLock.unlock();
}

void TakeStandardLock() {
  standardLock.lock_shared();
  standardLock.unlock_shared();
}

template <class Operation>
double SecondsOfBatch(Operation operation) {
  constexpr int kBatch = 10'000;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kBatch; ++i) operation();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The shortest of several batches each, in turns, so that a busy machine disturbs all alike.
template <class Operation>
void ReportRatios(benchmark::State& state, Operation operation) {
  double measured = std::numeric_limits<double>::max();
  double bare = measured;
  double standard = measured;
  for (int turn = 0; turn < 20; ++turn) {
    measured = std::min(measured, SecondsOfBatch(operation));
    bare = std::min(bare, SecondsOfBatch(TakeBareLock));
    standard = std::min(standard, SecondsOfBatch(TakeStandardLock));
  }
  state.counters["of_sfMutexRW"] = measured / bare;
  state.counters["of_shared_mutex"] = measured / standard;
}

template <class Operation>
void Measure(benchmark::State& state, Operation operation) {
  for (auto _ : state) operation();
  ReportRatios(state, operation);
}

void BareLock(benchmark::State& state) {
  Measure(state, TakeBareLock);
}
BENCHMARK(BareLock);

void StandardLock(benchmark::State& state) {
  Measure(state, TakeStandardLock);
}
BENCHMARK(StandardLock);

void ReaderHandleOnAnItem(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  Measure(state, [&] { SvrDMInputDataSource reader(dataset.Item(), /*tryOnly=*/false); });
}
BENCHMARK(ReaderHandleOnAnItem);

// Also asks the registry for the dataset.
void ReaderHandleByIdentifier(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/10);
  Measure(state, [&] { SvrDMInputDataSource reader(dataset.ID(), /*tryOnly=*/false); });
}
BENCHMARK(ReaderHandleByIdentifier);

}  // namespace
