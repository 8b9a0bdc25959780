// The order of steps when handles acquire and release locks. This program replaces sfMutexRW with a
// class that locks nothing and records the numbers of readers and writers at each call. It also
// replaces SvrDMItem::AddReader, to record its calls in the same way.

#include <libsfthread/sfMutexRW.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> steps;
const SvrDMItem* watched = nullptr;
bool triesSucceed = true;

void Step(const std::string& what) {
  if (watched == nullptr) return;
  steps.push_back(what + " with " + std::to_string(watched->ReadersCount()) + " readers, " +
                  std::to_string(watched->WritersCount()) + " writers");
}

}  // namespace

void sfMutexRW::readLock() {
  Step("read lock");
}
void sfMutexRW::writeLock() {
  Step("write lock");
}
bool sfMutexRW::tryReadLock() {
  Step("tried read lock");
  return triesSucceed;
}
bool sfMutexRW::tryWriteLock() {
  Step("tried write lock");
  return triesSucceed;
}
void sfMutexRW::unlock() noexcept {
  Step("unlock");
}

void SvrDMItem::AddReader() {
  Step("reader counted");
  ++readersCount_;
}

namespace {

using testing::ElementsAre;

class StepsOfHandles : public testing::Test {
 protected:
  StepsOfHandles() {
    steps.clear();
    triesSucceed = true;
    watched = &*item;
  }
  ~StepsOfHandles() override { watched = nullptr; }

  ServerDataManager registry;
  LocallyUniqueID id = support::AddDataset(registry, "A B", /*quiet=*/true);
  SvrDMItemPtr item = registry.GetDataSet(id);
};

TEST_F(StepsOfHandles, AReaderIsCountedFromAfterAcquiringToAfterReleasing) {
  { const SvrDMInputDataSource reader(registry, id, false); }

  EXPECT_THAT(steps, ElementsAre("read lock with 0 readers, 0 writers",
                                 "reader counted with 0 readers, 0 writers",
                                 "unlock with 1 readers, 0 writers"));
  EXPECT_EQ(item->ReadersCount(), 0);
}

TEST_F(StepsOfHandles, AReaderWaitsForTheLockEvenWithTryOnly) {
  triesSucceed = false;

  { const SvrDMInputDataSource reader(registry, id, /*tryOnly=*/true); }

  EXPECT_THAT(steps, ElementsAre("read lock with 0 readers, 0 writers",
                                 "reader counted with 0 readers, 0 writers",
                                 "unlock with 1 readers, 0 writers"));
}

TEST_F(StepsOfHandles, AWriterNotifiesObserversThenIsCountedAsAReaderWhileItReleases) {
  support::RecordingObserver observer;
  observer.reaction = [](auto) { Step("observer notified"); };
  item->Register(observer);

  { const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr); }

  EXPECT_THAT(steps, ElementsAre("write lock with 0 readers, 1 writers",
                                 "observer notified with 0 readers, 1 writers",
                                 "reader counted with 0 readers, 1 writers",
                                 "unlock with 1 readers, 0 writers"));
  EXPECT_EQ(item->ReadersCount(), 0);
  EXPECT_EQ(item->WritersCount(), 0);
}

TEST_F(StepsOfHandles, ATryOnlyWriterReleasesLikeAnyOtherWriter) {
  { const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/true, nullptr); }

  EXPECT_THAT(steps, ElementsAre("tried write lock with 0 readers, 1 writers",
                                 "reader counted with 0 readers, 1 writers",
                                 "unlock with 1 readers, 0 writers"));
}

TEST_F(StepsOfHandles, AfterAFailedTryNoHandleUnlocks) {
  triesSucceed = false;
  EXPECT_THROW(SvrDMWriteableDataSource(registry, id, /*tryOnly=*/true, nullptr), int);
  { const SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr); }
  { const SvrDMInputDataSource reader(registry, id, false); }

  EXPECT_THAT(steps, ElementsAre("tried write lock with 0 readers, 1 writers",
                                 "write lock with -1 readers, 2 writers",
                                 "reader counted with -1 readers, 2 writers",
                                 "read lock with -1 readers, 1 writers",
                                 "reader counted with -1 readers, 1 writers"));
}

TEST_F(StepsOfHandles, AFailedTryOnTheItemLeavesTheLockHeldDespiteLaterReleases) {
  EXPECT_TRUE(item->AcquireReadLock(false));
  triesSucceed = false;
  EXPECT_FALSE(item->AcquireWriteLock(/*tryOnly=*/true));
  item->ReleaseLock();
  EXPECT_TRUE(item->AcquireReadLock(false));
  item->ReleaseLock();

  EXPECT_THAT(steps, ElementsAre("read lock with 0 readers, 0 writers",
                                 "tried write lock with 0 readers, 0 writers",
                                 "read lock with 0 readers, 0 writers"));
}

TEST_F(StepsOfHandles, TheRegistryNeverAcquiresTheLockOfADataset) {
  registry.GetDataSet(id);
  registry.GetDataSet("");
  registry.GetAllDatasets();
  registry.Password(id, "secret", false);
  registry.SavFileExternallyChanged("");
  registry.Delete(id);
  registry.Clear();

  EXPECT_THAT(steps, testing::IsEmpty());
}

}  // namespace
