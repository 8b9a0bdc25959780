// The cost of clones, compared with copying dictionary and cases. Copying a clone takes as long as
// copying its dictionary, regardless of the number of cases. Reading a row from a clone takes one
// more call than reading it from the source. Each benchmark reports its time as a multiple of its
// peer's, measured alternately.

#include <benchmark/benchmark.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Ratio.h"

namespace {

// A source that stores its rows in memory, all numbers.
class Table : public ORVX_DataSource {
 public:
  Table(int variables, long long rows)
      : rows_(rows), cells_(static_cast<std::size_t>(variables * rows), OBS{1.0}) {
    for (int i = 0; i < variables; ++i) {
      MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "answer" + std::to_string(i)), nullptr);
    }
  }

  ObsIterator* MakeIterator(OBS* area) const override { return new Rows(*this, area); }
  long long RowCount() const override { return rows_; }
  const std::vector<OBS>& Cells() const { return cells_; }

 private:
  class Rows : public ObsIterator {
   public:
    Rows(const Table& table, OBS* area)
        : width_(table.ColumnCount()),
          next_(table.cells_.data()),
          end_(next_ + table.cells_.size()),
          area_(area) {}
    bool Next() override {
      if (next_ == end_) return false;
      std::copy_n(next_, width_, area_);
      next_ += width_;
      return true;
    }

   private:
    const int width_;
    const OBS* next_;
    const OBS* const end_;
    OBS* const area_;
  };

  const long long rows_;
  const std::vector<OBS> cells_;
};

// The peer of a clone: a full copy of dictionary and cases.
struct WholeCopy {
  explicit WholeCopy(const Table& table) : cells(table.Cells()) {
    for (int i = 0; i < table.ColumnCount(); ++i) variables.push_back(table.GetVariable(i));
  }
  std::vector<ORVX_Variable> variables;
  std::vector<OBS> cells;
};

// Arguments: variables, rows.
void CopyOfAClone(benchmark::State& state) {
  auto* const table = new Table(static_cast<int>(state.range(0)), state.range(1));
  const SvrDMCloneDataSource clone(table);
  const WholeCopy plain(*table);
  const auto copyClone = [&] { benchmark::DoNotOptimize(SvrDMCloneDataSource(clone).Source()); };
  const auto copyAll = [&] { benchmark::DoNotOptimize(WholeCopy(plain).cells.data()); };
  const auto copyDictionary = [&] {
    benchmark::DoNotOptimize(std::vector<ORVX_Variable>(plain.variables).data());
  };
  for (auto _ : state) copyClone();
  state.counters["of_whole_copy"] = Ratio(copyClone, copyAll);
  state.counters["of_vector_of_variables"] = Ratio(copyClone, copyDictionary);
}
BENCHMARK(CopyOfAClone)->Args({10, 1'000})->Args({100, 10'000})->Args({10'000, 100});

double SumOfRows(const ORVX_DataSource& source) {
  std::vector<OBS> row(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(row.data()));
  double sum = 0;
  while (rows->Next()) sum += row.front().number;
  return sum;
}

void MeasureRows(benchmark::State& state, const ORVX_DataSource& measured,
                 const ORVX_DataSource& peer, const char* ratio) {
  const auto run = [&] { benchmark::DoNotOptimize(SumOfRows(measured)); };
  for (auto _ : state) run();
  state.SetItemsProcessed(state.iterations() * peer.RowCount());
  state.counters[ratio] = Ratio(run, [&] { benchmark::DoNotOptimize(SumOfRows(peer)); });
}

void RowsOfAClone(benchmark::State& state) {
  auto* const table = new Table(static_cast<int>(state.range(0)), 10'000);
  const SvrDMCloneDataSource clone(table);
  MeasureRows(state, clone, *table, "of_its_source");
}
BENCHMARK(RowsOfAClone)->Arg(10)->Arg(100);

// Projects to every second variable, so that no adjacent cells are copied together.
void RowsProjected(benchmark::State& state) {
  Table table(static_cast<int>(state.range(0)), 10'000);
  FilteredDataSource source(&table);
  for (int i = source.ColumnCount() - 1; i > 0; i -= 2) source.DeleteVariables(i, i);
  MeasureRows(state, source, table, "of_its_source");
}
BENCHMARK(RowsProjected)->Arg(10)->Arg(100);

}  // namespace
