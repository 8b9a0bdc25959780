// The buffer into which SvrBootstrapSpecsSerializer copies what it reads: the one memory that this
// library leaves behind. The only array that reading takes; lists and strings are none.

#include <gtest/gtest.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>
#include <tests/support/BootstrapRecords.h>
#include <tests/support/CountedArrays.h>

#include <string>
#include <string_view>

namespace {

using support::arrays;

// What reading `bytes` does with its buffer.
support::Arrays ArraysOfReading(const std::string& bytes) {
  SvrBootstrapSpecs specs;
  arrays = {};
  SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, specs);
  return arrays;
}

TEST(BootstrapBuffer, IsAsLongAsTheBytesAndGivenBack) {
  const std::string bytes = support::BytesOf(support::FullBootstrapSpecs()) + "more";
  const support::Arrays reading = ArraysOfReading(bytes);
  EXPECT_EQ(reading.taken, 1);
  EXPECT_EQ(reading.lastSize, bytes.size());
  EXPECT_EQ(reading.given, 1);
}

// The reader believes its caller that the bytes are whole: what it needs beyond them it takes from
// wherever it comes to.
TEST(BootstrapBuffer, IsReadToTheEndOfTheSpecificationWhateverItsLength) {
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

TEST(BootstrapBuffer, IsLeftBehindInAnUnknownVersion) {
  const std::string bytes =
      support::InVersionTwo(support::BytesOf(support::FullBootstrapSpecs())) + "more";
  const support::Arrays reading = ArraysOfReading(bytes);
  EXPECT_EQ(reading.taken, 1);
  EXPECT_EQ(reading.lastSize, bytes.size());
  EXPECT_EQ(reading.given, 0);
}

}  // namespace
