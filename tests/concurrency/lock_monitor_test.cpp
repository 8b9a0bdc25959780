// The lock monitor: its reports, and the deadlocks and long waits that it detects. A test resolves
// a deadlock by releasing one of the locks itself. If that is not possible, the deadlock occurs in
// a child process, which the handler ends.

#include <liborvxdemg/ResetUndoMsg.h>
#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <ServerDataManager/ThreadSafety.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <latch>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "MeetingPoint.h"

namespace {

using std::chrono::milliseconds;
using support::AddDataset;
using support::RecordingObserver;
using support::RecordingRegistryObserver;
using support::WatchedThread;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

using Kind = LockReport::Kind;
using Mode = LockReport::Mode;
using Reader = std::optional<SvrDMInputDataSource>;
using Writer = std::optional<SvrDMWriteableDataSource>;

// Switches the monitor on and records its incidents.
class LockMonitorTest : public testing::Test {
 protected:
  LockMonitorTest() {
    LockMonitor::SetHandler([this](const LockIncident& incident) { Keep(incident); });
    LockMonitor::Start();
    LockMonitor::NameThread(nullptr);
  }
  ~LockMonitorTest() override {
    LockMonitor::Stop();
    LockMonitor::SetHandler(nullptr);
  }

  void Keep(const LockIncident& incident) {
    const sdm_internal::MutexLock lock(mutex_);
    incidents_.push_back(incident);
  }
  std::vector<LockIncident> Incidents() {
    const sdm_internal::MutexLock lock(mutex_);
    return incidents_;
  }
  // Ends the process if the incidents are not reported within a minute, because their threads would
  // wait forever.
  std::vector<LockIncident> WaitForIncidents(std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (Incidents().size() < count) {
      if (std::chrono::steady_clock::now() > end) std::abort();
      std::this_thread::yield();
    }
    return Incidents();
  }
  std::vector<LockIncident> TakeIncidents() {
    const sdm_internal::MutexLock lock(mutex_);
    return std::exchange(incidents_, {});
  }
  void LimitWaits(milliseconds longWait = milliseconds(1)) {
    LockMonitor::SetHandler([this](const LockIncident& incident) { Keep(incident); }, longWait);
  }

  // A thread acquires the write lock of the first dataset, then calls `wait`, which waits for the
  // same lock in the given mode. Checks the incident and resolves the deadlock.
  void ExpectWriterWaitsForItself(Mode mode, const std::function<void()>& wait) {
    Writer writer;
    WatchedThread thread([&] {
      writer.emplace(firstItem_, false, nullptr);
      wait();
    });
    const LockIncident incident = WaitForIncidents(1)[0];
    writer.reset();
    thread.Join();
    EXPECT_EQ(incident.kind, LockIncident::Kind::Deadlock);
    ASSERT_THAT(incident.steps, SizeIs(1));
    EXPECT_EQ(incident.steps[0].wait.mode, mode);
    EXPECT_EQ(incident.steps[0].blocker.mode, Mode::Write);
    EXPECT_EQ(incident.steps[0].blocker.thread.number, incident.steps[0].wait.thread.number);
    EXPECT_TRUE(incident.steps[0].blocker.lock == incident.steps[0].wait.lock);
    EXPECT_THAT(Incidents(), SizeIs(1));
  }

  // A registry observer, called under the registry lock, waits to read `item`. The writer of `item`
  // waits for the registry lock. Calls `check` when the deadlock is reported, then resolves it.
  void DeadlockOfRegistryLockAndDataset(SvrDMItemPtr& item, const std::function<void()>& check) {
    Writer writer;
    std::latch bothHold(2);
    RecordingRegistryObserver observer;
    observer.onCreated = [&](LocallyUniqueID) {
      bothHold.arrive_and_wait();
      const SvrDMInputDataSource reader(item, false);
    };
    registry_.Register(observer);
    WatchedThread writes([&] {
      writer.emplace(item, false, nullptr);
      bothHold.arrive_and_wait();
      static_cast<void>(registry_.GetDataSet(second_));
    });
    WatchedThread adds([&] { AddDataset(registry_, "F"); });
    static_cast<void>(WaitForIncidents(1));
    check();
    writer.reset();
    adds.Join();
    writes.Join();
    registry_.Unregister(observer);
  }

  ServerDataManager registry_;
  const LocallyUniqueID first_ = AddDataset(registry_, "A B");
  const LocallyUniqueID second_ = AddDataset(registry_, "C");
  SvrDMItemPtr firstItem_ = registry_.GetDataSet(first_);
  SvrDMItemPtr secondItem_ = registry_.GetDataSet(second_);

