// Many threads use datasets at random: reads, writes, tries with a time limit, handles released on
// another thread, observers that register and unregister, and replaced datasets. The lock monitor
// is on, and one more thread makes lock reports. The environment variable LOCK_STRESS_SECONDS sets
// the duration, and LOCK_STRESS_SEED sets the seed of the random choices.

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <ServerDataManager/ThreadSafety.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>

#include <gtest/gtest.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Random = std::mt19937;

constexpr unsigned kWorkers = 5;
constexpr char kHandedOver[] = "handed over";  // the label of handles that another thread destroys

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : static_cast<unsigned>(std::stoul(value));
}

// Whether the incident is a real deadlock. The monitor also reports a deadlock if a thread waits
// for its own handle to release a lock; but another thread may destroy this handle and so end the
// wait.
bool IsDeadlock(const LockIncident& incident) {
  return incident.kind == LockIncident::Kind::Deadlock &&
         std::none_of(incident.steps.begin(), incident.steps.end(),
                      [](const auto& step) { return step.blocker.label == kHandedOver; });
}

// Handles that one thread has created and another thread destroys.
class HandedOver {
 public:
  void Add(std::shared_ptr<SvrDMInputDataSource> handle) {
    const sdm_internal::MutexLock lock(mutex_);
    handles_.push_back(std::move(handle));
  }
  void DestroyAll() {
    std::vector<std::shared_ptr<SvrDMInputDataSource>> handles;
    const sdm_internal::MutexLock lock(mutex_);
    handles.swap(handles_);
  }

 private:
  sdm_internal::Mutex mutex_;
  std::vector<std::shared_ptr<SvrDMInputDataSource>> handles_ SDM_GUARDED_BY(mutex_);
};

class Soak {
 public:
  void Run(std::chrono::seconds length, unsigned seed) {
    const auto end = Clock::now() + length;
    // Workers may wait until this thread destroys a handle. So this thread must not wait for a lock
    // that a waiting worker may hold.
    std::jthread releases([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        handedOver_.DestroyAll();
        std::this_thread::yield();
      }
    });
    std::jthread reports([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) CheckReport();
    });
    std::vector<std::jthread> workers;
    for (unsigned worker = 0; worker < kWorkers; ++worker) {
      workers.emplace_back([this, end, random = Random(seed + worker)]() mutable {
        while (Clock::now() < end) Work(random);
      });
    }
    workers.clear();
    releases = std::jthread();
    reports = std::jthread();
    handedOver_.DestroyAll();
  }

  ServerDataManager registry;
  std::atomic<long> operations = 0, charactersRead = 0, reportsMade = 0, holdsSeen = 0;
  std::atomic<int> incomplete = 0, writersBesideOthers = 0;

 private:
  void Work(Random& random) {
    const LocallyUniqueID id = ids_[random() % ids_.size()];
    SvrDMItemPtr item(nullptr);
    try {
      item = registry.GetDataSet(id);
    } catch (...) {
      return;  // another thread has replaced the dataset
    }
    ++operations;
    switch (random() % 16) {
      case 0:
        return Replace(random() % ids_.size());
      case 1:
        item->Register(observer_);
        return item->Unregister(observer_);
      case 2:
        registry.GetAllDatasets();
        return;
      case 3:
        if (auto reader = SvrDMInputDataSource::TryRead(item, milliseconds(random() % 3))) {
          Read(*reader);
        }
        return;
      case 4:
        if (auto writer = SvrDMWriteableDataSource::TryWrite(item, milliseconds(random() % 3),
                                                             /*originator=*/nullptr)) {
          Write(*writer, random);
        }
        return;
      case 5:
      case 6: {
        const bool handsOver = random() % 3 == 0;
        auto writer = std::make_shared<SvrDMWriteableDataSource>(
            item, /*tryOnly=*/false, /*originator=*/nullptr, handsOver ? kHandedOver : "soak");
        Write(*writer, random);
        if (handsOver) handedOver_.Add(std::move(writer));
        return;
      }
      default: {
        const bool handsOver = random() % 3 == 0;
        auto reader = std::make_shared<SvrDMInputDataSource>(item, /*tryOnly=*/false,
                                                             handsOver ? kHandedOver : "soak");
        Read(*reader);
        if (handsOver) handedOver_.Add(std::move(reader));
        return;
      }
    }
  }

  // The thread sanitizer detects writes that are concurrent with this read.
  void Read(const SvrDMInputDataSource& reader) {
    const char* const label = reader->GetLabel();
    if (label != nullptr) charactersRead += static_cast<long>(std::string(label).size());
  }
  static void Write(SvrDMWriteableDataSource& writer, Random& random) {
    writer->SetLabel(std::to_string(random()).c_str());
  }

  void Replace(std::size_t place) {
    const LocallyUniqueID old = ids_[place].exchange(support::AddDataset(registry, "A B"));
    registry.Delete(old);
  }

  void CheckReport() {
    const LockReport report = registry.GetLockReport();
    ++reportsMade;
    holdsSeen += static_cast<long>(report.holds.size());
    if (!report.complete) ++incomplete;
    for (const LockReport::Entry& one : report.holds) {
      for (const LockReport::Entry& other : report.holds) {
        const bool sharesIt = &one != &other && one.lock == other.lock;
        if (sharesIt && one.mode != LockReport::Mode::Read) ++writersBesideOthers;
      }
    }
  }

  support::SilentObserver observer_;
  HandedOver handedOver_;
  std::array<std::atomic<LocallyUniqueID>, 3> ids_{support::AddDataset(registry, "A B"),
                                                   support::AddDataset(registry, "A B"),
                                                   support::AddDataset(registry, "A B")};
};

TEST(LockMonitorSoak, ReportsStayConsistentUnderRandomUse) {
  const auto length = std::chrono::seconds(FromEnvironment("LOCK_STRESS_SECONDS", 2));
  const unsigned seed = FromEnvironment("LOCK_STRESS_SEED", std::random_device()());
  SCOPED_TRACE("LOCK_STRESS_SEED=" + std::to_string(seed));
  std::atomic<long> incidents = 0, deadlocks = 0;
  LockMonitor::SetHandler(
      [&](const LockIncident& incident) {
        ++incidents;
        if (IsDeadlock(incident)) ++deadlocks;
      },
      milliseconds(50));
  LockMonitor::Start();
  Soak soak;

  soak.Run(length, seed);

  EXPECT_EQ(soak.writersBesideOthers, 0);
  EXPECT_EQ(soak.incomplete, 0);
  EXPECT_EQ(deadlocks, 0);
  EXPECT_GT(soak.reportsMade, 0);
  EXPECT_GT(soak.charactersRead, 0);
  const LockReport report = soak.registry.GetLockReport();
  EXPECT_EQ(report.Text(), "No lock is held.\n");
  EXPECT_TRUE(report.complete);
  for (const SvrDMDataset& dataset : soak.registry.GetAllDatasets()) {
    EXPECT_EQ(dataset.ReadersCount(), 0U);
    EXPECT_EQ(dataset.WritersCount(), 0U);
  }
  LockMonitor::Stop();
  LockMonitor::SetHandler(nullptr);
  std::printf("%ld operations, %ld reports with %ld holds, %ld incidents\n", soak.operations.load(),
              soak.reportsMade.load(), soak.holdsSeen.load(), incidents.load());
}

}  // namespace
