// Tests clones over one source, used by several threads.

#include "MeetingPoint.h"

#include <client/server/ChangeStreamObserver.h>
#include <gmock/gmock.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <tests/support/Cases.h>
#include <tests/support/Datasets.h>
#include <tests/support/FrameChannel.h>
#include <tests/support/WatchedThread.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using support::RowsOf;
using support::Var;
using support::WatchedThread;
using testing::Each;

constexpr int kThreads = 4;

// Runs `work` on kThreads threads, with the number of the thread as its argument.
void OnThreads(const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) threads.emplace_back(work, number);
  for (std::thread& thread : threads) thread.join();
}

// A source that has the survey as its parent and counts its deletions in `deaths`.
class CountedSurvey : public ORVX_DataSource {
 public:
  explicit CountedSurvey(std::atomic<int>& deaths)
      : ORVX_DataSource(SystemFileDataSource::Open(SURVEY).release()), deaths_(deaths) {
    CopyDictionary(GetParentSource());
  }
  ~CountedSurvey() override { ++deaths_; }
  ObsIterator* MakeIterator(OBS* area) const override {
    return GetParentSource()->MakeIterator(area);
  }

 private:
  std::atomic<int>& deaths_;
};

class ClonesOnThreads : public testing::Test {
 protected:
  const std::unique_ptr<SystemFileDataSource> file = SystemFileDataSource::Open(SURVEY);
  const std::vector<std::string> expected = RowsOf(*file);
  std::atomic<int> deaths = 0;
};

TEST_F(ClonesOnThreads, EachCopyHasItsOwnDictionaryAndAllTheRowsOfTheFile) {
  const SvrDMCloneDataSource clone(new CountedSurvey(deaths));
  std::vector<std::vector<std::string>> rows(kThreads);
  MeetingPoint start(kThreads);

  OnThreads([&](int number) {
    start.Meet();
    SvrDMCloneDataSource mine(clone);
    mine.DeleteVariables(0, number);
    mine.MakeVariable(Var("own"), nullptr);
    rows[static_cast<std::size_t>(number)] = support::RowsLaidOutBy(*mine.RowLayout(), mine);
  });

  EXPECT_THAT(rows, Each(expected));
  EXPECT_EQ(clone.ColumnCount(), 10);
  EXPECT_EQ(deaths, 0);
}

TEST_F(ClonesOnThreads, TheLastCopyDeletesTheChainOnce) {
  constexpr int kRounds = 200;
  MeetingPoint meeting(kThreads);
  std::vector<std::unique_ptr<SvrDMCloneDataSource>> copies(kThreads);
  std::atomic<int> wrong = 0;

  OnThreads([&](int number) {
    auto& mine = copies[static_cast<std::size_t>(number)];
    for (int round = 0; round < kRounds; ++round) {
      if (number == 0) {
        deaths = 0;
        copies[0] = std::make_unique<SvrDMCloneDataSource>(new CountedSurvey(deaths));
      }
      meeting.Meet();
      if (number != 0) mine = std::make_unique<SvrDMCloneDataSource>(*copies[0]);
      meeting.Meet();
      if (deaths != 0) ++wrong;
      meeting.Meet();
      mine.reset();  // concurrently: any thread may release the last copy
      meeting.Meet();
      if (number == 0 && deaths != 1) ++wrong;
      meeting.Meet();
    }
  });

  EXPECT_EQ(wrong, 0);
}

TEST_F(ClonesOnThreads, ReadersOfOneDatasetMakeIteratorsConcurrently) {
  ServerDataManager registry;
  auto* const source = new CountedSurvey(deaths);
  const LocallyUniqueID id = registry.Add(*new SvrDMCloneDataSource(source), "", /*quiet=*/true);
  std::vector<int> wrong(kThreads);
  MeetingPoint start(kThreads);

  OnThreads([&](int number) {
    const SvrDMInputDataSource reader(registry, id, /*tryOnly=*/false);
    std::vector<OBS> row(static_cast<std::size_t>(reader->GetObsAreaSize()));
    start.Meet();
    for (int round = 0; round < 300; ++round) {
      const std::unique_ptr<ObsIterator> rows(reader->MakeIterator(row.data()));
      // The parent link is `source` while another thread makes an iterator, and null otherwise.
      const ORVX_DataSource* const shown = reader->GetParentSource();
      if (shown != nullptr && shown != source) ++wrong[static_cast<std::size_t>(number)];
      if (!rows->Next()) ++wrong[static_cast<std::size_t>(number)];
    }
    if (RowsOf(**reader) != expected) ++wrong[static_cast<std::size_t>(number)];
  });

  EXPECT_THAT(wrong, Each(0));
  EXPECT_EQ(deaths, 0);
  registry.Delete(id);
  EXPECT_EQ(deaths, 1);
}

