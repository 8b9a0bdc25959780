// The lock monitor: its reports, and the deadlocks and long waits that it detects. A test resolves
// a deadlock by releasing one of the locks itself. If that is not possible, the deadlock occurs in
// a child process, which the handler ends.

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>
#include <tests/support/WatchedThread.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <latch>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;
using support::AddDataset;
using support::RecordingObserver;
using support::RecordingRegistryObserver;
using support::WatchedThread;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
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
  }
  ~LockMonitorTest() override {
    LockMonitor::Stop();
    LockMonitor::SetHandler(nullptr);
  }

  void Keep(const LockIncident& incident) {
    const std::lock_guard lock(mutex_);
    incidents_.push_back(incident);
  }
  std::vector<LockIncident> Incidents() {
    const std::lock_guard lock(mutex_);
    return incidents_;
  }

  ServerDataManager registry_;
  const LocallyUniqueID first_ = AddDataset(registry_, "A B");
  const LocallyUniqueID second_ = AddDataset(registry_, "C");
  SvrDMItemPtr firstItem_ = registry_.GetDataSet(first_);
  SvrDMItemPtr secondItem_ = registry_.GetDataSet(second_);

 private:
  std::mutex mutex_;
  std::vector<LockIncident> incidents_;
};

// Prints the incident to standard error and ends the process: for deadlocks that cannot be
// resolved.
void PrintAndExit(const LockIncident& incident) {
  std::fprintf(stderr, "%s\n", incident.Text().c_str());
  _exit(3);
}

// ---------------------------------------------------------------------------------------------
// Reports

TEST_F(LockMonitorTest, ReportsNothingWhileItIsOff) {
  LockMonitor::Stop();
  const SvrDMInputDataSource reader(firstItem_, false);
  const LockReport report = registry_.GetLockReport();
  EXPECT_THAT(report.holds, IsEmpty());
  EXPECT_THAT(report.waits, IsEmpty());
  EXPECT_FALSE(report.complete);
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

TEST_F(LockMonitorTest, PrintsAReportAsText) {
  LockMonitor::NameThread("charts");
  const SvrDMInputDataSource reader(firstItem_, false, "weighted means");
  LockReport report = registry_.GetLockReport();
  report.holds[0].thread.number = 7;
  report.taken = report.holds[0].since + milliseconds(1250);
  EXPECT_EQ(report.Text(),
            "dataset 0:0\n"
            "  charts (thread 7) reads as \"weighted means\" for 1.2 s\n");
  EXPECT_EQ(LockReport().Text(), "No lock is held.\n");
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
  support::WriteNothing(registry_, first_);  // the first pass reports the dictionary
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
    static_cast<void>(registry_.GetDataSet(first_));  // recursive: neither a wait nor a hold
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
  EXPECT_THAT(incidents[0].Text(), testing::MatchesRegex("deadlock: recode \\(thread [0-9]+\\) "
                                                         "waits to write dataset 0:0, which it "
                                                         "reads itself"));
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
  while (Incidents().empty()) std::this_thread::yield();

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
      testing::MatchesRegex(
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
  while (Incidents().empty()) std::this_thread::yield();

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
  Writer ofImport;
  std::latch importWrites(1);
  std::latch observerRuns(1);
  RecordingRegistryObserver observer;
  observer.onCreated = [&](LocallyUniqueID) {
    observerRuns.count_down();
    const SvrDMInputDataSource first(firstItem_, false);
  };
  registry_.Register(observer);
  WatchedThread import([&] {
    ofImport.emplace(firstItem_, false, nullptr);
    importWrites.count_down();
    observerRuns.wait();
    static_cast<void>(registry_.GetDataSet(second_));
  });
  importWrites.wait();
  WatchedThread adds([&] { AddDataset(registry_, "F"); });
  while (Incidents().empty()) std::this_thread::yield();

  ofImport.reset();
  adds.Join();
  import.Join();
  const std::vector<LockIncident> incidents = Incidents();
  ASSERT_THAT(incidents, SizeIs(1));
  EXPECT_THAT(incidents[0].steps, SizeIs(2));
  EXPECT_THAT(incidents[0].Text(), HasSubstr("waits for the registry lock, which thread"));
  EXPECT_THAT(incidents[0].Text(), HasSubstr("waits to read dataset 0:0, which thread"));
}

using LockMonitorDeathTest = LockMonitorTest;

TEST_F(LockMonitorDeathTest, DetectsAnObserverThatRegistersDuringItsNotice) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto deadlock = [this] {
    LockMonitor::SetHandler(PrintAndExit);
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
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto deadlock = [this] {
    LockMonitor::SetHandler(PrintAndExit);
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
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3), "deadlock: .*the registry lock");
}

TEST_F(LockMonitorDeathTest, DetectsObserversThatWriteEachOthersDatasets) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto deadlock = [this] {
    LockMonitor::SetHandler(PrintAndExit);
    std::latch bothRun(2);
    RecordingObserver ofFirst;
    RecordingObserver ofSecond;
    ofFirst.reaction = [&](SvrDMWriteableDataSource const*) {
      bothRun.arrive_and_wait();
      const Writer writer(std::in_place, secondItem_, false, nullptr);
    };
    ofSecond.reaction = [&](SvrDMWriteableDataSource const*) {
      bothRun.arrive_and_wait();
      const Writer writer(std::in_place, firstItem_, false, nullptr);
    };
    firstItem_->Register(ofFirst);
    secondItem_->Register(ofSecond);
    std::thread other([&] { const Writer writer(std::in_place, secondItem_, false, nullptr); });
    Writer(std::in_place, firstItem_, false, nullptr).reset();
    other.join();
  };
  EXPECT_EXIT(deadlock(), testing::ExitedWithCode(3),
              "waits to write dataset 0:[01], which thread");
}

