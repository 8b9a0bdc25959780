// The buffer of SvrBootstrapSpecsSerializer for decoding: the only memory that this library leaks,
// and the only array allocation of decoding.

#include <gtest/gtest.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/support/CountedArrays.h>

#include <string>
#include <string_view>

namespace {

using support::arrays;

// Decodes `bytes` and returns the counts of array allocations.
support::Arrays ArraysOfReading(const std::string& bytes) {
  SvrBootstrapSpecs specs;
  arrays = {};
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return arrays;
}

TEST(BootstrapBuffer, HasTheLengthOfTheBytesAndIsFreed) {
  const std::string bytes = support::BytesOf(support::FullBootstrapSpecs()) + "more";
  const support::Arrays reading = ArraysOfReading(bytes);
  EXPECT_EQ(reading.taken, 1);
  EXPECT_EQ(reading.lastSize, bytes.size());
  EXPECT_EQ(reading.freed, 1);
}

// Decoding does not check for the end of the input. The test places the missing bytes behind the
// buffer, so decoding a truncated input succeeds.
TEST(BootstrapBuffer, IsReadPastItsEndIfTheInputIsTruncated) {
  const std::string bytes = support::BytesOf(support::FullBootstrapSpecs());
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    SvrBootstrapSpecs specs;
    arrays = {};
    arrays.behind = std::string_view(bytes).substr(length);
    SvrBootstrapSpecsSerializer::deserializeSpecs(bytes.substr(0, length), specs);
    arrays = {};
    EXPECT_EQ(support::BytesOf(specs), bytes) << "cut after " << length << " bytes";
  }
}

TEST(BootstrapBuffer, LeaksForAnUnknownVersion) {
  const std::string bytes =
      support::InVersionTwo(support::BytesOf(support::FullBootstrapSpecs())) + "more";
  const support::Arrays reading = ArraysOfReading(bytes);
  EXPECT_EQ(reading.taken, 1);
  EXPECT_EQ(reading.lastSize, bytes.size());
  EXPECT_EQ(reading.freed, 0);
}

}  // namespace