// All copies share one inner clone, which sets its parent link whenever a copy makes an iterator.
TEST_F(ClonesOnThreads, CopiesOverACommonCloneMakeIteratorsConcurrently) {
  const SvrDMCloneDataSource outer(
      new SvrDMCloneDataSource(new FilteredDataSource(new CountedSurvey(deaths))));
  std::vector<int> wrong(kThreads);
  MeetingPoint start(kThreads);

  OnThreads([&](int number) {
    const SvrDMCloneDataSource mine(outer);
    std::vector<OBS> row(10);
    start.Meet();
    for (int round = 0; round < 300; ++round) {
      const std::unique_ptr<ObsIterator> rows(mine.MakeIterator(row.data()));
      if (!rows->Next()) ++wrong[static_cast<std::size_t>(number)];
    }
    if (RowsOf(mine) != expected) ++wrong[static_cast<std::size_t>(number)];
  });

  EXPECT_THAT(wrong, Each(0));
}

// While a clone makes an iterator, its parent link is set. The dataset must still ignore the
// parent, a data file. Otherwise PasswordMangled would return the flag of the file, which is false,
// and snapshots would report the name of the file.
TEST_F(ClonesOnThreads, TheParentOfACloneStaysHiddenWhileIteratorsAreMade) {
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(
      *SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open(SURVEY)).release(), SURVEY,
      /*quiet=*/true);
  SvrDMItemPtr item = registry.GetDataSet(id);
  item->Password("secret", /*mangled=*/true);
  std::atomic<int> wrong = 0;
  std::atomic<bool> making = true;
  MeetingPoint start(kThreads);

  OnThreads([&](int number) {
    SvrDMInputDataSource reader(item, /*tryOnly=*/false);
    std::vector<OBS> row(static_cast<std::size_t>(reader->GetObsAreaSize()));
    support::FrameChannel channel;
    ChangeStreamObserver stream(channel);
    start.Meet();
    if (number == 0) {
      for (int made = 0; made < 20'000; ++made) delete reader->MakeIterator(row.data());
      making = false;
      return;
    }
    std::string snapshot;
    while (making) {
      if (!item->PasswordMangled()) ++wrong;
      stream.SendSnapshot(reader);
      if (!snapshot.empty() && channel.frames.front() != snapshot) ++wrong;
      snapshot = channel.frames.front();
      channel.frames.pop_front();
    }
  });

  EXPECT_EQ(wrong, 0);
}

// Three rows of two cells; each cell is the number of its row.
class ThreeRows : public DataFreeDataSource {
 public:
  ObsIterator* MakeIterator(OBS* area) const override { return new Rows(area); }
  long GetObsAreaSize() const override { return 2; }
  long long RowCount() const override { return 3; }

 private:
  class Rows : public ObsIterator {
   public:
    explicit Rows(OBS* area) : area_(area) {}
    bool Next() override {
      if (row_ == 3) return false;
      area_[0].number = area_[1].number = ++row_;
      return true;
    }

   private:
    OBS* const area_;
    int row_ = 0;
  };
};

