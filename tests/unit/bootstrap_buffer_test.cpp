// The buffer into which SvrBootstrapSpecsSerializer copies bytes of an unknown version: the only
// memory that this library leaks.

#include <gtest/gtest.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/support/CountedArrays.h>

#include <string>

namespace {

using support::arrays;

// Decodes `bytes` and returns the counts of array allocations.
support::Arrays ArraysOfReading(const std::string& bytes) {
  SvrBootstrapSpecs specs;
  arrays = {};
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return arrays;
}

TEST(BootstrapBuffer, IsNotAllocatedForTheKnownVersion) {
  const std::string bytes = support::BytesOf(support::FullBootstrapSpecs()) + "more";
  EXPECT_EQ(ArraysOfReading(bytes).taken, 0);
}

TEST(BootstrapBuffer, HasTheSizeOfTheInputAndLeaksForAnUnknownVersion) {
  const std::string bytes =
      support::InVersionTwo(support::BytesOf(support::FullBootstrapSpecs())) + "more";
  const support::Arrays reading = ArraysOfReading(bytes);
  EXPECT_EQ(reading.taken, 1);
  EXPECT_EQ(reading.lastSize, bytes.size());
  EXPECT_EQ(reading.freed, 0);
}

}  // namespace
