// Peers: other libraries that encode the lists of a bootstrap specification: cereal, MessagePack,
// FlatBuffers, Protocol Buffers and Boost.Serialization. A library is used only if it is installed.

#ifndef BENCHMARKS_SERIALISATIONPEERS_H_
#define BENCHMARKS_SERIALISATIONPEERS_H_

#include <cstdint>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#if __has_include(<cereal/archives/binary.hpp>)
#include <cereal/archives/binary.hpp>
#include <cereal/types/vector.hpp>
#define SDM_HAS_CEREAL 1
#endif
#if __has_include(<msgpack.hpp>)
#define MSGPACK_NO_BOOST
#include <msgpack.hpp>
#define SDM_HAS_MSGPACK 1
#endif
#if __has_include(<flatbuffers/flatbuffers.h>)
#include <flatbuffers/flatbuffers.h>
#define SDM_HAS_FLATBUFFERS 1
#endif
#ifdef SDM_HAS_PROTOBUF
#include <bootstrap_lists.pb.h>
#endif
#ifdef SDM_HAS_BOOST_SERIALIZATION
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/vector.hpp>
#endif

// The lists, in order: strata, dependent and input variables, split ends, and the first and second
// members of the case statistics.
using PlainLists =
    std::tuple<std::vector<int>, std::vector<int>, std::vector<int>, std::vector<std::uint32_t>,
               std::vector<double>, std::vector<std::uint32_t>>;

// kName of a peer names the counter that reports the comparison with the peer.

#ifdef SDM_HAS_CEREAL
struct Cereal {
  static constexpr const char* kName = "of_cereal";
  static std::string Encode(const PlainLists& lists) {
    std::ostringstream stream(std::ios::binary);
    cereal::BinaryOutputArchive archive(stream);
    std::apply([&](const auto&... list) { archive(list...); }, lists);
    return std::move(stream).str();
  }
  static PlainLists Decode(const std::string& bytes) {
    std::istringstream stream(bytes, std::ios::binary);
    cereal::BinaryInputArchive archive(stream);
    PlainLists lists;
    std::apply([&](auto&... list) { archive(list...); }, lists);
    return lists;
  }
};
#endif

#ifdef SDM_HAS_MSGPACK
struct MessagePack {
  static constexpr const char* kName = "of_msgpack";
  static std::string Encode(const PlainLists& lists) {
    msgpack::sbuffer buffer;
    std::apply([&](const auto&... list) { (msgpack::pack(buffer, list), ...); }, lists);
    return std::string(buffer.data(), buffer.size());
  }
  static PlainLists Decode(const std::string& bytes) {
    PlainLists lists;
    std::size_t offset = 0;
    const auto read = [&](auto& list) {
      msgpack::unpack(bytes.data(), bytes.size(), offset).get().convert(list);
    };
    std::apply([&](auto&... list) { (read(list), ...); }, lists);
    return lists;
  }
};
#endif

#ifdef SDM_HAS_FLATBUFFERS
// A table with one vector per list, as the compiler of FlatBuffers would lay it out.
struct FlatBuffers {
  static constexpr const char* kName = "of_flatbuffers";
  static std::string Encode(const PlainLists& lists) {
    flatbuffers::FlatBufferBuilder builder;
    const auto vectors = std::apply(
        [&](const auto&... list) { return std::tuple(builder.CreateVector(list)...); }, lists);
    const auto table = builder.StartTable();
    flatbuffers::voffset_t field = 4;
    const auto add = [&](const auto& vector) {
      builder.AddOffset(field, vector);
      field = static_cast<flatbuffers::voffset_t>(field + 2);
    };
    std::apply([&](const auto&... vector) { (add(vector), ...); }, vectors);
    builder.Finish(flatbuffers::Offset<flatbuffers::Table>(builder.EndTable(table)));
    return std::string(reinterpret_cast<const char*>(builder.GetBufferPointer()),
                       builder.GetSize());
  }
  static PlainLists Decode(const std::string& bytes) {
    const auto* const table = flatbuffers::GetRoot<flatbuffers::Table>(bytes.data());
    PlainLists lists;
    flatbuffers::voffset_t field = 4;
    const auto read = [&]<class Value>(std::vector<Value>& list) {
      const auto* const vector = table->GetPointer<const flatbuffers::Vector<Value>*>(field);
      list.assign(vector->data(), vector->data() + vector->size());
      field = static_cast<flatbuffers::voffset_t>(field + 2);
    };
    std::apply([&](auto&... list) { (read(list), ...); }, lists);
    return lists;
  }
};
#endif

#ifdef SDM_HAS_PROTOBUF
struct ProtocolBuffers {
  static constexpr const char* kName = "of_protobuf";
  static std::string Encode(const PlainLists& lists) {
    const auto& [strata, dependents, inputs, splitEnds, means, counts] = lists;
    sdm_bench::BootstrapLists message;
    message.mutable_strata()->Assign(strata.begin(), strata.end());
    message.mutable_dependents()->Assign(dependents.begin(), dependents.end());
    message.mutable_inputs()->Assign(inputs.begin(), inputs.end());
    message.mutable_split_ends()->Assign(splitEnds.begin(), splitEnds.end());
    message.mutable_means()->Assign(means.begin(), means.end());
    message.mutable_counts()->Assign(counts.begin(), counts.end());
    return message.SerializeAsString();
  }
  static PlainLists Decode(const std::string& bytes) {
    sdm_bench::BootstrapLists message;
    message.ParseFromString(bytes);
    const auto vector = []<class Value>(const google::protobuf::RepeatedField<Value>& field) {
      return std::vector<Value>(field.begin(), field.end());
    };
    return {vector(message.strata()),     vector(message.dependents()), vector(message.inputs()),
            vector(message.split_ends()), vector(message.means()),      vector(message.counts())};
  }
};
#endif

#ifdef SDM_HAS_BOOST_SERIALIZATION
struct BoostSerialization {
  static constexpr const char* kName = "of_boost";
  static std::string Encode(const PlainLists& lists) {
    std::ostringstream stream(std::ios::binary);
    boost::archive::binary_oarchive archive(stream);
    std::apply([&](const auto&... list) { ((archive << list), ...); }, lists);
    return std::move(stream).str();
  }
  static PlainLists Decode(const std::string& bytes) {
    std::istringstream stream(bytes, std::ios::binary);
    boost::archive::binary_iarchive archive(stream);
    PlainLists lists;
    std::apply([&](auto&... list) { ((archive >> list), ...); }, lists);
    return lists;
  }
};
#endif

#endif  // BENCHMARKS_SERIALISATIONPEERS_H_
