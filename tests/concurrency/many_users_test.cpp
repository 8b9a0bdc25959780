// Tests many readers, writers and observers of several datasets, while other datasets are added and
// deleted.

#include <client/DictionaryMirror.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMInputDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/support/Datasets.h>

#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kBusyDatasets = 3;
constexpr int kWritersEach = 2;
constexpr int kReadersEach = 2;
constexpr int kObserversEach = 2;
constexpr int kWritesEach = 150;

// Mirrors the dictionary. Needs no lock, because it is called only under the dataset's write lock.
class Follower : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    mirror.Apply(writer->GetNotifications());
    ++passes;
  }

  DictionaryMirror mirror;
  int passes = 0;
};

// The number that each write increments, stored as the label of the first variable.
int CountIn(const ORVX_DataSource& source) {
  return std::stoi(source.GetVariable(0).GetLabel());
}

// Whether the dictionary consists of its first variable and pairs of variables with equal labels.
// Always true between writes, but not during a write.
bool IsWhole(const ORVX_DataSource& source) {
  if (source.ColumnCount() % 2 == 0) return false;
  for (int i = 1; i < source.ColumnCount(); i += 2) {
    if (source.GetVariable(i).GetLabel() != source.GetVariable(i + 1).GetLabel()) return false;
  }
  return true;
}

void InsertPair(ORVX_DataSource& source, int position, const std::string& label) {
  for (int i = 0; i < 2; ++i) {
    ORVX_Variable variable(ORVX_Variable::NextID(), "pair");
    variable.SetLabel(label);
    source.InsertVariable(position, variable);
  }
}

// Changes the dictionary in several steps, and increments the number that CountIn returns.
void ChangePairs(ORVX_DataSource& source, std::minstd_rand& random) {
  const int count = CountIn(source) + 1;
  const int pairs = source.ColumnCount() / 2;
  const int chosen =
      pairs == 0 ? 1 : 1 + 2 * static_cast<int>(random() % static_cast<unsigned>(pairs));
  if (pairs < 4 || random() % 2 == 0) {
    InsertPair(source, chosen, "pair " + std::to_string(count));
  } else if (random() % 2 == 0) {
    source.DeleteVariables(chosen, chosen);
    source.DeleteVariables(chosen, chosen);
  } else {
    source.GetVariable(chosen).SetLabel("changed");
    source.GetVariable(chosen + 1).SetLabel("changed");
    const ORVX_Variable moved = source.GetVariable(chosen);
    source.DeleteVariables(chosen, chosen);
    source.InsertVariable(chosen + 1, moved);
  }
  source.GetVariable(0).SetLabel(std::to_string(count));
}

// One dataset and its users.
class Busy {
 public:
  explicit Busy(ServerDataManager& registry) : registry_(registry) {
    ORVX_Variable first = support::Var("count");
    first.SetLabel("0");
    id_ = registry.Add(*support::Dictionary(std::vector{first}).release(), "", /*quiet=*/false);
    for (Follower& follower : followers_) SvrDMDataset(registry, id_).Register(follower);
  }

  void WriteOften(unsigned int seed) {
    std::minstd_rand random(seed);
    for (int i = 0; i < kWritesEach; ++i) {
      SvrDMWriteableDataSource writer(registry_, id_, false, nullptr);
      EXPECT_TRUE(IsWhole(**writer));
      ChangePairs(**writer, random);
      if (random() % 8 == 0) writer.BulkVarMoves();
      writer.IncrementCaseSequence();
    }
  }

  // Reads repeatedly until all writes are done.
  void ReadOften() {
    for (int last = 0; last < kWritersEach * kWritesEach;) {
      const SvrDMInputDataSource reader(registry_, id_, false);
      const ORVX_DataSource& source = **reader;
      EXPECT_TRUE(IsWhole(source));
      const int count = CountIn(source);
      EXPECT_GE(count, last);
      last = count;
    }
  }

  void ExpectAllIsRight() {
    const SvrDMDataset handle(registry_, id_);
    EXPECT_EQ(handle.ReadersCount(), 0U);
    EXPECT_EQ(handle.WritersCount(), 0U);
    EXPECT_EQ(handle.GetCaseSequence(), unsigned{kWritersEach * kWritesEach});

    const SvrDMInputDataSource reader(registry_, id_, false);
    EXPECT_EQ(CountIn(**reader), kWritersEach * kWritesEach);
    for (const Follower& follower : followers_) {
      EXPECT_EQ(follower.passes, kWritersEach * kWritesEach);
      EXPECT_EQ(support::VariablesOf(follower.mirror.Dictionary()), support::VariablesOf(**reader));
    }
  }

 private:
  ServerDataManager& registry_;
  LocallyUniqueID id_;
  Follower followers_[kObserversEach];
};

// All threads start together. Writers and readers of one dataset acquire its lock in any order,
// while the registry is busy with other datasets.
TEST(ManyUsers, LeaveCountsAtZeroAndEveryMirrorEqualToItsSource) {
  ServerDataManager registry;
  std::vector<std::unique_ptr<Busy>> datasets;
  for (int i = 0; i < kBusyDatasets; ++i) datasets.push_back(std::make_unique<Busy>(registry));
  std::latch start(kBusyDatasets * (kWritersEach + kReadersEach) + 1);
  std::atomic<int> writing = kBusyDatasets * kWritersEach;
  std::vector<std::thread> users;

  for (const std::unique_ptr<Busy>& dataset : datasets) {
    for (unsigned int seed = 1; seed <= kWritersEach; ++seed) {
      users.emplace_back([&, seed] {
        start.arrive_and_wait();
        dataset->WriteOften(seed);
        --writing;
      });
    }
    for (int i = 0; i < kReadersEach; ++i) {
      users.emplace_back([&] {
        start.arrive_and_wait();
        dataset->ReadOften();
      });
    }
  }
  start.arrive_and_wait();
  while (writing > 0) registry.Delete(support::AddDataset(registry, "fleeting"));
  for (std::thread& user : users) user.join();

  EXPECT_EQ(registry.GetAllDatasets().size(), std::size_t{kBusyDatasets});
  for (const std::unique_ptr<Busy>& dataset : datasets) dataset->ExpectAllIsRight();
}

}  // namespace