// Each call of MakeIterator sets two parent links: of the outer clone and of the inner clone.
TEST(IteratorsOfANestedClone, MadeOnFourThreadsReadCorrectRows) {
  constexpr int kIterators = 50'000;
  const SvrDMCloneDataSource clone(new SvrDMCloneDataSource(new ThreeRows));
  std::vector<int> wrong(kThreads);
  MeetingPoint start(kThreads);

  OnThreads([&](int number) {
    int& mine = wrong[static_cast<std::size_t>(number)];
    OBS row[2];
    start.Meet();
    for (int made = 0; made < kIterators; ++made) {
      const std::unique_ptr<ObsIterator> rows(clone.MakeIterator(row));
      for (int expected = 1; expected <= 3; ++expected) {
        if (!rows->Next() || row[0].number != expected || row[1].number != expected) ++mine;
      }
      if (rows->Next()) ++mine;
    }
  });

  EXPECT_THAT(wrong, Each(0));
  EXPECT_EQ(clone.GetParentSource(), nullptr);
  EXPECT_EQ(clone.Source()->GetParentSource(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// A source that waits while it makes an iterator

// A source that calls a function of the test whenever it makes an iterator.
class JobAtEachIterator : public DataFreeDataSource {
 public:
  explicit JobAtEachIterator(std::function<void()> job) : job_(std::move(job)) {}
  ObsIterator* MakeIterator(OBS* area) const override {
    job_();
    return DataFreeDataSource::MakeIterator(area);
  }

 private:
  const std::function<void()> job_;
};

void MakeIteratorOf(const ORVX_DataSource& source) {
  OBS cell;
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(&cell));
}

// Adds a dataset whose source is a clone of a JobAtEachIterator with this job.
LocallyUniqueID AddClone(ServerDataManager& registry, std::function<void()> job) {
  auto source = std::make_unique<JobAtEachIterator>(std::move(job));
  return registry.Add(*SvrDMCloneDataSource::Adopt(std::move(source)).release(), "",
                      /*quiet=*/true);
}

TEST(CloneWhoseSourceWaits, DoesNotBlockIteratorsOfAnotherDataset) {
  ServerDataManager registry;
  const LocallyUniqueID other = AddClone(registry, [] {});
  const LocallyUniqueID waiting = AddClone(
      registry, [&] { const SvrDMInputDataSource reader(registry, other, /*tryOnly=*/false); });
  std::optional<SvrDMWriteableDataSource> writer(std::in_place, registry, other,
                                                 /*tryOnly=*/false, nullptr);
  WatchedThread maker([&] {
    const SvrDMInputDataSource reader(registry, waiting, /*tryOnly=*/false);
    MakeIteratorOf(**reader);
  });
  ASSERT_TRUE(maker.Waits());  // `writer` holds the lock that `maker` needs

  WatchedThread owner([&] { MakeIteratorOf(***writer); });

  // If `owner` waited for `maker`, both would wait forever, because `maker` waits until the writer
  // is released.
  EXPECT_FALSE(owner.Waits());
  writer.reset();
}

TEST(CloneWhoseSourceWaits, DoesNotBlockIteratorsOfThreeOtherClones) {
  std::latch gate(1);
  std::atomic<int> inside = 0;
  std::vector<std::unique_ptr<SvrDMCloneDataSource>> clones;
  std::vector<std::unique_ptr<WatchedThread>> makers;
  for (int number = 0; number < kThreads; ++number) {
    clones.push_back(std::make_unique<SvrDMCloneDataSource>(new JobAtEachIterator([&] {
      ++inside;
      gate.wait();
    })));
    makers.push_back(
        std::make_unique<WatchedThread>([&clone = *clones.back()] { MakeIteratorOf(clone); }));
  }

  for (const auto& maker : makers) EXPECT_TRUE(maker->Waits());
  EXPECT_EQ(inside, kThreads);

  gate.count_down();
}

TEST(CloneWhoseSourceWaits, MakesIteratorsOnFourThreadsConcurrently) {
  std::latch gate(1);
  std::atomic<int> inside = 0;
  const SvrDMCloneDataSource clone(new JobAtEachIterator([&] {
    ++inside;
    gate.wait();
  }));
  std::vector<std::unique_ptr<WatchedThread>> makers;
  for (int number = 0; number < kThreads; ++number) {
    makers.push_back(std::make_unique<WatchedThread>([&] { MakeIteratorOf(clone); }));
  }

  for (const auto& maker : makers) EXPECT_TRUE(maker->Waits());
  EXPECT_EQ(inside, kThreads);

  gate.count_down();
}

TEST(CloneWhoseSourceWaits, DoesNotBlockReadingThePassword) {
  ServerDataManager registry;
  std::latch gate(1);
  const LocallyUniqueID waiting = AddClone(registry, [&] { gate.wait(); });
  const LocallyUniqueID other = AddClone(registry, [] {});
  for (const LocallyUniqueID id : {waiting, other}) registry.Password(id, "secret", true);
  WatchedThread maker([&] {
    const SvrDMInputDataSource reader(registry, waiting, /*tryOnly=*/false);
    MakeIteratorOf(**reader);
  });
  ASSERT_TRUE(maker.Waits());

  std::atomic<int> mangled = 0;
  WatchedThread asker([&] {
    for (const LocallyUniqueID id : {waiting, other}) {
      const SvrDMInputDataSource reader(registry, id, /*tryOnly=*/false);
      if (reader.GetPasswordMangled()) ++mangled;
    }
  });

  EXPECT_FALSE(asker.Waits());
  gate.count_down();
  asker.Join();
  EXPECT_EQ(mangled, 2);
}

TEST(CloneWhoseSourceWaits, HidesItsParentLinkFromParentOfUntilTheLastIteratorIsMade) {
  std::latch gates[] = {std::latch(1), std::latch(1)};
  std::atomic<int> calls = 0;
  SvrDMCloneDataSource clone(new JobAtEachIterator([&] {
    const int call = calls++;
    gates[call].wait();
    if (call == 0) throw std::runtime_error("no rows today");
  }));
  clone.ShowParents(true);  // sets the parent link; the last MakeIterator to end clears it
  WatchedThread first([&] { EXPECT_THROW(MakeIteratorOf(clone), std::runtime_error); });
  ASSERT_TRUE(first.Waits());
  WatchedThread second([&] { MakeIteratorOf(clone); });
  ASSERT_TRUE(second.Waits());
  EXPECT_EQ(SvrDMCloneDataSource::ParentOf(clone), nullptr);

  gates[0].count_down();
  first.Join();
  EXPECT_EQ(clone.GetParentSource(), clone.Source());
  EXPECT_EQ(SvrDMCloneDataSource::ParentOf(clone), nullptr);

  gates[1].count_down();
  second.Join();
  EXPECT_EQ(clone.GetParentSource(), nullptr);
}

}  // namespace
