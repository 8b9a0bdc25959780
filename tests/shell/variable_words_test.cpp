// How definitions of variables are put into words.

#include <VariableWords.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sdmsh::Differences;
using sdmsh::NumberInWords;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Told(const ORVX_Variable& before, const ORVX_Variable& after) {
  std::vector<std::string> words;
  for (const auto& [what, from, to] : Differences(before, after)) {
    words.push_back(what + (": " + from) + " -> " + to);
  }
  return words;
}

class VariableWords : public testing::Test {
 protected:
  const ORVX_Variable before{LocallyUniqueID(1, 7), "vote"};
  ORVX_Variable after = before;
};

TEST_F(VariableWords, NoDifferenceIsNone) {
  EXPECT_THAT(Told(before, after), IsEmpty());
}

TEST_F(VariableWords, TheIdentifierIsNoDifference) {
  after.SetID(LocallyUniqueID(1, 8));
  EXPECT_THAT(Told(before, after), IsEmpty());
}

TEST_F(VariableWords, NameTheFieldsThatDiffer) {
  after.SetName("vote96");
  after.SetLabel("Vote");
  after.SetType(8);
  after.SetMeasurementLevel(MeasurementLevel::Nominal);
  EXPECT_THAT(
      Told(before, after),
      ElementsAre("name: \"vote\" -> \"vote96\"", "label: \"\" -> \"Vote\"",
                  "type: numeric -> string of 8 bytes", "measurement level: unknown -> nominal"));
}

TEST_F(VariableWords, AFormatNamesItsWidthAndDecimals) {
  after.SetFormat({VariableFormat::Kind::Plain, 8, 2});
  EXPECT_THAT(Told(before, after), ElementsAre("format: plain -> plain, width 8, decimals 2"));
}

TEST(FormatInWords, UsesTheTypeNamesOfTableSchema) {
  using Kind = VariableFormat::Kind;
  EXPECT_EQ(sdmsh::FormatInWords({Kind::Plain}), "plain");
  EXPECT_EQ(sdmsh::FormatInWords({Kind::Date}), "date");
  EXPECT_EQ(sdmsh::FormatInWords({Kind::Time}), "time");
  EXPECT_EQ(sdmsh::FormatInWords({Kind::DateTime}), "datetime");
}

TEST(LevelInWords, UsesTheNamesOfStevensScales) {
  EXPECT_STREQ(sdmsh::LevelInWords(MeasurementLevel::Unknown), "unknown");
  EXPECT_STREQ(sdmsh::LevelInWords(MeasurementLevel::Nominal), "nominal");
  EXPECT_STREQ(sdmsh::LevelInWords(MeasurementLevel::Ordinal), "ordinal");
  EXPECT_STREQ(sdmsh::LevelInWords(MeasurementLevel::Interval), "interval");
  EXPECT_STREQ(sdmsh::LevelInWords(MeasurementLevel::Ratio), "ratio");
}

TEST_F(VariableWords, ValuesAreShownAsTheyAre) {
  after.SetValueLabels({{1.5, "some"}, {std::string("x"), "other"}});
  after.SetMissingValues({{DataValue(-9.0), DataValue(std::string("NA"))}});
  after.SetAttributes({{"source", {"form", "page 2"}}});
  EXPECT_THAT(Told(before, after),
              ElementsAre("value labels: none -> {1.5 = \"some\", \"x\" = \"other\"}",
                          "missing values: none -> {-9, \"NA\"}",
                          "attributes: none -> {source = \"form\" \"page 2\"}"));
}

TEST(NumberInWords, HasNoExponentWhereOneReadsItEasily) {
  EXPECT_EQ(NumberInWords(0), "0");
  EXPECT_EQ(NumberInWords(-0.0), "-0");
  EXPECT_EQ(NumberInWords(100000), "100000");
  EXPECT_EQ(NumberInWords(-2.5), "-2.5");
  EXPECT_EQ(NumberInWords(0.1), "0.1");
  EXPECT_EQ(NumberInWords(0.0001), "0.0001");
  EXPECT_EQ(NumberInWords(0.00001), "1e-05");
  EXPECT_EQ(NumberInWords(999999999999999), "999999999999999");
  EXPECT_EQ(NumberInWords(123456789012345.67), "123456789012345.67");
  EXPECT_EQ(NumberInWords(1e15), "1e+15");
  EXPECT_EQ(NumberInWords(-1e300), "-1e+300");
}

}  // namespace
