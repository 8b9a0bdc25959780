// SvrDMCloneDataSource: separate dictionaries over shared cases.

#include <gmock/gmock.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/CloneSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <tests/support/Cases.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "saved_files.h"

namespace {

using support::CountedSource;
using support::Dictionary;
using support::Names;
using support::RowsOf;
using support::Var;
using testing::ElementsAre;
using testing::SizeIs;

// A CountedSource with rows. Both cells of a row hold the number of the row, from 1.
class CountedRows : public CountedSource {
 public:
  CountedRows(int& deaths, long long rowCount, ORVX_DataSource* parent = nullptr)
      : CountedSource(deaths, parent), rowCount_(rowCount) {}

  ObsIterator* MakeIterator(OBS* area) const override { return new Rows(rowCount_, area); }
  long GetObsAreaSize() const override { return 2; }
  long long RowCount() const override { return rowCount_; }

 private:
  class Rows : public ObsIterator {
   public:
    Rows(long long count, OBS* area) : count_(count), area_(area) {}
    bool Next() override {
      if (row_ == count_) return false;
      area_[0].number = area_[1].number = static_cast<double>(++row_);
      return true;
    }

   private:
    const long long count_;
    OBS* const area_;
    long long row_ = 0;
  };

  const long long rowCount_;
};

// ---------------------------------------------------------------------------------------------
// Ownership

TEST(CloneDataSource, TheLastOfSeveralCopiesDeletesTheChainExactlyOnce) {
  int deaths = 0;
  auto* const parent = new CountedSource(deaths);
  auto first = std::make_unique<SvrDMCloneDataSource>(new CountedSource(deaths, parent));
  auto second = std::make_unique<SvrDMCloneDataSource>(*first);
  auto third = std::make_unique<SvrDMCloneDataSource>(*second);

  first.reset();
  EXPECT_EQ(deaths, 0);
  third.reset();
  EXPECT_EQ(deaths, 0);
  second.reset();
  EXPECT_EQ(deaths, 2);
}

// A source that appends its name to `died` when it is destroyed.
class NamedSource : public DataFreeDataSource {
 public:
  NamedSource(std::string name, std::string& died, ORVX_DataSource* parent = nullptr)
      : DataFreeDataSource(parent), name_(std::move(name)), died_(died) {}
  ~NamedSource() override { died_ += name_ + " "; }

