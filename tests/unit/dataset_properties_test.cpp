// The comparison of a dataset's properties with the snapshot.
//
// Linked with the library's object files, because the snapshot is internal.

#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ObserverView.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/Messages.h>
#include <tests/unit/saved_files.h>

#include <gmock/gmock.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using support::Attributes;
using support::Deleted;
using support::Dirty;
using support::Extension;
using support::FileSpec;
using support::Filter;
using support::Id;
using support::Imputation;
using support::Inserted;
using support::Label;
using support::Labelled;
using support::Modified;
using support::Moved;
using support::NoFilter;
using support::NoWeight;
using support::Replace;
using support::RowCount;
using support::Split;
using support::Trends;
using support::Typed;
using support::Var;
using support::Vars;
using support::Weight;
using testing::ElementsAre;
using testing::IsEmpty;

// A dictionary with a given row count.
class CountingSource : public DataFreeDataSource {
 public:
  explicit CountingSource(ORVX_DataSource* parent = nullptr) : DataFreeDataSource(parent) {}
  long long RowCount() const override { return rows; }

  long long rows = 0;
};

// A dictionary whose row count increases with every call.
class GrowingSource : public DataFreeDataSource {
 public:
  long long RowCount() const override { return ++rows_; }

 private:
  mutable long long rows_ = 0;
};

// A dictionary that reports a given split.
class SplitSource : public DataFreeDataSource {
 public:
  unsigned int GetNSplitVars() const override { return static_cast<unsigned int>(split.size()); }
  int GetSplitVarIndex(unsigned int i) const override { return FindVarIndex(GetSplitVarID(i)); }
  LocallyUniqueID GetSplitVarID(unsigned int i) const override {
    if (i >= split.size()) ADD_FAILURE() << "asked for split variable " << i;
    return i < split.size() ? split[i] : LocallyUniqueID();
  }
  bool GetSplitqSeparate() const override { return separate; }

  void SplitBy(const std::string& names) {
    split.clear();
    for (const ORVX_Variable& variable : Vars(names)) split.push_back(variable.GetID());
  }

  std::vector<LocallyUniqueID> split;
  bool separate = false;
};

ORVX_TrendsInfo Monthly() {
  ORVX_TrendsInfo trends;
  trends.timeVariables = {Id("A"), Id("B")};
  trends.seasonalPeriod = 12;
  return trends;
}

VariableSetImpl Set(const std::string& name, const std::string& members) {
  VariableSetImpl set;
  set.name = name;
  for (const ORVX_Variable& member : Vars(members)) set.members.push_back(member.GetID());
  return set;
}

void SplitBy(ORVX_DataSource& source, const std::string& names, bool separate = false) {
  std::vector<int> positions;
  for (const ORVX_Variable& variable : Vars(names)) {
    positions.push_back(source.FindVarIndex(variable.GetID()));
  }
  source.SetSplit(static_cast<unsigned int>(positions.size()), positions.data(), separate);
}

void WeightBy(ORVX_DataSource& source, const std::string& name) {
  source.SetWeightVar(source.FindVarIndex(Id(name)));
}

void FilterBy(ORVX_DataSource& source, const std::string& name) {
  source.SetFilterVar(source.FindVarIndex(Id(name)));
}

// Moves a variable as callers do: deletes it and inserts it elsewhere.
void Move(ORVX_DataSource& source, const std::string& name, int to) {
  const int from = source.FindVarIndex(Id(name));
  const ORVX_Variable moved = source.GetVariable(from);
  source.DeleteVariables(from, from);
  source.InsertVariable(to, moved);
}

std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& source) {
  std::vector<LocallyUniqueID> ids;
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) ids.push_back(source.GetSplitVarID(i));
  return ids;
}

// A dataset with variables A to E and a snapshot that the test updates. Snapshot and source are
// initially equal and clean.
class PropertiesInMessages : public testing::Test {
 protected:
  PropertiesInMessages() {
    Replace(Source(), Vars("A B C D E"));
    Settle();
  }

  ORVX_DataSource& Source() { return *item.DataSource(); }
  ORVX_DataSource& View() { return snapshot.view; }
  const std::vector<DataSetMsg*>& Queue() const { return item.Notifications(); }

  void Update() { sdm_internal::UpdateSnapshot(snapshot); }

  // Makes `source` the data source of the item, and clears the queue.
  template <class Source>
  Source& Use(std::unique_ptr<Source> source) {
    Source& used = *source;
    item.SetDataSet(source.release());
    item.ClearNotifications();
    return used;
  }

  // Makes the view equal to the source, the source clean, and the queue empty.
  void Settle() {
    Update();
    Source().SetDirty(false);
    Update();
    item.ClearNotifications();
  }

  // Applies `change` to the source, then calls Settle.
  void StartWith(const std::function<void(ORVX_DataSource&)>& change) {
    change(Source());
    Settle();
  }

  SvrDMItem item{LocallyUniqueID(0, 12), new CountingSource, nullptr, 34, "", true};
  sdm_internal::Snapshot snapshot{item};
};

TEST_F(PropertiesInMessages, UnchangedAreNotReported) {
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_FALSE(Source().IsDirty());
}

// --- Row count ---

TEST_F(PropertiesInMessages, TheFirstUpdateReportsTheRowCount) {
  SvrDMObserverView fresh(item);
  Use(std::make_unique<CountingSource>()).rows = 44;
  fresh.Update();
  EXPECT_MESSAGES(Queue(), RowCount(44));
}