// ---------------------------------------------------------------------------------------------
// Long waits, handlers

TEST_F(LockMonitorTest, ReportsALongWaitOnceWhenAReportIsMade) {
  LockMonitor::SetHandler([this](const LockIncident& incident) { Keep(incident); },
                          milliseconds(1));
  Writer writer(std::in_place, firstItem_, false, nullptr, "import");
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  ASSERT_TRUE(waiting.Waits());
  while (Incidents().empty()) static_cast<void>(registry_.GetLockReport());
  static_cast<void>(registry_.GetLockReport());
  writer.reset();
  waiting.Join();

  const std::vector<LockIncident> incidents = Incidents();
  ASSERT_THAT(incidents, SizeIs(1));
  EXPECT_EQ(incidents[0].kind, LockIncident::Kind::LongWait);
  ASSERT_THAT(incidents[0].steps, SizeIs(1));
  EXPECT_EQ(incidents[0].steps[0].blocker.label, "import");
  EXPECT_THAT(incidents[0].Text(), HasSubstr("long wait: thread"));
  EXPECT_THAT(incidents[0].Text(), HasSubstr("writes as \"import\""));
}

TEST_F(LockMonitorTest, ReportsALongWaitWhenItEnds) {
  LockMonitor::SetHandler([this](const LockIncident& incident) { Keep(incident); },
                          milliseconds(1));
  Writer writer(std::in_place, firstItem_, false, nullptr);
  WatchedThread waiting([&] { const SvrDMInputDataSource reader(firstItem_, false); });
  ASSERT_TRUE(waiting.Waits());
  const auto start = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() < start + milliseconds(50)) std::this_thread::yield();
  EXPECT_THAT(Incidents(), IsEmpty());
  writer.reset();
  waiting.Join();
  ASSERT_THAT(Incidents(), SizeIs(1));
  EXPECT_EQ(Incidents()[0].kind, LockIncident::Kind::LongWait);
}

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
  while (Incidents().empty()) std::this_thread::yield();
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