 private:
  const std::string name_;
  std::string& died_;
};

TEST(CloneDataSource, DeletesTheSourceBeforeItsParents) {
  std::string died;
  auto* const root = new NamedSource("root", died);
  auto* const middle = new NamedSource("middle", died, root);
  { const SvrDMCloneDataSource clone(new NamedSource("head", died, middle)); }

  EXPECT_EQ(died, "head middle root ");
}

TEST(CloneDataSource, OwnsTheAdoptedSource) {
  int deaths = 0;
  auto clone = SvrDMCloneDataSource::Adopt(std::make_unique<CountedSource>(deaths));

  EXPECT_NE(clone->Source(), nullptr);
  EXPECT_EQ(deaths, 0);
  clone.reset();
  EXPECT_EQ(deaths, 1);
}

TEST(CloneDataSource, ACloneOfACloneKeepsTheInnerChainAlive) {
  int deaths = 0;
  auto inner = std::make_unique<SvrDMCloneDataSource>(new CountedRows(deaths, 2));
  auto copyOfInner = std::make_unique<SvrDMCloneDataSource>(*inner);
  auto outer = std::make_unique<SvrDMCloneDataSource>(inner.release());

  copyOfInner.reset();
  EXPECT_THAT(RowsOf(*outer), SizeIs(2));
  EXPECT_EQ(deaths, 0);
  outer.reset();
  EXPECT_EQ(deaths, 1);
}

// ---------------------------------------------------------------------------------------------
// The dictionary

TEST(CloneDataSource, HasItsOwnCopyOfTheDictionary) {
  auto source = Dictionary("A B C");
  source->SetLabel("Study");
  source->SetWeightVar(1);
  const ORVX_DataSource& original = *source;
  SvrDMCloneDataSource clone(source.release());

  EXPECT_EQ(Names(clone), "A B C");
  EXPECT_STREQ(clone.GetLabel(), "Study");
  EXPECT_EQ(clone.GetWeightVarIndex(), 1);
  clone.DeleteVariables(0, 1);
  clone.SetLabel("Part");
  EXPECT_EQ(Names(original), "A B C");
  EXPECT_STREQ(original.GetLabel(), "Study");
  EXPECT_EQ(original.GetWeightVarIndex(), 1);
}

TEST(CloneDataSource, ACopyHasTheCurrentDictionaryOfTheClone) {
  SvrDMCloneDataSource clone(Dictionary("A B C").release());
  clone.DeleteVariables(0, 0);
  SvrDMCloneDataSource copy(clone);
  copy.InsertVariable(0, Var("D"));

  EXPECT_EQ(Names(copy), "D B C");
  EXPECT_EQ(Names(clone), "B C");
  EXPECT_EQ(Names(*clone.Source()), "A B C");
  EXPECT_EQ(copy.Source(), clone.Source());
}

TEST(CloneDataSource, IsCleanEvenIfItsSourceIsDirty) {
  auto source = Dictionary("A");
  source->SetDirty(true);
  const SvrDMCloneDataSource clone(source.release());

  EXPECT_FALSE(clone.IsDirty());
}

// ---------------------------------------------------------------------------------------------
// Parents

TEST(CloneDataSource, HasNoParentByDefault) {
  int deaths = 0;
  auto* const root = new CountedSource(deaths);
  auto* const middle = new CountedSource(deaths, root);
  const SvrDMCloneDataSource clone(new CountedSource(deaths, middle));

  EXPECT_EQ(clone.GetParentSource(), nullptr);
  EXPECT_EQ(clone.NParents(), 2);
}

TEST(CloneDataSource, ACloneOfNothingHasNoParentsAndNoRows) {
  const SvrDMCloneDataSource clone(nullptr);
  const SvrDMCloneDataSource copy(clone);
  OBS cell;
  const std::unique_ptr<ObsIterator> rows(copy.MakeIterator(&cell));

  EXPECT_EQ(clone.NParents(), 0);
  EXPECT_EQ(copy.NParents(), 0);
  EXPECT_EQ(copy.Source(), nullptr);
  EXPECT_EQ(copy.ColumnCount(), 0);
  EXPECT_FALSE(rows->Next());
}

TEST(CloneDataSource, ACloneOfNothingHasRowsOfNoCells) {
  const SvrDMCloneDataSource clone(nullptr);
  const SvrDMCloneDataSource outer(new SvrDMCloneDataSource(clone));

  EXPECT_EQ(clone.RowCount(), 0);
  EXPECT_EQ(clone.GetObsAreaSize(), 0);
  EXPECT_EQ(outer.RowCount(), 0);
  EXPECT_EQ(outer.GetObsAreaSize(), 0);
}

// Returns the messages of the first write to a dataset with this source.
std::vector<support::Said> MessagesOfTheFirstWrite(std::unique_ptr<ORVX_DataSource> source) {
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(*source.release(), "", /*quiet=*/true);
  support::RecordingObserver observer;
  SvrDMDataset(registry, id).Register(observer);
  support::Write(registry, id,
                 [](SvrDMWriteableDataSource& writer) { writer->MakeVariable(Var("A"), nullptr); });
  SvrDMDataset(registry, id).Unregister(observer);
  return observer.passes.at(0);
}

TEST(CloneDataSource, ACloneOfNothingIsComparedAsAnEmptySource) {
  const std::vector<support::Said> messages =
      MessagesOfTheFirstWrite(std::make_unique<DataFreeDataSource>());

  EXPECT_FALSE(messages.empty());
  EXPECT_EQ(MessagesOfTheFirstWrite(SvrDMCloneDataSource::Adopt(nullptr)), messages);
}

TEST(CloneDataSource, AdoptingNullMakesACloneOfNothing) {
  EXPECT_EQ(SvrDMCloneDataSource::Adopt(nullptr)->Source(), nullptr);
}

TEST(CloneDataSource, ParentOfWorksForAnySource) {
  SvrDMCloneDataSource clone(Dictionary("A").release());
  const DataFreeDataSource above(&clone);

  EXPECT_EQ(SvrDMCloneDataSource::ParentOf(above), &clone);
  EXPECT_EQ(SvrDMCloneDataSource::ParentOf(clone), nullptr);
  clone.ShowParents(true);
  EXPECT_EQ(SvrDMCloneDataSource::ParentOf(clone), clone.Source());
  clone.ShowParents(false);
}

TEST(CloneDataSource, ShowParentsSetsTheParentAndReturnsTheOldState) {
  SvrDMCloneDataSource clone(Dictionary("A").release());

  EXPECT_FALSE(clone.ShowParents(true));
  EXPECT_EQ(clone.GetParentSource(), clone.Source());
  EXPECT_TRUE(clone.ShowParents(true));
  EXPECT_TRUE(clone.ShowParents(false));
  EXPECT_EQ(clone.GetParentSource(), nullptr);
  EXPECT_FALSE(clone.ShowParents(false));
}

TEST(CloneDataSource, ACloneOfNothingHasNoParentToShow) {
  SvrDMCloneDataSource clone(nullptr);

  EXPECT_FALSE(clone.ShowParents(true));
  EXPECT_FALSE(clone.ShowParents(true));
  EXPECT_EQ(clone.GetParentSource(), nullptr);
}

TEST(CloneDataSource, HasAsManyParentsAsItsSourceRegardlessOfShowParents) {
  int deaths = 0;
  SvrDMCloneDataSource clone(new CountedSource(deaths, new CountedSource(deaths)));

  clone.ShowParents(true);
  EXPECT_EQ(clone.NParents(), 1);
  clone.ShowParents(false);
  EXPECT_EQ(clone.NParents(), 1);
}

TEST(CloneDataSource, ACopyShowsNoParentEvenIfTheOriginalDoes) {
  SvrDMCloneDataSource clone(Dictionary("A").release());
  clone.ShowParents(true);
  const SvrDMCloneDataSource copy(clone);

  EXPECT_EQ(copy.GetParentSource(), nullptr);
  EXPECT_NE(clone.GetParentSource(), nullptr);
  clone.ShowParents(false);
}

TEST(CloneDataSource, HidesItsParentAfterMakingAnIterator) {
  int deaths = 0;
  SvrDMCloneDataSource clone(new CountedRows(deaths, 1));
  clone.ShowParents(true);
  OBS row[2];

  const std::unique_ptr<ObsIterator> rows(clone.MakeIterator(row));

  EXPECT_FALSE(clone.ShowParents(false));
  EXPECT_TRUE(rows->Next());
}

// A source that cannot make iterators: MakeIterator stores the parent of `clone` in `shown`, then
// throws.
class RefusingSource : public DataFreeDataSource {
 public:
  explicit RefusingSource(const ORVX_DataSource*& shown) : shown_(shown) {}
  ObsIterator* MakeIterator(OBS*) const override {
    if (clone != nullptr) shown_ = clone->GetParentSource();
    throw std::runtime_error("no rows today");
  }
  const ORVX_DataSource* clone = nullptr;

