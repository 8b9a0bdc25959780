// Opening files of delimited text with integers, decimals and short strings. The peer is libcsv,
// which reads the same bytes and only finds the fields.
//
// MB_per_s uses elapsed time, MB_per_cpu_s the processor time of all threads. peak_MB is the
// greatest growth of the resident memory while the file is opened; of_columns is this growth as a
// multiple of the size of the columns (File::ColumnBytes).
//
// If the environment variable OPEN_BENCH_FILE is set, the file is written under that name and kept,
// for open_peers.py. Each size overwrites the file of the previous size.

#include <benchmark/benchmark.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#ifdef HAVE_LIBCSV
#include <csv.h>
#endif

namespace {

// Random fields, the same in each run.
class RandomFields {
 public:
  // Returns a field for this column: every second column has strings, the others have integers and
  // decimals alternately.
  std::string Next(int column) {
    if (column % 2 == 1) return Word();
    return column % 4 == 0 ? std::to_string(UpTo(1'000'000)) : Decimal();
  }

 private:
  int UpTo(int most) { return std::uniform_int_distribution(0, most)(random_); }
  std::string Word() {
    std::string word(static_cast<std::size_t>(3 + UpTo(8)), 'a');
    for (char& letter : word) letter = static_cast<char>(letter + UpTo(25));
    return word;
  }
  std::string Decimal() {
    const std::string cents = std::to_string(UpTo(99));
    return (UpTo(9) == 0 ? "-" : "") + std::to_string(UpTo(99'999)) +
           (cents.size() == 1 ? ".0" : ".") + cents;
  }

  std::mt19937 random_{1};
};

// A file for the benchmark. The destructor removes it, unless OPEN_BENCH_FILE is set.
class File {
 public:
  File(int rows, int columns) : rows_(rows), columns_(columns) {
    if (const char* const kept = std::getenv("OPEN_BENCH_FILE")) {
      path_ = kept;
      isKept_ = true;
    } else {
      const std::string name = "open_bench-" + std::to_string(getpid()) + ".csv";
      path_ = std::filesystem::temp_directory_path() / name;
    }
    std::ofstream file(path_, std::ios::binary);
    for (int i = 0; i < columns; ++i) file << (i > 0 ? ",column" : "column") << i;
    file << '\n';
    RandomFields fields;
    for (int row = 0; row < rows; ++row) {
      for (int i = 0; i < columns; ++i) {
        const std::string field = fields.Next(i);
        columnBytes_ += 8 + (i % 2 == 1 ? static_cast<double>(field.size()) : 0);
        file << field << (i + 1 < columns ? ',' : '\n');
      }
    }
  }
  ~File() {
    if (!isKept_) std::filesystem::remove(path_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  const std::string& Path() const { return path_; }
  int Rows() const { return rows_; }
  long Fields() const { return long{rows_ + 1} * columns_; }  // the header included
  double Megabytes() const { return static_cast<double>(std::filesystem::file_size(path_)) / 1e6; }
  // The size of the columns: eight bytes for each value, and the bytes of the strings.
  double ColumnBytes() const { return columnBytes_; }

 private:
  const int rows_;
  const int columns_;
  std::string path_;
  bool isKept_ = false;
  double columnBytes_ = 0;
};

// Returns a size from /proc/self/status in bytes: VmRSS or VmHWM, the resident memory or its peak.
double ProcessMemory(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field + ":")) return 1024 * std::stod(line.substr(field.size() + 1));
  }
  return 0;
}

// Returns the greatest growth of the resident memory during `work`, in bytes.
double PeakGrowth(const std::function<void()>& work) {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << 5;  // resets the peak
  const double before = ProcessMemory("VmRSS");
  work();
  return ProcessMemory("VmHWM") - before;
}

struct Seconds {
  double byTheClock;
  double ofAllThreads;  // processor time
};

Seconds Measure(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const std::clock_t cpuStart = std::clock();
  work();
  const std::chrono::duration<double> real = std::chrono::steady_clock::now() - start;
  return {real.count(), static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC};
}

#ifdef HAVE_LIBCSV

// Returns the number of fields in the file.
long PassOfLibcsv(const std::string& path) {
  csv_parser parser;
  csv_init(&parser, CSV_STRICT);
  long fields = 0;
  const auto count = [](void*, std::size_t, void* total) { ++*static_cast<long*>(total); };
  std::vector<char> chunk(std::size_t{64} << 10);
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  while (const std::size_t size = std::fread(chunk.data(), 1, chunk.size(), file)) {
    csv_parse(&parser, chunk.data(), size, count, nullptr, &fields);
  }
  csv_fini(&parser, count, nullptr, &fields);
  std::fclose(file);
  csv_free(&parser);
  return fields;
}

// The processor time that libcsv takes; 0 if libcsv finds a wrong number of fields.
double SecondsOfLibcsv(const File& file) {
  long fields = 0;
  const Seconds pass = Measure([&] { fields = PassOfLibcsv(file.Path()); });
  return fields == file.Fields() ? pass.ofAllThreads : 0;
}

#endif

void OpenNumbersAndStrings(benchmark::State& state) {
  const File file(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  const auto open = [&] {
    if (SystemFileDataSource::Open(file.Path())->RowCount() != file.Rows()) {
      state.SkipWithError("The file was opened with another number of rows");
    }
  };
  double memory = 0;
  Seconds shortest{1e9, 1e9};
  double shortestOfPeer = 0;
  for (auto _ : state) {
    memory = PeakGrowth(open);
    for (int turn = 0; turn < 5; ++turn) {
      const Seconds took = Measure(open);
      shortest.byTheClock = std::min(shortest.byTheClock, took.byTheClock);
      shortest.ofAllThreads = std::min(shortest.ofAllThreads, took.ofAllThreads);
#ifdef HAVE_LIBCSV
      const double peer = SecondsOfLibcsv(file);
      shortestOfPeer = turn == 0 ? peer : std::min(shortestOfPeer, peer);
#endif
    }
  }
  state.counters["MB"] = file.Megabytes();
  state.counters["MB_per_s"] = file.Megabytes() / shortest.byTheClock;
  state.counters["MB_per_cpu_s"] = file.Megabytes() / shortest.ofAllThreads;
  if (shortestOfPeer > 0) {
    state.counters["libcsv_MB_per_cpu_s"] = file.Megabytes() / shortestOfPeer;
    state.counters["of_libcsv"] = shortest.ofAllThreads / shortestOfPeer;
  }
  state.counters["column_MB"] = file.ColumnBytes() / 1e6;
  state.counters["peak_MB"] = memory / 1e6;
  state.counters["of_columns"] = memory / file.ColumnBytes();
}
BENCHMARK(OpenNumbersAndStrings)
    ->Args({1'000'000, 20})
    ->Args({2'000'000, 10})
    ->Args({200, 50'000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
