// Moving a variable within a dictionary.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/MoveVariable.h>

#include <stdexcept>
#include <string>

#include "Files.h"
#include "Variables.h"

namespace {

using testing::ElementsAre;

// A source with the variables a, b and c, and one case: 1, 2, 3.
class MovingAVariable : public testing::Test {
 protected:
  MovingAVariable() {
    source.InsertVariable(0, Variable("a"), {1});
    source.InsertVariable(1, Variable("b"), {2});
    source.InsertVariable(2, Variable("c"), {3});
  }

  std::string Names() const {
    std::string names;
    for (int i = 0; i < source.ColumnCount(); ++i) names += source.GetVariable(i).GetName();
    return names;
  }

  MemoryDataSource source;
};

TEST_F(MovingAVariable, GivesItTheNewPosition) {
  MoveVariable(source, 0, 2);
  EXPECT_EQ(Names(), "bca");
  MoveVariable(source, 2, 1);
  EXPECT_EQ(Names(), "bac");
  MoveVariable(source, 1, 1);
  EXPECT_EQ(Names(), "bac");
}

TEST_F(MovingAVariable, KeepsWeightFilterAndSplit) {
  const int split[] = {2, 0};
  source.SetWeightVar(0);
  source.SetFilterVar(0);
  source.SetSplit(2, split, /*separate=*/true);
  MoveVariable(source, 0, 1);
  EXPECT_EQ(source.GetWeightVarIndex(), 1);
  EXPECT_EQ(source.GetFilterVarIndex(), 1);
  ASSERT_EQ(source.GetNSplitVars(), 2u);
  EXPECT_EQ(source.GetSplitVarIndex(0), 2);
  EXPECT_EQ(source.GetSplitVarIndex(1), 1);
  EXPECT_TRUE(source.GetSplitqSeparate());
}

TEST_F(MovingAVariable, LeavesAbsentUsesOff) {
  MoveVariable(source, 0, 1);
  EXPECT_EQ(source.GetWeightVarIndex(), -1);
  EXPECT_EQ(source.GetFilterVarIndex(), -1);
  EXPECT_EQ(source.GetNSplitVars(), 0u);
}

TEST_F(MovingAVariable, MovesItsValues) {
  MoveVariable(source, 0, 2);
  EXPECT_THAT(Rows(source), ElementsAre("2 3 1"));
}

TEST_F(MovingAVariable, ToAWrongPositionThrowsAndChangesNothing) {
  EXPECT_THROW(MoveVariable(source, 3, 0), std::out_of_range);
  EXPECT_THROW(MoveVariable(source, 0, 3), std::out_of_range);
  EXPECT_THROW(MoveVariable(source, 0, -1), std::out_of_range);
  EXPECT_EQ(Names(), "abc");
}

}  // namespace
