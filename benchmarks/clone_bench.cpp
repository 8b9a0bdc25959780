// Copying clones, and reading rows from clones, filters and saved files. Copying a clone takes as
// long as copying its dictionary, regardless of the number of cases. Reading a row from a clone
// takes one more call than reading it from the source. Each benchmark reports its time as a
// multiple of the times of its peers, measured alternately.

#include <unistd.h>

#include <benchmark/benchmark.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Ratio.h"

namespace {

// A source that stores its rows in memory; all cells are numbers.
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

// Arguments: the number of variables and of rows.
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

// Keeps every second variable, so that no adjacent cells can be copied together.
void RowsProjected(benchmark::State& state) {
  Table table(static_cast<int>(state.range(0)), 10'000);
  FilteredDataSource source(&table);
  for (int i = source.ColumnCount() - 1; i > 0; i -= 2) source.DeleteVariables(i, i);
  MeasureRows(state, source, table, "of_its_source");
}
BENCHMARK(RowsProjected)->Arg(10)->Arg(100);

double SumOf(const std::vector<OBS>& row) {
  double sum = 0;
  for (const OBS& cell : row) sum += cell.number;
  return sum;
}

double SumOfCells(const ORVX_DataSource& source) {
  std::vector<OBS> row(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(row.data()));
  double sum = 0;
  while (rows->Next()) sum += SumOf(row);
  return sum;
}

// A saved file with 10,000 rows of numbers, opened as a data source. The same numbers are also in
// memory, twice: row by row in one vector, and in one vector for each column.
class NumbersInAFile {
 public:
  explicit NumbersInAFile(int variables)
      : width_(static_cast<std::size_t>(variables)), columns_(width_) {
    std::ofstream file(path_);
    for (int i = 0; i < variables; ++i) file << (i > 0 ? "," : "") << "answer" << i;
    for (int row = 0; row < 10'000; ++row) {
      file << '\n';
      for (int i = 0; i < variables; ++i) {
        const int number = row % 7 + i;
        file << (i > 0 ? "," : "") << number;
        cells_.push_back(OBS{static_cast<double>(number)});
        columns_[static_cast<std::size_t>(i)].push_back(number);
      }
    }
    file.close();
    source_ = SystemFileDataSource::Open(path_);
  }
  ~NumbersInAFile() { std::filesystem::remove(path_); }

  std::unique_ptr<SystemFileDataSource> TakeSource() { return std::move(source_); }

  // The peer of_vector_scan: copies each row out of the vector of all cells, as an iterator does.
  double SumOfRows() const {
    std::vector<OBS> row(width_);
    double sum = 0;
    for (const OBS* next = cells_.data(); next != cells_.data() + cells_.size(); next += width_) {
      std::copy_n(next, width_, row.data());
      sum += SumOf(row);
    }
    return sum;
  }
  // The peer of_column_copy: copies each row out of the vectors of the columns.
  double SumOfColumns() const {
    std::vector<OBS> row(width_);
    double sum = 0;
    for (std::size_t i = 0; i < columns_.front().size(); ++i) {
      for (std::size_t column = 0; column < width_; ++column) {
        row[column].number = columns_[column][i];
      }
      sum += SumOf(row);
    }
    return sum;
  }

 private:
  const std::string path_ =
      std::filesystem::temp_directory_path() / ("clone_bench." + std::to_string(getpid()) + ".csv");
  const std::size_t width_;
  std::vector<OBS> cells_;
  std::vector<std::vector<double>> columns_;
  std::unique_ptr<SystemFileDataSource> source_;
};

void MeasureBesideCopies(benchmark::State& state, const NumbersInAFile& numbers,
                         const ORVX_DataSource& source) {
  if (SumOfCells(source) != numbers.SumOfRows() || SumOfCells(source) != numbers.SumOfColumns())
    state.SkipWithError("The sums differ");
  const auto run = [&] { benchmark::DoNotOptimize(SumOfCells(source)); };
  for (auto _ : state) run();
  state.SetItemsProcessed(state.iterations() * 10'000);
  state.counters["of_vector_scan"] =
      Ratio(run, [&] { benchmark::DoNotOptimize(numbers.SumOfRows()); });
  state.counters["of_column_copy"] =
      Ratio(run, [&] { benchmark::DoNotOptimize(numbers.SumOfColumns()); });
}

void RowsOfAFile(benchmark::State& state) {
  NumbersInAFile numbers(static_cast<int>(state.range(0)));
  MeasureBesideCopies(state, numbers, *numbers.TakeSource());
}
BENCHMARK(RowsOfAFile)->Arg(10)->Arg(100);

void RowsOfACloneOfAFile(benchmark::State& state) {
  NumbersInAFile numbers(static_cast<int>(state.range(0)));
  MeasureBesideCopies(state, numbers, *SvrDMCloneDataSource::Adopt(numbers.TakeSource()));
}
BENCHMARK(RowsOfACloneOfAFile)->Arg(10)->Arg(100);

// Filters by the second variable, which is never 0, so the filter selects all cases.
void RowsOfAFilterOfAFile(benchmark::State& state) {
  NumbersInAFile numbers(static_cast<int>(state.range(0)));
  const auto file = numbers.TakeSource();
  MeasureBesideCopies(state, numbers, FilteredDataSource(file.get(), file->GetVariable(1).GetID()));
}
BENCHMARK(RowsOfAFilterOfAFile)->Arg(10)->Arg(100);

}  // namespace