TEST_F(PropertiesInMessages, TheFirstUpdateReportsUnknownAndZeroRowCounts) {
  for (const long long rows : {-1, 0}) {
    SvrDMObserverView fresh(item);
    Use(std::make_unique<CountingSource>()).rows = rows;
    fresh.Update();
    EXPECT_MESSAGES(Queue(), RowCount(rows));
  }
}

TEST_F(PropertiesInMessages, AChangedRowCountIsReportedOnce) {
  CountingSource& source = static_cast<CountingSource&>(Source());
  source.rows = 44;
  Update();
  EXPECT_MESSAGES(Queue(), RowCount(44));
  EXPECT_EQ(snapshot.rowCount, 44);

  item.ClearNotifications();
  Update();
  EXPECT_MESSAGES(Queue());
}

TEST_F(PropertiesInMessages, RowCountIsReadAgainForEachUse) {
  Use(support::Dictionary("A B C D E"));
  Settle();
  Use(std::make_unique<GrowingSource>()).CopyDictionary(support::Dictionary("A B C D E").get());

  Update();

  EXPECT_EQ(snapshot.rowCount, 2) << "compared with the first answer";
  EXPECT_MESSAGES(Queue(), RowCount(3));
}

TEST_F(PropertiesInMessages, AChangedTypeReportsAnUnchangedRowCount) {
  static_cast<CountingSource&>(Source()).rows = 44;
  Settle();
  Source().GetVariable(1).SetType(8);
  Update();
  EXPECT_MESSAGES(Queue(), Modified("B"), RowCount(44), Dirty(true));
}

TEST_F(PropertiesInMessages, AChangedTypeAndAChangedRowCountAreOneReset) {
  Source().GetVariable(1).SetType(8);
  static_cast<CountingSource&>(Source()).rows = 45;
  Update();
  EXPECT_MESSAGES(Queue(), Modified("B"), RowCount(45), Dirty(true));
}

TEST_F(PropertiesInMessages, AReportedResetIsNoLongerPending) {
  Source().GetVariable(1).SetType(8);
  Update();
  EXPECT_FALSE(snapshot.resetClientData);
}

// --- Rows per imputation ---

TEST_F(PropertiesInMessages, TheEndOfAnImputationIsReportedWithoutDatasetAndCaseSequence) {
  StartWith([](ORVX_DataSource& source) { source.RowsPerImputation(5); });
  Source().RowsPerImputation(0);
  Update();
  EXPECT_MESSAGES(Queue(), Imputation(0));
  EXPECT_TRUE(Queue()[0]->GetDataSetID().IsNull());
  EXPECT_EQ(Queue()[0]->GetCaseSequence(), 0U);
  EXPECT_EQ(View().RowsPerImputation(), 0);
}

TEST_F(PropertiesInMessages, TheStartOfAnImputationIsRecordedButNotReported) {
  Source().RowsPerImputation(5);
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(View().RowsPerImputation(), 5);
}

TEST_F(PropertiesInMessages, AChangedNumberOfRowsPerImputationIsRecordedButNotReported) {
  StartWith([](ORVX_DataSource& source) { source.RowsPerImputation(5); });
  Source().RowsPerImputation(3);
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(View().RowsPerImputation(), 3);
}

// --- File specification ---

class FileSpecification : public PropertiesInMessages {
 protected:
  // Makes the source a saved file without pending changes.
  void UseSavedFile() {
    Use(SystemFileDataSource::Open(folder.Write("first.csv")));
    Settle();
  }

  TemporaryFolder folder;
};

TEST_F(FileSpecification, OfASavedFileIsReportedAndBecomesTheFileName) {
  UseSavedFile();
  Source().SetFileSpec("/second.csv");
  Update();
  EXPECT_MESSAGES(Queue(), FileSpec("/second.csv"));
  EXPECT_EQ(item.FileName(), "/second.csv");
  EXPECT_STREQ(View().GetFileSpec(), "/second.csv");
}

TEST_F(FileSpecification, OfASourceOverASavedFileIsReported) {
  UseSavedFile();
  Use(std::make_unique<DataFreeDataSource>(&Source())).SetFileSpec("/second.csv");
  Settle();
  Use(std::make_unique<DataFreeDataSource>(&Source())).SetFileSpec("/third.csv");
  Update();
  EXPECT_MESSAGES(Queue(), FileSpec("/third.csv"));
  EXPECT_EQ(item.FileName(), "/third.csv");
}

TEST_F(FileSpecification, OfAnotherSourceIsRecordedButNotReported) {
  Source().SetFileSpec("/second.csv");
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(item.FileName(), "");
  EXPECT_STREQ(View().GetFileSpec(), "/second.csv");
}

// Only the last source of a chain, which has no parent, can count as a saved file.
TEST_F(FileSpecification, OfASavedFileWithAParentIsNotReported) {
  std::unique_ptr<SystemFileDataSource> file = SystemFileDataSource::Open(folder.Write("a.csv"));
  file->SetParentSource(&Source());
  Use(std::move(file));
  Settle();
  Source().SetFileSpec("/second.csv");
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_STREQ(View().GetFileSpec(), "/second.csv");
}