 private:
  sdm_internal::Mutex mutex_;
  std::vector<LockIncident> incidents_ SDM_GUARDED_BY(mutex_);
};

// Prints the incident to standard error and ends the process. Used for deadlocks that cannot be
// resolved.
void PrintAndExit(const LockIncident& incident) {
  std::fprintf(stderr, "%s\n", incident.Text().c_str());
  _exit(3);
}

// Returns a regular expression that matches the two texts in either order.
std::string EitherFirst(const std::string& one, const std::string& other) {
  return "deadlock: (" + one + "; " + other + "|" + other + "; " + one + ")\n";
}

// ---------------------------------------------------------------------------------------------
// Reports

TEST_F(LockMonitorTest, ReportsNothingWhileItIsOff) {
  Writer writer(std::in_place, firstItem_, false, nullptr);
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  while (registry_.GetLockReport().waits.empty()) std::this_thread::yield();
  LockMonitor::Stop();
  const SvrDMInputDataSource reader(secondItem_, false);
  const LockReport report = registry_.GetLockReport();
  EXPECT_THAT(report.holds, IsEmpty());
  EXPECT_THAT(report.waits, IsEmpty());
  EXPECT_FALSE(report.complete);
  writer.reset();
}

TEST_F(LockMonitorTest, ReportsAReaderWithItsThreadItsHandleAndTheirLabels) {
  LockMonitor::NameThread("charts");
  const auto before = std::chrono::steady_clock::now();
  const SvrDMInputDataSource reader(firstItem_, false, "weighted means");
  const LockReport report = registry_.GetLockReport();

  ASSERT_THAT(report.holds, SizeIs(1));
  const LockReport::Entry& hold = report.holds[0];
  EXPECT_EQ(hold.lock.kind, Kind::Data);
  EXPECT_EQ(hold.lock.dataset, first_);
  EXPECT_EQ(hold.mode, Mode::Read);
  EXPECT_EQ(hold.thread.label, "charts");
  EXPECT_EQ(hold.handle, &reader);
  EXPECT_EQ(hold.label, "weighted means");
  EXPECT_GT(hold.since, before - std::chrono::seconds(1));
  EXPECT_LE(hold.since, report.taken);
  EXPECT_TRUE(report.complete);
}

// The library's thread updates the time of holds only while locks are acquired. If this thread is
// late, a hold may appear older than it is, so the test tries several times.
TEST_F(LockMonitorTest, AHoldAfterAnIdleTimeShowsWhenItBegan) {
  constexpr auto kIdle = std::chrono::milliseconds(500);
  bool isExact = false;
  for (int turn = 0; turn < 10 && !isExact; ++turn) {
    std::this_thread::sleep_for(kIdle);
    const auto before = std::chrono::steady_clock::now();
    const SvrDMInputDataSource reader(firstItem_, false);
    isExact = registry_.GetLockReport().holds.at(0).since > before - kIdle / 2;
  }
  EXPECT_TRUE(isExact);
}

TEST_F(LockMonitorTest, TheTimesOfHoldsAdvanceWhileLocksAreAcquired) {
  const auto begin = std::chrono::steady_clock::now();
  const auto end = begin + std::chrono::minutes(1);
  bool hasAdvanced = false;
  while (!hasAdvanced && std::chrono::steady_clock::now() < end) {
    const SvrDMInputDataSource reader(firstItem_, false);
    hasAdvanced =
        registry_.GetLockReport().holds.at(0).since > begin + std::chrono::milliseconds(100);
  }
  EXPECT_TRUE(hasAdvanced);
}

TEST_F(LockMonitorTest, AHoldWithoutALabelDoesNotGetTheLabelOfAnEarlierHold) {
  { const SvrDMInputDataSource labelled(firstItem_, false, "earlier"); }
  const SvrDMInputDataSource reader(firstItem_, false);
  EXPECT_EQ(registry_.GetLockReport().holds.at(0).label, "");
}

TEST_F(LockMonitorTest, ReportsManyHoldsOfOneThreadInTheOrderOfAcquisition) {
  std::vector<std::unique_ptr<SvrDMInputDataSource>> readers;
  for (int i = 0; i < 100; ++i) {
    readers.push_back(std::make_unique<SvrDMInputDataSource>(firstItem_, false));
  }
  for (const int released : {99, 50, 0}) readers.erase(readers.begin() + released);

  std::vector<const void*> expected;
  for (const auto& reader : readers) expected.push_back(reader.get());
  std::vector<const void*> reported;
  for (const LockReport::Entry& hold : registry_.GetLockReport().holds) {
    reported.push_back(hold.handle);
  }
  EXPECT_EQ(reported, expected);
}

// The text has a heading for each lock: first the locks that are held, then the other locks. Each
// of the two groups has the order of the report.
TEST(LockReportText, ListsTheHoldersAndWaitersOfEachLock) {
  const auto taken = std::chrono::steady_clock::now();
  const int locks[4] = {};
  const LockReport::Lock first{Kind::Data, LocallyUniqueID(0, 1), &locks[0]};
  const LockReport::Lock second{Kind::Data, LocallyUniqueID(3, 2), &locks[1]};
  const LockReport::Lock mutex{Kind::Notification, LocallyUniqueID(0, 1), &locks[2]};
  const LockReport::Lock registry{Kind::Registry, LocallyUniqueID(), &locks[3]};
  const LockReport::Thread charts{7, "charts"};
  const LockReport::Thread importer{2, "importer"};
  const LockReport::Thread unnamed{3, ""};
  LockReport report;
  report.taken = taken;
  report.holds = {
      {first, Mode::Write, importer, nullptr, "", taken - milliseconds(2040)},
      {mutex, Mode::Exclusive, importer, nullptr, "", taken - milliseconds(1500)},
      {second, Mode::Read, charts, nullptr, "weighted means", taken - milliseconds(260)},
      {second, Mode::Read, unnamed, nullptr, "", taken},
  };
  report.waits = {
      {second, Mode::Write, importer, nullptr, "monthly import", taken - milliseconds(61300)},
      {registry, Mode::Exclusive, importer, nullptr, "", taken},
      {first, Mode::Read, charts, nullptr, "", taken + milliseconds(4)},
      {mutex, Mode::Exclusive, unnamed, nullptr, "", taken - milliseconds(120)},
  };
  EXPECT_EQ(report.Text(),
            "dataset 0:1\n"
            "  importer (thread 2) writes for 2.0 s\n"
            "  charts (thread 7) waits to read for 0.0 s\n"
            "the notification mutex of dataset 0:1\n"
            "  importer (thread 2) holds for 1.5 s\n"
            "  thread 3 waits for 0.1 s\n"
            "dataset 3:2\n"
            "  charts (thread 7) reads as \"weighted means\" for 0.3 s\n"
            "  thread 3 reads for 0.0 s\n"
            "  importer (thread 2) waits to write as \"monthly import\" for 61.3 s\n"
            "the registry lock\n"
            "  importer (thread 2) waits for 0.0 s\n");
}

TEST(LockReportText, SaysIfNothingIsHeldOrTheReportIsIncomplete) {
  LockReport report;
  EXPECT_EQ(report.Text(), "No lock is held.\n");
  report.complete = false;
  EXPECT_EQ(report.Text(),
            "No lock is held.\nIncomplete: the lock monitor is off or ran out of memory.\n");
}

TEST_F(LockMonitorTest, ReportsTheLabelOfALockAcquiredByATry) {
  auto reader = SvrDMInputDataSource::TryRead(firstItem_, milliseconds(0), "means");
  auto another = SvrDMInputDataSource::TryRead(registry_, first_, milliseconds(0), "counts");
  auto writer = SvrDMWriteableDataSource::TryWrite(secondItem_, milliseconds(0), nullptr, "import");
  const LockReport report = registry_.GetLockReport();
  const void* const handles[] = {&*reader, &*another, &*writer};
  reader.reset();
  another.reset();
  writer.reset();
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());