 private:
  const ORVX_DataSource*& shown_;
};

TEST(CloneDataSource, HidesItsParentIfTheSourceFailsToMakeAnIterator) {
  const ORVX_DataSource* shown = nullptr;
  auto* const source = new RefusingSource(shown);
  SvrDMCloneDataSource clone(source);
  source->clone = &clone;
  clone.ShowParents(true);
  OBS cell;

  EXPECT_THROW(static_cast<void>(clone.MakeIterator(&cell)), std::runtime_error);

  EXPECT_EQ(shown, source);
  EXPECT_EQ(clone.GetParentSource(), nullptr);
}

TEST(CloneDataSource, AllowsIteratorsOnOtherThreadsAfterAFailure) {
  const ORVX_DataSource* shown = nullptr;
  const SvrDMCloneDataSource refused(new RefusingSource(shown));
  int deaths = 0;
  const SvrDMCloneDataSource other(new CountedRows(deaths, 3));
  OBS cell;
  EXPECT_THROW(static_cast<void>(refused.MakeIterator(&cell)), std::runtime_error);

  std::vector<std::string> rows;
  std::thread([&] { rows = RowsOf(other); }).join();

  EXPECT_THAT(rows, SizeIs(3));
}

// ---------------------------------------------------------------------------------------------
// Cases

TEST(CloneDataSource, HasTheRowCountAndAreaSizeOfItsSource) {
  int deaths = 0;
  SvrDMCloneDataSource clone(new CountedRows(deaths, 5));
  clone.MakeVariable(Var("A", 80), nullptr);

  EXPECT_EQ(clone.GetObsAreaSize(), 2);
  EXPECT_EQ(clone.RowCount(), 5);
}

TEST(CloneDataSource, ReturnsItsSourcesRowsInTheSourcesLayout) {
  int deaths = 0;
  const SvrDMCloneDataSource clone(new CountedRows(deaths, 2));
  OBS row[2];
  const std::unique_ptr<ObsIterator> rows(clone.MakeIterator(row));

  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(row[1].number, 1);
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(row[0].number, 2);
  EXPECT_FALSE(rows->Next());
}

TEST(CloneDataSource, ReadsFilesFilteredSourcesAndClonesOfThem) {
  const auto file = SystemFileDataSource::Open(SURVEY);
  const std::vector<std::string> all = RowsOf(*file);
  const std::vector<std::string> voters = support::RowsWhere(*file, "vote");
  ASSERT_THAT(all, SizeIs(944));
  ASSERT_THAT(voters, SizeIs(393));

  const SvrDMCloneDataSource cloneOfFile(SystemFileDataSource::Open(SURVEY).release());
  EXPECT_EQ(RowsOf(cloneOfFile), all);
  EXPECT_EQ(cloneOfFile.RowCount(), 944);

  ORVX_DataSource* const below = SystemFileDataSource::Open(SURVEY).release();
  auto filtered = std::make_unique<FilteredDataSource>(below, support::IdOf(*below, "vote"));
  EXPECT_EQ(RowsOf(*filtered), voters);
  const SvrDMCloneDataSource cloneOfFiltered(filtered.release());
  EXPECT_EQ(RowsOf(cloneOfFiltered), voters);
  EXPECT_EQ(cloneOfFiltered.RowCount(), -1);
  EXPECT_EQ(cloneOfFiltered.NParents(), 1);

  const SvrDMCloneDataSource cloneOfClone(new SvrDMCloneDataSource(cloneOfFiltered));
  EXPECT_EQ(RowsOf(cloneOfClone), voters);
}

TEST(CloneDataSource, AFilteredSourceOnACloneReadsTheClonesCases) {
  const auto file = SystemFileDataSource::Open(SURVEY);
  SvrDMCloneDataSource clone(SystemFileDataSource::Open(SURVEY).release());
  const FilteredDataSource filtered(&clone, support::IdOf(clone, "vote"));

  EXPECT_EQ(RowsOf(filtered), support::RowsWhere(*file, "vote"));
}

// A clone of a saved file with three variables: a number, a string, and a number that selects
// cases. The tests edit the dictionary of the clone; the rows keep the layout of the file.
class FilterOnAnEditedClone : public testing::Test {
 protected:
  FilterOnAnEditedClone() {
    std::ofstream(folder_.Path("cases.csv")) << "n,text,use\n1,77,1\n2,x,0\n3,88,2\n";
    clone = SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open(folder_.Path("cases.csv")));
  }

