// The comparison of properties when memory runs out: no change is partly reported or lost.
//
// Built with the library's objects and with access to private members, for the monitors and the
// snapshot.

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Monitors.h>
#include <ServerDataManager/ObserverView.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Messages.h>

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

using namespace sdm_internal;

namespace {

using support::Extension;
using support::FailsWithMemoryFor;

// Longer than the small-string buffer.
const std::string kLong = "a text that is too long to stand inside a string object";

VariableSetImpl Set(const std::string& name) {
  VariableSetImpl set;
  set.name = name + ", " + kLong;
  return set;
}

DatasourceAttributes Attributes(const std::string& value) {
  DatasourceAttributes attributes;
  attributes.Set("note", {value + ", " + kLong});
  return attributes;
}

ORVX_DataSource::Extension Block(const std::string& bytes) {
  return ORVX_DataSource::Extension(RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(0, 1, static_cast<long>(bytes.size()), bytes.data())));
}

// The arguments of a monitor: the view has only old values, the source only new values.
struct Arguments {
  Arguments() {
    view.SetMRSets({Set("old")});
    view.SetVariableSets({Set("old")});
    view.SetExtension(Block("old"));
    view.SetAttributes(Attributes("old"));
    source.SetMRSets({Set("new"), Set("newer")});
    source.SetVariableSets({Set("new"), Set("newer")});
    source.SetExtension(Block("new"));
    source.SetAttributes(Attributes("new"));
  }

  std::vector<support::Said> Queued() const { return support::WhatIsSaidBy(item.Notifications()); }

  DataFreeDataSource view;
  DataFreeDataSource source;
  SvrDMItem item{LocallyUniqueID(0, 12), nullptr, nullptr, 34, "", true};
};

// Runs `monitor` with memory for 0, 1, 2, ... allocations. Calls `judge` after each failure.
void ForEachFailure(const std::function<void(Arguments&)>& monitor,
                    const std::function<void(Arguments&)>& judge) {
  long failures = 0;
  for (;; ++failures) {
    SCOPED_TRACE("after " + std::to_string(failures) + " allocations");
    Arguments arguments;
    if (!FailsWithMemoryFor(failures, [&] { monitor(arguments); })) break;
    judge(arguments);
  }
  EXPECT_GT(failures, 0);
}

TEST(FullMemoryInAMonitor, KeepsTheOldExtensionAndReportsItNextTime) {
  ForEachFailure([](Arguments& a) { MonitorExtension(a.view, a.source, 0, a.item); },
                 [](Arguments& a) {
                   EXPECT_EQ(ORVX_DataSource::Extension(a.view, 0), Block("old"));
                   EXPECT_MESSAGES(a.Queued());
                   EXPECT_TRUE(MonitorExtension(a.view, a.source, 0, a.item));
                   EXPECT_MESSAGES(a.Queued(), Extension(0, "new"));
                 });
}

TEST(FullMemoryInAMonitor, KeepsTheOldAttributesAndReportsThemNextTime) {
  ForEachFailure([](Arguments& a) { MonitorAttributes(a.view, a.source, a.item, false); },
                 [](Arguments& a) {
                   EXPECT_EQ(a.view.GetAttributes(), Attributes("old"));
                   EXPECT_MESSAGES(a.Queued());
                   EXPECT_TRUE(MonitorAttributes(a.view, a.source, a.item, false));
                   EXPECT_MESSAGES(a.Queued(), Extension(17));
                 });
}

TEST(FullMemoryInAMonitor, KeepsTheOldSetsAndReportsThemNextTime) {
  const std::vector<VariableSetImpl> oldSets = Arguments().view.GetMRSets();
  ForEachFailure([](Arguments& a) { MonitorMRSets(a.view, a.source, a.item); },
                 [&](Arguments& a) {
                   EXPECT_TRUE(a.view.GetMRSets() == oldSets);
                   EXPECT_MESSAGES(a.Queued());
                   EXPECT_TRUE(MonitorMRSets(a.view, a.source, a.item));
                   EXPECT_MESSAGES(a.Queued(), Extension(7), Extension(19));
                 });
  ForEachFailure([](Arguments& a) { MonitorVariableSets(a.view, a.source, a.item); },
                 [&](Arguments& a) {
                   EXPECT_TRUE(a.view.GetVariableSets() == oldSets);
                   EXPECT_MESSAGES(a.Queued());
                   EXPECT_TRUE(MonitorVariableSets(a.view, a.source, a.item));
                   EXPECT_MESSAGES(a.Queued(), Extension(5));
                 });
}

