// The cost of releasing a writer that changed variables: the notification pass and the call of one
// observer.
//
// For comparison, PeerDiffOfAShuffle only finds the variables that moved. It uses a hash table of
// identifiers, and a longest increasing subsequence of their positions (Fredman, "On Computing the
// Length of Longest Increasing Subsequences", 1975). DtlDiffOfAShuffle uses the library dtl, if it
// is installed.

#include <algorithm>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#if __has_include(<dtl/dtl.hpp>)
#include <dtl/dtl.hpp>
#define SDM_HAS_DTL 1
#endif

#include "BenchDataset.h"

namespace {

using Variables = std::vector<ORVX_Variable>;

Variables VariablesOf(const ORVX_DataSource& source) {
  Variables variables;
  for (int i = 0; i < source.ColumnCount(); ++i) variables.push_back(source.GetVariable(i));
  return variables;
}

void SetVariables(ORVX_DataSource& source, const Variables& variables) {
  source.DeleteVariables(0, source.ColumnCount() - 1);
  for (const ORVX_Variable& variable : variables) source.MakeVariable(variable, nullptr);
}

// A separate function, so that benchmarks/report.py can count its instructions.
[[gnu::noinline]] void ReleaseWriter(std::optional<SvrDMWriteableDataSource>& writer) {
  writer.reset();
}

// Measures only the release of a writer, after `edit` has changed the data source.
template <class Edit>
void Release(benchmark::State& state, const Edit& edit) {
  BenchDataset dataset(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<SvrDMWriteableDataSource> writer(std::in_place, dataset.Item(),
                                                   /*tryOnly=*/false, /*originator=*/nullptr);
    edit(*writer->GetDataSource());
    state.ResumeTiming();
    ReleaseWriter(writer);
  }
}

void NothingChanged(benchmark::State& state) {
  Release(state, [](ORVX_DataSource&) {});
}
BENCHMARK(NothingChanged)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void OneLabelChanged(benchmark::State& state) {
  int turn = 0;
  Release(state, [&turn](ORVX_DataSource& source) {
    source.GetVariable(source.ColumnCount() / 2).SetLabel(std::to_string(++turn));
  });
}
BENCHMARK(OneLabelChanged)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void TenLabelsChanged(benchmark::State& state) {
  int turn = 0;
  Release(state, [&turn](ORVX_DataSource& source) {
    for (int i = 0; i < 10; ++i) {
      source.GetVariable(source.ColumnCount() / 10 * i).SetLabel(std::to_string(++turn));
    }
  });
}
BENCHMARK(TenLabelsChanged)->Arg(1'000)->Unit(benchmark::kMicrosecond);

void LastMovedToFirst(benchmark::State& state) {
  Release(state, [](ORVX_DataSource& source) {
    const int last = source.ColumnCount() - 1;
    const ORVX_Variable variable = source.GetVariable(last);
    source.DeleteVariables(last, last);
    source.InsertVariable(0, variable);
  });
}
BENCHMARK(LastMovedToFirst)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void FirstMovedToLast(benchmark::State& state) {
  Release(state, [](ORVX_DataSource& source) {
    const ORVX_Variable variable = source.GetVariable(0);
    source.DeleteVariables(0, 0);
    source.MakeVariable(variable, nullptr);
  });
}
BENCHMARK(FirstMovedToLast)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void Shuffled(benchmark::State& state) {
  std::mt19937 random(1);
  Release(state, [&random](ORVX_DataSource& source) {
    Variables variables = VariablesOf(source);
    std::shuffle(variables.begin(), variables.end(), random);
    SetVariables(source, variables);
  });
}
BENCHMARK(Shuffled)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void Reversed(benchmark::State& state) {
  Release(state, [](ORVX_DataSource& source) {
    Variables variables = VariablesOf(source);
    std::reverse(variables.begin(), variables.end());
    SetVariables(source, variables);
  });
}
BENCHMARK(Reversed)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void EverySecondReplaced(benchmark::State& state) {
  Release(state, [](ORVX_DataSource& source) {
    Variables variables = VariablesOf(source);
    for (std::size_t i = 0; i < variables.size(); i += 2) {
      variables[i] = ORVX_Variable(ORVX_Variable::NextID(), "replacement");
    }
    SetVariables(source, variables);
  });
}
BENCHMARK(EverySecondReplaced)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMicrosecond);

// Sets a new source whose variables equal the variables of the old source. Copies of variables
// usually share one record (ORVX_Variable.h); the variables of the new source have their own
// records.
void EqualSourceSet(benchmark::State& state) {
  BenchDataset dataset(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<SvrDMWriteableDataSource> writer(std::in_place, dataset.Item(),
                                                   /*tryOnly=*/false, /*originator=*/nullptr);
    auto unrelated = std::make_unique<DataFreeDataSource>();
    unrelated->CopyDictionary(writer->GetDataSource());
    for (int i = 0; i < unrelated->ColumnCount(); ++i) {
      ORVX_Variable& variable = unrelated->GetVariable(i);
      variable.SetLabel(std::string(variable.GetLabel()));
    }
    writer->SetDataSet(std::move(unrelated));
    state.ResumeTiming();
    ReleaseWriter(writer);
  }
}
BENCHMARK(EqualSourceSet)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);

using Identifiers = std::vector<unsigned int>;

// Returns the identifiers before and after a shuffle.
std::pair<Identifiers, Identifiers> ShuffledIdentifiers(std::size_t count) {
  Identifiers before(count);
  std::iota(before.begin(), before.end(), 0);
  Identifiers after = before;
  std::shuffle(after.begin(), after.end(), std::mt19937(1));
  return {before, after};
}

void PeerDiffOfAShuffle(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const auto [before, after] = ShuffledIdentifiers(count);
  for (auto _ : state) {
    std::unordered_map<unsigned int, int> positions;
    positions.reserve(count);
    for (std::size_t i = 0; i < count; ++i) positions.emplace(before[i], static_cast<int>(i));
    std::vector<int> tails;
    std::vector<std::pair<unsigned int, int>> moves;
    for (const unsigned int id : after) {
      const int position = positions.find(id)->second;
      const auto place = std::lower_bound(tails.begin(), tails.end(), position);
      if (place == tails.end()) {
        tails.push_back(position);
      } else {
        *place = position;
        moves.emplace_back(id, position);
      }
    }
    benchmark::DoNotOptimize(moves.data());
  }
}
BENCHMARK(PeerDiffOfAShuffle)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

#ifdef SDM_HAS_DTL
// Uses the library dtl (Wu, Manber, Myers and Miller, "An O(NP) Sequence Comparison Algorithm",
// 1990). Compares only 1,000 identifiers, because time and memory grow with the square of their
// number.
void DtlDiffOfAShuffle(benchmark::State& state) {
  const auto [before, after] = ShuffledIdentifiers(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    dtl::Diff<unsigned int> diff(before, after);
    diff.compose();
    if (diff.getEditDistance() == 0) state.SkipWithError("No difference was found");
  }
}
BENCHMARK(DtlDiffOfAShuffle)->Arg(1'000)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
