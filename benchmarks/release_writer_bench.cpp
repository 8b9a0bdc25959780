// What it costs to take a writer and release it without having changed anything: the comparison of
// the whole dictionary with the snapshot, which should find equal variables equal without looking
// inside.
//
// The peer is what a program keeps that has no shared values: a vector of plain definitions, and a
// second one as it was last reported. The time is reported as a multiple of comparing those
// (of_plain_vectors), measured in turns.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstddef>
#include <vector>

#include "BenchDataset.h"
#include "PlainDictionary.h"
#include "Ratio.h"

namespace {
std::atomic<long> allocations{0};
}

// Every allocation of the program and its libraries comes by here, operator new's included.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}

namespace {

double RatioToPlainVectors(BenchDataset& dataset) {
  const std::vector<PlainDefinition> current = PlainDictionary(*dataset.Item()->DataSource());
  const std::vector<PlainDefinition> reported = current;
  return Ratio(
      [&] { SvrDMWriteableDataSource(dataset.Item(), /*tryOnly=*/false, /*originator=*/nullptr); },
      [&] { benchmark::DoNotOptimize(current == reported); });
}

void ReleaseWriterThatChangedNothing(benchmark::State& state) {
  BenchDataset dataset(static_cast<int>(state.range(0)));
  long allocated = 0;
  for (auto _ : state) {
    const long before = allocations.load(std::memory_order_relaxed);
    { SvrDMWriteableDataSource writer(dataset.Item(), /*tryOnly=*/false, /*originator=*/nullptr); }
    allocated += allocations.load(std::memory_order_relaxed) - before;
  }
  if (dataset.PassesHeard() != 1) state.SkipWithError("The dictionary was told wrongly");
  if (allocated != 0) state.SkipWithError("Releasing an unchanged writer allocates");
  state.counters["per_variable"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["allocations"] = static_cast<double>(allocated);
  state.counters["of_plain_vectors"] = RatioToPlainVectors(dataset);
}
BENCHMARK(ReleaseWriterThatChangedNothing)->Arg(100)->Arg(1'000)->Arg(10'000);

}  // namespace
