// Messages that this server does not send, and what their words leave open.

#include <ChangeWords.h>

#include <gtest/gtest.h>

using namespace sdmsh;

namespace {

template <class What>
std::string Told(What what) {
  return InWords(Change{0, LocallyUniqueID(), 0, std::move(what)});
}

TEST(ChangeWords, AnImputationThatBeginsSaysHowManyRowsItHas) {
  EXPECT_EQ(Told(ImputationChanged{1}), "1 row per imputation from now on");
}

TEST(ChangeWords, AFileSpecificationMayEnd) {
  EXPECT_EQ(Told(FileSpecChanged{"", true}), "no longer saved as a file");
}

TEST(ChangeWords, ANumberOfRowsMayBeUnknown) {
  EXPECT_EQ(Told(ClientDataReset{-1}), "clients drop their cases: an unknown number of rows now");
}

TEST(ChangeWords, AVariableThatIsNotThereGoesByItsIdentifier) {
  EXPECT_EQ(Told(WeightChanged{{LocallyUniqueID(1, 7), ""}}),
            "weighted by 1:7 (not there) from now on");
}

TEST(ChangeWords, BytesThatAreNoTextAreCounted) {
  const Block block(new ORVX_ExtensionImpl(3, 1, 2, "a\x01"));
  EXPECT_EQ(Told(ExtensionChanged{block}), "extension of type 3 changed: 2 bytes");
}

}  // namespace
