// Summaries: groups of values, their statistics and their distribution.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/Summary.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Variables.h"

namespace {

using Summary::Groups;
using Summary::Histogram;
using Summary::IsMissing;
using Summary::ReadGroups;
using Summary::Statistics;
using Summary::StatisticsOf;
using Summary::WeightedValue;
using testing::ElementsAre;

// ---------------------------------------------------------------------------------------------
// Groups

TEST(IsMissing, HoldsForMissingNumbersEmptyStringsAndDeclaredValues) {
  ORVX_Variable number = Variable("a");
  number.SetMissingValues({.values = {9.0}});
  ORVX_Variable text = Variable("b", 2);
  text.SetMissingValues({.values = {"NA"}});
  for (const DataValue& value : {DataValue(kMissingNumber), DataValue(9.0)}) {
    EXPECT_TRUE(IsMissing(number, value));
  }
  for (const DataValue& value : {DataValue(""), DataValue("NA")}) {
    EXPECT_TRUE(IsMissing(text, value));
  }
  EXPECT_FALSE(IsMissing(number, 0.0));
  EXPECT_FALSE(IsMissing(text, "9"));
}

// A source with the variables income, sex, count (the weight) and use (the filter).
class SummaryOfCases : public testing::Test {
 protected:
  SummaryOfCases() {
    source.InsertVariable(0, Variable("income"), {30, 10, kMissingNumber, 20, 99, 50});
    source.InsertVariable(1, Variable("sex", 1), {"f", "m", "f", "f", "m", ""});
    source.InsertVariable(2, Variable("count"), {2, 1, 3, 1, 1, 1});
    source.InsertVariable(3, Variable("use"), {1, 1, 1, 1, 0, kMissingNumber});
  }