  std::vector<std::string> AllRows() const { return RowsOf(FilteredDataSource(clone.get())); }
  std::vector<std::string> RowsSelectedBy(const std::string& name) const {
    return RowsOf(FilteredDataSource(clone.get(), support::IdOf(*clone, name)));
  }
  void Move(int from, int to) {
    const ORVX_Variable variable = clone->GetVariable(from);
    clone->DeleteVariables(from, from);
    clone->InsertVariable(to, variable);
  }

  std::unique_ptr<SvrDMCloneDataSource> clone;

 private:
  const TemporaryFolder folder_;
};

TEST_F(FilterOnAnEditedClone, ReadsAMovedVariable) {
  Move(2, 0);

  EXPECT_THAT(AllRows(), ElementsAre("1 1 [77      ] ", "0 2 [x       ] ", "2 3 [88      ] "));
  EXPECT_THAT(RowsSelectedBy("use"), ElementsAre("1 1 [77      ] ", "2 3 [88      ] "));
}

TEST_F(FilterOnAnEditedClone, ReadsAReplacedVariableAsMissing) {
  clone->GetVariable(0) = Var("another");

  EXPECT_THAT(AllRows(), ElementsAre(". [77      ] 1 ", ". [x       ] 0 ", ". [88      ] 2 "));
  EXPECT_THAT(RowsSelectedBy("use"), ElementsAre(". [77      ] 1 ", ". [88      ] 2 "));
  EXPECT_THAT(RowsSelectedBy("another"), SizeIs(0));
}

