// What a data source knows of itself as a time series.

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
  trends.dateVariables = {kYear, kMonth};
  trends.periodicity = 12;
  trends.firstCase = 3;
  trends.lastCase = 40;
  return trends;
}

TEST(TrendsInfo, FreshSaysThatThereIsNoTimeSeries) {
  const ORVX_TrendsInfo trends;
  EXPECT_THAT(trends.dateVariables, IsEmpty());
  EXPECT_EQ(trends.periodicity, 0);
  EXPECT_EQ(trends.firstCase, 0);
  EXPECT_EQ(trends.lastCase, 0);
}

TEST(TrendsInfo, DiffersByEachOfItsFields) {
  const std::vector<std::function<void(ORVX_TrendsInfo&)>> changes = {
      [](auto& trends) { trends.dateVariables.pop_back(); },
      [](auto& trends) { std::swap(trends.dateVariables[0], trends.dateVariables[1]); },
      [](auto& trends) { trends.periodicity = 4; },
      [](auto& trends) { trends.firstCase = 1; },
      [](auto& trends) { trends.lastCase = 41; },
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

TEST(TrendsInfoOfASource, OutlivesItsDateVariables) {
  DataFreeDataSource source;
  source.MakeVariable(ORVX_Variable(kYear, "YEAR_"), nullptr);
  *source.GetTrendsInfo() = Monthly();
  source.DeleteVariables(0, 0);
  EXPECT_THAT(source.GetTrendsInfo()->dateVariables, ElementsAre(kYear, kMonth));
}

TEST(TrendsInfoOfASource, LeavesTheDirtyFlagAlone) {
  DataFreeDataSource source;
  *source.GetTrendsInfo() = Monthly();
  EXPECT_FALSE(source.IsDirty());
}

TEST(TrendsInfoOfASource, IsCopiedWithTheDictionaryAndThenFreeOfIt) {
  DataFreeDataSource source;
  *source.GetTrendsInfo() = Monthly();
  DataFreeDataSource copy;
  copy.GetTrendsInfo()->periodicity = 7;

  copy.CopyDictionary(&source);
  source.GetTrendsInfo()->periodicity = 4;

  EXPECT_EQ(*copy.GetTrendsInfo(), Monthly());
}

}  // namespace
