// The main function of the benchmark programs.
//
// A server has several threads, but std::shared_ptr and mutexes are cheaper in a process with only
// one thread. So a second thread exists while the benchmarks run.

#include <benchmark/benchmark.h>

#include <semaphore>
#include <thread>

int main(int argc, char** argv) {
  std::binary_semaphore over{0};
  const std::jthread second([&over] { over.acquire(); });
  benchmark::Initialize(&argc, argv);
  const bool wrongOptions = benchmark::ReportUnrecognizedArguments(argc, argv);
  if (!wrongOptions) benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  over.release();
  return wrongOptions ? 1 : 0;
}