TEST_F(FilterOnAnEditedClone, ReadsARetypedVariable) {
  clone->GetVariable(0).SetType(9);
  clone->GetVariable(1).SetType(0);

  EXPECT_THAT(AllRows(), ElementsAre("[1               ] 77 1 ", "[2               ] . 0 ",
                                     "[3               ] 88 2 "));
  EXPECT_THAT(RowsSelectedBy("use"),
              ElementsAre("[1               ] 77 1 ", "[3               ] 88 2 "));
  EXPECT_EQ(RowsSelectedBy("text"), RowsSelectedBy("use"));
}

TEST_F(FilterOnAnEditedClone, ReadsTheOtherVariablesAfterADeletion) {
  clone->DeleteVariables(0, 0);

  EXPECT_THAT(AllRows(), ElementsAre("[77      ] 1 ", "[x       ] 0 ", "[88      ] 2 "));
  EXPECT_THAT(RowsSelectedBy("use"), ElementsAre("[77      ] 1 ", "[88      ] 2 "));
}

TEST_F(FilterOnAnEditedClone, ReadsAVariableDeletedAfterTheFilterWasMadeAsMissing) {
  const FilteredDataSource all(clone.get());
  const FilteredDataSource selected(clone.get(), support::IdOf(*clone, "use"));
  clone->DeleteVariables(0, 0);

  EXPECT_THAT(RowsOf(all), ElementsAre(". [77      ] 1 ", ". [x       ] 0 ", ". [88      ] 2 "));
  EXPECT_THAT(RowsOf(selected), ElementsAre(". [77      ] 1 ", ". [88      ] 2 "));
}

TEST_F(FilterOnAnEditedClone, LeavesOutCasesWithAFilterValueThatTheCloneDeclaresMissing) {
  MissingValues missing;
  missing.values = {DataValue(2.0)};
  clone->GetVariable(2).SetMissingValues(missing);
  Move(2, 0);

  EXPECT_THAT(RowsSelectedBy("use"), ElementsAre("1 1 [77      ] "));
}

TEST_F(FilterOnAnEditedClone, AlsoReadsThroughACloneOfTheClone) {
  Move(2, 0);
  clone = SvrDMCloneDataSource::Adopt(std::move(clone));
  clone->GetVariable(0).SetType(2);

  EXPECT_THAT(AllRows(), ElementsAre("[1       ] 1 [77      ] ", "[0       ] 2 [x       ] ",
                                     "[2       ] 3 [88      ] "));
  EXPECT_THAT(RowsSelectedBy("n"), SizeIs(3));
}

TEST(CloneDataSource, ACloneOfNothingHasNoRowsForAFilter) {
  SvrDMCloneDataSource clone(nullptr);
  clone.MakeVariable(Var("A"), nullptr);

  EXPECT_THAT(RowsOf(FilteredDataSource(&clone)), SizeIs(0));
  EXPECT_THAT(RowsOf(FilteredDataSource(&clone, support::Id("A"))), SizeIs(0));
}

TEST(CloneDataSource, KeepsTheLayoutOfItsSourceAfterEdits) {
  const auto file = SystemFileDataSource::Open(SURVEY);
  SvrDMCloneDataSource clone(SystemFileDataSource::Open(SURVEY).release());
  clone.DeleteVariables(0, 8);

  EXPECT_EQ(clone.GetObsAreaSize(), 10);
  EXPECT_EQ(support::RowsLaidOutBy(*clone.RowLayout(), clone), RowsOf(*file));
}

TEST(CloneDataSource, ACloneOfAnEditedCloneKeepsTheLayoutOfTheInnermostSource) {
  const auto file = SystemFileDataSource::Open(SURVEY);
  auto inner = SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open(SURVEY));
  inner->DeleteVariables(2, 9);
  const SvrDMCloneDataSource outer(inner.release());

  EXPECT_EQ(outer.ColumnCount(), 2);
  EXPECT_EQ(outer.GetObsAreaSize(), 10);
  EXPECT_EQ(outer.RowLayout()->ColumnCount(), 10);
  EXPECT_EQ(support::RowsLaidOutBy(*outer.RowLayout(), outer), RowsOf(*file));
}

