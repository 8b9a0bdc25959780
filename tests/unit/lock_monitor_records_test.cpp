// The lock monitor's records of simultaneous waits and of locks that stay held; its behaviour when
// memory runs out; and that it needs no memory while it is off. Most tests use no real locks.

#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/concurrency/MeetingPoint.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullMemory.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace {

using sdm_internal::LockHolder;
using sdm_internal::LockRequest;
using sdm_internal::ScopeRecord;
using sdm_internal::WaitRecord;
using std::chrono::milliseconds;
using support::AddDataset;
using support::MemoryFor;
using support::Shortage;

using Kind = LockReport::Kind;
using Mode = LockReport::Mode;

// Switches the monitor on and counts its incidents.
class LockRecords : public testing::Test {
 protected:
  LockRecords() {
    LockMonitor::SetHandler([this](const LockIncident&) { ++incidents_; });
    LockMonitor::Start();
  }
  ~LockRecords() override {
    LockMonitor::Stop();
    LockMonitor::SetHandler(nullptr);
  }

  ServerDataManager registry_;
  // At least 64 bytes apart, like datasets: the monitor counts the users of each lock in an entry
  // that it finds by the address divided by 64.
  struct alignas(64) Address {};
  const Address locks_[2] = {};
  const LockRequest first_{Kind::Notification, Mode::Exclusive, LocallyUniqueID(0, 0), &locks_[0],
                           &registry_};
  const LockRequest second_{Kind::Notification, Mode::Exclusive, LocallyUniqueID(0, 1), &locks_[1],
                            &registry_};
  std::atomic<int> incidents_ = 0;
};

// Delays a thread for a few nanoseconds per step.
void Spin(int steps) {
  for (std::atomic<int> left = steps; left > 0;) --left;
}

// One thread holds the first lock and begins to wait for the second. At the same time, the other
// thread acquires the second lock and begins to wait for the first. Each round delays the threads
// differently, so that many interleavings occur.
TEST_F(LockRecords, DeadlockOfSimultaneousWaitsIsReportedOnce) {
  constexpr int kRounds = 2000;
  MeetingPoint meeting(2);
  std::atomic<int> wrong = 0;
  std::thread other([&] {
    for (int round = 0; round < kRounds; ++round) {
      meeting.Meet();
      Spin(round % 199);
      ScopeRecord second(second_);
      second.Acquired();
      const ScopeRecord first(first_);
      meeting.Meet();
      meeting.Meet();
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    ScopeRecord first(first_);
    first.Acquired();
    meeting.Meet();
    Spin(round % 200);
    const ScopeRecord second(second_);
    meeting.Meet();
    if (incidents_.exchange(0) != 1) ++wrong;
    meeting.Meet();
  }
  other.join();
  EXPECT_EQ(wrong, 0);
}

// Lets each allocation of the monitor fail in turn: first together with all later allocations, then
// alone. `wait(count, shortage)` causes one incident; the first `count` allocations succeed.
// Returns how often the incident was omitted for lack of memory.
template <class Wait>
int OmittedIncidents(std::atomic<int>& incidents, ServerDataManager& registry, const Wait& wait) {
  int omitted = 0;
  for (const Shortage shortage : {Shortage::Lasts, Shortage::Passes}) {
    bool allocationFails = true;
    for (long count = 0; allocationFails; ++count) {
      LockMonitor::Stop();
      LockMonitor::Start();
      incidents = 0;
      const long failed = support::heap.failed;
      wait(count, shortage);
      allocationFails = support::heap.failed != failed;
      const bool complete = sdm_internal::ReportLocksOf(&registry).complete;
      EXPECT_NE(complete, incidents == 0) << "after " << count << " allocations";
      if (!complete) ++omitted;
    }
  }
  EXPECT_EQ(incidents, 1) << "no allocation fails in the last turn";
  return omitted;
}

TEST_F(LockRecords, ADeadlockOmittedForLackOfMemoryMakesReportsIncomplete) {
  const auto wait = [&](long count, Shortage shortage) {
    ScopeRecord held(first_);
    held.Acquired();
    const MemoryFor some(count, shortage);
    const WaitRecord waits(first_, LockHolder());
  };
  EXPECT_GT(OmittedIncidents(incidents_, registry_, wait), 0);
}

TEST_F(LockRecords, ALongWaitOmittedForLackOfMemoryMakesReportsIncomplete) {
  const auto wait = [&](long count, Shortage shortage) {
    const WaitRecord waits(first_, LockHolder());
    const MemoryFor some(count, shortage);
    sdm_internal::ReportLongWaits(milliseconds(-1));
  };
  EXPECT_GT(OmittedIncidents(incidents_, registry_, wait), 0);
}

struct CountingObserver : SvrDMDataSetObserver {
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override { ++calls; }
  int calls = 0;
};

// A writer whose try fails leaves the lock held forever.
TEST_F(LockRecords, ALockThatStaysHeldIsForgottenWithItsItem) {
  const LocallyUniqueID id = AddDataset(registry_, "A B");
  {
    SvrDMItemPtr item = registry_.GetDataSet(id);
    const SvrDMInputDataSource reader(item, /*tryOnly=*/false);
    EXPECT_ANY_THROW(SvrDMWriteableDataSource(item, /*tryOnly=*/true, /*originator=*/nullptr));
  }
  EXPECT_EQ(registry_.GetLockReport().holds.size(), 1U);
  registry_.Delete(id);
  EXPECT_EQ(registry_.GetLockReport().holds.size(), 0U);
}

// Counts allocations on a new thread, which has no table of lock records yet.
TEST(LockMonitorOff, NeedsNoMemoryForHandlesObserversAndPasses) {
  ASSERT_FALSE(LockMonitor::IsOn());
  ServerDataManager registry;
  const LocallyUniqueID id = AddDataset(registry, "A B");
  SvrDMItemPtr item = registry.GetDataSet(id);
  CountingObserver observer;
  item->Register(observer);
  support::WriteNothing(registry, id);  // the first pass; the measured pass is the second
  item->Unregister(observer);
  long forHandles = 0;
  long forRegister = 0;
  long forPass = 0;
  long forUnregister = 0;
  std::thread([&] {
    const auto allocations = [](const auto& work) {
      const long before = support::heap.taken;
      work();
      return support::heap.taken - before;
    };
    forHandles = allocations([&] {
      const SvrDMDataset handle(registry, id);
      { const SvrDMInputDataSource reader(item, /*tryOnly=*/false); }
      const SvrDMWriteableDataSource writer(item, /*tryOnly=*/false, /*originator=*/nullptr);
    });
    forRegister = allocations([&] { item->Register(observer); });
    std::optional<SvrDMWriteableDataSource> writer(std::in_place, item, false, nullptr);
    writer->AddNotification(new ResetUndoMsg());
    forPass = allocations([&] { writer.reset(); });
    forUnregister = allocations([&] { item->Unregister(observer); });
  }).join();
  EXPECT_EQ(observer.calls, 2);
  EXPECT_EQ(forHandles, 0);
  EXPECT_EQ(forRegister, 1) << "the entry in the list of observers";
  EXPECT_EQ(forPass, 0);
  EXPECT_EQ(forUnregister, 0);
}

}  // namespace
