// The cost of creating and releasing a writer without a change. The release compares the whole
// dictionary with the snapshot, but not each variable: equal stamps prove that the variables are
// equal.
//
// The peer compares two vectors of plain definitions (PlainDictionary.h). The time is reported as a
// multiple of the peer's time (of_plain_vectors), measured alternately.

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

// Counts every call of malloc by the program and its libraries, operator new included.
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
  if (dataset.PassesHeard() != 1) state.SkipWithError("A pass without changes called the observer");
  if (allocated != 0) state.SkipWithError("Releasing an unchanged writer allocates");
  state.counters["per_variable"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["allocations"] = static_cast<double>(allocated);
  state.counters["of_plain_vectors"] = RatioToPlainVectors(dataset);
}
BENCHMARK(ReleaseWriterThatChangedNothing)->Arg(100)->Arg(1'000)->Arg(10'000)->Arg(100'000);

}  // namespace