TEST(CloneDataSource, ACloneOfNothingHasNoLayout) {
  EXPECT_EQ(SvrDMCloneDataSource(nullptr).RowLayout(), nullptr);
  EXPECT_EQ(SvrDMCloneDataSource(new SvrDMCloneDataSource(nullptr)).RowLayout(), nullptr);
}

class NotLoaded : public DataFreeDataSource {
 public:
  bool IsLoaded() const override { return false; }
};

TEST(CloneDataSource, IsLoadedEvenIfItsSourceIsNot) {
  EXPECT_TRUE(SvrDMCloneDataSource(new NotLoaded).IsLoaded());
}

TEST(CloneDataSource, AnIteratorOverAFileMayOutliveAllClones) {
  auto clone = SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open(SURVEY));
  std::vector<OBS> row(10);
  const std::unique_ptr<ObsIterator> rows(clone->MakeIterator(row.data()));
  clone.reset();

  int count = 0;
  while (rows->Next()) ++count;

  EXPECT_EQ(count, 944);
}

// ---------------------------------------------------------------------------------------------
// As the data source of a dataset

TEST(CloneDataSource, MayBeTheSourceOfADataset) {
  ServerDataManager registry;
  int deaths = 0;
  SvrDMCloneDataSource mine(new CountedRows(deaths, 4));
  const LocallyUniqueID id = registry.Add(*new SvrDMCloneDataSource(mine), "", /*quiet=*/true);

  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer->MakeVariable(Var("A"), nullptr);
    EXPECT_EQ(writer->RowCount(), 4);
  });
  registry.Delete(id);

  EXPECT_EQ(deaths, 0);
  EXPECT_EQ(mine.ColumnCount(), 0);
  EXPECT_THAT(RowsOf(mine), SizeIs(4));
}

TEST(CloneDataSource, MayOwnASourceThatADatasetReleased) {
  ServerDataManager registry;
  int deaths = 0;
  const LocallyUniqueID id = registry.Add(*new CountedRows(deaths, 4), "", /*quiet=*/true);
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    ORVX_DataSource* const present = writer.GetDataSource();
    auto* const placeholder = new DataFreeDataSource(present);
    writer.SetDataSet(placeholder);  // does not delete `present`, the parent of `placeholder`
    placeholder->SetParentSource(nullptr);
    writer.SetDataSet(new SvrDMCloneDataSource(present));
  });

  EXPECT_EQ(deaths, 0);
  registry.Delete(id);
  EXPECT_EQ(deaths, 1);
}

TEST(CloneSource, ReplacesTheSourceByACloneThatSharesItsCases) {
  ServerDataManager registry;
  int deaths = 0;
  const LocallyUniqueID id = registry.Add(*new CountedRows(deaths, 4), "", /*quiet=*/true);
  std::unique_ptr<SvrDMCloneDataSource> clone;
  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer->MakeVariable(Var("A"), nullptr);
    writer->MakeVariable(Var("B"), nullptr);
    writer->SetDirty(true);
    clone = CloneSource(writer);
    EXPECT_MESSAGES(writer.GetNotifications(), support::ResetUndo(), support::ResetUndo());
    EXPECT_NE(dynamic_cast<SvrDMCloneDataSource*>(writer.GetDataSource()), nullptr);
    EXPECT_EQ(Names(*writer.GetDataSource()), "A B");
    EXPECT_TRUE(writer->IsDirty());
  });
  EXPECT_EQ(Names(*clone), "A B");
  EXPECT_TRUE(clone->IsDirty());
  registry.Delete(id);

  EXPECT_THAT(RowsOf(*clone), SizeIs(4));
  EXPECT_EQ(deaths, 0);
  clone.reset();
  EXPECT_EQ(deaths, 1);
}

TEST(CloneSource, CopiesACloneAndLeavesItInPlace) {
  ServerDataManager registry;
  auto source = SvrDMCloneDataSource::Adopt(Dictionary("A"));
  const LocallyUniqueID id = registry.Add(*source.release(), "", /*quiet=*/true);
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    const ORVX_DataSource* const present = writer.GetDataSource();
    writer->MakeVariable(Var("B"), nullptr);
    writer->SetDirty(true);
    const auto clone = CloneSource(writer);
    EXPECT_EQ(writer.GetDataSource(), present);
    EXPECT_MESSAGES(writer.GetNotifications());
    EXPECT_EQ(Names(*clone), "A B");
    EXPECT_TRUE(clone->IsDirty());
  });
}

