// Filtered sources: some cases and some variables of their parents.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "Files.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

LocallyUniqueID IDOf(const ORVX_DataSource& source, const std::string& name) {
  int position = 0;
  while (source.GetVariable(position).GetName() != name) ++position;
  return source.GetVariable(position).GetID();
}

class Filtered : public testing::Test {
 protected:
  const Folder folder;
  std::unique_ptr<SystemFileDataSource> file = SystemFileDataSource::Open(
      folder.Write("data.csv", "n,text,use\n1,x,1\n2,y,0\n3,z,\n4,v,-1\n5,w,0.5\n"));
};

TEST_F(Filtered, StartsWithTheParentsDictionaryAndAllItsCases) {
  const FilteredDataSource source(file.get());

  EXPECT_EQ(source.GetParentSource(), file.get());
  EXPECT_EQ(source.NParents(), 1);
  EXPECT_EQ(source.RowCount(), 5);
  EXPECT_EQ(source.ColumnCount(), 3);
  EXPECT_EQ(source.GetObsAreaSize(), 3);
  EXPECT_EQ(Rows(source), Rows(*file));
}

TEST_F(Filtered, SelectsCasesWhereTheVariableIsNeitherZeroNorMissing) {
  const FilteredDataSource source(file.get(), IDOf(*file, "use"));

  EXPECT_THAT(Rows(source), ElementsAre("1 [x       ] 1", "4 [v       ] -1", "5 [w       ] 0.5"));
}

TEST_F(Filtered, DoesNotKnowTheNumberOfSelectedCases) {
  const FilteredDataSource source(file.get(), IDOf(*file, "use"));

  EXPECT_EQ(source.RowCount(), -1);
  EXPECT_EQ(Rows(source).size(), 3u);
  EXPECT_EQ(source.RowCount(), -1);  // unknown, even after reading all rows
}

TEST_F(Filtered, LeavesOutCasesWithADeclaredMissingValue) {
  MissingValues missing;
  missing.values = {DataValue(1.0), DataValue(std::string("x"))};
  file->GetVariable(2).SetMissingValues(missing);

  const FilteredDataSource source(file.get(), IDOf(*file, "use"));

  EXPECT_THAT(Rows(source), ElementsAre("4 [v       ] -1", "5 [w       ] 0.5"));
}

TEST_F(Filtered, RowsFollowItsOwnDictionary) {
  FilteredDataSource source(file.get(), IDOf(*file, "use"));
  const ORVX_Variable number = source.GetVariable(0);

  source.DeleteVariables(0, 0);
  source.DeleteVariables(1, 1);
  source.MakeVariable(number, nullptr);
  source.GetVariable(1).SetType(2);
  source.MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "new"), nullptr);

  EXPECT_THAT(Rows(source), ElementsAre("[x       ] [1       ] .", "[v       ] [4       ] .",
                                        "[w       ] [5       ] ."));
  EXPECT_EQ(file->ColumnCount(), 3);
  EXPECT_EQ(Rows(*file).front(), "1 [x       ] 1");
}

TEST_F(Filtered, CanHaveAFilteredParent) {
  FilteredDataSource positive(file.get(), IDOf(*file, "use"));
  positive.DeleteVariables(1, 1);
  const FilteredDataSource all(&positive);

  EXPECT_EQ(all.NParents(), 2);
  EXPECT_EQ(all.RowCount(), -1);
  EXPECT_THAT(Rows(all), ElementsAre("1 1", "4 -1", "5 0.5"));
}

TEST_F(Filtered, IteratorOutlivesEditsAndAllSources) {
  auto source = std::make_unique<FilteredDataSource>(file.get(), IDOf(*file, "use"));
  std::vector<OBS> area(3);
  const std::unique_ptr<ObsIterator> rows(source->MakeIterator(area.data()));

  source->DeleteVariables(0, 2);
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(area[2].number, 1);
  source.reset();
  file.reset();
  ASSERT_TRUE(rows->Next());
  ASSERT_TRUE(rows->Next());

  EXPECT_EQ(area[0].number, 5);
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(area[0].number, 5);
}

TEST_F(Filtered, RejectsAnUnknownVariable) {
  EXPECT_THAT([&] { FilteredDataSource(file.get(), LocallyUniqueID(1, 77777)); },
              ThrowsMessage<std::invalid_argument>(
                  HasSubstr("variable 1:77777 is not in the parent's dictionary")));
  EXPECT_THROW(FilteredDataSource(file.get(), LocallyUniqueID()), std::invalid_argument);
}

