// The registry with many datasets: finding, adding and deleting one dataset. Each benchmark reports
// its time as a multiple of other times:
//
//   ReaderBy...    of_reader: a reader handle on an item, without a search
//   SearchBy...    of_std_unordered_map and others: a search in another hash table
//   DeleteOldest, AddWithFileName
//                  of_few: the same operation in a registry with few datasets

#include <benchmark/benchmark.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef SDM_HAS_ABSEIL
#include <absl/container/flat_hash_map.h>
#endif
#if __has_include(<boost/unordered/unordered_flat_map.hpp>)
#include <boost/unordered/unordered_flat_map.hpp>
#elif __has_include(<boost/unordered_map.hpp>)
#include <boost/unordered_map.hpp>
#endif

#include "Ratio.h"

namespace {

constexpr int kFew = 10;

ServerDataManager& Registry() {
  return ServerDataManager::GetInstance();
}

std::string FileName(int number) {
  return "/nowhere/surveys/national/Study " + std::to_string(number) + ".tsv";
}

// Datasets in the registry of the process, each with a handle name and a file name. No two
// objects of this class use the same name.
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

  const std::deque<LocallyUniqueID>& IDs() const { return ids_; }
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

// Finds the item first, because no constructor of a reader handle takes a name.
void ReaderByName(benchmark::State& state) {
  const Datasets datasets(static_cast<int>(state.range(0)));
  const std::string name = SvrDMDataset(datasets.Newest()).GetHandle();
  FindTheLast(state, datasets, [&] {
    SvrDMItemPtr item = Registry().GetDataSet(name);
    SvrDMInputDataSource reader(item, /*tryOnly=*/false);
  });
}
BENCHMARK(ReaderByName)->ArgName("datasets")->Arg(kFew)->Arg(10000);

// Compares `search` with a search for the last key in other hash tables, each guarded by a mutex.
// The comparison favours these tables: unlike the registry, they do not ignore the case of names.
template <class Key, class Search>
void CompareWithTables(benchmark::State& state, const std::vector<Key>& keys, Search search) {
  const auto compare = [&]<class Table>(const char* name, Table table) {
    std::mutex lock;
    for (const Key& key : keys) table.emplace(key, std::make_shared<DataFreeDataSource>());
    const auto find = [&] {
      const std::lock_guard held(lock);
      return table.find(keys.back())->second;
    };
    state.counters[name] = Ratio(search, [&] { benchmark::DoNotOptimize(find()); });
  };
  using Found = std::shared_ptr<DataFreeDataSource>;
  compare("of_std_unordered_map", std::unordered_map<Key, Found>());
#ifdef SDM_HAS_ABSEIL
  compare("of_absl_flat_hash_map", absl::flat_hash_map<Key, Found>());
#endif
#if __has_include(<boost/unordered/unordered_flat_map.hpp>)
  compare("of_boost_unordered_flat_map", boost::unordered_flat_map<Key, Found>());
#elif __has_include(<boost/unordered_map.hpp>)
  compare("of_boost_unordered_map", boost::unordered_map<Key, Found>());
#endif
}

void SearchByIdentifier(benchmark::State& state) {
  const Datasets datasets(static_cast<int>(state.range(0)));
  const auto search = [id = datasets.Newest()] {
    benchmark::DoNotOptimize(Registry().GetDataSet(id));
  };
  for (auto _ : state) search();
  std::vector<unsigned int> keys;
  for (const LocallyUniqueID& id : datasets.IDs()) keys.push_back(id.Word());
  CompareWithTables(state, keys, search);
}
BENCHMARK(SearchByIdentifier)->ArgName("datasets")->Arg(kFew)->Arg(10000);

void SearchByName(benchmark::State& state) {
  const Datasets datasets(static_cast<int>(state.range(0)));
  std::vector<std::string> names;
  for (const LocallyUniqueID& id : datasets.IDs()) names.push_back(SvrDMDataset(id).GetHandle());
  const auto search = [&name = names.back()] {
    benchmark::DoNotOptimize(Registry().GetDataSet(name));
  };
  for (auto _ : state) search();
  CompareWithTables(state, names, search);
}
BENCHMARK(SearchByName)->ArgName("datasets")->Arg(kFew)->Arg(10000);

constexpr int kBatch = 500, kBatches = 40;

// The processor time of this thread, which excludes other load on the machine.
double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Returns the mean time of one call of `measured`. Each call of `restore`, which is not timed,
// undoes one call of `measured`.
template <class Operation, class Restoration>
double SecondsInABatch(Datasets& datasets, Operation measured, Restoration restore) {
  const double start = ThreadSeconds();
  for (int i = 0; i < kBatch; ++i) measured(datasets);
  const double seconds = (ThreadSeconds() - start) / kBatch;
  for (int i = 0; i < kBatch; ++i) restore(datasets);
  return seconds;
}

// Each iteration runs a batch of operations on many datasets and reports the time of one operation.
// of_few compares that time with the time of the same operation on few datasets.
template <class Operation, class Restoration>
void MeasureBesideFew(benchmark::State& state, Operation measured, Restoration restore) {
  Datasets few(kBatch + kFew);
  double secondsOfFew = 0;
  for (int batch = 0; batch < kBatches; ++batch) {
    secondsOfFew += SecondsInABatch(few, measured, restore);
  }
  Datasets many(static_cast<int>(state.range(0)) - kBatch - kFew);
  double seconds = 0;
  for (auto _ : state) {
    const double one = SecondsInABatch(many, measured, restore);
    state.SetIterationTime(one);
    seconds += one;
  }
  state.counters["of_few"] = seconds / secondsOfFew;
}

void DeleteOldest(benchmark::State& state) {
  MeasureBesideFew(
      state, [](Datasets& datasets) { datasets.DeleteOldest(); },
      [](Datasets& datasets) { datasets.Add(); });
}
BENCHMARK(DeleteOldest)->ArgName("datasets")->Arg(100000)->Iterations(kBatches)->UseManualTime();

void AddWithFileName(benchmark::State& state) {
  MeasureBesideFew(
      state, [](Datasets& datasets) { datasets.Add(); },
      [](Datasets& datasets) { datasets.DeleteNewest(); });
}
BENCHMARK(AddWithFileName)->ArgName("datasets")->Arg(10000)->Iterations(kBatches)->UseManualTime();

}  // namespace
