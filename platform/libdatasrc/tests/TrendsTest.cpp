// The time series properties of a data source.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>

#include <functional>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const LocallyUniqueID kYear(1, 1);
const LocallyUniqueID kMonth(1, 2);

ORVX_TrendsInfo Monthly() {
  ORVX_TrendsInfo trends;
  trends.timeVariables = {kYear, kMonth};
  trends.seasonalPeriod = 12;
  return trends;
}

TEST(TrendsInfo, DefaultIsNotATimeSeries) {
  const ORVX_TrendsInfo trends;
  EXPECT_THAT(trends.timeVariables, IsEmpty());
  EXPECT_EQ(trends.seasonalPeriod, 0);
}

TEST(TrendsInfo, DiffersByEachField) {
  const std::vector<std::function<void(ORVX_TrendsInfo&)>> changes = {
      [](auto& trends) { trends.timeVariables.pop_back(); },
      [](auto& trends) { std::swap(trends.timeVariables[0], trends.timeVariables[1]); },
      [](auto& trends) { trends.seasonalPeriod = 4; },
  };
  EXPECT_TRUE(Monthly() == Monthly());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    ORVX_TrendsInfo changed = Monthly();
    changes[i](changed);
    EXPECT_FALSE(changed == Monthly()) << "change " << i;
  }
}

TEST(TrendsInfoOfASource, IsAssignedInPlace) {
  DataFreeDataSource source;
  EXPECT_EQ(*source.GetTrendsInfo(), ORVX_TrendsInfo());
  *source.GetTrendsInfo() = Monthly();
  EXPECT_EQ(*std::as_const(source).GetTrendsInfo(), Monthly());
}

TEST(TrendsInfoOfASource, IsUnchangedAfterItsTimeVariablesAreDeleted) {
  DataFreeDataSource source;
  source.MakeVariable(ORVX_Variable(kYear, "YEAR_"), nullptr);
  *source.GetTrendsInfo() = Monthly();
  source.DeleteVariables(0, 0);
  EXPECT_THAT(source.GetTrendsInfo()->timeVariables, ElementsAre(kYear, kMonth));
}

TEST(TrendsInfoOfASource, DoesNotChangeTheDirtyFlag) {
  DataFreeDataSource source;
  *source.GetTrendsInfo() = Monthly();
  EXPECT_FALSE(source.IsDirty());
}

TEST(TrendsInfoOfASource, IsCopiedWithTheDictionaryAndThenIndependent) {
  DataFreeDataSource source;
  *source.GetTrendsInfo() = Monthly();
  DataFreeDataSource copy;
  copy.GetTrendsInfo()->seasonalPeriod = 7;

  copy.CopyDictionary(&source);
  source.GetTrendsInfo()->seasonalPeriod = 4;

  EXPECT_EQ(*copy.GetTrendsInfo(), Monthly());
}

}  // namespace