TEST_F(FileSpecification, SuppressedIsReportedAfterTheSuppressionEnds) {
  UseSavedFile();
  const std::string before = View().GetFileSpec();
  const std::string nameBefore = item.FileName();
  item.SuppressedFileName("/second.csv");
  Source().SetFileSpec("/second.csv");

  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(View().GetFileSpec(), before);
  EXPECT_EQ(item.FileName(), nameBefore);

  item.SuppressedFileName("");
  Update();
  EXPECT_MESSAGES(Queue(), FileSpec("/second.csv"));
  EXPECT_EQ(item.FileName(), "/second.csv");
}

TEST_F(FileSpecification, SuppressedIsNotRecordedEvenWithoutASavedFile) {
  item.SuppressedFileName("/second.csv");
  Source().SetFileSpec("/second.csv");
  Update();
  EXPECT_STREQ(View().GetFileSpec(), "");
}

TEST_F(FileSpecification, DifferentFromTheSuppressedNameIsReported) {
  UseSavedFile();
  item.SuppressedFileName("/second.csv");
  Source().SetFileSpec("/third.csv");
  Update();
  EXPECT_MESSAGES(Queue(), FileSpec("/third.csv"));
}

// A file specification equal to the suppressed file name is not reported. If no name is suppressed,
// SuppressedFileName() is empty, so an empty file specification is not reported.
TEST_F(FileSpecification, EmptyIsNotReportedWithoutASuppressedName) {
  UseSavedFile();
  const std::string before = View().GetFileSpec();
  ASSERT_NE(before, "");
  Source().SetFileSpec("");

  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(View().GetFileSpec(), before);

  item.SuppressedFileName("/other.csv");
  Update();
  EXPECT_MESSAGES(Queue(), FileSpec(""));
  EXPECT_STREQ(View().GetFileSpec(), "");
  EXPECT_EQ(item.FileName(), "");
}

TEST_F(FileSpecification, UnchangedIsNotReported) {
  UseSavedFile();
  item.FileName("/named.csv");
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(item.FileName(), "/named.csv");
}

// --- Label ---

TEST_F(PropertiesInMessages, ALabelIsReported) {
  Source().SetLabel("Survey");
  Update();
  EXPECT_MESSAGES(Queue(), Label("Survey"));
  EXPECT_STREQ(View().GetLabel(), "Survey");
}

TEST_F(PropertiesInMessages, ARemovedLabelIsReportedAsEmpty) {
  StartWith([](ORVX_DataSource& source) { source.SetLabel("Survey"); });
  Source().SetLabel(nullptr);
  Update();
  EXPECT_MESSAGES(Queue(), Label(""));
  EXPECT_EQ(View().GetLabel(), nullptr);
}

TEST_F(PropertiesInMessages, AnEmptyLabelEqualsNoLabel) {
  Source().SetLabel("");
  Update();
  EXPECT_MESSAGES(Queue());

  StartWith([](ORVX_DataSource& source) { source.SetLabel("Survey"); });
  Source().SetLabel("");
  Update();
  EXPECT_MESSAGES(Queue(), Label(""));
  EXPECT_EQ(View().GetLabel(), nullptr);
}

// --- Weight ---

TEST_F(PropertiesInMessages, SettingChangingAndRemovingAWeightIsReported) {
  WeightBy(Source(), "B");
  Update();
  EXPECT_MESSAGES(Queue(), Weight("B"));
  EXPECT_EQ(View().GetWeightVarIndex(), 1);

  item.ClearNotifications();
  WeightBy(Source(), "D");
  Update();
  EXPECT_MESSAGES(Queue(), Weight("D"));
  EXPECT_EQ(View().GetWeightVariableID(), Id("D"));

  item.ClearNotifications();
  Source().SetWeightVar(-1);
  Update();
  EXPECT_MESSAGES(Queue(), NoWeight());
  EXPECT_EQ(View().GetWeightVarIndex(), -1);
}

TEST_F(PropertiesInMessages, ANewWeightVariableIsInsertedFirst) {
  Source().InsertVariable(0, Var("W"));
  WeightBy(Source(), "W");
  Update();
  EXPECT_MESSAGES(Queue(), Inserted("W").Before("A"), Weight("W"));
  EXPECT_EQ(View().GetWeightVarIndex(), 0);
}

TEST_F(PropertiesInMessages, AShiftedWeightVariableIsNotReported) {
  StartWith([](ORVX_DataSource& source) { WeightBy(source, "B"); });
  Source().DeleteVariables(0, 0);
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("A"));
  EXPECT_EQ(View().GetWeightVarIndex(), 0);
}

// The message that deletes the variable also removes the weight, in the view and in clients.
TEST_F(PropertiesInMessages, DeletingTheWeightVariableReportsNoWeightChange) {
  StartWith([](ORVX_DataSource& source) { WeightBy(source, "B"); });
  Source().DeleteVariables(1, 1);
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"));
  EXPECT_TRUE(View().GetWeightVariableID().IsNull());
}

TEST_F(PropertiesInMessages, DeletingTheWeightVariableReportsANewWeight) {
  StartWith([](ORVX_DataSource& source) { WeightBy(source, "B"); });
  Source().DeleteVariables(1, 1);
  WeightBy(Source(), "C");
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"), Weight("C"));
}

// --- Filter and trends ---