  ASSERT_THAT(report.holds, SizeIs(3));
  EXPECT_EQ(report.holds[0].lock.dataset, first_);
  EXPECT_EQ(report.holds[0].mode, Mode::Read);
  EXPECT_EQ(report.holds[0].handle, handles[0]);
  EXPECT_EQ(report.holds[0].label, "means");
  EXPECT_EQ(report.holds[1].handle, handles[1]);
  EXPECT_EQ(report.holds[1].label, "counts");
  EXPECT_EQ(report.holds[2].lock.dataset, second_);
  EXPECT_EQ(report.holds[2].mode, Mode::Write);
  EXPECT_EQ(report.holds[2].handle, handles[2]);
  EXPECT_EQ(report.holds[2].label, "import");

  const auto sorts =
      SvrDMWriteableDataSource::TryWrite(registry_, second_, milliseconds(0), nullptr, "sort");
  EXPECT_EQ(registry_.GetLockReport().holds.at(0).label, "sort");
}

TEST_F(LockMonitorTest, ReportsWaitsWithATimeLimit) {
  Writer writer(std::in_place, firstItem_, false, nullptr);
  const auto within = std::chrono::hours(1);
  WatchedThread reads(
      [&] { EXPECT_TRUE(SvrDMInputDataSource::TryRead(firstItem_, within, "means").has_value()); });
  EXPECT_TRUE(reads.Waits());
  WatchedThread writes([&] {
    EXPECT_TRUE(SvrDMWriteableDataSource::TryWrite(firstItem_, within, nullptr).has_value());
  });
  EXPECT_TRUE(writes.Waits());
  const LockReport report = registry_.GetLockReport();
  writer.reset();
  reads.Join();
  writes.Join();
  EXPECT_THAT(report.holds, SizeIs(1));
  ASSERT_THAT(report.waits, SizeIs(2));
  EXPECT_EQ(report.waits[0].mode, Mode::Read);
  EXPECT_EQ(report.waits[0].handle, nullptr);
  EXPECT_EQ(report.waits[0].label, "means");
  EXPECT_EQ(report.waits[1].mode, Mode::Write);
  EXPECT_THAT(registry_.GetLockReport().waits, IsEmpty());
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

// Two threads each hold one dataset and wait for the other dataset. One of the two waits has a time
// limit.
TEST_F(LockMonitorTest, AWaitWithATimeLimitIsNoPartOfADeadlock) {
  Writer writer(std::in_place, firstItem_, false, nullptr);
  Reader reader;
  WatchedThread other([&] {
    reader.emplace(secondItem_, false);
    EXPECT_TRUE(SvrDMInputDataSource::TryRead(firstItem_, std::chrono::hours(1)).has_value());
  });
  ASSERT_TRUE(other.Waits());
  WatchedThread releases([&] {
    while (registry_.GetLockReport().waits.size() < 2) std::this_thread::yield();
    reader.reset();
  });
  const Writer second(std::in_place, secondItem_, false, nullptr);
  writer.reset();
  other.Join();
  EXPECT_THAT(Incidents(), IsEmpty());
}

TEST_F(LockMonitorTest, ReportsNothingForAFailedTry) {
  const SvrDMWriteableDataSource writer(firstItem_, false, nullptr, "import");
  std::thread([&] {
    EXPECT_FALSE(SvrDMInputDataSource::TryRead(firstItem_, milliseconds(0)).has_value());
    EXPECT_FALSE(
        SvrDMWriteableDataSource::TryWrite(firstItem_, milliseconds(0), nullptr).has_value());
  }).join();
  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].label, "import");
}

TEST_F(LockMonitorTest, ReportsTheLabelsOfHandlesMadeFromRegistryAndIdentifier) {
  const SvrDMInputDataSource reader(registry_, first_, false, "means");
  const SvrDMWriteableDataSource writer(registry_, second_, false, nullptr, "import");
  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(2));
  EXPECT_EQ(report.holds[0].label, "means");
  EXPECT_EQ(report.holds[0].mode, Mode::Read);
  EXPECT_EQ(report.holds[1].label, "import");
  EXPECT_EQ(report.holds[1].mode, Mode::Write);
}

TEST_F(LockMonitorTest, ReportsTheLabelsOfHandlesInTheRegistryOfTheProcess) {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  const LocallyUniqueID read = AddDataset(registry, "A");
  const LocallyUniqueID written = AddDataset(registry, "B");
  const LocallyUniqueID tried = AddDataset(registry, "C");
  std::vector<std::string> labels;
  {
    const SvrDMInputDataSource reader(read, false, "means");
    const SvrDMWriteableDataSource writer(written, false, nullptr, "import");
    const auto another = SvrDMInputDataSource::TryRead(read, milliseconds(0), "counts");
    const auto sorts = SvrDMWriteableDataSource::TryWrite(tried, milliseconds(0), nullptr, "sort");
    for (const LockReport::Entry& hold : registry.GetLockReport().holds) {
      labels.push_back(hold.label);
    }
  }
  for (const LocallyUniqueID id : {read, written, tried}) registry.Delete(id);
  EXPECT_THAT(labels, ElementsAre("means", "import", "counts", "sort"));
}

TEST_F(LockMonitorTest, ReportsEveryReaderUntilItIsReleased) {
  Reader one(std::in_place, firstItem_, false);
  const Reader two(std::in_place, firstItem_, false);
  EXPECT_THAT(registry_.GetLockReport().holds, SizeIs(2));
  one.reset();
  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].handle, &*two);
}

TEST_F(LockMonitorTest, TruncatesALabelTo31Bytes) {
  const SvrDMInputDataSource reader(firstItem_, false, "1234567890123456789012345678901234567890");
  EXPECT_EQ(registry_.GetLockReport().holds.at(0).label, "1234567890123456789012345678901");
}

TEST_F(LockMonitorTest, TruncatesALabelBeforeACharacterThatDoesNotFit) {
  const std::string start(29, 'a');
  const SvrDMInputDataSource two(firstItem_, false, (start + "\u00e4").c_str());
  const SvrDMInputDataSource three(firstItem_, false, (start + "\u20ac").c_str());
  const LockReport report = registry_.GetLockReport();
  EXPECT_EQ(report.holds.at(0).label, start + "\u00e4");
  EXPECT_EQ(report.holds.at(1).label, start);
}

