// Datasets when memory runs out.

#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Messages.h>
#include <tests/support/PlainComparison.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using support::AddDataset;
using support::CountedMessage;
using support::MemoryFor;
using support::Var;
using testing::IsEmpty;
using testing::SizeIs;

TEST(FullMemory, AMessageIsDeletedIfTheQueueCannotGrow) {
  int deaths = 0;
  SvrDMItem item(LocallyUniqueID(0, 1), nullptr, nullptr, 0, "", false);
  auto* const message = new CountedMessage(deaths);
  {
    const MemoryFor nothing(0);
    EXPECT_THROW(item.AddNotification(message), std::bad_alloc);
  }
  EXPECT_EQ(deaths, 1);
  EXPECT_THAT(item.Notifications(), IsEmpty());
}

TEST(FullMemory, QueuedMessagesStayIfTheQueueCannotGrow) {
  int deaths = 0;
  SvrDMItem item(LocallyUniqueID(0, 1), nullptr, nullptr, 0, "", false);
  item.AddNotification(new CountedMessage(deaths));
  while (item.Notifications().size() < item.Notifications().capacity()) {
    item.AddNotification(new CountedMessage(deaths));
  }
  const std::size_t before = item.Notifications().size();
  auto* const message = new CountedMessage(deaths);
  {
    const MemoryFor nothing(0);
    EXPECT_THROW(item.AddNotification(message), std::bad_alloc);
  }
  EXPECT_EQ(deaths, 1);
  EXPECT_THAT(item.Notifications(), SizeIs(before));
}

TEST(FullMemory, SetDataSetOwnsTheNewSourceIfAnyStepFails) {
  const std::string file(100, 'n');
  long count = 0;
  for (bool replaced = false; !replaced; ++count) {
    int oldDeaths = 0, newDeaths = 0;
    {
      SvrDMItem item(LocallyUniqueID(0, 1), new support::CountedSource(oldDeaths), nullptr, 0, file,
                     false);
      std::unique_ptr<ORVX_DataSource> source = std::make_unique<support::CountedSource>(newDeaths);
      const ORVX_DataSource* const given = source.get();
      replaced = !support::FailsWithMemoryFor(count, [&] { item.SetDataSet(std::move(source)); });
      EXPECT_EQ(item.DataSource(), given);
      EXPECT_EQ(oldDeaths, 1);
      EXPECT_EQ(newDeaths, 0);
    }
    EXPECT_EQ(newDeaths, 1);
  }
  EXPECT_GT(count, 1);
}

// Messages are passed between libraries, so a program that replaces its allocator must not affect
// them.
TEST(FullMemory, AMessageDoesNotUseTheGlobalAllocator) {
  const MemoryFor nothing(0);
  EXPECT_NO_THROW(delete new ResetUndoMsg());
}

// Does nothing, and allocates nothing.
class Listener : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override { ++passes; }
  int passes = 0;
};

class FullMemoryInAComparison : public testing::Test {
 protected:
  // Runs a pass with a change of every kind, in which `count` allocations succeed. Returns whether
  // an allocation failed.
  bool PassWithMemoryFor(long count, support::Shortage shortage = support::Shortage::Lasts) {
    const LocallyUniqueID id = AddDataset(registry, "A B C D E");
    item = registry.GetDataSet(id);
    item->Register(listener);
    support::WriteNothing(registry, id);
    writer = std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
    support::Replace(*writer->GetDataSource(), changed);
    listener.passes = 0;

    const MemoryFor some(count, shortage);
    try {
      writer->Notify();
      return false;
    } catch (const std::bad_alloc&) {
      return true;
    }
  }

  const std::vector<ORVX_Variable> changed = {Var("E"), support::Labelled(Var("B"), "second"),
                                              Var("F"), Var("A")};
  ServerDataManager registry;
  Listener listener;
  SvrDMItemPtr item{nullptr};
  std::unique_ptr<SvrDMWriteableDataSource> writer;
};

TEST_F(FullMemoryInAComparison, KeepsTheQueueAndReleasesTheMutex) {
  support::PlainComparison plain;
  plain.view = support::Vars("A B C D E");
  const std::vector<support::Said> all = plain.Update(changed);

  long count = 0;
  for (; PassWithMemoryFor(count); ++count) {
    SCOPED_TRACE("after " + std::to_string(count) + " allocations");
    const std::vector<support::Said> queued = support::WhatIsSaidBy(item->Notifications());
    EXPECT_EQ(listener.passes, 0);
    ASSERT_LE(queued.size(), all.size());
    for (std::size_t i = 0; i < queued.size(); ++i) EXPECT_EQ(queued[i], all[i]);
    // This call would deadlock if the notification mutex were held.
    item->Unregister(listener);
    writer.reset();
  }
  EXPECT_GT(count, 5);
  EXPECT_EQ(listener.passes, 1);
}

TEST_F(FullMemoryInAComparison, TheNextPassBringsTheViewUpToDate) {
  long count = 0;
  for (; PassWithMemoryFor(count); ++count) {
    SCOPED_TRACE("after " + std::to_string(count) + " allocations");
    writer->Notify();
    EXPECT_EQ(listener.passes, 1);
    EXPECT_THAT(item->Notifications(), IsEmpty());

    writer->Notify();
    EXPECT_EQ(listener.passes, 1) << "the view still differs from the source";
    writer.reset();
  }
  EXPECT_GT(count, 5);
}

TEST_F(FullMemoryInAComparison, ContinuesStepByStepAfterASingleFailedAllocation) {
  EXPECT_FALSE(PassWithMemoryFor(0, support::Shortage::Passes));
  EXPECT_EQ(listener.passes, 1);
}

}  // namespace