TEST_F(PropertiesInMessages, SettingChangingAndRemovingAFilterIsReported) {
  FilterBy(Source(), "B");
  Update();
  EXPECT_MESSAGES(Queue(), Filter("B"));
  EXPECT_EQ(View().GetFilterVarIndex(), 1);

  item.ClearNotifications();
  FilterBy(Source(), "D");
  Update();
  EXPECT_MESSAGES(Queue(), Filter("D"));
  EXPECT_EQ(View().GetFilterVariableID(), Id("D"));

  item.ClearNotifications();
  Source().SetFilterVar(-1);
  Update();
  EXPECT_MESSAGES(Queue(), NoFilter());
  EXPECT_EQ(View().GetFilterVarIndex(), -1);
}

TEST_F(PropertiesInMessages, DeletingTheFilterVariableReportsNoFilterChange) {
  StartWith([](ORVX_DataSource& source) { FilterBy(source, "B"); });
  Source().DeleteVariables(1, 1);
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"));
  EXPECT_TRUE(View().GetFilterVariableID().IsNull());
}

TEST_F(PropertiesInMessages, TrendsInformationIsReportedCompletely) {
  *Source().GetTrendsInfo() = Monthly();
  Update();
  EXPECT_MESSAGES(Queue(), Trends(Monthly()));
  EXPECT_EQ(*View().GetTrendsInfo(), Monthly());

  item.ClearNotifications();
  *Source().GetTrendsInfo() = ORVX_TrendsInfo();
  Update();
  EXPECT_MESSAGES(Queue(), Trends(ORVX_TrendsInfo()));
  EXPECT_EQ(*View().GetTrendsInfo(), ORVX_TrendsInfo());
}

TEST_F(PropertiesInMessages, ANewFilterIsReportedBeforeTrends) {
  FilterBy(Source(), "B");
  *Source().GetTrendsInfo() = Monthly();
  Update();
  EXPECT_MESSAGES(Queue(), Filter("B"), Trends(Monthly()));
}

TEST_F(PropertiesInMessages, AChangedFilterIsReportedBeforeTrends) {
  StartWith([](ORVX_DataSource& source) { FilterBy(source, "A"); });
  FilterBy(Source(), "B");
  *Source().GetTrendsInfo() = Monthly();
  Update();
  EXPECT_MESSAGES(Queue(), Filter("B"), Trends(Monthly()));
}

TEST_F(PropertiesInMessages, ARemovedFilterIsReportedAfterTrends) {
  StartWith([](ORVX_DataSource& source) { FilterBy(source, "B"); });
  Source().SetFilterVar(-1);
  *Source().GetTrendsInfo() = Monthly();
  Update();
  EXPECT_MESSAGES(Queue(), Trends(Monthly()), NoFilter());
}

// --- Split ---

TEST_F(PropertiesInMessages, SettingAndRemovingASplitIsReported) {
  SplitBy(Source(), "B A");
  Update();
  EXPECT_MESSAGES(Queue(), Split("B A"));
  EXPECT_THAT(SplitOf(View()), ElementsAre(Id("B"), Id("A")));
  EXPECT_FALSE(View().GetSplitqSeparate());

  item.ClearNotifications();
  SplitBy(Source(), "");
  Update();
  EXPECT_MESSAGES(Queue(), Split(""));
  EXPECT_THAT(SplitOf(View()), IsEmpty());
}

TEST_F(PropertiesInMessages, AddingOrRemovingASplitVariableIsReported) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "A"); });
  SplitBy(Source(), "A B");
  Update();
  EXPECT_MESSAGES(Queue(), Split("A B"));

  item.ClearNotifications();
  SplitBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Split("A"));
}

TEST_F(PropertiesInMessages, ReplacingAnySplitVariableIsReported) {
  for (const char* split : {"D B C", "A D C", "A B D", "B A C"}) {
    StartWith([](ORVX_DataSource& source) { SplitBy(source, "A B C"); });
    SplitBy(Source(), split);
    Update();
    EXPECT_MESSAGES(Queue(), Split(split));
  }
}

TEST_F(PropertiesInMessages, ChangingTheSeparateFlagOfASplitIsReported) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "A B"); });
  SplitBy(Source(), "A B", /*separate=*/true);
  Update();
  EXPECT_MESSAGES(Queue(), Split("A B").Separate());
  EXPECT_TRUE(View().GetSplitqSeparate());

  item.ClearNotifications();
  SplitBy(Source(), "A B", /*separate=*/false);
  Update();
  EXPECT_MESSAGES(Queue(), Split("A B"));
}

TEST_F(PropertiesInMessages, AnUnchangedSplitIsNotReported) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "A B", /*separate=*/true); });
  Update();
  EXPECT_MESSAGES(Queue());
}

TEST_F(PropertiesInMessages, ASplitByEightVariablesIsReported) {
  StartWith([](ORVX_DataSource& source) { Replace(source, Vars("A B C D E F G H")); });
  SplitBy(Source(), "H G F E D C B A");
  Update();
  EXPECT_MESSAGES(Queue(), Split("H G F E D C B A"));
  EXPECT_EQ(View().GetNSplitVars(), 8U);
}

TEST_F(PropertiesInMessages, DeletingASplitVariableReportsTheRemainingSplit) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "A B"); });
  Source().DeleteVariables(1, 1);
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"), Split("A"));
}

TEST_F(PropertiesInMessages, ReplacingADeletedSplitVariableIsReported) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "A B"); });
  Source().DeleteVariables(1, 1);
  SplitBy(Source(), "A C");
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"), Split("A C"));
}

