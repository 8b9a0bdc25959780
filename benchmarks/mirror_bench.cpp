// The cost of following a dataset: applying the decoded messages of a pass to the mirror, computing
// the digest of the dictionary, and sending a pass to many clients.
//
// The benchmarks of the mirror and of the digest report their time as a multiple of the times of
// their peers, measured alternately:
//
//   of_plain_vector    the edits of the pass, in a vector of plain definitions with linear search
//   of_whole_snapshot  a new mirror from the messages of a snapshot
//   of_flat_xxh3       the XXH3 hash (128 bits) of a dictionary that was encoded beforehand

#include <benchmark/benchmark.h>
#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <client/DictionaryDigest.h>
#include <client/DictionaryMessages.h>
#include <client/DictionaryMirror.h>
#include <client/server/ChangeStreamObserver.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>

#include <xxhash.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BenchDataset.h"
#include "PlainDictionary.h"
#include "Ratio.h"

namespace {

// A dictionary, and the messages that build it from an empty dictionary.
struct Dictionary {
  explicit Dictionary(benchmark::State& state) : dataset(static_cast<int>(state.range(0))) {}

  BenchDataset dataset;
  const ORVX_DataSource& source = *dataset.Item()->DataSource();
  const OwnedMessages snapshot = DictionaryMessages(source, dataset.ID(), 0);
};

// Each pass sets the label of the variable in the middle. The passes alternate between two labels.
void ApplyAPassWithOneVariableModified(benchmark::State& state) {
  Dictionary dictionary(state);
  const int position = dictionary.source.ColumnCount() / 2;
  OwnedMessages messages;
  std::vector<PlainDefinition> definitions;
  for (const char* label : {"What the respondent says now", "What the respondent said then"}) {
    ORVX_Variable variable = dictionary.source.GetVariable(position);
    variable.SetLabel(label);
    messages.push_back(std::make_unique<ModifyVarMsg>(0, dictionary.dataset.ID(), 0, variable));
    definitions.emplace_back(variable);
  }
  DictionaryMirror mirror;
  mirror.Apply(dictionary.snapshot);
  std::vector<PlainDefinition> plain = PlainDictionary(dictionary.source);
  const std::vector<std::vector<DataSetMsg*>> passes = {{messages[0].get()}, {messages[1].get()}};

  // Passes in a batch; enough to make the cost of reading the clock negligible.
  constexpr std::size_t kPasses = 200;
  const auto applyMany = [&] {
    for (std::size_t i = 0; i < kPasses; ++i) mirror.Apply(passes[i % 2]);
  };
  const auto assignMany = [&] {
    for (std::size_t i = 0; i < kPasses; ++i) {
      const PlainDefinition& definition = definitions[i % 2];
      const auto hasTheIdentifier = [&](const auto& other) { return other.id == definition.id; };
      *std::find_if(plain.begin(), plain.end(), hasTheIdentifier) = definition;
      benchmark::DoNotOptimize(plain.data());
    }
  };
  const auto rebuild = [&] { DictionaryMirror().Apply(dictionary.snapshot); };

  std::size_t next = 0;
  for (auto _ : state) mirror.Apply(passes[next++ % 2]);

  state.counters["of_plain_vector"] = Ratio(applyMany, assignMany);
  state.counters["of_whole_snapshot"] = Ratio(applyMany, rebuild) / kPasses;
  if (PlainDictionary(mirror.Dictionary()) != plain) {
    state.SkipWithError("The mirror is not the vector");
  }
}
BENCHMARK(ApplyAPassWithOneVariableModified)->Arg(1'000);

// The pass has one message per variable, like the first pass of a dataset.
void ApplyAPassWithAllVariablesInserted(benchmark::State& state) {
  const Dictionary dictionary(state);
  OwnedMessages pass;
  for (int i = 0; i < dictionary.source.ColumnCount(); ++i) {
    pass.push_back(std::make_unique<InsertVarsMsg>(0, dictionary.dataset.ID(), 0,
                                                   std::vector{dictionary.source.GetVariable(i)},
                                                   LocallyUniqueID()));
  }
  const std::vector<PlainDefinition> definitions = PlainDictionary(dictionary.source);

  const auto apply = [&] {
    DictionaryMirror mirror;
    mirror.Apply(pass);
    if (mirror.Dictionary().ColumnCount() != dictionary.source.ColumnCount()) {
      state.SkipWithError("The mirror has another number of variables");
    }
  };
  const auto append = [&] {
    std::vector<PlainDefinition> plain;
    for (const PlainDefinition& definition : definitions) plain.push_back(definition);
    benchmark::DoNotOptimize(plain.data());
  };
  const auto rebuild = [&] { DictionaryMirror().Apply(dictionary.snapshot); };

  for (auto _ : state) apply();

  state.counters["of_plain_vector"] = Ratio(apply, append);
  state.counters["of_whole_snapshot"] = Ratio(apply, rebuild);
}
BENCHMARK(ApplyAPassWithAllVariablesInserted)->Arg(1'000);

// The encoded variables and properties, concatenated.
std::string BytesThatTheDigestStandsFor(const ORVX_DataSource& source) {
  VStream bytes;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    ModifyVarMsg(0, LocallyUniqueID(), 0, source.GetVariable(i)).VSInitSerialization(bytes);
  }
  for (const auto& message : PropertyMessages(source, LocallyUniqueID(), 0)) {
    message->VSInitSerialization(bytes);
  }
  return std::string(bytes.Bytes());
}

template <class Operation>
void MeasureBesideTheFlatHash(benchmark::State& state, const ORVX_DataSource& source,
                              Operation operation) {
  operation();  // caches the hashes of all variables
  for (auto _ : state) operation();
  const std::string bytes = BytesThatTheDigestStandsFor(source);
  state.counters["bytes"] = static_cast<double>(bytes.size());
  state.counters["of_flat_xxh3"] =
      Ratio(operation, [&] { benchmark::DoNotOptimize(XXH3_128bits(bytes.data(), bytes.size())); });
}

void TakeTheDigestOfAnUnchangedDictionary(benchmark::State& state) {
  const Dictionary dictionary(state);
  MeasureBesideTheFlatHash(state, dictionary.source,
                           [&] { benchmark::DoNotOptimize(DigestOf(dictionary.source)); });
}
BENCHMARK(TakeTheDigestOfAnUnchangedDictionary)->Arg(1'000);

// The dictionary caches the hashes of the unchanged variables.
void TakeTheDigestAgainAfterOneVariableHasChanged(benchmark::State& state) {
  Dictionary dictionary(state);
  ORVX_DataSource& source = *dictionary.dataset.Item()->DataSource();
  int changes = 0;
  MeasureBesideTheFlatHash(state, source, [&] {
    source.GetVariable(source.ColumnCount() / 2).SetLabel(++changes % 2 == 0 ? "even" : "odd");
    benchmark::DoNotOptimize(DigestOf(source));
  });
}
BENCHMARK(TakeTheDigestAgainAfterOneVariableHasChanged)->Arg(1'000)->Arg(100'000);

// Encodes each frame and keeps the bytes of the last frame.
class Channel final : public PackageProxy {
 public:
  short SendMessage(int, VSerializable* message) override {
    VStream stream;
    message->VSInitSerialization(stream);
    frame.assign(stream.Bytes());
    return 0;
  }

  std::string frame;
};

// Streams of one dataset, registered until they are destroyed.
class Streams {
 public:
  Streams(BenchDataset& dataset, int count) : item_(dataset.Item()), channels_(count) {
    for (Channel& channel : channels_) {
      item_->Register(*streams_.emplace_back(std::make_unique<ChangeStreamObserver>(channel)));
    }
  }
  ~Streams() {
    for (const auto& stream : streams_) item_->Unregister(*stream);
  }

  const std::string& Frame() const { return channels_.back().frame; }
  bool AreInOrder() const {
    return std::none_of(streams_.begin(), streams_.end(),
                        [](const auto& stream) { return stream->IsLost(); });
  }

 private:
  SvrDMItemPtr item_;
  std::vector<Channel> channels_;
  std::vector<std::unique_ptr<ChangeStreamObserver>> streams_;
};

// Measures only the release of a writer. Before each release, `restore` reverts the previous
// change, in a pass that is not measured; then `edit` makes the next change.
template <class Edit, class Restoration>
void ReleaseToStreams(benchmark::State& state, const Edit& edit, const Restoration& restore) {
  BenchDataset dataset(static_cast<int>(state.range(0)));
  const Streams streams(dataset, static_cast<int>(state.range(1)));
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<SvrDMWriteableDataSource> writer(std::in_place, dataset.Item(),
                                                   /*tryOnly=*/false, /*originator=*/nullptr);
    restore(*writer->GetDataSource());
    writer->Notify();
    edit(*writer->GetDataSource());
    state.ResumeTiming();
    writer.reset();
  }
  if (!streams.AreInOrder()) state.SkipWithError("A stream is lost");
}

void ReleaseOneLabelToStreams(benchmark::State& state) {
  int turn = 0;
  const auto label = [&](ORVX_DataSource& source) {
    source.GetVariable(source.ColumnCount() / 2).SetLabel(std::to_string(++turn));
  };
  ReleaseToStreams(state, label, [](ORVX_DataSource&) {});
}
BENCHMARK(ReleaseOneLabelToStreams)->Args({10'000, 100})->Unit(benchmark::kMicrosecond);

void ReleaseTheFirst20DeletedToStreams(benchmark::State& state) {
  std::vector<ORVX_Variable> deleted;
  const auto deleteFirst = [&](ORVX_DataSource& source) {
    for (int i = 0; i < 20; ++i) deleted.push_back(source.GetVariable(i));
    source.DeleteVariables(0, 19);
  };
  const auto restore = [&](ORVX_DataSource& source) {
    int position = 0;
    for (const ORVX_Variable& variable : deleted) source.InsertVariable(position++, variable);
    deleted.clear();
  };
  ReleaseToStreams(state, deleteFirst, restore);
}
BENCHMARK(ReleaseTheFirst20DeletedToStreams)->Args({10'000, 100})->Unit(benchmark::kMicrosecond);

// Applies frames that each set one label.
void ApplyAFrameWithOneLabel(benchmark::State& state) {
  BenchDataset dataset(static_cast<int>(state.range(0)));
  const Streams streams(dataset, 1);
  ChangeStreamReader reader(dataset.ID());
  {
    ChangeFrame snapshot;
    snapshot.kind = ChangeFrame::Kind::Snapshot;
    snapshot.dataset = dataset.ID();
    const ORVX_DataSource& source = *dataset.Item()->DataSource();
    for (const auto& message : DictionaryMessages(source, dataset.ID(), 0)) {
      snapshot.AddMessage(*message);
    }
    snapshot.digest = DigestOf(source);
    VStream bytes;
    snapshot.VSInitSerialization(bytes);
    reader.Apply(bytes.Bytes());
  }
  int turn = 0;
  for (auto _ : state) {
    state.PauseTiming();
    {
      SvrDMWriteableDataSource writer(dataset.Item(), /*tryOnly=*/false, /*originator=*/nullptr);
      writer->GetVariable(writer->ColumnCount() / 2).SetLabel(std::to_string(++turn));
    }
    const std::string frame = streams.Frame();
    state.ResumeTiming();
    if (reader.Apply(frame) != ChangeStreamReader::Outcome::Applied) {
      state.SkipWithError(reader.SnapshotReason().c_str());
      break;
    }
  }
}
BENCHMARK(ApplyAFrameWithOneLabel)->Arg(100'000)->Unit(benchmark::kMicrosecond);

}  // namespace
