// Editing cases in memory: the peer makes the same edits to plain vectors. Saving cases: the peer
// writes the same bytes to a file. Each benchmark reports its time as a multiple of the time of its
// peer, measured alternately.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/SaveDelimited.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Ratio.h"

namespace {

constexpr int kRows = 10'000;

ORVX_Variable Variable(const std::string& name, int type = 0) {
  return ORVX_Variable(ORVX_Variable::NextID(), name, type);
}

std::vector<double> Numbers(int column) {
  std::vector<double> numbers;
  for (int row = 0; row < kRows; ++row) numbers.push_back(row * 0.25 + column);
  return numbers;
}

std::vector<std::string> Strings(int column) {
  std::vector<std::string> strings;
  for (int row = 0; row < kRows; ++row) strings.push_back("answer " + std::to_string(row + column));
  return strings;
}

// Every second variable is a string.
std::unique_ptr<MemoryDataSource> Filled(int variables) {
  auto source = std::make_unique<MemoryDataSource>();
  for (int i = 0; i < variables; ++i) {
    const std::string name = "v" + std::to_string(i);
    if (i % 2 == 0) {
      source->InsertVariable(i, Variable(name), Numbers(i));
    } else {
      source->InsertVariable(i, Variable(name, 40), Strings(i));
    }
  }
  return source;
}

void SettingANumber(benchmark::State& state) {
  const auto source = Filled(10);
  std::vector<double> plain = Numbers(0);
  long long row = 0;
  const auto next = [&] { return row = (row + 1) % kRows; };
  const auto set = [&] { source->SetValue(next(), 4, 1.5); };
  const auto setPlain = [&] {
    plain[static_cast<std::size_t>(next())] = 1.5;
    benchmark::ClobberMemory();
  };
  for (auto _ : state) set();
  state.SetItemsProcessed(state.iterations());
  state.counters["of_vector"] = Ratio(set, setPlain);
}
BENCHMARK(SettingANumber);

void SettingAString(benchmark::State& state) {
  const auto source = Filled(10);
  std::vector<std::string> plain = Strings(0);
  const DataValue values[] = {"a short answer", "an answer that is somewhat longer"};
  long long row = 0;
  const auto next = [&] { return row = (row + 1) % kRows; };
  const auto set = [&] { source->SetValue(next(), 5, values[row % 2]); };
  const auto setPlain = [&] {
    plain[static_cast<std::size_t>(next())] = std::get<std::string>(values[row % 2]);
    benchmark::ClobberMemory();
  };
  for (auto _ : state) set();
  state.SetItemsProcessed(state.iterations());
  state.counters["of_vector"] = Ratio(set, setPlain);
}
BENCHMARK(SettingAString);

// Argument: the number of variables. The peer appends to one vector for each variable.
void AppendingCases(benchmark::State& state) {
  const auto variables = static_cast<int>(state.range(0));
  std::vector<DataValue> values;
  for (int i = 0; i < variables; ++i) {
    values.push_back(i % 2 == 0 ? DataValue(1.5) : DataValue("an answer"));
  }
  const auto append = [&] {
    MemoryDataSource source;
    for (int i = 0; i < variables; ++i) {
      source.MakeVariable(Variable("v" + std::to_string(i), i % 2 == 0 ? 0 : 40), nullptr);
    }
    for (int row = 0; row < 1000; ++row) source.AppendCase(values);
    benchmark::DoNotOptimize(source.RowCount());
  };
  const auto appendPlain = [&] {
    std::vector<std::vector<DataValue>> columns(static_cast<std::size_t>(variables));
    for (int row = 0; row < 1000; ++row) {
      for (std::size_t i = 0; i < columns.size(); ++i) columns[i].push_back(values[i]);
    }
    benchmark::DoNotOptimize(columns.data());
  };
  for (auto _ : state) append();
  state.SetItemsProcessed(state.iterations() * 1000);
  state.counters["of_vectors"] = Ratio(append, appendPlain);
}
BENCHMARK(AppendingCases)->Arg(10)->Arg(100);

// Writes the bytes to a file, and waits until they are on the disk.
void WriteBytes(const std::string& path, const std::string& bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (write(file, bytes.data(), bytes.size()) < 0 || fsync(file) != 0) std::abort();
  close(file);
}

// Argument: the number of variables.
void Saving(benchmark::State& state) {
  const auto source = Filled(static_cast<int>(state.range(0)));
  const auto folder = std::filesystem::temp_directory_path();
  const std::string path = folder / "save_bench.csv";
  const std::string peerPath = folder / "save_bench.peer";
  const auto save = [&] { SaveDelimited(*source, path); };
  save();
  std::ifstream file(path);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  for (auto _ : state) save();
  state.SetBytesProcessed(state.iterations() * static_cast<long>(bytes.size()));
  state.counters["of_writing_the_bytes"] = Ratio(save, [&] { WriteBytes(peerPath, bytes); });
  std::filesystem::remove(path);
  std::filesystem::remove(folder / "save_bench.schema.json");
  std::filesystem::remove(peerPath);
}
BENCHMARK(Saving)->Arg(10)->Arg(100);

}  // namespace
