// The memory of a dictionary and its snapshot, and of the change streams of a dataset. The records
// of the variables (ORVX_Variable.h), which dictionary and snapshot share, are not counted. Memory
// is the total size of the blocks from operator new that are not deleted yet. The reported time has
// no meaning.

#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <client/server/ChangeStreamObserver.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <PackageProxy/PackageProxy.h>

#include "BenchDataset.h"

namespace {

std::atomic<std::size_t> allocatedBytes{0};

// The size of a block from malloc, with its header.
std::size_t BlockSize(void* memory) {
  return malloc_usable_size(memory) + sizeof(std::size_t);
}

}  // namespace

// Not inline: GCC would otherwise warn that malloc and operator delete do not match.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  allocatedBytes += BlockSize(memory);
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  if (memory != nullptr) allocatedBytes -= BlockSize(memory);
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace {

double AllocatedBytes() {
  return static_cast<double>(allocatedBytes);
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

// A channel that drops every frame.
class NoChannel final : public PackageProxy {
 public:
  short SendMessage(int, VSerializable*) override { return 0; }
};

// The memory that a change stream allocates when it is registered, and the additional memory that
// it keeps after a pass. The digest takes no memory in the stream: the dictionary caches its
// hashes.
void Streams(benchmark::State& state) {
  BenchDataset dataset(/*variables=*/1000);
  NoChannel channel;
  std::vector<std::unique_ptr<ChangeStreamObserver>> streams;
  const auto registerMore = [&](long count) {
    for (; count > 0; --count) {
      streams.push_back(std::make_unique<ChangeStreamObserver>(channel));
      dataset.Item()->Register(*streams.back());
    }
  };
  const auto makePass = [&] {
    SvrDMWriteableDataSource writer(dataset.Item(), /*tryOnly=*/false, /*originator=*/nullptr);
    writer->SetDirty(!writer->IsDirty());
  };
  registerMore(1);
  makePass();  // allocates the memory that all streams share

  const double before = AllocatedBytes();
  registerMore(state.range(0));
  const double registered = AllocatedBytes();
  for (auto _ : state) makePass();
  const double after = AllocatedBytes();

  const auto count = static_cast<double>(state.range(0));
  state.counters["bytes_per_stream"] = (registered - before) / count;
  state.counters["bytes_per_stream_kept_by_a_pass"] = (after - registered) / count;
  for (const auto& stream : streams) dataset.Item()->Unregister(*stream);
}
BENCHMARK(Streams)->Arg(100)->Iterations(1);

}  // namespace
