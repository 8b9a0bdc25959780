// The comparison of a dataset's variables with the snapshot.
//
// Linked with the library's object files, because the snapshot is internal.

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/ObserverView.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/SplitOfAnySize.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>

#include <gmock/gmock.h>

#include <string>
#include <type_traits>
#include <vector>

namespace {

using support::Deleted;
using support::Dictionary;
using support::Inserted;
using support::Labelled;
using support::Modified;
using support::Moved;
using support::Names;
using support::Renamed;
using support::Replace;
using support::Said;
using support::Typed;
using support::Var;
using support::Vars;
using testing::IsEmpty;

// A dataset and a snapshot that the test updates.
class View : public testing::Test {
 protected:
  ORVX_DataSource& Source() { return *item.DataSource(); }
  const std::vector<DataSetMsg*>& Queue() const { return item.Notifications(); }

  void Update() { sdm_internal::UpdateSnapshot(snapshot); }

  // Gives the snapshot and the source these variables; nothing is queued.
  void StartWith(const std::string& names) {
    Replace(Source(), Vars(names));
    Update();
    Source().SetDirty(false);
    item.ClearNotifications();
    snapshot.resetClientData = false;
  }

  // Compares the snapshot with a source that has these variables.
  void UpdateTo(const std::vector<ORVX_Variable>& variables) {
    Replace(Source(), variables);
    Update();
  }
  void UpdateTo(const std::string& names) { UpdateTo(Vars(names)); }

  void ExpectViewEqualsSource() {
    EXPECT_EQ(support::VariablesOf(snapshot.view), support::VariablesOf(Source()));
  }

  SvrDMItem item{LocallyUniqueID(0, 12), Dictionary("").release(), nullptr, 34, "", true};
  sdm_internal::Snapshot snapshot{item};
};

// --- A new view ---

TEST_F(View, StartsEmptyCleanAndWithoutARowCount) {
  EXPECT_EQ(&snapshot.item, &item);
  EXPECT_EQ(snapshot.view.ColumnCount(), 0);
  EXPECT_FALSE(snapshot.view.IsDirty());
  EXPECT_EQ(snapshot.rowCount, -2);
  EXPECT_FALSE(snapshot.resetClientData);
  EXPECT_FALSE(snapshot.bulkVarMoves);
}

TEST_F(View, CanBeNeitherCopiedNorAssigned) {
  EXPECT_FALSE(std::is_copy_constructible_v<SvrDMObserverView>);
  EXPECT_FALSE(std::is_copy_assignable_v<SvrDMObserverView>);
}

TEST_F(View, TheFirstUpdateInsertsEachVariableAtTheEnd) {
  UpdateTo("A B C");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted(Var("A")).AtEnd(), Inserted(Var("B")).AtEnd(),
                           Inserted(Var("C")).AtEnd());
  ExpectViewEqualsSource();
}

TEST_F(View, AnUnchangedDictionaryReportsNothing) {
  StartWith("A B C");
  Update();
  EXPECT_THAT(Queue(), IsEmpty());
  EXPECT_FALSE(Source().IsDirty());
}

TEST_F(View, AnEmptyDictionaryReportsNoVariable) {
  UpdateTo("");
  EXPECT_VARIABLE_MESSAGES(Queue());
}

// --- Insertions ---

TEST_F(View, AVariableInsertedInTheMiddleIsAnchoredOnTheNextVariable) {
  StartWith("A B");
  UpdateTo("A D B");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted(Var("D")).Before("B"));
}

TEST_F(View, AVariableInsertedAtTheFrontIsAnchoredOnTheFirstVariable) {
  StartWith("A B");
  UpdateTo("D A B");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("D").Before("A"));
}

TEST_F(View, AnAppendedVariableHasNoAnchor) {
  StartWith("A B");
  UpdateTo("A B D");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("D").AtEnd());
}

TEST_F(View, AdjacentVariablesAreInsertedSeparatelyWithTheSameAnchor) {
  StartWith("A B");
  UpdateTo("A D E B");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("D").Before("B"), Inserted("E").Before("B"));
  ExpectViewEqualsSource();
}