TEST_F(PropertiesInMessages, DeletingTheLastSplitVariableIsReported) {
  StartWith([](ORVX_DataSource& source) { SplitBy(source, "B"); });
  Source().DeleteVariables(1, 1);
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"), Split(""));
}

TEST_F(PropertiesInMessages, SeparateAnalysisIsNotComparedWithoutASplit) {
  Use(std::make_unique<SplitSource>()).CopyDictionary(support::Dictionary("A B C D E").get());
  Settle();
  static_cast<SplitSource&>(Source()).separate = true;
  Update();
  EXPECT_MESSAGES(Queue());
}

// --- Weight, filter and split by a moved or replaced variable are reported again ---

TEST_F(PropertiesInMessages, UsesOfAMovedVariableAreReportedAgain) {
  StartWith([](ORVX_DataSource& source) {
    WeightBy(source, "C");
    FilterBy(source, "C");
    SplitBy(source, "A C");
  });
  Move(Source(), "C", 0);
  WeightBy(Source(), "C");
  FilterBy(Source(), "C");
  SplitBy(Source(), "A C");
  Update();
  EXPECT_MESSAGES(Queue(), Moved(2).To(0), Weight("C"), Filter("C"), Split("A C"));
}

TEST_F(PropertiesInMessages, UsesThatSourceAndViewLostByTheSameMoveAreNotReported) {
  StartWith([](ORVX_DataSource& source) {
    WeightBy(source, "C");
    FilterBy(source, "C");
  });
  Move(Source(), "C", 0);
  Update();
  EXPECT_MESSAGES(Queue(), Moved(2).To(0));
  EXPECT_TRUE(View().GetWeightVariableID().IsNull());
  EXPECT_TRUE(View().GetFilterVariableID().IsNull());
}

// The source moved A behind B. The comparison moves B before A instead, so A stays the weight
// variable of the view.
TEST_F(PropertiesInMessages, AVariableKeepsItsUsesIfOtherVariablesAreMovedPastIt) {
  StartWith([](ORVX_DataSource& source) {
    Replace(source, Vars("A B"));
    WeightBy(source, "A");
  });
  Move(Source(), "A", 1);
  WeightBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Moved(1).To(0));
  EXPECT_EQ(View().GetWeightVariableID(), Id("A"));
}

TEST_F(PropertiesInMessages, ABulkReplacementReportsAllUsesAgain) {
  StartWith([](ORVX_DataSource& source) {
    WeightBy(source, "A");
    FilterBy(source, "B");
    SplitBy(source, "C D", /*separate=*/true);
  });
  snapshot.bulkVarMoves = true;
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("A B C D E"), Inserted("A B C D E").AtEnd(), Weight("A"),
                  Filter("B"), Split("C D").Separate());
}

TEST_F(PropertiesInMessages, ABulkReplacementReportsOnlyARemovedSplit) {
  StartWith([](ORVX_DataSource& source) {
    WeightBy(source, "A");
    FilterBy(source, "B");
    SplitBy(source, "C D");
  });
  Source().SetWeightVar(-1);
  Source().SetFilterVar(-1);
  SplitBy(Source(), "");
  snapshot.bulkVarMoves = true;
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("A B C D E"), Inserted("A B C D E").AtEnd(), Split(""));
}

// --- Sets, extension, attributes ---

TEST_F(PropertiesInMessages, SetsExtensionAndAttributesAreReportedInOrder) {
  Source().SetAttributes(Attributes({"note"}));
  support::SetExtension(Source(), 0, 1, "bytes");
  Source().SetVariableSets({Set("demography", "A")});
  Source().SetMRSets({Set("hobbies", "B C")});
  Update();
  EXPECT_MESSAGES(Queue(), Extension(7), Extension(19), Extension(5), Extension(0, "bytes"),
                  Extension(17, "note\tvalue\n"));

  item.ClearNotifications();
  Update();
  EXPECT_MESSAGES(Queue());
}

TEST_F(PropertiesInMessages, AnExtensionOfAnotherTypeThanZeroIsNotCompared) {
  support::SetExtension(Source(), 3, 1, "abc");
  Update();
  EXPECT_MESSAGES(Queue());
}

// --- Changes that remove the dashboard attributes ---

class DashboardInfoAfterAChange : public PropertiesInMessages {
 protected:
  DashboardInfoAfterAChange() {
    Source().SetAttributes(Attributes({"note", "dashboard.layout"}));
    Settle();
  }

  bool SourceHasIt() { return Source().GetAttributes() != Attributes({"note"}); }

  const support::Expected cleared = Extension(17, "note\tvalue\n");
};

TEST_F(DashboardInfoAfterAChange, IsKeptWithoutChanges) {
  Update();
  EXPECT_MESSAGES(Queue());
  EXPECT_TRUE(SourceHasIt());
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfVariablesChange) {
  Source().InsertVariable(5, Var("F"));
  Update();
  EXPECT_MESSAGES(Queue(), Inserted("F").AtEnd(), cleared);
  EXPECT_FALSE(SourceHasIt());
}