// A dataset and its view, initially equal. Then every property of the source is changed.
class ChangedDataset {
 public:
  ChangedDataset() {
    support::Replace(*item.DataSource(), support::Vars("A B C"));
    view.Update();
    item.ClearNotifications();

    ORVX_DataSource& source = *item.DataSource();
    const int both[] = {0, 1};
    source.InsertVariable(1, support::Var("D"));
    source.SetLabel(kLong.c_str());
    source.SetFileSpec(kLong.c_str());
    source.SetWeightVar(0);
    source.SetFilterVar(1);
    source.SetSplit(2, both, true);
    source.GetTrendsInfo()->timeVariables = {support::Id("A"), support::Id("B")};
    source.SetMRSets({Set("new")});
    source.SetVariableSets({Set("new")});
    source.SetExtension(Block("new"));
    source.SetAttributes(Attributes("new"));
    source.SetDirty(true);
  }

  std::vector<support::Said> Queued() const { return support::WhatIsSaidBy(item.Notifications()); }

  // Returns the messages of an update. Checks that the next update queues none.
  std::vector<support::Said> Told() {
    view.Update();
    std::vector<support::Said> told = Queued();
    item.ClearNotifications();
    view.Update();
    EXPECT_MESSAGES(Queued());
    return told;
  }

  SvrDMItem item{LocallyUniqueID(0, 12), new DataFreeDataSource, nullptr, 34, "", true};
  SvrDMObserverView view{item};
};

TEST(FullMemoryInAnUpdate, KeepsQueuedMessagesAndReportsTheRestNextTime) {
  const std::vector<support::Said> all = ChangedDataset().Told();
  ASSERT_EQ(all.size(), 12U);

  long failures = 0;
  for (;; ++failures) {
    SCOPED_TRACE("after " + std::to_string(failures) + " allocations");
    ChangedDataset dataset;
    if (!FailsWithMemoryFor(failures, [&] { dataset.view.Update(); })) break;

    const std::vector<support::Said> before = dataset.Queued();
    ASSERT_LE(before.size(), all.size());
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(before[i], all[i]);

    EXPECT_EQ(dataset.Told(), all);
  }
  EXPECT_GT(failures, 20);
}

// The empty source that stands for a missing source is always deleted; the address sanitizer would
// detect a leak.
TEST(FullMemoryInAnUpdate, WithoutASourceIsCompletedByTheNextUpdate) {
  long failures = 0;
  for (;; ++failures) {
    SCOPED_TRACE("after " + std::to_string(failures) + " allocations");
    ChangedDataset dataset;
    dataset.view.Update();
    dataset.item.SetDataSet(nullptr);
    dataset.item.ClearNotifications();
    if (!FailsWithMemoryFor(failures, [&] { dataset.view.Update(); })) break;
    EXPECT_EQ(dataset.item.DataSource(), nullptr);

    dataset.view.Update();
    EXPECT_EQ(dataset.view.data_->view.ColumnCount(), 0);
    EXPECT_TRUE(dataset.view.data_->view.GetAttributes().IsEmpty());
    EXPECT_FALSE(dataset.view.data_->view.IsDirty());
  }
  // One failure each for: the empty source; the list of deleted variables; the stamps of the
  // snapshot's blocks, and which blocks are kept; the identifiers and the positions of the split;
  // the texts of multiple-response sets (two messages), variable sets and attributes. Messages have
  // their own allocator, and the queue has room.
  EXPECT_EQ(failures, 10);
}

}  // namespace
