// The lock monitor when memory runs out: locks are still acquired and released.

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullMemory.h>

#include <gmock/gmock.h>

#include <optional>
#include <thread>

namespace {

TEST(LockMonitorMemory, AReaderWithoutARecordMakesReportsIncomplete) {
  ServerDataManager registry;
  SvrDMItemPtr item = registry.GetDataSet(support::AddDataset(registry, "A"));
  LockMonitor::Start();
  // A new thread has no table of records yet.
  std::thread([&] {
    const support::MemoryFor nothing(0);
    const SvrDMInputDataSource reader(item, /*tryOnly=*/false);
  }).join();
  const LockReport report = registry.GetLockReport();
  LockMonitor::Stop();
  EXPECT_FALSE(report.complete);
  EXPECT_EQ(report.Text(),
            "No lock is held.\nIncomplete: the lock monitor is off or ran out of memory.\n");
  EXPECT_EQ(item->ReadersCount(), 0);
}

}  // namespace
