// Tests of the data source with blank cases.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/BlankCases.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class BlankCasesTest : public testing::Test {
 protected:
  BlankCasesTest() {
    dictionary.MakeVariable(ORVX_Variable(LocallyUniqueID(1, 1), "number"), nullptr);
    dictionary.MakeVariable(ORVX_Variable(LocallyUniqueID(1, 2), "text", /*type=*/9), nullptr);
    dictionary.SetWeightVar(0);
  }

  DataFreeDataSource dictionary;
};

TEST_F(BlankCasesTest, CopyTheDictionary) {
  const BlankCases cases(dictionary, 3);
  ASSERT_EQ(cases.ColumnCount(), 2);
  EXPECT_EQ(cases.GetVariable(1), dictionary.GetVariable(1));
  EXPECT_EQ(cases.GetWeightVarIndex(), 0);
  EXPECT_EQ(cases.RowCount(), 3);
}

TEST_F(BlankCasesTest, HaveTheGivenNumberOfRowsOfMissingNumbersAndBlankStrings) {
  const BlankCases cases(dictionary, 2);
  std::vector<OBS> area(static_cast<std::size_t>(cases.GetObsAreaSize()));
  ASSERT_EQ(area.size(), 3u);
  const std::unique_ptr<ObsIterator> rows(cases.MakeIterator(area.data()));
  for (int row = 0; row < 2; ++row) {
    area.assign(area.size(), OBS{.number = 7});
    ASSERT_TRUE(rows->Next());
    EXPECT_THAT(area[0].number, testing::IsNan());
    EXPECT_EQ(std::string(area[1].text, 16), std::string(16, ' '));
  }
  EXPECT_FALSE(rows->Next());
  EXPECT_FALSE(rows->Next());
}

TEST_F(BlankCasesTest, AFunctionCalledForEachRowMayStopTheIterator) {
  int calls = 0;
  const BlankCases cases(dictionary, 2, [&] {
    if (++calls == 2) throw std::runtime_error("stopped");
  });
  std::vector<OBS> area(static_cast<std::size_t>(cases.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> rows(cases.MakeIterator(area.data()));
  EXPECT_TRUE(rows->Next());
  EXPECT_THROW(rows->Next(), std::runtime_error);
  EXPECT_TRUE(rows->Next());
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(calls, 4);
}

}  // namespace
