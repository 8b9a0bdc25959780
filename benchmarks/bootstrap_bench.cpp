// The cost of encoding and decoding a bootstrap specification with long lists.
//
// The peer of_memcpy copies the bytes of the encoded bootstrap specification to a new buffer. The
// other peers are libraries that encode its lists (SerialisationPeers.h). The time is reported as a
// multiple of the time of each peer, measured alternately.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include "Ratio.h"
#include "SerialisationPeers.h"

namespace {

SvrBootstrapSpecs LongSpecs(int length) {
  std::vector<int> variables;
  SvrBootstrapSpecs specs;
  for (int i = 0; i < length; ++i) {
    variables.push_back(i);
    specs.SplitEnds().push_back(static_cast<std::uint32_t>(i));
    specs.CaseStats().emplace_back(i / 3.0, static_cast<std::uint32_t>(i));
  }
  specs.SetStrataVarList(variables);
  specs.SetDependVarList(variables);
  specs.SetInputVarList(variables);
  return specs;
}

std::string Encoded(const SvrBootstrapSpecs& specs) {
  std::string bytes;
  SvrBootstrapSpecsSerializer::serializeSpecs(specs, bytes);
  return bytes;
}

// Returns the bytes that a machine with the opposite byte order writes: the bytes of each field are
// reversed.
std::string EncodedSwapped(int length) {
  std::string bytes = Encoded(LongSpecs(length));
  std::size_t at = 0;
  const auto swap = [&](std::size_t size) {
    DoSwapBytes(bytes.data() + at, static_cast<unsigned int>(size));
    at += size;
  };
  const auto count = static_cast<std::size_t>(length);
  swap(2);
  swap(4);
  swap(4);
  for (const std::size_t size : {count, count, count, std::size_t{0}, std::size_t{0}, count}) {
    swap(4);
    for (std::size_t i = 0; i < size; ++i) swap(4);
  }
  swap(4);
  for (std::size_t i = 0; i < count; ++i) {
    swap(8);
    swap(4);
  }
  swap(8);
  swap(4);
  swap(4);
  return bytes;
}

void CopyToNewBuffer(const char* bytes, std::size_t size) {
  const auto copy = std::make_unique_for_overwrite<char[]>(size);
  std::memcpy(copy.get(), bytes, size);
  benchmark::DoNotOptimize(copy.get());
}

PlainLists ListsOf(const SvrBootstrapSpecs& specs) {
  PlainLists lists(specs.GetStrataVarList(), specs.GetDependVarList(), specs.GetInputVarList(),
                   specs.SplitEnds(), {}, {});
  for (const auto& [mean, count] : specs.CaseStats()) {
    std::get<4>(lists).push_back(mean);
    std::get<5>(lists).push_back(count);
  }
  return lists;
}

// Reports the time of `operation` as a multiple of the times of other libraries. `operationOf`
// returns the corresponding operation of a library.
template <class Operation, class OperationOf>
void CompareWithLibraries(benchmark::State& state, const SvrBootstrapSpecs& specs,
                          Operation operation, OperationOf operationOf) {
  const PlainLists lists = ListsOf(specs);
  const auto compare = [&]<class Peer>(Peer peer) {
    if (Peer::Decode(Peer::Encode(lists)) != lists) state.SkipWithError("A peer loses data");
    state.counters[Peer::kName] = Ratio(operation, operationOf(peer, lists));
  };
  static_cast<void>(compare);
#ifdef SDM_HAS_CEREAL
  compare(Cereal());
#endif
#ifdef SDM_HAS_MSGPACK
  compare(MessagePack());
#endif
#ifdef SDM_HAS_FLATBUFFERS
  compare(FlatBuffers());
#endif
#ifdef SDM_HAS_PROTOBUF
  compare(ProtocolBuffers());
#endif
#ifdef SDM_HAS_BOOST_SERIALIZATION
  compare(BoostSerialization());
#endif
}

void Encode(benchmark::State& state) {
  const SvrBootstrapSpecs specs = LongSpecs(static_cast<int>(state.range(0)));
  const std::string bytes = Encoded(specs);
  const auto encode = [&specs] { benchmark::DoNotOptimize(Encoded(specs)); };
  for (auto _ : state) encode();
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
  state.counters["of_memcpy"] =
      Ratio(encode, [&bytes] { CopyToNewBuffer(bytes.data(), bytes.size()); });
  CompareWithLibraries(state, specs, encode, []<class Peer>(Peer, const PlainLists& lists) {
    return [&lists] { benchmark::DoNotOptimize(Peer::Encode(lists)); };
  });
}
BENCHMARK(Encode)->Arg(100)->Arg(10'000)->Arg(100'000);

void Decode(benchmark::State& state, const std::string& bytes) {
  const auto decode = [&bytes] {
    SvrBootstrapSpecs specs;
    SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
    benchmark::DoNotOptimize(specs);
  };
  for (auto _ : state) decode();
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
  state.counters["of_memcpy"] =
      Ratio(decode, [&bytes] { CopyToNewBuffer(bytes.data(), bytes.size()); });
  const SvrBootstrapSpecs specs = LongSpecs(static_cast<int>(state.range(0)));
  CompareWithLibraries(state, specs, decode, []<class Peer>(Peer, const PlainLists& lists) {
    return [bytesOfPeer = Peer::Encode(lists)] {
      benchmark::DoNotOptimize(Peer::Decode(bytesOfPeer));
    };
  });
}
void DecodeNative(benchmark::State& state) {
  Decode(state, Encoded(LongSpecs(static_cast<int>(state.range(0)))));
}
BENCHMARK(DecodeNative)->Arg(100)->Arg(10'000)->Arg(100'000);
void DecodeSwapped(benchmark::State& state) {
  Decode(state, EncodedSwapped(static_cast<int>(state.range(0))));
}
BENCHMARK(DecodeSwapped)->Arg(100)->Arg(10'000)->Arg(100'000);

}  // namespace