TEST_F(DashboardInfoAfterAChange, IsRemovedByAnyChangeOfVariables) {
  const std::vector<std::function<void()>> changes = {
      [this] { Source().DeleteVariables(4, 4); },
      [this] { Source().DeleteVariables(1, 1); },
      [this] { Move(Source(), "C", 0); },
      [this] { Source().GetVariable(0).SetLabel("changed"); },
      [this] { snapshot.bulkVarMoves = true; },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) {
    StartWith([](ORVX_DataSource& source) {
      Replace(source, Vars("A B C D E"));
      source.SetAttributes(Attributes({"note"}));
    });
    StartWith([](ORVX_DataSource& source) {
      source.SetAttributes(Attributes({"note", "dashboard.layout"}));
    });
    changes[i]();
    Update();
    EXPECT_FALSE(SourceHasIt()) << "change " << i;
  }
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfTheRowCountChanges) {
  static_cast<CountingSource&>(Source()).rows = 44;
  Update();
  EXPECT_MESSAGES(Queue(), cleared, RowCount(44));
  EXPECT_FALSE(SourceHasIt());
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfTheWeightChanges) {
  WeightBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Weight("A"), cleared);
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfAFilterIsSet) {
  FilterBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Filter("A"), cleared);
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfTheFilterIsRemoved) {
  FilterBy(Source(), "A");
  Update();
  Source().SetAttributes(Attributes({"note", "dashboard.layout"}));
  Update();
  item.ClearNotifications();
  ASSERT_TRUE(SourceHasIt());

  Source().SetFilterVar(-1);
  Update();
  EXPECT_MESSAGES(Queue(), NoFilter(), cleared);
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfTrendsChange) {
  *Source().GetTrendsInfo() = Monthly();
  Update();
  EXPECT_MESSAGES(Queue(), Trends(Monthly()), cleared);
}

TEST_F(DashboardInfoAfterAChange, IsRemovedIfTheSplitChanges) {
  SplitBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Split("A"), cleared);
}

TEST_F(DashboardInfoAfterAChange, IsKeptIfLabelSetsExtensionsOrImputationChange) {
  StartWith([](ORVX_DataSource& source) { source.RowsPerImputation(5); });
  ASSERT_TRUE(SourceHasIt());
  Source().RowsPerImputation(0);
  Source().SetFileSpec("/second.csv");
  Source().SetLabel("Survey");
  Source().SetMRSets({Set("hobbies", "B C")});
  Source().SetVariableSets({Set("demography", "A")});
  support::SetExtension(Source(), 0, 1, "bytes");
  Source().SetDirty(true);

  Update();

  EXPECT_MESSAGES(Queue(), Imputation(0), Label("Survey"), Extension(7), Extension(19),
                  Extension(5), Extension(0), Dirty(true));
  EXPECT_TRUE(SourceHasIt());
}

// A pass removes dashboard attributes only if the attributes have not changed since the last pass.
TEST_F(DashboardInfoAfterAChange, IsKeptIfTheAttributesChange) {
  Source().SetAttributes(Attributes({"dashboard.layout"}));
  WeightBy(Source(), "A");
  Update();
  EXPECT_MESSAGES(Queue(), Weight("A"), Extension(17, "dashboard.layout\tvalue\n"));
  EXPECT_EQ(Source().GetAttributes(), Attributes({"dashboard.layout"}));
}

// --- Dirty flag ---

TEST_F(PropertiesInMessages, ChangesOfTheDirtyFlagAreReported) {
  Source().SetDirty(true);
  Update();
  EXPECT_MESSAGES(Queue(), Dirty(true));
  EXPECT_TRUE(View().IsDirty());

  item.ClearNotifications();
  Update();
  EXPECT_MESSAGES(Queue());

  Source().SetDirty(false);
  Update();
  EXPECT_MESSAGES(Queue(), Dirty(false));
  EXPECT_FALSE(View().IsDirty());
}

TEST_F(PropertiesInMessages, AChangedDefinitionSetsTheDirtyFlagReportedLast) {
  Source().GetVariable(1).SetLabel("changed");
  Update();
  EXPECT_MESSAGES(Queue(), Modified(Labelled(Var("B"), "changed")), Dirty(true));
  EXPECT_TRUE(View().IsDirty());
}

TEST_F(PropertiesInMessages, AChangedDefinitionOverridesAClearedDirtyFlag) {
  Source().SetDirty(true);
  Update();
  item.ClearNotifications();

  Source().GetVariable(1).SetLabel("changed");
  Source().SetDirty(false);
  Update();
  EXPECT_MESSAGES(Queue(), Modified("B"));
  EXPECT_TRUE(Source().IsDirty());
}

// --- All changes in one write ---

class Everything : public PropertiesInMessages {
 protected:
  // Gives the dataset a source whose parent is a saved file, and sets every property.
  Everything() {
    Use(SystemFileDataSource::Open(folder.Write("first.csv")));
    auto upper = std::make_unique<CountingSource>(&Source());
    upper->CopyDictionary(&Source());
    Use(std::move(upper));
    StartWith([](ORVX_DataSource& source) {
      Replace(source, Vars("A B C D E F"));
      source.RowsPerImputation(5);
      source.SetLabel("before");
      WeightBy(source, "A");
      FilterBy(source, "A");
      SplitBy(source, "A");
      source.GetTrendsInfo()->seasonalPeriod = 4;
      source.SetMRSets({Set("before", "A")});
      source.SetVariableSets({Set("before", "A")});
      support::SetExtension(source, 0, 1, "before");
      source.SetAttributes(Attributes({"before"}));
    });
  }

