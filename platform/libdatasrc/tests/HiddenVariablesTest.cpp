// The filter hook that hides variables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/HiddenVariables.h>
#include <libdatasrc/MemoryDataSource.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;

std::vector<std::string> NamesOf(const ORVX_DataSource& source) {
  std::vector<std::string> names;
  for (int i = 0; i < source.ColumnCount(); ++i) names.push_back(source.GetVariable(i).GetName());
  return names;
}

class HiddenVariablesTest : public testing::Test {
 protected:
  HiddenVariablesTest() {
    int position = 0;
    for (const char* const name : {"a", "b", "c"}) {
      const ORVX_Variable variable(ORVX_Variable::NextID(), name);
      source_.InsertVariable(position++, variable, {1.0, 2.0});
    }
  }

  MemoryDataSource source_;
};

TEST_F(HiddenVariablesTest, PutsASourceWithoutTheVariablesOnTop) {
  HiddenVariables hidden({"c", "a", "nope"});
  const std::unique_ptr<ORVX_DataSource> view(hidden.FilterDataSource(&source_));
  EXPECT_THAT(NamesOf(std::as_const(*view)), ElementsAre("b"));
  EXPECT_EQ(view->GetParentSource(), &source_);
  EXPECT_EQ(view->RowCount(), 2);
  EXPECT_THAT(NamesOf(std::as_const(source_)), ElementsAre("a", "b", "c"));
}

TEST_F(HiddenVariablesTest, ReturnsTheSourceItselfIfItHasNoneOfTheVariables) {
  HiddenVariables hidden({"A", "d"});
  EXPECT_EQ(hidden.FilterDataSource(&source_), &source_);
}

TEST_F(HiddenVariablesTest, KeepsTheDirtyFlag) {
  HiddenVariables hidden({"a"});
  for (const bool isDirty : {true, false}) {
    source_.SetDirty(isDirty);
    const std::unique_ptr<ORVX_DataSource> view(hidden.FilterDataSource(&source_));
    EXPECT_EQ(view->IsDirty(), isDirty);
  }
}

TEST_F(HiddenVariablesTest, KeepsTheFilteredSourceOfADatasetThatWasAdded) {
  HiddenVariables hidden({"a"});
  const std::unique_ptr<ORVX_DataSource> view(hidden.FilterDataSource(&source_));
  hidden.EndAddition(/*isAdded=*/true);
  // Ends a second addition, which failed. The hook filtered no source for this addition, so it
  // deletes no filtered source.
  hidden.EndAddition(/*isAdded=*/false);
  EXPECT_THAT(NamesOf(std::as_const(*view)), ElementsAre("b", "c"));
}

}  // namespace
