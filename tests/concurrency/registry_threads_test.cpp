// The registry used by several threads at once.

#include <liborvxdemg/ErrorMsg.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::AddDataset;
using support::RecordingObserver;
using support::RecordingRegistryObserver;
using support::WatchedThread;
using testing::IsEmpty;
using testing::SizeIs;

bool IsKnown(const ServerDataManager& registry, LocallyUniqueID id) {
  try {
    return registry.GetDataSet(id)->ID() == id;
  } catch (const ErrorMsg& error) {
    EXPECT_EQ(error.GetCode(), 2001U);
    return false;
  }
}

// Both threads start together, and each looks for the dataset that the other has last shown, which
// the other may be deleting at that moment.
TEST(RegistryThreads, TwoThreadsAddFindAndDelete) {
  constexpr int kRounds = 400;
  ServerDataManager registry;
  RecordingRegistryObserver observer;
  registry.Register(observer);
  std::latch start(2);
  std::atomic<unsigned int> shown[2] = {};
  std::vector<LocallyUniqueID> added[2];

  const auto use = [&](std::size_t self) {
    start.arrive_and_wait();
    for (int round = 0; round < kRounds; ++round) {
      const LocallyUniqueID id = AddDataset(registry, "A B");
      added[self].push_back(id);
      shown[self] = id.Serial();
      EXPECT_TRUE(IsKnown(registry, id));
      static_cast<void>(IsKnown(registry, LocallyUniqueID(0, shown[1 - self])));
      EXPECT_LE(registry.GetAllDatasets().size(), 2U);
      registry.Delete(id);
      EXPECT_FALSE(IsKnown(registry, id));
    }
  };
  std::thread other([&] { use(1); });
  use(0);
  other.join();

  EXPECT_THAT(registry.GetAllDatasets(), IsEmpty());
  std::set<LocallyUniqueID> all(added[0].begin(), added[0].end());
  all.insert(added[1].begin(), added[1].end());
  EXPECT_THAT(all, SizeIs(2 * kRounds)) << "an identifier was given out twice";
  EXPECT_THAT(observer.Created(), SizeIs(2 * kRounds));
  EXPECT_THAT(observer.Deleted(), SizeIs(2 * kRounds));
  registry.Unregister(observer);
}

// The thread reads; then the registry drops the dataset; then the thread goes on and lets go.
TEST(RegistryThreads, ADatasetThatIsReadOutlivesItsDeletionByAnotherThread) {
  int deaths = 0;
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(*new support::CountedSource(deaths), "", /*quiet=*/false);
  std::latch reading(1), deleted(1);

  std::thread reader([&] {
    const SvrDMInputDataSource handle(registry, id, false);
    reading.count_down();
    deleted.wait();
    EXPECT_EQ(handle->ColumnCount(), 0);
    EXPECT_EQ(deaths, 0);
  });
  reading.wait();
  registry.Delete(id);
  deleted.count_down();
  reader.join();

  EXPECT_EQ(deaths, 1);
}

// The lock is asked for only after the registry has answered.
TEST(RegistryThreads, TheRegistryIsFreeWhileAThreadWaitsForADataset) {
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  auto writer = std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
  WatchedThread reading([&] { const SvrDMInputDataSource handle(registry, id, false); });
  WatchedThread writing(
      [&] { const SvrDMWriteableDataSource handle(registry, id, false, nullptr); });
  EXPECT_TRUE(reading.Waits());
  EXPECT_TRUE(writing.Waits());

  WatchedThread elsewhere([&] {
    const LocallyUniqueID another = AddDataset(registry, "B");
    EXPECT_TRUE(IsKnown(registry, another));
    EXPECT_THAT(registry.GetAllDatasets(), SizeIs(2));
    registry.Delete(another);
  });
  EXPECT_FALSE(elsewhere.Waits());

  writer.reset();
}

// The observer holds up the notice until another thread has tried to get into the registry.
TEST(RegistryThreads, OtherThreadsWaitWhileRegistryObserversAreTold) {
  ServerDataManager registry;
  RecordingRegistryObserver observer;
  std::unique_ptr<WatchedThread> finding;
  observer.onCreated = [&](auto) {
    finding = std::make_unique<WatchedThread>([&] { registry.GetAllDatasets(); });
    EXPECT_TRUE(finding->Waits());
  };
  registry.Register(observer);

  AddDataset(registry, "A");

  ASSERT_NE(finding, nullptr);
  finding->Join();
  registry.Unregister(observer);
}

// One thread registers and unregisters without end while the other makes a pass for each write.
TEST(RegistryThreads, ObserversOfADatasetComeAndGoWhileAnotherThreadWrites) {
  constexpr int kWrites = 200;
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A");
  RecordingObserver steady, fleeting;
  registry.GetDataSet(id)->Register(steady);
  std::latch start(2);
  std::atomic<bool> written = false;

  std::thread registering([&] {
    SvrDMDataset handle(registry, id);
    start.arrive_and_wait();
    while (!written) {
      handle.Register(fleeting);
      handle.Register(fleeting);
      handle.Unregister(fleeting);
    }
  });
  start.arrive_and_wait();
  for (int i = 0; i < kWrites; ++i) {
    support::Write(registry, id, [&](SvrDMWriteableDataSource& writer) {
      writer->GetVariable(0).SetLabel(std::to_string(i));
    });
  }
  written = true;
  registering.join();

  EXPECT_THAT(steady.passes, SizeIs(kWrites));
  EXPECT_LE(fleeting.passes.size(), 2U * kWrites);
}

}  // namespace