  // Changes every property but the filter.
  void ChangeEverything() {
    Replace(Source(), {Typed(Var("B"), 8), Var("N"), Var("E"), Var("C"), Var("D")});
    static_cast<CountingSource&>(Source()).rows = 44;
    Source().RowsPerImputation(0);
    Source().SetFileSpec("/second.csv");
    Source().SetLabel("after");
    WeightBy(Source(), "N");
    *Source().GetTrendsInfo() = Monthly();
    SplitBy(Source(), "C E", /*separate=*/true);
    Source().SetMRSets({Set("after", "")});
    Source().SetVariableSets({Set("after", "")});
    support::SetExtension(Source(), 0, 1, "after");
    Source().SetAttributes(Attributes({"after"}));
  }

  TemporaryFolder folder;
};

TEST_F(Everything, ChangedInOneWriteIsReportedInThisOrder) {
  ChangeEverything();
  FilterBy(Source(), "B");

  Update();

  EXPECT_MESSAGES(Queue(),                                //
                  Deleted("A"),                           // the variables, position by position
                  Modified(Typed(Var("B"), 8)),           //
                  Inserted("N").Before("C"),              //
                  Moved(4).To(2),                         //
                  Deleted("F"),                           //
                  Imputation(0),                          //
                  FileSpec("/second.csv"),                //
                  Label("after"),                         //
                  Weight("N"),                            //
                  Filter("B"),                            //
                  Trends(Monthly()),                      //
                  Split("C E").Separate(),                //
                  Extension(7, "after\t\t\t0\t0\t0\n"),   // multiple-response sets, twice
                  Extension(19, "after\t\t\t0\t0\t0\n"),  //
                  Extension(5, "after\t\t\t0\t0\t0\n"),   // variable sets
                  Extension(0, "after"),                  //
                  Extension(17, "after\tvalue\n"),        // attributes
                  RowCount(44),                           //
                  Dirty(true));
}

TEST_F(Everything, ChangedInOneWriteWithoutFilterIsReportedInThisOrder) {
  StartWith([](ORVX_DataSource& source) { FilterBy(source, "B"); });
  ChangeEverything();
  Source().SetFilterVar(-1);

  Update();

  EXPECT_MESSAGES(Queue(), Deleted("A"), Modified("B"), Inserted("N").Before("C"), Moved(4).To(2),
                  Deleted("F"), Imputation(0), FileSpec("/second.csv"), Label("after"), Weight("N"),
                  Trends(Monthly()), NoFilter(), Split("C E").Separate(), Extension(7),
                  Extension(19), Extension(5), Extension(0), Extension(17), RowCount(44),
                  Dirty(true));
}

TEST_F(Everything, IsReportedOnceAndThenTheViewEqualsTheSource) {
  ChangeEverything();
  FilterBy(Source(), "B");
  Update();
  item.ClearNotifications();

  Update();

  EXPECT_MESSAGES(Queue());
  EXPECT_EQ(support::VariablesOf(View()), support::VariablesOf(Source()));
  EXPECT_EQ(snapshot.rowCount, 44);
  EXPECT_EQ(View().RowsPerImputation(), 0);
  EXPECT_STREQ(View().GetFileSpec(), "/second.csv");
  EXPECT_STREQ(View().GetLabel(), "after");
  EXPECT_EQ(View().GetWeightVariableID(), Id("N"));
  EXPECT_EQ(View().GetFilterVariableID(), Id("B"));
  EXPECT_EQ(*View().GetTrendsInfo(), Monthly());
  EXPECT_EQ(SplitOf(View()), SplitOf(Source()));
  EXPECT_TRUE(View().GetSplitqSeparate());
  EXPECT_EQ(View().GetMRSets().at(0).name, "after");
  EXPECT_EQ(View().GetVariableSets().at(0).name, "after");
  EXPECT_EQ(ORVX_DataSource::Extension(View(), 0), ORVX_DataSource::Extension(Source(), 0));
  EXPECT_EQ(View().GetAttributes(), Source().GetAttributes());
  EXPECT_TRUE(View().IsDirty());
}

TEST_F(Everything, IsReportedWithDatasetAndCaseSequenceExceptTheImputation) {
  item.CaseSequence() = 35;
  ChangeEverything();
  FilterBy(Source(), "B");

  Update();

  ASSERT_EQ(Queue().size(), 19U);
  for (const DataSetMsg* message : Queue()) {
    if (support::WhatIsSaidBy(message).kind == support::Said::Kind::Imputation) continue;
    EXPECT_EQ(message->GetLeading(), 0U);
    EXPECT_EQ(message->GetDataSetID(), LocallyUniqueID(0, 12));
    EXPECT_EQ(message->GetCaseSequence(), 35U);
  }
}

TEST_F(Everything, IsResetWhenTheSourceIsRemoved) {
  Source().SetDirty(true);
  static_cast<CountingSource&>(Source()).rows = 44;
  Update();
  item.SetDataSet(nullptr);
  item.ClearNotifications();

  Update();

  // The message that deletes the variables also removes weight and filter, so only the split has a
  // message of its own. An empty file specification is not reported.
  EXPECT_MESSAGES(Queue(), Deleted("A B C D E F"), Imputation(0), Label(""),
                  Trends(ORVX_TrendsInfo()), Split(""), Extension(7, ""), Extension(19, ""),
                  Extension(5, ""), Extension(0, ""), Extension(17, ""), RowCount(0), Dirty(false));
  EXPECT_TRUE(View().GetWeightVariableID().IsNull());
  EXPECT_TRUE(View().GetFilterVariableID().IsNull());
  EXPECT_STRNE(View().GetFileSpec(), "");
}