TEST_F(LockMonitorTest, ReportsTheLabelThatAThreadGotWhileTheMonitorWasOff) {
  LockMonitor::Stop();
  std::thread([&] {
    LockMonitor::NameThread("loader");
    LockMonitor::Start();
    const SvrDMInputDataSource reader(firstItem_, false);
    EXPECT_EQ(registry_.GetLockReport().holds.at(0).thread.label, "loader");
  }).join();
}

TEST_F(LockMonitorTest, ReportsAThreadThatWaitsForAWriter) {
  Writer writer(std::in_place, firstItem_, false, nullptr, "import");
  WatchedThread waiting([&] {
    LockMonitor::NameThread("charts");
    const SvrDMInputDataSource reader(firstItem_, false, "means");
  });
  ASSERT_TRUE(waiting.Waits());

  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].mode, Mode::Write);
  EXPECT_EQ(report.holds[0].label, "import");
  ASSERT_THAT(report.waits, SizeIs(1));
  EXPECT_EQ(report.waits[0].mode, Mode::Read);
  EXPECT_EQ(report.waits[0].thread.label, "charts");
  EXPECT_EQ(report.waits[0].label, "means");
  EXPECT_TRUE(report.waits[0].lock == report.holds[0].lock);
  EXPECT_THAT(report.Text(), HasSubstr("waits to read as \"means\" for"));

  writer.reset();
  waiting.Join();
  EXPECT_THAT(registry_.GetLockReport().waits, IsEmpty());
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
  EXPECT_THAT(Incidents(), IsEmpty());
}

TEST_F(LockMonitorTest, ReportsAWriterThatWaitsAndThenHolds) {
  Reader reader(std::in_place, firstItem_, false);
  Writer writer;
  WatchedThread waiting([&] {
    LockMonitor::NameThread("importer");
    writer.emplace(firstItem_, false, nullptr, "import");
  });
  LockReport first;
  while (first.waits.empty()) first = registry_.GetLockReport();
  LockReport later = first;  // replaced if it was made at the very start of the wait
  while (later.taken == first.waits[0].since) later = registry_.GetLockReport();
  reader.reset();
  waiting.Join();
  const LockReport last = registry_.GetLockReport();

  ASSERT_THAT(later.waits, SizeIs(1));
  const LockReport::Entry& wait = later.waits[0];
  EXPECT_EQ(wait.lock.kind, Kind::Data);
  EXPECT_EQ(wait.lock.dataset, first_);
  EXPECT_EQ(wait.mode, Mode::Write);
  EXPECT_EQ(wait.thread.label, "importer");
  EXPECT_EQ(wait.handle, &*writer);
  EXPECT_EQ(wait.label, "import");
  EXPECT_GE(wait.since, first.holds.at(0).since);
  EXPECT_LT(wait.since, later.taken);
  EXPECT_EQ(wait.since, first.waits[0].since);

  EXPECT_THAT(last.waits, IsEmpty());
  ASSERT_THAT(last.holds, SizeIs(1));
  EXPECT_EQ(last.holds[0].mode, Mode::Write);
  EXPECT_EQ(last.holds[0].handle, wait.handle);
  EXPECT_EQ(last.holds[0].label, "import");
  EXPECT_GE(last.holds[0].since, later.taken);
}

TEST_F(LockMonitorTest, RemovesAReaderReleasedOnAnotherThread) {
  Reader reader(std::in_place, firstItem_, false);
  std::thread([&] { reader.reset(); }).join();
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

TEST_F(LockMonitorTest, ReportsAReaderWhoseThreadHasEnded) {
  Reader reader;
  std::thread([&] {
    LockMonitor::NameThread("loader");
    reader.emplace(firstItem_, false);
  }).join();
  EXPECT_EQ(registry_.GetLockReport().holds.at(0).thread.label, "loader");
  std::thread([&] {
    const SvrDMInputDataSource another(secondItem_, false);
    EXPECT_EQ(registry_.GetLockReport().holds.at(0).thread.label, "loader");
  }).join();
  reader.reset();
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

TEST_F(LockMonitorTest, ReportsALockThatWasAcquiredWithoutAHandle) {
  firstItem_->AcquireWriteLock(false);
  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].handle, nullptr);
  firstItem_->ReleaseLock();
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

TEST_F(LockMonitorTest, ReportsALockThatAFailedTryLeavesHeldForever) {
  Writer writer(std::in_place, firstItem_, false, nullptr, "import");
  EXPECT_THROW(SvrDMWriteableDataSource(firstItem_, true, nullptr), int);
  writer.reset();
  const LockReport report = registry_.GetLockReport();
  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].handle, nullptr);
  EXPECT_EQ(report.holds[0].label, "import");
}

TEST_F(LockMonitorTest, ReportsOnlyTheLocksOfItsRegistry) {
  ServerDataManager other;
  const SvrDMInputDataSource reader(firstItem_, false);
  EXPECT_THAT(other.GetLockReport().holds, IsEmpty());
}

TEST_F(LockMonitorTest, ReportsTheNotificationMutexAndItsWaiter) {
  RecordingObserver observer;
  RecordingObserver late;
  std::optional<WatchedThread> registers;
  LockReport report;
  observer.reaction = [&](SvrDMWriteableDataSource const*) {
    registers.emplace([&] { firstItem_->Register(late); });
    EXPECT_TRUE(registers->Waits());
    report = registry_.GetLockReport();
  };
  firstItem_->Register(observer);
  support::WriteNothing(registry_, first_);  // makes the first pass, which reports everything
  registers->Join();
  firstItem_->Unregister(observer);
  firstItem_->Unregister(late);

  ASSERT_THAT(report.holds, SizeIs(2));
  EXPECT_EQ(report.holds[0].mode, Mode::Write);
  EXPECT_EQ(report.holds[1].lock.kind, Kind::Notification);
  EXPECT_EQ(report.holds[1].lock.dataset, first_);
  ASSERT_THAT(report.waits, SizeIs(1));
  EXPECT_TRUE(report.waits[0].lock == report.holds[1].lock);
}