// The anchor is the next variable of the view, even if the source has deleted it.
TEST_F(View, TheAnchorMayBeADeletedVariable) {
  StartWith("A B");
  UpdateTo("A D");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("D").Before("B"), Deleted("B"));
  ExpectViewEqualsSource();
}

TEST_F(View, AnInsertedVariableGetsNoModifyVarMsg) {
  StartWith("A");
  const ORVX_Variable defined = Typed(Labelled(Var("D"), "new"), 8);
  UpdateTo({defined, Var("A")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted(defined).Before("A"));
  EXPECT_FALSE(snapshot.resetClientData);
  EXPECT_FALSE(Source().IsDirty());
}

TEST_F(View, ReplacingAVariableByAVariableOfTheSameNameIsAnInsertionAndADeletion) {
  StartWith("A");
  const ORVX_Variable namesake = Renamed(Var("another"), "A");
  UpdateTo({namesake});
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted(namesake).Before("A"), Deleted("A"));
}

// --- Deletions ---

TEST_F(View, DeletingAVariableInTheMiddleNeedsNoMove) {
  StartWith("A B C");
  UpdateTo("A C");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("B"));
  ExpectViewEqualsSource();
}

TEST_F(View, AdjacentVariablesAreDeletedInOneMessage) {
  StartWith("A B C D E");
  UpdateTo("A E");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("B C D"));
}

TEST_F(View, DeletionsAtSeveralPositionsAreSeparateMessages) {
  StartWith("A B C D E F");
  UpdateTo("B D F");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A"), Deleted("C"), Deleted("E"));
}

TEST_F(View, VariablesAtTheEndAreDeletedLastInOneMessage) {
  StartWith("A B C D");
  UpdateTo({Var("A"), Labelled(Var("B"), "changed")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Modified("B"), Deleted("C D"));
  ExpectViewEqualsSource();
}

TEST_F(View, AllVariablesAreDeletedInOneMessage) {
  StartWith("A B C");
  UpdateTo("");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B C"));
  ExpectViewEqualsSource();
}

TEST_F(View, ADeletionCarriesTheVariableAsItWasLastReported) {
  StartWith("A B C");
  const ORVX_Variable asReported = Labelled(Var("B"), "as reported");
  UpdateTo({Var("A"), asReported, Var("C")});
  item.ClearNotifications();

  Source().GetVariable(1).SetLabel("never reported");
  Source().DeleteVariables(1, 1);
  Update();

  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted(std::vector<ORVX_Variable>{asReported}));
}

TEST_F(View, RemovingTheSourceDeletesAllVariables) {
  StartWith("A B C");
  item.SetDataSet(nullptr);
  item.ClearNotifications();

  Update();

  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B C"));
  EXPECT_EQ(snapshot.view.ColumnCount(), 0);
}

TEST_F(View, SettingASourceInsertsAllVariables) {
  item.SetDataSet(nullptr);
  item.ClearNotifications();
  Update();
  EXPECT_VARIABLE_MESSAGES(Queue());

  item.SetDataSet(Dictionary("A B").release());
  Update();
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("A").AtEnd(), Inserted("B").AtEnd());
}

// --- Moves ---

TEST_F(View, MovingAVariableForwardIsOneMove) {
  StartWith("A B C");
  UpdateTo("C A B");
  EXPECT_VARIABLE_MESSAGES(Queue(), Moved(2).To(0));
  ExpectViewEqualsSource();
}