// ---------------------------------------------------------------------------------------------
// Clones that show their parent, within the chain of a dataset or of another clone

// Makes clones that show their parent. Shown() clones a chain of two sources that count their
// deletions in `deaths`.
class CloneThatShowsItsParent : public testing::Test {
 protected:
  static std::unique_ptr<SvrDMCloneDataSource> Shown(std::unique_ptr<ORVX_DataSource> source) {
    auto clone = SvrDMCloneDataSource::Adopt(std::move(source));
    clone->ShowParents(true);
    return clone;
  }
  std::unique_ptr<SvrDMCloneDataSource> Shown() {
    return Shown(std::make_unique<CountedSource>(deaths, new CountedSource(deaths)));
  }

  ServerDataManager registry;
  int deaths = 0;
};

TEST_F(CloneThatShowsItsParent, MayHideItAgainBeforeItsDatasetIsDestroyed) {
  SvrDMCloneDataSource* const clone = Shown().release();
  const LocallyUniqueID id = registry.Add(*clone, "", /*quiet=*/true);
  clone->ShowParents(false);

  EXPECT_EQ(deaths, 0);
  registry.Delete(id);
  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, IsDeletedWithItsDatasetAndDeletesTheChainOnce) {
  const LocallyUniqueID id = registry.Add(*Shown().release(), "", /*quiet=*/true);

  EXPECT_EQ(deaths, 0);
  registry.Delete(id);
  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, LeavesTheChainToItsCopies) {
  auto clone = Shown();
  auto copy = std::make_unique<SvrDMCloneDataSource>(*clone);
  const LocallyUniqueID id = registry.Add(*clone.release(), "", /*quiet=*/true);

  registry.Delete(id);
  EXPECT_EQ(deaths, 0);
  copy.reset();
  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, MayBeTheParentOfAFilter) {
  SvrDMCloneDataSource* const clone = Shown().release();
  const LocallyUniqueID id = registry.Add(*clone, "", /*quiet=*/true);

  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(new FilteredDataSource(clone));
  });
  EXPECT_EQ(deaths, 0);

  registry.Delete(id);
  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, ReplacesAFilterOnIt) {
  SvrDMCloneDataSource* const clone = Shown().release();
  const LocallyUniqueID id = registry.Add(*new CountedSource(deaths, clone), "", /*quiet=*/true);

  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) { writer.SetDataSet(clone); });
  EXPECT_EQ(deaths, 1);  // the source that reads from the clone

  registry.Delete(id);
  EXPECT_EQ(deaths, 3);
}

TEST_F(CloneThatShowsItsParent, DeletesTheChainOnceWhenItIsReplaced) {
  const LocallyUniqueID id = registry.Add(*Shown().release(), "", /*quiet=*/true);

  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    writer.SetDataSet(new DataFreeDataSource);
  });

  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, OwnsTheSourceThatItReplaces) {
  auto* const source = new CountedSource(deaths);
  const LocallyUniqueID id = registry.Add(*source, "", /*quiet=*/true);
  auto* const clone = new SvrDMCloneDataSource(source);

  support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
    clone->ShowParents(true);  // so that SetDataSet does not delete the current source
    writer.SetDataSet(clone);
    clone->ShowParents(false);
  });
  EXPECT_EQ(deaths, 0);

  registry.Delete(id);
  EXPECT_EQ(deaths, 1);
}

TEST_F(CloneThatShowsItsParent, AsTheSourceOfAnotherCloneIsDeletedOnce) {
  auto outer = Shown(Shown());
  auto copy = std::make_unique<SvrDMCloneDataSource>(*outer);

  outer.reset();
  EXPECT_EQ(deaths, 0);
  copy.reset();
  EXPECT_EQ(deaths, 2);
}

TEST_F(CloneThatShowsItsParent, AsTheSourceOfTheCloneOfADatasetIsDeletedOnce) {
  const LocallyUniqueID id = registry.Add(*Shown(Shown()).release(), "", /*quiet=*/true);

  registry.Delete(id);

  EXPECT_EQ(deaths, 2);
}

}  // namespace
