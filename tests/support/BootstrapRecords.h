// A bootstrap specification in which every field differs from its default, and functions that
// encode, decode, check and format bootstrap specifications.
//
// Header-only.

#ifndef TESTS_SUPPORT_BOOTSTRAPRECORDS_H_
#define TESTS_SUPPORT_BOOTSTRAPRECORDS_H_

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace support {

inline SvrBootstrapSpecs FullBootstrapSpecs() {
  SvrBootstrapSpecs specs;
  specs.SetSamplingMethod(SvrBootstrapSpecs::Residual);
  specs.SetStrataVarList({3, 7});
  specs.SetDependVarList({-1});
  specs.SetInputVarList({0x01020304, 2147483647, -2147483647 - 1});
  specs.SetPredictedVarList({5, 6, 7, 8});
  specs.SetResidualVarList({9});
  specs.SplitEnds() = {10, 4000000000U};
  specs.CaseStats() = {{1234.5678, 2}, {-0.5, 0xFFFFFFFEU}};
  specs.SetCILevelPct(99.5);
  specs.SetCIType(SvrBootstrapSpecs::BCA);
  specs.SetNSamples(-20);
  specs.SetExcludeUserMiss(false);
  return specs;
}

inline std::string BytesOf(const SvrBootstrapSpecs& specs) {
  std::string bytes;
  SvrBootstrapSpecsSerializer::serializeSpecs(specs, bytes);
  return bytes;
}

// Returns the bytes of `specs` as a machine of the other byte order writes them.
inline std::string SwappedBytesOf(const SvrBootstrapSpecs& specs) {
  std::string bytes = BytesOf(specs);
  std::size_t at = 0;
  const auto swap = [&](unsigned int size, std::size_t count) {
    for (; count > 0; --count, at += size) DoSwapBytes(bytes.data() + at, size);
  };
  swap(2, 1);
  swap(4, 2);
  for (const auto* list :
       {&specs.GetStrataVarList(), &specs.GetDependVarList(), &specs.GetInputVarList(),
        &specs.GetPredictedVarList(), &specs.GetResidualVarList()}) {
    swap(4, 1 + list->size());
  }
  swap(4, 1 + specs.SplitEnds().size() + 1);
  for (std::size_t stat = specs.CaseStats().size(); stat > 0; --stat) {
    swap(8, 1);
    swap(4, 1);
  }
  swap(8, 1);
  swap(4, 2);
  return bytes;
}

inline SvrBootstrapSpecs ReadFrom(const std::string& bytes) {
  SvrBootstrapSpecs specs;
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return specs;
}

// Calls checkSpecs with a copy of `bytes`. The copy has an allocation of exactly its size, so that
// the address sanitizer detects a read past the end.
inline SvrBootstrapSpecsSerializer::Check CheckOf(std::string_view bytes) {
  const std::vector<char> block(bytes.begin(), bytes.end());
  return SvrBootstrapSpecsSerializer::checkSpecs({block.data(), block.size()});
}

// Changes the version in `bytes` to 2. `bytes` must be a bootstrap specification in this machine's
// byte order.
inline std::string InVersionTwo(std::string bytes) {
  const std::uint32_t version = 2;
  std::memcpy(bytes.data() + 2, &version, sizeof version);
  return bytes;
}

// Prints a double and its bits, which distinguish different NaNs, and 0 from -0.
struct Bits {
  double value;
};

inline std::ostream& operator<<(std::ostream& stream, Bits bits) {
  const auto number = std::bit_cast<std::uint64_t>(bits.value);
  return stream << bits.value << " (" << std::hex << number << std::dec << ")";
}

// Formats every field, one per line. Equal bootstrap specifications have equal texts.
inline std::string All(const SvrBootstrapSpecs& specs) {
  std::ostringstream text;
  const auto list = [&text](const char* name, const auto& numbers) {
    text << '\n' << name << ':';
    for (const auto number : numbers) text << ' ' << number;
  };
  text << "method: " << static_cast<int>(specs.GetSamplingMethod());
  list("strata", specs.GetStrataVarList());
  list("dependent", specs.GetDependVarList());
  list("input", specs.GetInputVarList());
  list("predicted", specs.GetPredictedVarList());
  list("residual", specs.GetResidualVarList());
  list("split ends", specs.SplitEnds());
  text << "\ncase statistics:";
  for (const auto& [value, count] : specs.CaseStats()) text << ' ' << Bits{value} << '*' << count;
  text << "\nlevel: " << Bits{specs.GetCILevelPct()};
  text << "\ntype: " << static_cast<int>(specs.GetCIType());
  text << "\nsamples: " << specs.GetNSamples();
  text << "\nexcluded: " << specs.GetExcludeUserMiss() << '\n';
  return text.str();
}

}  // namespace support

#endif  // TESTS_SUPPORT_BOOTSTRAPRECORDS_H_
