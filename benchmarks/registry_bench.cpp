// The registry with many datasets: finding, adding and deleting one of them. Finding reports its
// time as a multiple of a reader handle on an item (of_reader), measured alternately; adding and
// deleting report theirs as a multiple of the same in a registry with few datasets (of_few).

#include <benchmark/benchmark.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "Ratio.h"

namespace {

constexpr int kFew = 10;

ServerDataManager& Registry() {
  return ServerDataManager::GetInstance();
}

std::string FileName(int number) {
  return "/nowhere/surveys/national/Study " + std::to_string(number) + ".tsv";
}

// Datasets with a handle name and a file name each, in the registry of the process. Its names
// differ from those of other objects.
class Datasets {
 public:
  explicit Datasets(int count) {
    for (int i = 0; i < count; ++i) Add();
  }
  ~Datasets() {
    while (!ids_.empty()) DeleteOldest();
  }
  Datasets(const Datasets&) = delete;
  Datasets& operator=(const Datasets&) = delete;

  void Add() {
    ids_.push_back(Registry().Add(std::make_unique<DataFreeDataSource>(), FileName(++last_),
                                  /*quiet=*/true));
    SvrDMDataset(ids_.back()).SetHandle("Study " + std::to_string(last_));
  }
  void DeleteOldest() {
    Registry().Delete(ids_.front());
    ids_.pop_front();
  }
  void DeleteNewest() {
    Registry().Delete(ids_.back());
    ids_.pop_back();
  }

  LocallyUniqueID Newest() const { return ids_.back(); }

 private:
  static inline int last_ = 0;
  std::deque<LocallyUniqueID> ids_;
};

template <class Operation>
void FindTheLast(benchmark::State& state, const Datasets& datasets, Operation find) {
  SvrDMItemPtr item = Registry().GetDataSet(datasets.Newest());
  for (auto _ : state) find();
  state.counters["of_reader"] =
      Ratio(find, [&] { SvrDMInputDataSource reader(item, /*tryOnly=*/false); });
}

void ReaderByIdentifier(benchmark::State& state) {
  const Datasets datasets(static_cast<int>(state.range(0)));
  const LocallyUniqueID id = datasets.Newest();
  FindTheLast(state, datasets, [&] { SvrDMInputDataSource reader(id, /*tryOnly=*/false); });
}
BENCHMARK(ReaderByIdentifier)->ArgName("datasets")->Arg(kFew)->Arg(10000);

// Reader handles have no constructor by name.
void ReaderByName(benchmark::State& state) {
  const Datasets datasets(static_cast<int>(state.range(0)));
  const std::string name = SvrDMDataset(datasets.Newest()).GetHandle();
  FindTheLast(state, datasets, [&] {
    SvrDMItemPtr item = Registry().GetDataSet(name);
    SvrDMInputDataSource reader(item, /*tryOnly=*/false);
  });
}
BENCHMARK(ReaderByName)->ArgName("datasets")->Arg(kFew)->Arg(10000);

template <class Operation>
double SecondsOfOne(Operation operation) {
  return SecondsOf(1, operation);
}

// Times `measured` alone; `restore` makes the number of datasets what it was.
template <class Operation, class Restoration>
void MeasureBesideFew(benchmark::State& state, Operation measured, Restoration restore) {
  Datasets few(kFew);
  double seconds = 0;
  double secondsOfFew = 0;
  {
    Datasets many(static_cast<int>(state.range(0)) - kFew);
    for (auto _ : state) {
      const double one = SecondsOfOne([&] { measured(many); });
      restore(many);
      state.SetIterationTime(one);
      seconds += one;
    }
  }
  const auto iterations = static_cast<std::int64_t>(state.iterations());
  for (std::int64_t i = 0; i < iterations; ++i) {
    secondsOfFew += SecondsOfOne([&] { measured(few); });
    restore(few);
  }
  state.counters["of_few"] = seconds / secondsOfFew;
}

void DeleteOldest(benchmark::State& state) {
  MeasureBesideFew(
      state, [](Datasets& datasets) { datasets.DeleteOldest(); },
      [](Datasets& datasets) { datasets.Add(); });
}
BENCHMARK(DeleteOldest)->ArgName("datasets")->Arg(100000)->UseManualTime();

void AddWithFileName(benchmark::State& state) {
  MeasureBesideFew(
      state, [](Datasets& datasets) { datasets.Add(); },
      [](Datasets& datasets) { datasets.DeleteNewest(); });
}
BENCHMARK(AddWithFileName)->ArgName("datasets")->Arg(10000)->UseManualTime();

}  // namespace
