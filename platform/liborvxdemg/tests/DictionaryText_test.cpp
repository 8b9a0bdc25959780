// Variables and properties as text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxdemg/DictionaryText.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> Found(const ORVX_Variable& before, const ORVX_Variable& after) {
  std::vector<std::string> words;
  for (const auto& [what, from, to] : DictionaryText::Differences(before, after)) {
    words.push_back(what + (": " + from) + " -> " + to);
  }
  return words;
}

class DifferencesOfVariables : public testing::Test {
 protected:
  const ORVX_Variable before{LocallyUniqueID(1, 7), "vote"};
  ORVX_Variable after = before;
};

TEST_F(DifferencesOfVariables, EqualVariablesHaveNoDifferences) {
  EXPECT_THAT(Found(before, after), IsEmpty());
}

TEST_F(DifferencesOfVariables, TheIdentifierIsNotCompared) {
  after.SetID(LocallyUniqueID(1, 8));
  EXPECT_THAT(Found(before, after), IsEmpty());
}

TEST_F(DifferencesOfVariables, NameTheFieldsThatDiffer) {
  after.SetName("vote96");
  after.SetLabel("Vote");
  after.SetType(8);
  after.SetMeasurementLevel(MeasurementLevel::Nominal);
  EXPECT_THAT(
      Found(before, after),
      ElementsAre("name: \"vote\" -> \"vote96\"", "label: none -> \"Vote\"",
                  "type: numeric -> string of 8 bytes", "measurement level: unknown -> nominal"));
}

TEST_F(DifferencesOfVariables, AFormatNamesItsWidthAndDecimals) {
  after.SetFormat({VariableFormat::Kind::Plain, 8, 2});
  EXPECT_THAT(Found(before, after), ElementsAre("format: plain -> plain, width 8, decimals 2"));
}

TEST(DictionaryText, FormatsUseTheTypeNamesOfTableSchema) {
  using FormatKind = VariableFormat::Kind;
  EXPECT_EQ(DictionaryText::Format({FormatKind::Plain}), "plain");
  EXPECT_EQ(DictionaryText::Format({FormatKind::Date}), "date");
  EXPECT_EQ(DictionaryText::Format({FormatKind::Time}), "time");
  EXPECT_EQ(DictionaryText::Format({FormatKind::DateTime}), "datetime");
}

TEST(DictionaryText, LevelsUseTheNamesOfStevensScales) {
  EXPECT_STREQ(DictionaryText::Level(MeasurementLevel::Unknown), "unknown");
  EXPECT_STREQ(DictionaryText::Level(MeasurementLevel::Nominal), "nominal");
  EXPECT_STREQ(DictionaryText::Level(MeasurementLevel::Ordinal), "ordinal");
  EXPECT_STREQ(DictionaryText::Level(MeasurementLevel::Interval), "interval");
  EXPECT_STREQ(DictionaryText::Level(MeasurementLevel::Ratio), "ratio");
}

TEST_F(DifferencesOfVariables, ListsOfValuesAreShownCompletely) {
  after.SetValueLabels({{1.5, "some"}, {std::string("x"), "other"}});
  after.SetMissingValues({{DataValue(-9.0), DataValue(std::string("NA"))}});
  after.SetAttributes({{"source", {"form", "page 2"}}});
  EXPECT_THAT(Found(before, after),
              ElementsAre("value labels: none -> {1.5 = \"some\", \"x\" = \"other\"}",
                          "missing values: none -> {-9, \"NA\"}",
                          "attributes: none -> {source = \"form\" \"page 2\"}"));
}

TEST(DictionaryText, NumbersOfOrdinarySizeHaveNoExponent) {
  EXPECT_EQ(DictionaryText::Number(0), "0");
  EXPECT_EQ(DictionaryText::Number(-0.0), "-0");
  EXPECT_EQ(DictionaryText::Number(100000), "100000");
  EXPECT_EQ(DictionaryText::Number(-2.5), "-2.5");
  EXPECT_EQ(DictionaryText::Number(0.1), "0.1");
  EXPECT_EQ(DictionaryText::Number(0.0001), "0.0001");
  EXPECT_EQ(DictionaryText::Number(0.00001), "1e-05");
  EXPECT_EQ(DictionaryText::Number(999999999999999), "999999999999999");
  EXPECT_EQ(DictionaryText::Number(123456789012345.67), "123456789012345.67");
  EXPECT_EQ(DictionaryText::Number(1e15), "1e+15");
  EXPECT_EQ(DictionaryText::Number(-1e300), "-1e+300");
}

}  // namespace