TEST_F(Filtered, RejectsAStringVariable) {
  EXPECT_THAT([&] { FilteredDataSource(file.get(), IDOf(*file, "text")); },
              ThrowsMessage<std::invalid_argument>(HasSubstr("is a string")));
}

TEST_F(Filtered, IteratingFailsAfterTheVariableIsDeleted) {
  const FilteredDataSource source(file.get(), IDOf(*file, "use"));
  file->DeleteVariables(2, 2);
  std::vector<OBS> area(3);

  EXPECT_THROW(static_cast<void>(source.MakeIterator(area.data())), std::invalid_argument);
}

TEST_F(Filtered, IteratingFailsAfterTheVariableBecomesAString) {
  const FilteredDataSource source(file.get(), IDOf(*file, "use"));
  file->GetVariable(2).SetType(8);
  std::vector<OBS> area(3);

  EXPECT_THROW(static_cast<void>(source.MakeIterator(area.data())), std::invalid_argument);
}

// A source whose rows do not match its dictionary.
class OneCell : public ORVX_DataSource {
 public:
  long GetObsAreaSize() const override { return 1; }
  bool IsLoaded() const override { return false; }
};

TEST(FilteredDataSource, RejectsRowsOfTheWrongLength) {
  OneCell parent;
  const LocallyUniqueID id(1, 1);
  parent.MakeVariable(ORVX_Variable(id, "a"), nullptr);
  parent.MakeVariable(ORVX_Variable(LocallyUniqueID(1, 2), "b"), nullptr);
  std::vector<OBS> area(2);

  EXPECT_THROW(static_cast<void>(FilteredDataSource(&parent).MakeIterator(area.data())),
               std::invalid_argument);
  EXPECT_THROW(static_cast<void>(FilteredDataSource(&parent, id).MakeIterator(area.data())),
               std::invalid_argument);
}

TEST(FilteredDataSource, IsLoadedIfItsParentIsLoaded) {
  OneCell parent;
  DataFreeDataSource loaded;

  EXPECT_FALSE(FilteredDataSource(&parent).IsLoaded());
  EXPECT_TRUE(FilteredDataSource(&loaded).IsLoaded());
}

// A source with one case of one number.
class OneNumber : public ORVX_DataSource {
 public:
  explicit OneNumber(double number) : number_(number) {
    MakeVariable(ORVX_Variable(LocallyUniqueID(1, 1), "a"), nullptr);
  }
  ObsIterator* MakeIterator(OBS* area) const override { return new Row(number_, area); }

 private:
  class Row : public ObsIterator {
   public:
    Row(double number, OBS* area) : number_(number), area_(area) {}
    bool Next() override {
      area_->number = number_;
      return left_-- > 0;
    }

   private:
    const double number_;
    OBS* const area_;
    int left_ = 1;
  };

  const double number_;
};

TEST(FilteredDataSource, SelectsNoCaseWithANaN) {
  for (const double nan : {kMissingNumber, -kMissingNumber, std::nan("7")}) {
    OneNumber parent(nan);
    EXPECT_EQ(Rows(FilteredDataSource(&parent)).size(), 1U);
    EXPECT_THAT(Rows(FilteredDataSource(&parent, LocallyUniqueID(1, 1))), IsEmpty());
  }
}

TEST(FilteredDataSource, SelectsCasesWithAnyOtherNonzeroNumber) {
  using Limits = std::numeric_limits<double>;
  for (const double number :
       {Limits::lowest(), Limits::max(), Limits::denorm_min(), -Limits::infinity()}) {
    OneNumber parent(number);
    EXPECT_EQ(Rows(FilteredDataSource(&parent, LocallyUniqueID(1, 1))).size(), 1U) << number;
  }
}

TEST(FilteredDataSource, SelectsTheMatchingRowsOfTheSurvey) {
  const auto survey = SystemFileDataSource::Open(EXAMPLE_DATA_DIR "/survey.tsv");
  const FilteredDataSource selected(survey.get(), IDOf(*survey, "vote"));
  std::vector<std::string> expected = Rows(*survey);
  std::erase_if(expected, [](const std::string& row) { return row.back() == '0'; });

  EXPECT_EQ(Rows(selected), expected);
  EXPECT_EQ(expected.size(), 393U);
}

}  // namespace