TEST_F(View, MovingAVariableBackMovesTheOthersForward) {
  StartWith("A B C");
  UpdateTo("B C A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Moved(1).To(0), Moved(2).To(1));
  ExpectViewEqualsSource();
}

TEST_F(View, EachVariableIsMovedByASeparateMessage) {
  StartWith("A B C D");
  UpdateTo("D C B A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Moved(3).To(0), Moved(3).To(1), Moved(3).To(2));
  ExpectViewEqualsSource();
}

TEST_F(View, AMoveNeitherSetsTheDirtyFlagNorResetsClientData) {
  StartWith("A B");
  UpdateTo("B A");
  EXPECT_FALSE(Source().IsDirty());
  EXPECT_FALSE(snapshot.resetClientData);
}

TEST_F(View, VariablesDeletedInBetweenAreReportedBeforeTheMove) {
  StartWith("A B C D");
  UpdateTo("D A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("B C"), Moved(1).To(0));
  ExpectViewEqualsSource();
}

// Before the comparison moves C, it reports only the deleted variables in front of C. The
// comparison reports D when it reaches the position of D.
TEST_F(View, VariablesDeletedFurtherOnAreReportedLater) {
  StartWith("A B C D E");
  UpdateTo("C B E");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A"), Moved(1).To(0), Deleted("D"));
  ExpectViewEqualsSource();
}

TEST_F(View, AtOnePositionDeletionComesBeforeMoveBeforeModification) {
  StartWith("A B C");
  const ORVX_Variable changed = Labelled(Var("C"), "changed");
  UpdateTo({changed, Var("A")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("B"), Moved(1).To(0), Modified(changed));
  ExpectViewEqualsSource();
}

TEST_F(View, PositionsAreComparedInTheOrderOfTheSource) {
  StartWith("A B C D");
  UpdateTo({Labelled(Var("A"), "changed"), Var("X"), Var("D"), Var("B")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Modified("A"), Inserted("X").Before("B"), Deleted("C"),
                           Moved(3).To(2));
  ExpectViewEqualsSource();
}

// --- Modifications ---

TEST_F(View, AChangedLabelIsAModificationAndSetsTheDirtyFlag) {
  StartWith("A B");
  const ORVX_Variable changed = Labelled(Var("B"), "changed");
  UpdateTo({Var("A"), changed});
  EXPECT_VARIABLE_MESSAGES(Queue(), Modified(changed));
  EXPECT_TRUE(Source().IsDirty());
  EXPECT_FALSE(snapshot.resetClientData);
  ExpectViewEqualsSource();
}

TEST_F(View, AChangedTypeResetsClientData) {
  StartWith("A B");
  const ORVX_Variable changed = Typed(Var("B"), 8);
  UpdateTo({Var("A"), changed});
  EXPECT_MESSAGES(Queue(), Modified(changed), support::RowCount(0), support::Dirty(true));
  EXPECT_TRUE(Source().IsDirty());
}

TEST_F(View, AChangedTypeResetsClientDataEvenIfLaterVariablesKeepTheirTypes) {
  StartWith("A B C");
  UpdateTo({Typed(Var("A"), 8), Labelled(Var("B"), "changed"), Var("C")});
  EXPECT_MESSAGES(Queue(), Modified("A"), Modified("B"), support::RowCount(0),
                  support::Dirty(true));
}

TEST_F(View, ARenamedVariableIsModified) {
  StartWith("A");
  const ORVX_Variable renamed = Renamed(Var("A"), "Age");
  UpdateTo({renamed});
  EXPECT_VARIABLE_MESSAGES(Queue(), Modified(renamed));
}

TEST_F(View, AnUndoneChangeIsNotReported) {
  StartWith("A");
  Source().GetVariable(0).SetLabel("changed");
  Source().GetVariable(0).SetLabel("");
  Update();
  EXPECT_THAT(Queue(), IsEmpty());
  EXPECT_FALSE(Source().IsDirty());
}

TEST_F(View, InsertedMovedAndDeletedVariablesLeaveTheSourceClean) {
  StartWith("A B C D");
  UpdateTo("X D A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("X").Before("A"), Deleted("B C"), Moved(2).To(1));
  EXPECT_FALSE(Source().IsDirty());
}

// --- What every message carries ---

TEST_F(View, EveryMessageHasTheDatasetAndTheCurrentCaseSequence) {
  StartWith("A B C D");
  item.CaseSequence() = 35;

  UpdateTo({Var("D"), Labelled(Var("X"), "new"), Labelled(Var("A"), "changed")});

  ASSERT_GE(Queue().size(), 4U);
  for (const DataSetMsg* message : Queue()) {
    EXPECT_EQ(message->GetLeading(), 0U);
    EXPECT_EQ(message->GetDataSetID(), LocallyUniqueID(0, 12));
    EXPECT_EQ(message->GetCaseSequence(), 35U);
  }
}

TEST_F(View, BulkMessagesHaveTheDatasetAndTheCaseSequence) {
  snapshot.bulkVarMoves = true;
  Update();
  ASSERT_GE(Queue().size(), 2U);
  for (const DataSetMsg* message : Queue()) {
    EXPECT_EQ(message->GetLeading(), 0U);
    EXPECT_EQ(message->GetDataSetID(), LocallyUniqueID(0, 12));
    EXPECT_EQ(message->GetCaseSequence(), 34U);
  }
}

// --- Replacing in bulk ---

TEST_F(View, ABulkReplacementIsOneDeletionOfAllAndOneInsertionOfAll) {
  StartWith("A B C");
  snapshot.bulkVarMoves = true;
  UpdateTo("C D A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B C"), Inserted("C D A").AtEnd());
  ExpectViewEqualsSource();
}

TEST_F(View, ABulkReplacementReportsEmptyLists) {
  snapshot.bulkVarMoves = true;
  UpdateTo("");
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted(""), Inserted("").AtEnd());
  EXPECT_FALSE(snapshot.bulkVarMoves);
}

TEST_F(View, ABulkReplacementReportsAnUnchangedDictionary) {
  StartWith("A B");
  snapshot.bulkVarMoves = true;
  Update();
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B"), Inserted("A B").AtEnd());
}

TEST_F(View, ABulkReplacementWithoutASourceEmptiesTheView) {
  StartWith("A B");
  item.SetDataSet(nullptr);
  item.ClearNotifications();
  snapshot.bulkVarMoves = true;
  Update();
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B"), Inserted("").AtEnd());
  EXPECT_EQ(snapshot.view.ColumnCount(), 0);
}

TEST_F(View, ABulkReplacementReportsNoModificationAndNoReset) {
  StartWith("A B");
  snapshot.bulkVarMoves = true;
  UpdateTo({Typed(Var("B"), 8), Labelled(Var("A"), "changed")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Deleted("A B"), Inserted("B A").AtEnd());
  EXPECT_FALSE(snapshot.resetClientData);
  EXPECT_FALSE(Source().IsDirty());
  ExpectViewEqualsSource();
}

TEST_F(View, ABulkReplacementIsMadeOnlyOnce) {
  StartWith("A B");
  snapshot.bulkVarMoves = true;
  Update();
  EXPECT_FALSE(snapshot.bulkVarMoves);
  item.ClearNotifications();

  UpdateTo("B A");
  EXPECT_VARIABLE_MESSAGES(Queue(), Moved(1).To(0));
}

// --- Duplicate identifiers ---

TEST_F(View, TheViewBecomesEqualToASourceWithDuplicateIdentifiers) {
  const ORVX_Variable a1 = Labelled(Var("A"), "first");
  const ORVX_Variable a2 = Labelled(Var("A"), "second");
  const std::vector<std::vector<ORVX_Variable>> lists = {
      {},
      {a1, a1},
      {a1, a2},
      {a2, a1, Var("B")},
      {a1, Var("B"), a2},
      {Var("B"), a1, Var("B")},
      {Var("C"), a1, a2, Var("B"), a1},
      {Var("B"), Var("C")},
  };
  for (const std::vector<ORVX_Variable>& from : lists) {
    for (const std::vector<ORVX_Variable>& to : lists) {
      SCOPED_TRACE("from " + Names(from) + " to " + Names(to));
      UpdateTo(from);
      ExpectViewEqualsSource();
      UpdateTo(to);
      ExpectViewEqualsSource();

      item.ClearNotifications();
      Update();
      EXPECT_VARIABLE_MESSAGES(Queue());
    }
  }
}

// The comparison does not search positions of the view that it has already compared. So for the
// second A of the source, it does not find the A of the view, and inserts a variable.
TEST_F(View, ASecondVariableWithASettledIdentifierIsInserted) {
  StartWith("A B");
  UpdateTo({Var("A"), Labelled(Var("A"), "again"), Var("B")});
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted(Labelled(Var("A"), "again")).Before("B"));
}

// --- Platforms of other vendors ---

TEST(SplitOfAnySize, UsesSetSplitIfThePlatformLacksSetSplitOfAnySize) {
  struct OtherSource {
    void SetSplit(unsigned int count, const int* indices, bool separate) {
      split.assign(indices, indices + count);
      isSeparate = separate;
    }
    std::vector<int> split;
    bool isSeparate = false;
  };
  const int indices[] = {8, 7, 6, 5, 4, 3, 2, 1, 0};
  OtherSource source;
  sdm_internal::SetSplitOfAnySize(source, 9, indices, true);
  EXPECT_THAT(source.split, testing::ElementsAreArray(indices));
  EXPECT_TRUE(source.isSeparate);
}

// --- SvrDMObserverView ---

TEST_F(View, AnObserverViewReportsTheWholeDictionaryAndThenTheChanges) {
  SvrDMObserverView view(item);
  Replace(Source(), Vars("A B"));
  view.Update();
  EXPECT_VARIABLE_MESSAGES(Queue(), Inserted("A").AtEnd(), Inserted("B").AtEnd());
  item.ClearNotifications();

  Replace(Source(), Vars("B"));
  view.Update();
  EXPECT_MESSAGES(Queue(), Deleted("A"));
}

TEST_F(View, AnObserverViewReplacesInBulkOnceIfRequested) {
  Replace(Source(), Vars("A B"));
  SvrDMObserverView view(item);
  view.Update();
  item.ClearNotifications();

  view.SetBulkVarMoves(true);
  view.Update();
  EXPECT_MESSAGES(Queue(), Deleted("A B"), Inserted("A B").AtEnd());
  item.ClearNotifications();

  view.Update();
  EXPECT_THAT(Queue(), IsEmpty());
  view.SetBulkVarMoves(true);
  view.SetBulkVarMoves(false);
  view.Update();
  EXPECT_THAT(Queue(), IsEmpty());
}

// --- The view of an item ---

// Makes a notification pass of an item without a registry. Returns the messages.
std::vector<Said> PassOf(SvrDMItem& item) {
  struct Observer : SvrDMDataSetObserver {
    explicit Observer(SvrDMItem& observed) : item(observed) { item.Register(*this); }
    ~Observer() { item.Unregister(*this); }
    void OnDataSetChanged(SvrDMWriteableDataSource const*) override {
      said = support::WhatIsSaidBy(item.Notifications());
    }
    SvrDMItem& item;
    std::vector<Said> said;
  };
  item.SetNotifiedCreation();  // prevents a creation notice, which would need a registry
  Observer observer(item);
  item.Notify(/*writer=*/nullptr, /*originator=*/nullptr);
  return observer.said;
}

TEST_F(View, EachItemHasItsOwnEmptyView) {
  Replace(Source(), Vars("A B"));
  EXPECT_VARIABLE_MESSAGES(PassOf(item), Inserted("A").AtEnd(), Inserted("B").AtEnd());

  SvrDMItem other(LocallyUniqueID(0, 13), Dictionary("A").release(), nullptr, 0, "", true);
  EXPECT_VARIABLE_MESSAGES(PassOf(other), Inserted("A").AtEnd());

  SvrDMItem nameless;
  nameless.SetDataSet(Dictionary("B").release());
  EXPECT_VARIABLE_MESSAGES(PassOf(nameless), Inserted("B").AtEnd());
}

TEST_F(View, TheItemForwardsBulkVarMoves) {
  Replace(Source(), Vars("A B"));
  PassOf(item);

  item.BulkVarMoves(true);
  EXPECT_VARIABLE_MESSAGES(PassOf(item), Deleted("A B"), Inserted("A B").AtEnd());

  item.BulkVarMoves(true);
  item.BulkVarMoves(false);
  EXPECT_THAT(PassOf(item), IsEmpty());
}

}  // namespace
