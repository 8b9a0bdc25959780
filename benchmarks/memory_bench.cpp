// The memory of a dictionary and its snapshot, without the records of the variables, which both
// share. It is measured as the bytes that malloc has handed out; the reported time has no meaning.

#include <malloc.h>

#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <libdatasrc/DataFreeDataSource.h>

namespace {

double AllocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

void DictionaryAndSnapshot(benchmark::State& state) {
  std::vector<ORVX_Variable> records;
  for (int i = 0; i < state.range(0); ++i) {
    records.emplace_back(ORVX_Variable::NextID(), "answer" + std::to_string(i));
  }
  double bytes = 0;
  for (auto _ : state) {
    const double before = AllocatedBytes();
    DataFreeDataSource source;
    for (const ORVX_Variable& record : records) source.MakeVariable(record, nullptr);
    DataFreeDataSource snapshot;
    snapshot.MatchVariables(source);
    bytes = AllocatedBytes() - before;
  }
  state.counters["bytes"] = bytes;
  state.counters["bytes_per_variable"] = bytes / static_cast<double>(state.range(0));
}
BENCHMARK(DictionaryAndSnapshot)->Arg(10)->Arg(100'000)->Iterations(1);

}  // namespace
