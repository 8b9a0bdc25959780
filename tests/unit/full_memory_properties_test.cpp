// The comparison of properties when memory runs out: no change is partly reported or lost.
//
// Linked with the library's object files, because the monitors and the snapshot are internal.

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/Monitors.h>
#include <ServerDataManager/ObserverView.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Messages.h>
#include <tests/support/OutOfMemory.h>

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace sdm_internal;

namespace {

using support::Changes;
using support::ExpectSafeWithoutMemory;
using support::kLong;
using support::Operation;

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

// The arguments of a function of Monitors.h: the view has only old values, the source only new
// values.
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

std::string TextOf(const std::vector<support::Said>& messages) {
  std::string text;
  for (const support::Said& message : messages) text += support::AsText(message) + "\n";
  return text;
}

std::string TextOf(const std::vector<VariableSetImpl>& sets) {
  std::string text;
  for (const VariableSetImpl& set : sets) text += set.name + "; ";
  return text;
}

// Calls a function of Monitors.h, which must either change the view and queue messages, or do
// neither.
Operation Monitoring(const std::string& name, const std::function<bool(Arguments&)>& monitor) {
  return Changes(
      name, [] { return std::make_unique<Arguments>(); },
      [=](auto& arguments) { EXPECT_TRUE(monitor(arguments)); },
      [](auto& arguments) {
        return TextOf(arguments.view.GetMRSets()) + TextOf(arguments.view.GetVariableSets()) +
               std::string(ORVX_DataSource::Extension(arguments.view, 0).Impl()->GetBytes()) +
               arguments.view.GetAttributes().MakeString() + TextOf(arguments.Queued());
      });
}

TEST(FullMemoryInAMonitor, KeepsTheOldPropertyAndReportsTheChangeNextTime) {
  ExpectSafeWithoutMemory({
      Monitoring("MonitorExtension",
                 [](auto& a) { return MonitorExtension(a.view, a.source, 0, a.item); }),
      Monitoring("MonitorAttributes",
                 [](auto& a) { return MonitorAttributes(a.view, a.source, a.item, false); }),
      Monitoring("MonitorMRSets", [](auto& a) { return MonitorMRSets(a.view, a.source, a.item); }),
      Monitoring("MonitorVariableSets",
                 [](auto& a) { return MonitorVariableSets(a.view, a.source, a.item); }),
  });
}

// A dataset with a snapshot, and a source that has changed in most properties since the last update
// of the snapshot.
class ChangedDataset {
 public:
  ChangedDataset() {
    support::Replace(*item.DataSource(), support::Vars("A B C"));
    UpdateSnapshot(snapshot);
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

  bool ViewIsEmpty() const {
    const ORVX_DataSource& seen = snapshot.view;
    return seen.ColumnCount() == 0 && seen.GetAttributes().IsEmpty() && !seen.IsDirty();
  }

  SvrDMItem item{LocallyUniqueID(0, 12), new DataFreeDataSource, nullptr, 34, "", true};
  Snapshot snapshot{item};
};

// An operation that updates the snapshot of `change()` twice: the first update queues `messages`
// messages, the second none. A failed update may have queued some of the messages; the next update
// queues the remaining messages.
Operation Updating(const std::string& name, std::size_t messages,
                   const std::function<std::unique_ptr<ChangedDataset>()>& change) {
  const std::string notEmpty = "the view is not empty yet";
  const auto text = [=](auto& dataset) {
    const bool unfinished = dataset.item.DataSource() == nullptr && !dataset.ViewIsEmpty();
    return TextOf(dataset.Queued()) + (unfinished ? notEmpty : "");
  };
  const auto update = [](auto& dataset) {
    UpdateSnapshot(dataset.snapshot);
    UpdateSnapshot(dataset.snapshot);
  };
  const auto whole = change();
  update(*whole);
  std::vector<support::Said> queued = whole->Queued();
  EXPECT_EQ(queued.size(), messages) << name;
  std::vector<std::string> permitted;
  for (;; queued.pop_back()) {
    permitted.push_back(TextOf(queued));
    permitted.push_back(TextOf(queued) + notEmpty);
    if (queued.empty()) break;
  }
  return Changes(name, change, update, text, permitted);
}

TEST(FullMemoryInAnUpdate, KeepsQueuedMessagesAndReportsTheRestNextTime) {
  ExpectSafeWithoutMemory(
      {Updating("Update", 12, [] { return std::make_unique<ChangedDataset>(); })});
}

// Without a source, UpdateSnapshot compares the view with an empty source.
TEST(FullMemoryInAnUpdate, WithoutASourceIsCompletedByTheNextUpdate) {
  ExpectSafeWithoutMemory({Updating("Update without a source", 10, [] {
    auto dataset = std::make_unique<ChangedDataset>();
    UpdateSnapshot(dataset->snapshot);
    dataset->item.SetDataSet(nullptr);
    dataset->item.ClearNotifications();
    return dataset;
  })});
}

}  // namespace
