// Clones over one source, used by many threads at once.

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

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::RowsOf;
using support::Var;
using testing::Each;

constexpr int kThreads = 4;

// Runs `work` on each of several threads, with its number.
void OnThreads(const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) threads.emplace_back(work, number);
  for (std::thread& thread : threads) thread.join();
}

// The survey, below a source whose death is counted.
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

TEST_F(ClonesOnThreads, TheChainGoesExactlyOnceWithTheLastCopyWhicheverThatIs) {
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
      mine.reset();  // all at once: any of them may be the last
      meeting.Meet();
      if (number == 0 && deaths != 1) ++wrong;
      meeting.Meet();
    }
  });

  EXPECT_EQ(wrong, 0);
}

TEST_F(ClonesOnThreads, ReadersOfOneDatasetMakeIteratorsOfItsCloneAtOnce) {
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
      // Another thread's iterator may be under way: the parent shows, or it does not.
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

// The clone below is one object for all copies above it, and shows its parent for each of them.
TEST_F(ClonesOnThreads, CopiesOverOneCloneBelowMakeIteratorsAtOnce) {
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

// Whoever asks what a dataset rests on must not be answered by the parent that its clone shows for
// an iterator: by the survey, whose password is not mangled and whose file name is told.
TEST_F(ClonesOnThreads, WhatADatasetRestsOnStaysTheSameWhileIteratorsAreMade) {
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

}  // namespace
