// Encoding and decoding a bootstrap specification when memory runs out. This program suppresses no
// leak, so that a leak checker reports all of them.

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/support/CountedArrays.h>
#include <tests/support/FullMemory.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using support::All;
using support::arrays;
using support::BytesOf;
using support::FailsWithMemoryFor;
using support::FullBootstrapSpecs;
using support::MemoryFor;
using testing::Contains;

using Serializer = SvrBootstrapSpecsSerializer;
using Specs = SvrBootstrapSpecs;
using Finding = Serializer::Check::Finding;

TEST(BootstrapMemory, EncodingLeavesTheStringUnchangedIfAnyAllocationFails) {
  const Specs specs = FullBootstrapSpecs();
  const std::string before = "what stood there before, in memory of its own";
  std::string output = before;
  const auto write = [&] { Serializer::serializeSpecs(specs, output); };

  long count = 0;
  for (; FailsWithMemoryFor(count, write); ++count) EXPECT_EQ(output, before) << count;

  EXPECT_EQ(count, 1) << "all room is made at once";
  EXPECT_EQ(output, before + BytesOf(specs));
}

TEST(BootstrapMemory, EncodingLeavesAStringWithSpareCapacityUnchanged) {
  const Specs specs = FullBootstrapSpecs();
  std::string output = "before";
  output.reserve(output.size() + BytesOf(specs).size() - 1);
  const auto write = [&] { Serializer::serializeSpecs(specs, output); };

  long count = 0;
  for (; FailsWithMemoryFor(count, write); ++count) EXPECT_EQ(output, "before") << count;

  EXPECT_EQ(count, 1) << "all room is made at once";
  EXPECT_EQ(output, "before" + BytesOf(specs));
}

// Returns the content of a new bootstrap specification before, during and after decoding the bytes
// of `whole`, field by field.
std::vector<std::string> StagesOf(const Specs& whole) {
  Specs specs;
  std::vector<std::string> stages;
  const auto add = [&] { stages.push_back(All(specs)); };
  add();
  specs.SetSamplingMethod(whole.GetSamplingMethod());
  add();
  specs.SetStrataVarList(whole.GetStrataVarList());
  add();
  specs.SetDependVarList(whole.GetDependVarList());
  add();
  specs.SetInputVarList(whole.GetInputVarList());
  add();
  specs.SetPredictedVarList(whole.GetPredictedVarList());
  add();
  specs.SetResidualVarList(whole.GetResidualVarList());
  add();
  for (const auto& end : whole.SplitEnds()) {
    specs.SplitEnds().push_back(end);
    add();
  }
  for (const auto& stat : whole.CaseStats()) {
    specs.CaseStats().push_back(stat);
    add();
  }
  return stages;
}

TEST(BootstrapMemory, DecodingFreesItsBufferAndKeepsDecodedFieldsIfAnyAllocationFails) {
  const Specs whole = FullBootstrapSpecs();
  const std::string bytes = BytesOf(whole);
  const std::vector<std::string> stages = StagesOf(whole);

  long count = 0;
  for (bool failed = true; failed; ++count) {
    SCOPED_TRACE("after " + std::to_string(count) + " allocations");
    Specs specs;
    arrays = {};
    failed = FailsWithMemoryFor(count, [&] { Serializer::deserializeSpecs(bytes, specs); });

    EXPECT_EQ(arrays.taken, arrays.freed);
    if (failed) {
      EXPECT_THAT(stages, Contains(All(specs)));
      specs.SplitEnds().clear();
      specs.CaseStats().clear();
      Serializer::deserializeSpecs(bytes, specs);
    }
    EXPECT_EQ(All(specs), All(whole));
  }
  // The allocations of the buffer, five lists, split ends and case statistics fail; then decoding
  // succeeds.
  EXPECT_EQ(count, 9);
}

TEST(BootstrapMemory, DecodingAnUnknownVersionChangesNothingIfAllocationFails) {
  const std::string bytes = support::InVersionTwo(BytesOf(Specs()));
  Specs specs = FullBootstrapSpecs();
  EXPECT_TRUE(FailsWithMemoryFor(0, [&] { Serializer::deserializeSpecs(bytes, specs); }));
  EXPECT_EQ(All(specs), All(FullBootstrapSpecs()));
}

TEST(BootstrapMemory, CheckingAllocatesNothing) {
  const std::string whole = BytesOf(FullBootstrapSpecs());
  const std::string cut = whole.substr(0, whole.size() - 1);
  const std::string version = support::InVersionTwo(whole);
  std::string tooLong = whole;
  tooLong.replace(10, 4, 4, '\xFF');
  const auto finding = [](const std::string& bytes) {
    const MemoryFor nothing(0);
    return Serializer::checkSpecs(bytes).finding;
  };
  EXPECT_EQ(finding(whole), Finding::Whole);
  EXPECT_EQ(finding(cut), Finding::Truncated);
  EXPECT_EQ(finding(version), Finding::UnknownVersion);
  EXPECT_EQ(finding(tooLong), Finding::ListTooLong);
}

}  // namespace
