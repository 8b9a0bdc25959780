// Costs that must not grow with the number of variables, counted in allocations and in hashes.

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullMemory.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace {

std::unique_ptr<DataFreeDataSource> ManyVariables(unsigned int count) {
  auto source = std::make_unique<DataFreeDataSource>();
  for (unsigned int i = 0; i < count; ++i) {
    source->MakeVariable(ORVX_Variable(LocallyUniqueID(2, i), "v" + std::to_string(i)), nullptr);
  }
  return source;
}

class Listener : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {}
};

// The allocations of releasing a writer that made `change` to a dataset with `count` variables.
long AllocationsToRelease(unsigned int count,
                          const std::function<void(SvrDMWriteableDataSource&)>& change) {
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(ManyVariables(count), "", /*quiet=*/true);
  Listener listener;
  SvrDMDataset(registry, id).Register(listener);
  support::WriteNothing(registry, id);

  auto writer =
      std::make_unique<SvrDMWriteableDataSource>(registry, id, /*tryOnly=*/false, nullptr);
  change(*writer);
  const auto before = support::heap.taken + support::messageHeap.taken;
  writer.reset();
  const auto allocations = support::heap.taken + support::messageHeap.taken - before;
  SvrDMDataset(registry, id).Unregister(listener);
  return allocations;
}

TEST(CostOfARelease, IsNoAllocationWithoutAChange) {
  EXPECT_EQ(AllocationsToRelease(20'000, [](SvrDMWriteableDataSource&) {}), 0);
}

TEST(CostOfARelease, IsAsManyAllocationsForOneLabelAmongAnyNumberOfVariables) {
  const auto label = [](SvrDMWriteableDataSource& writer) {
    writer->GetVariable(500).SetLabel("another");
  };
  EXPECT_EQ(AllocationsToRelease(1'000, label), AllocationsToRelease(20'000, label));
}

TEST(CostOfARelease, IsAsManyAllocationsForAMoveToTheFrontAmongAnyNumberOfVariables) {
  const auto move = [](SvrDMWriteableDataSource& writer) {
    const int last = writer->ColumnCount() - 1;
    const ORVX_Variable moved = writer->GetVariable(last);
    writer->DeleteVariables(last, last);
    writer->InsertVariable(0, moved);
  };
  // The number of messages is the same, but the tables of a longer list may grow.
  EXPECT_LE(AllocationsToRelease(20'000, move), AllocationsToRelease(1'000, move) + 10);
}

int hashes = 0;

VariableHash CountedHash(const ORVX_Variable& variable) {
  ++hashes;
  return {variable.GetID().Word(), 1};
}

TEST(CostOfADigest, IsOneHashAfterOneChange) {
  const auto source = ManyVariables(20'000);
  hashes = 0;
  source->HashOfVariables(CountedHash);
  EXPECT_EQ(hashes, 20'000);

  source->GetVariable(10'000).SetLabel("another");
  hashes = 0;
  source->HashOfVariables(CountedHash);
  EXPECT_EQ(hashes, 1);
}

TEST(CostOfADigest, IsNoHashForTheSnapshotOfAHashedDictionary) {
  const auto source = ManyVariables(1'000);
  source->HashOfVariables(CountedHash);
  DataFreeDataSource snapshot;
  snapshot.MatchVariables(*source);
  hashes = 0;
  EXPECT_EQ(snapshot.HashOfVariables(CountedHash), source->HashOfVariables(CountedHash));
  EXPECT_EQ(hashes, 0);
}

}  // namespace