TEST_F(Everything, IsReportedAgainWhenTheSourceReturns) {
  auto copy = std::make_unique<CountingSource>();
  copy->CopyDictionary(&Source());
  item.SetDataSet(nullptr);
  Update();
  Use(std::move(copy));

  Update();

  EXPECT_MESSAGES(Queue(), Inserted("A").AtEnd(), Inserted("B").AtEnd(), Inserted("C").AtEnd(),
                  Inserted("D").AtEnd(), Inserted("E").AtEnd(), Inserted("F").AtEnd(),
                  Label("before"), Weight("A"), Filter("A"), Trends(*Source().GetTrendsInfo()),
                  Split("A"), Extension(7), Extension(19), Extension(5), Extension(0),
                  Extension(17));
}

// --- An empty source, and no source ---

TEST_F(PropertiesInMessages, ANewEmptySourceReportsOnlyTheRowCount) {
  SvrDMItem empty(LocallyUniqueID(0, 13), new DataFreeDataSource, nullptr, 0, "", true);
  SvrDMObserverView fresh(empty);
  fresh.Update();
  EXPECT_MESSAGES(empty.Notifications(), RowCount(0));
}

TEST_F(PropertiesInMessages, ADatasetWithoutASourceReportsOnlyTheRowCount) {
  SvrDMItem without(LocallyUniqueID(0, 13), nullptr, nullptr, 0, "", true);
  SvrDMObserverView fresh(without);
  fresh.Update();
  EXPECT_MESSAGES(without.Notifications(), RowCount(0));
  EXPECT_EQ(without.DataSource(), nullptr);

  without.ClearNotifications();
  fresh.Update();
  EXPECT_MESSAGES(without.Notifications());
}

// --- A source that reports its own split, by any number of variables ---

class AnsweredSplit : public PropertiesInMessages {
 protected:
  AnsweredSplit() {
    Use(std::make_unique<SplitSource>());
    Replace(Source(), Vars(kNine));
    Settle();
  }

  SplitSource& Answers() { return static_cast<SplitSource&>(Source()); }

  static constexpr const char* kNine = "A B C D E F G H I";
};

TEST_F(AnsweredSplit, ByNineIsReportedCompletelyAndOnce) {
  Answers().SplitBy(kNine);
  Answers().separate = true;
  Update();
  EXPECT_MESSAGES(Queue(), Split(kNine).Separate());
  EXPECT_EQ(SplitOf(View()), Answers().split);
  EXPECT_TRUE(View().GetSplitqSeparate());

  item.ClearNotifications();
  Update();
  EXPECT_MESSAGES(Queue());
}

TEST_F(AnsweredSplit, ByNineWithAnyVariableReplacedIsReported) {
  for (const char* split : {"I B C D E F G H A", "A B C D E F G I H", "A B C D E F G H"}) {
    Answers().SplitBy(kNine);
    Settle();
    Answers().SplitBy(split);
    Update();
    EXPECT_MESSAGES(Queue(), Split(split));
    EXPECT_EQ(SplitOf(View()), Answers().split);
  }
}

TEST_F(AnsweredSplit, ByNineIsReportedAgainAfterTheLastIsMovedOrDeleted) {
  Answers().SplitBy(kNine);
  Settle();
  Move(Source(), "I", 0);
  Update();
  EXPECT_MESSAGES(Queue(), Moved(8).To(0), Split(kNine));

  item.ClearNotifications();
  Source().DeleteVariables(0, 0);
  Answers().SplitBy("A B C D E F G H");
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("I"), Split("A B C D E F G H"));
}

TEST_F(AnsweredSplit, OfAnyLengthIsReportedCompletely) {
  std::string names = "A";
  for (int i = 1; i < 200; ++i) names += " A" + std::to_string(i);
  Replace(Source(), Vars(names));
  Settle();
  Answers().SplitBy(names);
  Update();
  EXPECT_MESSAGES(Queue(), Split(names));
  EXPECT_EQ(SplitOf(View()), Answers().split);

  item.ClearNotifications();
  Answers().split.back() = Answers().split.front();
  Update();
  EXPECT_THAT(Queue(), testing::SizeIs(1)) << "only the last of 200 variables differs";
  EXPECT_EQ(SplitOf(View()), Answers().split);
}

// The comparison allocates arrays of at least eight entries for a split. SplitSource fails the test
// if the comparison requests more than the two variables of this split.
TEST_F(AnsweredSplit, OfTwoVariablesIsNotReadBeyondItsLength) {
  Answers().split = {Id("A"), Id("C")};
  Update();
  EXPECT_MESSAGES(Queue(), Split("A C"));
  EXPECT_THAT(SplitOf(View()), ElementsAre(Id("A"), Id("C")));
}

// The first update deletes B from the view, then fails. Then view and source are both split by A
// alone. The next update must still report the split: the last reported split was by A and B.
TEST_F(AnsweredSplit, WithADeletedVariableIsReportedInTheNextUpdate) {
  Answers().split = {Id("A"), Id("B")};
  Settle();
  Source().DeleteVariables(1, 1);
  Answers().split = {Id("A"), LocallyUniqueID()};

  EXPECT_THROW(Update(), std::out_of_range) << "the view has no such variable";
  EXPECT_MESSAGES(Queue(), Deleted("B"));

  Answers().split = {Id("A")};
  Update();
  EXPECT_MESSAGES(Queue(), Deleted("B"), Split("A"));
}

}  // namespace