  MemoryDataSource source;
};

TEST_F(SummaryOfCases, WithoutASplitHasOneGroupOfValuesInAscendingOrder) {
  const Groups groups = ReadGroups(source, {0, 1});
  ASSERT_EQ(groups.size(), 1u);
  const std::vector<Summary::Values>& group = groups.at({});
  ASSERT_EQ(group.size(), 2u);
  std::vector<double> numbers;
  for (const WeightedValue& each : group[0].numbers) numbers.push_back(each.value);
  EXPECT_THAT(numbers, ElementsAre(10, 20, 30, 50, 99));
  EXPECT_EQ(group[0].present, 5);
  EXPECT_EQ(group[0].missing, 1);
  EXPECT_TRUE(group[1].numbers.empty());
  EXPECT_EQ(group[1].present, 5);
  EXPECT_EQ(group[1].missing, 1);
}

TEST_F(SummaryOfCases, WeightCountsCasesAndFilterOmitsThem) {
  source.SetWeightVar(2);
  source.SetFilterVar(3);
  const Groups groups = ReadGroups(source, {0});
  EXPECT_EQ(groups.at({})[0].present, 4);
  EXPECT_EQ(groups.at({})[0].missing, 3);
}

TEST_F(SummaryOfCases, CaseWithoutAPositiveWeightIsOmitted) {
  source.InsertVariable(4, Variable("weight"), {1, 0, -1, kMissingNumber, 99, 0.5});
  source.GetVariable(4).SetMissingValues({.values = {99.0}});
  source.SetWeightVar(4);
  const Summary::Values values = ReadGroups(source, {0}).at({})[0];
  EXPECT_EQ(values.present, 1.5);
  EXPECT_EQ(values.missing, 0);
}

TEST_F(SummaryOfCases, GroupWithoutAUsedCaseIsAbsent) {
  const int split[] = {1};
  source.SetSplit(1, split, /*separate=*/false);
  source.SetFilterVar(3);
  EXPECT_EQ(ReadGroups(source, {0}).count({std::string()}), 0u);
}

TEST_F(SummaryOfCases, HasNoGroupsWithoutCasesAndNoValuesWithoutPositions) {
  EXPECT_TRUE(ReadGroups(MemoryDataSource(), {}).empty());
  EXPECT_TRUE(ReadGroups(source, {}).at({}).empty());
}

TEST_F(SummaryOfCases, SplitGroupsTheCasesAndDeclaredMissingValuesAreMissing) {
  const int split[] = {1};
  source.SetSplit(1, split, /*separate=*/false);
  source.GetVariable(0).SetMissingValues({.values = {99.0}});
  const Groups groups = ReadGroups(source, {0});
  ASSERT_EQ(groups.size(), 3u);
  EXPECT_EQ(groups.at({std::string()})[0].present, 1);
  EXPECT_EQ(groups.at({std::string("f")})[0].missing, 1);
  EXPECT_EQ(groups.at({std::string("m")})[0].missing, 1);
}

TEST_F(SummaryOfCases, MissingNumberOfASplitVariableIsAnEmptyStringAfterAllNumbers) {
  const int split[] = {0};
  source.SetSplit(1, split, /*separate=*/false);
  const Groups groups = ReadGroups(source, {1});
  ASSERT_EQ(groups.size(), 6u);
  EXPECT_EQ(groups.rbegin()->first, Summary::Key{std::string()});
}

TEST_F(SummaryOfCases, StringWeightStringFilterAndWrongPositionsAreRefused) {
  EXPECT_THROW(ReadGroups(source, {4}), std::out_of_range);
  EXPECT_THROW(ReadGroups(source, {-1}), std::out_of_range);
  const auto error = [this] {
    try {
      ReadGroups(source, {0});
    } catch (const std::invalid_argument& refused) {
      return std::string(refused.what());
    }
    return std::string();
  };
  source.SetWeightVar(1);
  EXPECT_EQ(error(), "variable \"sex\" is a string; only a numeric variable can weight cases");
  source.SetWeightVar(-1);
  source.SetFilterVar(1);
  EXPECT_EQ(error(), "variable \"sex\" is a string; only a numeric variable can select cases");
}

TEST_F(SummaryOfCases, JsonHasTheStatisticsOfEachVariableInEachGroup) {
  const int split[] = {1};
  source.SetSplit(1, split, /*separate=*/false);
  source.SetWeightVar(2);
  source.SetFilterVar(3);
  source.SetValue(1, 0, std::numeric_limits<double>::infinity());
  source.SetValue(3, 0, 30.0);
  source.SetValue(5, 3, 1.0);
  EXPECT_EQ(Summary::Json(source, {0}, ReadGroups(source, {0})),
            R"({"weight":"count","filter":"use","groups":[)"
            R"({"group":[{"variable":"sex","value":null}],"variables":[{"variable":"income",)"
            R"("n":1.0,"missing":0.0,"mean":50.0,"sd":null,"min":50.0,)"
            R"("quartiles":[50.0,50.0,50.0],"max":50.0}]},)"
            R"({"group":[{"variable":"sex","value":"f"}],"variables":[{"variable":"income",)"
            R"("n":3.0,"missing":3.0,"mean":30.0,"sd":0.0,"min":30.0,)"
            R"("quartiles":[30.0,30.0,30.0],"max":30.0}]},)"
            R"({"group":[{"variable":"sex","value":"m"}],"variables":[{"variable":"income",)"
            R"("n":1.0,"missing":0.0,"mean":"Infinity","sd":null,"min":"Infinity",)"
            R"("quartiles":["Infinity","Infinity","Infinity"],"max":"Infinity"}]}]})");
  source.SetSplit(0, nullptr, /*separate=*/false);
  EXPECT_EQ(Summary::Json(source, {}, {}), R"({"weight":"count","filter":"use","groups":[]})");
}

TEST_F(SummaryOfCases, ProgressMayStopTheReading) {
  const auto stop = [](std::uint64_t, std::uint64_t) { return false; };
  EXPECT_THROW(ReadGroups(source, {0}, stop), GivenUp);
}

// ---------------------------------------------------------------------------------------------
// Statistics

Statistics Of(const std::vector<WeightedValue>& sorted) {
  return StatisticsOf(sorted);
}

TEST(Statistics, AreTheUsualOnesOfValuesWithoutWeights) {
  const Statistics result = Of({{1, 1}, {2, 1}, {3, 1}, {4, 1}});
  EXPECT_EQ(result.count, 4);
  EXPECT_DOUBLE_EQ(result.mean, 2.5);
  EXPECT_DOUBLE_EQ(result.deviation, std::sqrt(5.0 / 3));
  EXPECT_EQ(result.minimum, 1);
  EXPECT_EQ(result.maximum, 4);
  EXPECT_THAT(result.quartiles, ElementsAre(1.75, 2.5, 3.25));
}

TEST(Statistics, TreatAWeightAsTheNumberOfTimesThatAValueOccurs) {
  const Statistics weighted = Of({{1, 3}, {5, 1}, {9, 2}});
  const Statistics repeated = Of({{1, 1}, {1, 1}, {1, 1}, {5, 1}, {9, 1}, {9, 1}});
  EXPECT_EQ(weighted.count, repeated.count);
  EXPECT_DOUBLE_EQ(weighted.mean, repeated.mean);
  EXPECT_DOUBLE_EQ(weighted.deviation, repeated.deviation);
  EXPECT_EQ(weighted.quartiles, repeated.quartiles);
}

TEST(Statistics, DeviationIsExactForLargeValuesThatDifferLittle) {
  EXPECT_DOUBLE_EQ(Of({{1e9 + 1, 1}, {1e9 + 2, 1}, {1e9 + 3, 1}}).deviation, 1);
}

TEST(Statistics, AreUndefinedWithoutValues) {
  const Statistics result = Of({});
  EXPECT_EQ(result.count, 0);
  for (const double each : {result.mean, result.deviation, result.minimum, result.quartiles[0],
                            result.quartiles[1], result.quartiles[2], result.maximum}) {
    EXPECT_TRUE(std::isnan(each));
  }
}

TEST(Statistics, DeviationOfASingleValueIsUndefined) {
  const Statistics result = Of({{7, 1}});
  EXPECT_TRUE(std::isnan(result.deviation));
  EXPECT_THAT(result.quartiles, ElementsAre(7, 7, 7));
}

TEST(Statistics, QuartilesAreDefinedIfTheWeightsAddUpToLessThanOne) {
  EXPECT_THAT(Of({{1, 0.25}, {2, 0.25}}).quartiles, ElementsAre(1, 1, 1));
}

TEST(Statistics, QuartilesBetweenTheLargestNumbersDoNotOverflow) {
  EXPECT_EQ(Of({{-1e308, 1}, {1e308, 1}}).quartiles[1], 0);
}

TEST(Statistics, QuartilesBetweenInfiniteValuesAreInfiniteNotNaN) {
  EXPECT_THAT(Of({{1, 1}, {kInfinity, 1}, {kInfinity, 1}}).quartiles,
              ElementsAre(kInfinity, kInfinity, kInfinity));
}

// ---------------------------------------------------------------------------------------------
// Histogram

TEST(Histogram, ShowsTheWeightOfEachPartOfTheRangeAsAHeight) {
  const std::vector<WeightedValue> sorted = {{0, 8}, {1, 4}, {3, 1}};
  EXPECT_EQ(Histogram(sorted, 4), "█▄ ▁");
}

TEST(Histogram, HasOneBlockForEqualValues) {
  const std::vector<WeightedValue> sorted = {{5, 1}, {5, 1}};
  EXPECT_EQ(Histogram(sorted, 3), "█  ");
}

TEST(Histogram, IsEmptyWithoutValuesWithoutBinsAndForAnInfiniteRange) {
  const std::vector<WeightedValue> infinite = {{1, 1},
                                               {std::numeric_limits<double>::infinity(), 1}};
  EXPECT_EQ(Histogram({}, 3), "");
  EXPECT_EQ(Histogram(infinite, 0), "");
  EXPECT_EQ(Histogram(infinite, 3), "");
}

}  // namespace