TEST_F(LockMonitorTest, ReportsTheRegistryLockAndItsWaiter) {
  RecordingRegistryObserver observer;
  std::optional<WatchedThread> asks;
  LockReport report;
  observer.onCreated = [&](LocallyUniqueID) {
    // Acquires and releases the registry lock again. The record of the outer lock must remain.
    static_cast<void>(registry_.GetDataSet(first_));
    asks.emplace([&] { static_cast<void>(registry_.GetDataSet(first_)); });
    EXPECT_TRUE(asks->Waits());
    report = registry_.GetLockReport();
  };
  registry_.Register(observer);
  AddDataset(registry_, "D");
  asks->Join();

  ASSERT_THAT(report.holds, SizeIs(1));
  EXPECT_EQ(report.holds[0].lock.kind, Kind::Registry);
  EXPECT_TRUE(report.holds[0].lock.dataset.IsNull());
  ASSERT_THAT(report.waits, SizeIs(1));
  EXPECT_EQ(report.waits[0].lock.kind, Kind::Registry);
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

// Every report is consistent: no lock has a writer and another holder.
TEST_F(LockMonitorTest, NeverReportsAWriterWithAnotherHolder) {
  constexpr int kRounds = 2000;
  std::atomic<int> running{3};
  const auto use = [&](bool writes) {
    for (int i = 0; i < kRounds; ++i) {
      SvrDMItemPtr& item = i % 2 == 0 ? firstItem_ : secondItem_;
      if (writes && i % 4 < 2) {
        const SvrDMWriteableDataSource writer(item, false, nullptr);
      } else {
        const SvrDMInputDataSource reader(item, false);
      }
    }
    --running;
  };
  std::thread threads[] = {std::thread(use, true), std::thread(use, true), std::thread(use, false)};
  int wrong = 0;
  while (running > 0) {
    const LockReport report = registry_.GetLockReport();
    for (const LockReport::Entry& one : report.holds) {
      for (const LockReport::Entry& other : report.holds) {
        const bool sharesIt = &one != &other && one.lock == other.lock;
        if (sharesIt && one.mode != Mode::Read) ++wrong;
      }
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
  EXPECT_THAT(Incidents(), IsEmpty());
}

// ---------------------------------------------------------------------------------------------
// Deadlocks

TEST_F(LockMonitorTest, DetectsAThreadThatWaitsForItself) {
  Reader reader(std::in_place, firstItem_, false);
  WatchedThread writes([&] {
    LockMonitor::NameThread("recode");
    reader.reset();
    reader.emplace(firstItem_, false, "table");
    const SvrDMWriteableDataSource writer(firstItem_, false, nullptr);
  });
  ASSERT_TRUE(writes.Waits());

  const std::vector<LockIncident> incidents = Incidents();
  reader.reset();
  writes.Join();
  ASSERT_THAT(incidents, SizeIs(1));
  EXPECT_EQ(incidents[0].kind, LockIncident::Kind::Deadlock);
  ASSERT_THAT(incidents[0].steps, SizeIs(1));
  EXPECT_EQ(incidents[0].steps[0].wait.mode, Mode::Write);
  EXPECT_EQ(incidents[0].steps[0].blocker.label, "table");
  EXPECT_THAT(incidents[0].Text(), MatchesRegex("deadlock: recode \\(thread [0-9]+\\) "
                                                "waits to write dataset 0:0, which it "
                                                "reads itself"));
}

TEST_F(LockMonitorTest, DetectsAWriterWhoseThreadWaitsToRead) {
  ExpectWriterWaitsForItself(Mode::Read,
                             [&] { const SvrDMInputDataSource reader(firstItem_, false); });
}

TEST_F(LockMonitorTest, DetectsAWriterWhoseThreadWaitsToWrite) {
  ExpectWriterWaitsForItself(
      Mode::Write, [&] { const SvrDMWriteableDataSource another(firstItem_, false, nullptr); });
}

TEST_F(LockMonitorTest, DetectsARegistryObserverThatReadsTheDatasetThatItsThreadWrites) {
  RecordingRegistryObserver observer;
  observer.onCreated = [&](LocallyUniqueID) {
    const SvrDMInputDataSource first(firstItem_, false);
  };
  registry_.Register(observer);
  ExpectWriterWaitsForItself(Mode::Read, [&] { AddDataset(registry_, "D"); });
}

// Each thread waits until both readers, including its own, are released. So the first thread to
// wait is in a deadlock with itself, and the second thread with itself and with the first.
TEST_F(LockMonitorTest, DetectsTwoReadersThatBothWaitToWrite) {
  Reader readers[2];
  std::latch bothRead(2);
  std::latch firstWaits(1);
  WatchedThread one([&] {
    LockMonitor::NameThread("one");
    readers[0].emplace(firstItem_, false);
    bothRead.arrive_and_wait();
    const SvrDMWriteableDataSource writer(firstItem_, false, nullptr);
  });
  WatchedThread two([&] {
    LockMonitor::NameThread("two");
    readers[1].emplace(firstItem_, false);
    bothRead.arrive_and_wait();
    firstWaits.wait();
    const SvrDMWriteableDataSource writer(firstItem_, false, nullptr);
  });
  static_cast<void>(WaitForIncidents(1));
  firstWaits.count_down();
  const std::vector<LockIncident> incidents = WaitForIncidents(3);
  for (Reader& reader : readers) reader.reset();
  one.Join();
  two.Join();

  EXPECT_THAT(Incidents(), SizeIs(3));
  for (const LockIncident& incident : incidents) {
    EXPECT_EQ(incident.kind, LockIncident::Kind::Deadlock);
    for (const LockIncident::Step& step : incident.steps) {
      EXPECT_EQ(step.wait.mode, Mode::Write);
      EXPECT_EQ(step.blocker.mode, Mode::Read);
    }
  }
  EXPECT_EQ(incidents[0].steps.front().wait.thread.label, "one");
  EXPECT_EQ(incidents[0].steps.back().blocker.thread.label, "one");
  // The other two deadlocks begin and end with the second thread. In one, the second thread waits
  // for itself; in the other, it waits for the first thread, which waits for the second thread.
  for (const std::size_t i : {1U, 2U}) {
    EXPECT_EQ(incidents[i].steps.front().wait.thread.label, "two");
    EXPECT_EQ(incidents[i].steps.back().blocker.thread.label, "two");
  }
  EXPECT_EQ(incidents[1].steps.size() + incidents[2].steps.size(), 3U);
}

TEST_F(LockMonitorTest, DetectsADeadlockWithEachOfTwoReadersThatWaitForTheWriter) {
  Reader readers[2];
  std::latch bothRead(2);
  std::latch firstIsWritten(1);
  const auto readBoth = [&](std::size_t self) {
    readers[self].emplace(secondItem_, false);
    bothRead.count_down();
    firstIsWritten.wait();
    const SvrDMInputDataSource first(firstItem_, false);
  };
  WatchedThread one([&] { readBoth(0); });
  WatchedThread two([&] { readBoth(1); });
  WatchedThread writes([&] {
    const SvrDMWriteableDataSource first(firstItem_, false, nullptr);
    bothRead.wait();
    firstIsWritten.count_down();
    while (registry_.GetLockReport().waits.size() < 2) std::this_thread::yield();
    EXPECT_THAT(Incidents(), IsEmpty());
    const SvrDMWriteableDataSource second(secondItem_, false, nullptr);
  });
  const std::vector<LockIncident> incidents = WaitForIncidents(2);
  for (Reader& reader : readers) reader.reset();
  writes.Join();
  one.Join();
  two.Join();

  EXPECT_THAT(Incidents(), SizeIs(2));
  for (const LockIncident& incident : incidents) EXPECT_THAT(incident.steps, SizeIs(2));
  EXPECT_NE(incidents[0].steps[1].wait.thread.number, incidents[1].steps[1].wait.thread.number);
}

TEST_F(LockMonitorTest, DetectsADeadlockOfTwoThreads) {
  Reader ofCharts;
  std::latch chartsReads(1);
  std::latch importWrites(1);
  WatchedThread charts([&] {
    LockMonitor::NameThread("charts");
    ofCharts.emplace(firstItem_, false, "means");
    chartsReads.count_down();
    importWrites.wait();
    const SvrDMInputDataSource second(secondItem_, false);
  });
  chartsReads.wait();
  WatchedThread import([&] {
    LockMonitor::NameThread("import");
    const SvrDMWriteableDataSource second(secondItem_, false, nullptr);
    importWrites.count_down();
    EXPECT_TRUE(charts.Waits());
    EXPECT_THAT(Incidents(), IsEmpty());
    const SvrDMWriteableDataSource first(firstItem_, false, nullptr);
  });
  ASSERT_TRUE(import.Waits());
  static_cast<void>(WaitForIncidents(1));

  ofCharts.reset();
  import.Join();
  charts.Join();
  const std::vector<LockIncident> incidents = Incidents();
  ASSERT_THAT(incidents, SizeIs(1));
  ASSERT_THAT(incidents[0].steps, SizeIs(2));
  EXPECT_EQ(incidents[0].steps[0].wait.thread.label, "import");
  EXPECT_EQ(incidents[0].steps[0].blocker.thread.label, "charts");
  EXPECT_EQ(incidents[0].steps[1].wait.thread.label, "charts");
  EXPECT_EQ(incidents[0].steps[1].blocker.thread.label, "import");
  EXPECT_THAT(
      incidents[0].Text(),
      MatchesRegex(
          "deadlock: import \\(thread [0-9]+\\) waits to write dataset 0:0, which charts "
          "\\(thread [0-9]+\\) reads as \"means\"; charts \\(thread [0-9]+\\) waits to read "
          "dataset 0:1, which import \\(thread [0-9]+\\) writes"));
}

TEST_F(LockMonitorTest, DetectsADeadlockOfThreeThreads) {
  const LocallyUniqueID third = AddDataset(registry_, "E");
  SvrDMItemPtr items[] = {firstItem_, secondItem_, registry_.GetDataSet(third)};
  Writer writers[3];
  std::latch allWrite(3);
  const auto writeTwo = [&](std::size_t self) {
    writers[self].emplace(items[self], false, nullptr);
    allWrite.arrive_and_wait();
    const SvrDMWriteableDataSource next(items[(self + 1) % 3], false, nullptr);
  };
  WatchedThread one([&] { writeTwo(0); });
  WatchedThread two([&] { writeTwo(1); });
  WatchedThread three([&] { writeTwo(2); });
  static_cast<void>(WaitForIncidents(1));

  writers[0].reset();
  three.Join();
  writers[2].reset();
  two.Join();
  writers[1].reset();
  one.Join();
  ASSERT_THAT(Incidents(), SizeIs(1));
  EXPECT_THAT(Incidents()[0].steps, SizeIs(3));
}

TEST_F(LockMonitorTest, DetectsADeadlockOfRegistryLockAndDataset) {
  DeadlockOfRegistryLockAndDataset(firstItem_, [] {});
  const std::vector<LockIncident> incidents = Incidents();
  ASSERT_THAT(incidents, SizeIs(1));
  EXPECT_THAT(incidents[0].steps, SizeIs(2));
  EXPECT_THAT(incidents[0].Text(), HasSubstr("waits for the registry lock, which thread"));
  EXPECT_THAT(incidents[0].Text(), HasSubstr("waits to read dataset 0:0, which thread"));
}

// An observer of the first dataset reads the second dataset, whose writer registers an observer at
// the first dataset. Both threads begin to wait at the same time.
TEST_F(LockMonitorTest, ReportsEachDeadlockOfDatasetAndNotificationMutexOnce) {
  const std::string reads = "thread [0-9]+ waits to read dataset 0:1, which thread [0-9]+ writes";
  const std::string registers =
      "thread [0-9]+ waits for the notification mutex of dataset 0:0, which thread [0-9]+ holds";
  RecordingObserver observer;
  RecordingObserver late;
  firstItem_->Register(observer);
  for (int round = 0; round < 100 && !HasFailure(); ++round) {
    MeetingPoint bothHold(2);
    Writer ofSecond;
    observer.reaction = [&](SvrDMWriteableDataSource const*) {
      bothHold.Meet();
      const SvrDMInputDataSource reader(secondItem_, false);
    };
    WatchedThread registersLate([&] {
      ofSecond.emplace(secondItem_, false, nullptr);
      bothHold.Meet();
      firstItem_->Register(late);
    });
    WatchedThread notifies([&] {
      support::Write(registry_, first_,
                     [](auto& writer) { writer.AddNotification(new ResetUndoMsg()); });
    });
    static_cast<void>(WaitForIncidents(1));
    ofSecond.reset();
    notifies.Join();
    registersLate.Join();
    firstItem_->Unregister(late);
    const std::vector<LockIncident> incidents = TakeIncidents();
    EXPECT_THAT(incidents, SizeIs(1));
    EXPECT_THAT(incidents.front().Text() + "\n", MatchesRegex(EitherFirst(reads, registers)));
  }
  firstItem_->Unregister(observer);
}

TEST_F(LockMonitorTest, ReportsADeadlockOnceIfAThirdThreadBeginsToWait) {
  Writer writers[2];
  std::latch bothWrite(2);
  WatchedThread one([&] {
    writers[0].emplace(firstItem_, false, nullptr);
    bothWrite.arrive_and_wait();
    const SvrDMInputDataSource reader(secondItem_, false);
  });
  WatchedThread two([&] {
    writers[1].emplace(secondItem_, false, nullptr);
    bothWrite.arrive_and_wait();
    const SvrDMInputDataSource reader(firstItem_, false);
  });
  static_cast<void>(WaitForIncidents(1));
  WatchedThread joins([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  while (registry_.GetLockReport().waits.size() < 3) std::this_thread::yield();
  const std::vector<LockIncident> incidents = Incidents();

  for (Writer& writer : writers) writer.reset();
  one.Join();
  two.Join();
  joins.Join();
  EXPECT_THAT(incidents, SizeIs(1));
  EXPECT_THAT(Incidents(), SizeIs(1));
}

TEST_F(LockMonitorTest, DetectsADeadlockAcrossTwoRegistries) {
  ServerDataManager other;
  SvrDMItemPtr otherItem = other.GetDataSet(AddDataset(other, "H"));
  DeadlockOfRegistryLockAndDataset(otherItem, [&] {
    while (registry_.GetLockReport().waits.empty()) std::this_thread::yield();
    while (other.GetLockReport().waits.empty()) std::this_thread::yield();
    EXPECT_EQ(registry_.GetLockReport().waits.at(0).lock.address, &registry_);
    EXPECT_EQ(other.GetLockReport().waits.at(0).lock.address, otherItem.get());
  });
  const std::vector<LockIncident> incidents = Incidents();
  ASSERT_THAT(incidents, SizeIs(1));
  EXPECT_THAT(incidents[0].steps, SizeIs(2));
}

class LockMonitorDeathTest : public LockMonitorTest {
 protected:
  LockMonitorDeathTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    LockMonitor::SetHandler(PrintAndExit);
  }

  // Registers an observer at each of the two datasets, and runs a pass of each dataset on its own
  // thread. When both observers have been called, each observer calls `use` with itself and the
  // other dataset.
  void UseEachOthersDatasets(const std::function<void(RecordingObserver&, SvrDMItemPtr&)>& use) {
    std::latch bothRun(2);
    RecordingObserver ofFirst;
    RecordingObserver ofSecond;
    ofFirst.reaction = [&](SvrDMWriteableDataSource const*) {
      bothRun.arrive_and_wait();
      use(ofFirst, secondItem_);
    };
    ofSecond.reaction = [&](SvrDMWriteableDataSource const*) {
      bothRun.arrive_and_wait();
      use(ofSecond, firstItem_);
    };
    firstItem_->Register(ofFirst);
    secondItem_->Register(ofSecond);
    std::thread other([&] { support::WriteNothing(registry_, second_); });
    support::WriteNothing(registry_, first_);
    other.join();
  }
};

TEST_F(LockMonitorDeathTest, DetectsAnObserverThatRegistersDuringItsNotice) {
  const auto deadlock = [this] {
    RecordingObserver observer;
    observer.reaction = [&](SvrDMWriteableDataSource const*) { firstItem_->Register(observer); };
    firstItem_->Register(observer);
    support::WriteNothing(registry_, first_);
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              "deadlock: thread [0-9]+ waits for the notification mutex of dataset 0:0, which it "
              "holds itself");
}

TEST_F(LockMonitorDeathTest, DetectsADeadlockOfRegistryLockAndNotificationMutex) {
  const auto deadlock = [this] {
    std::latch bothHold(2);
    RecordingRegistryObserver registryObserver;
    RecordingObserver observer;
    registryObserver.onCreated = [&](LocallyUniqueID) {
      bothHold.arrive_and_wait();
      firstItem_->Register(observer);
    };
    observer.reaction = [&](SvrDMWriteableDataSource const*) {
      bothHold.arrive_and_wait();
      static_cast<void>(registry_.GetDataSet(second_));
    };
    registry_.Register(registryObserver);
    firstItem_->Register(observer);
    Writer writer(std::in_place, firstItem_, false, nullptr);
    std::thread adds([&] { AddDataset(registry_, "G"); });
    writer.reset();
    adds.join();
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              EitherFirst("thread [0-9]+ waits for the notification mutex of dataset 0:0, which "
                          "thread [0-9]+ holds",
                          "thread [0-9]+ waits for the registry lock, which thread [0-9]+ holds"));
}

TEST_F(LockMonitorDeathTest, DetectsObserversThatRegisterAtEachOthersDatasets) {
  const auto deadlock = [this] {
    UseEachOthersDatasets(
        [](RecordingObserver& observer, SvrDMItemPtr& other) { other->Register(observer); });
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              EitherFirst("thread [0-9]+ waits for the notification mutex of dataset 0:0, which "
                          "thread [0-9]+ holds",
                          "thread [0-9]+ waits for the notification mutex of dataset 0:1, which "
                          "thread [0-9]+ holds"));
}

TEST_F(LockMonitorDeathTest, DetectsObserversThatUseEachOthersRegistries) {
  const auto deadlock = [this] {
    ServerDataManager another;
    std::latch bothRun(2);
    RecordingRegistryObserver ofFirst;
    RecordingRegistryObserver ofSecond;
    ofFirst.onCreated = [&](LocallyUniqueID) {
      bothRun.arrive_and_wait();
      another.Unregister(ofFirst);
    };
    ofSecond.onCreated = [&](LocallyUniqueID) {
      bothRun.arrive_and_wait();
      registry_.Unregister(ofSecond);
    };
    registry_.Register(ofFirst);
    another.Register(ofSecond);
    std::thread adds([&] { AddDataset(another, "J"); });
    AddDataset(registry_, "K");
    adds.join();
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              "deadlock: thread [0-9]+ waits for the registry lock, which thread [0-9]+ holds; "
              "thread [0-9]+ waits for the registry lock, which thread [0-9]+ holds\n");
}

TEST_F(LockMonitorDeathTest, DetectsObserversThatWriteEachOthersDatasets) {
  const auto deadlock = [this] {
    UseEachOthersDatasets([](RecordingObserver&, SvrDMItemPtr& other) {
      const Writer writer(std::in_place, other, false, nullptr);
    });
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              "waits to write dataset 0:[01], which thread");
}

// ---------------------------------------------------------------------------------------------
// Long waits, handlers

TEST_F(LockMonitorTest, ReportsALongWaitOnceWithoutAnyOtherEvent) {
  LimitWaits();
  Writer writer(std::in_place, firstItem_, false, nullptr, "import");
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  static_cast<void>(WaitForIncidents(1));
  // When the second wait is reported, the library's thread has checked the first wait again. It
  // must not have reported the first wait twice.
  WatchedThread second([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  const std::vector<LockIncident> incidents = WaitForIncidents(2);
  writer.reset();
  waiting.Join();
  second.Join();

  EXPECT_EQ(incidents[0].kind, LockIncident::Kind::LongWait);
  ASSERT_THAT(incidents[0].steps, SizeIs(1));
  EXPECT_EQ(incidents[0].steps[0].blocker.label, "import");
  EXPECT_NE(incidents[0].steps[0].wait.thread.number, incidents[1].steps[0].wait.thread.number);
  EXPECT_THAT(incidents[0].Text(), MatchesRegex("long wait: thread [0-9]+ waits to read dataset "
                                                "0:0 for [0-9]+\\.[0-9] s, which thread [0-9]+ "
                                                "writes as \"import\""));
}

// The writer acquired the lock while the monitor was off, so the incident names no holder.
TEST_F(LockMonitorTest, ReportsALongWaitForAnUnknownHolder) {
  LimitWaits();
  LockMonitor::Stop();
  Writer writer(std::in_place, firstItem_, false, nullptr);
  LockMonitor::Start();
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  const std::vector<LockIncident> incidents = WaitForIncidents(1);
  writer.reset();
  waiting.Join();
  EXPECT_EQ(incidents[0].kind, LockIncident::Kind::LongWait);
  ASSERT_THAT(incidents[0].steps, SizeIs(1));
  EXPECT_EQ(incidents[0].steps[0].blocker.thread.number, 0U);
  EXPECT_THAT(incidents[0].Text(), MatchesRegex("long wait: thread [0-9]+ waits to read dataset "
                                                "0:0 for [0-9]+\\.[0-9] s"));
}

TEST_F(LockMonitorTest, ReportsALongWaitThatBeganBeforeTheBoundWasSet) {
  LimitWaits(std::chrono::hours(1));
  Writer writer(std::in_place, firstItem_, false, nullptr);
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  ASSERT_TRUE(waiting.Waits());
  EXPECT_THAT(Incidents(), IsEmpty());
  LimitWaits();
  EXPECT_EQ(WaitForIncidents(1)[0].kind, LockIncident::Kind::LongWait);
  writer.reset();
  waiting.Join();
}

// Holds a lock of each kind, while a thread waits for the lock of the given kind.
class LongWaitTest : public LockMonitorTest, public testing::WithParamInterface<Kind> {
 protected:
  void WaitForLock() {
    if (GetParam() == Kind::Data) {
      const SvrDMInputDataSource reader(firstItem_, false);
    } else if (GetParam() == Kind::Notification) {
      firstItem_->Unregister(observer_);
    } else {
      static_cast<void>(registry_.GetDataSet(first_));
    }
  }

  // Calls `use` in a pass of the first dataset, during a creation notice. So this thread holds the
  // dataset's lock, its notification mutex and the registry lock.
  void WhileAllAreHeld(const std::function<void()>& use) {
    RecordingObserver observer;
    RecordingRegistryObserver registryObserver;
    observer.reaction = [&](SvrDMWriteableDataSource const*) { use(); };
    registryObserver.onCreated = [&](LocallyUniqueID) {
      firstItem_->Register(observer);
      support::WriteNothing(registry_, first_);  // makes the first pass, which reports everything
      firstItem_->Unregister(observer);
    };
    registry_.Register(registryObserver);
    AddDataset(registry_, "L");
    registry_.Unregister(registryObserver);
  }

  RecordingObserver observer_;  // never registered
};

TEST_P(LongWaitTest, IsReportedForEachKindOfLock) {
  LimitWaits();
  std::optional<WatchedThread> waits;
  std::vector<LockIncident> incidents;
  WhileAllAreHeld([&] {
    waits.emplace([&] {
      LockMonitor::NameThread("waits");
      WaitForLock();
    });
    incidents = WaitForIncidents(1);
  });
  waits->Join();

  EXPECT_EQ(incidents[0].kind, LockIncident::Kind::LongWait);
  ASSERT_THAT(incidents[0].steps, SizeIs(1));
  EXPECT_EQ(incidents[0].steps[0].wait.lock.kind, GetParam());
  EXPECT_EQ(incidents[0].steps[0].wait.thread.label, "waits");
  EXPECT_TRUE(incidents[0].steps[0].blocker.lock == incidents[0].steps[0].wait.lock);
  EXPECT_NE(incidents[0].steps[0].blocker.thread.number, 0U);
}

INSTANTIATE_TEST_SUITE_P(EachKindOfLock, LongWaitTest,
                         testing::Values(Kind::Data, Kind::Notification, Kind::Registry));

TEST_F(LockMonitorTest, IgnoresExceptionsOfTheHandler) {
  LockMonitor::SetHandler([this](const LockIncident& incident) {
    Keep(incident);
    throw std::runtime_error("the handler's own trouble");
  });
  Reader reader;
  WatchedThread writes([&] {
    reader.emplace(firstItem_, false);
    const SvrDMWriteableDataSource writer(firstItem_, false, nullptr);
  });
  static_cast<void>(WaitForIncidents(1));
  reader.reset();
  writes.Join();
  EXPECT_THAT(Incidents(), SizeIs(1));
}

TEST_F(LockMonitorTest, DropsHoldsWhenItIsSwitchedOff) {
  Reader reader(std::in_place, firstItem_, false);
  LockMonitor::Stop();
  reader.reset();
  LockMonitor::Start();
  EXPECT_THAT(registry_.GetLockReport().holds, IsEmpty());
}

TEST_F(LockMonitorTest, AllowsReleasingALockAcquiredWhileItWasOff) {
  LockMonitor::Stop();
  Reader reader(std::in_place, firstItem_, false);
  LockMonitor::Start();
  reader.reset();
  const Writer writer(std::in_place, firstItem_, false, nullptr);
  EXPECT_THAT(registry_.GetLockReport().holds, SizeIs(1));
}

}  // namespace
