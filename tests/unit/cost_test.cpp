// Costs that must not grow with the number of variables or datasets, counted in allocated bytes,
// hashes and comparisons of names.

#include <client/ChangeStreamReader.h>
#include <client/server/ChangeStreamObserver.h>
#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <tests/support/Datasets.h>
#include <tests/support/FrameChannel.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Observers.h>

#include <strings.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace {

int comparisons = 0;

}  // namespace

// Replaces the comparison of libplatdep with a counted comparison. The replacement handles only
// ASCII, which is enough for the names in this program.
int _ORVXMBstricmp_A(const char* left, const char* right) {
  ++comparisons;
  return strcasecmp(left, right);
}

namespace {

using support::ManyVariables;

template <class Work>
std::size_t BytesAllocatedBy(const Work& work) {
  const auto bytes = [] { return support::heap.bytes + support::messageHeap.bytes; };
  const std::size_t before = bytes();
  work();
  return bytes() - before;
}

void ChangeALabel(SvrDMWriteableDataSource& writer) {
  writer->GetVariable(500).SetLabel("another");
}

// Returns the number of bytes allocated by releasing a writer that made `change` to a dataset with
// `count` variables, an observer and `streams` change streams.
std::size_t BytesToRelease(unsigned int count,
                           const std::function<void(SvrDMWriteableDataSource&)>& change,
                           int streams = 0) {
  support::SilentObserver listener;
  support::FrameChannel channel;
  std::deque<ChangeStreamObserver> observers;
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(ManyVariables(count), "", /*quiet=*/true);
  SvrDMDataset(registry, id).Register(listener);
  while (streams-- > 0) SvrDMDataset(registry, id).Register(observers.emplace_back(channel));
  support::WriteNothing(registry, id);

  auto writer =
      std::make_unique<SvrDMWriteableDataSource>(registry, id, /*tryOnly=*/false, nullptr);
  change(*writer);
  return BytesAllocatedBy([&] { writer.reset(); });
}

TEST(CostOfARelease, IsNoAllocationWithoutAChange) {
  EXPECT_EQ(BytesToRelease(20'000, [](SvrDMWriteableDataSource&) {}), 0U);
}

TEST(CostOfARelease, OfOneLabelDoesNotGrowWithTheNumberOfVariables) {
  EXPECT_EQ(BytesToRelease(1'000, ChangeALabel), BytesToRelease(20'000, ChangeALabel));
}

TEST(CostOfARelease, OfOneLabelForAHundredStreamsDoesNotGrowWithTheNumberOfVariables) {
  EXPECT_EQ(BytesToRelease(1'000, ChangeALabel, 100), BytesToRelease(20'000, ChangeALabel, 100));
}

TEST(CostOfARelease, OfAMoveToTheFrontHardlyGrowsWithTheNumberOfVariables) {
  const auto move = [](SvrDMWriteableDataSource& writer) {
    const int last = writer->ColumnCount() - 1;
    const ORVX_Variable moved = writer->GetVariable(last);
    writer->DeleteVariables(last, last);
    writer->InsertVariable(0, moved);
  };
  // A move copies a few blocks of variables, among them the last block, whose size depends on the
  // number of variables. So the two results differ, but by less than a factor of 2.
  EXPECT_LE(BytesToRelease(20'000, move), 2 * BytesToRelease(1'000, move));
}

// Returns the number of bytes allocated by a reader that applies one change of a dictionary with
// `count` variables.
std::size_t BytesToApply(unsigned int count) {
  support::FrameChannel channel;
  ChangeStreamObserver stream(channel);
  ServerDataManager registry;
  const LocallyUniqueID id = registry.Add(ManyVariables(count), "", /*quiet=*/true);
  SvrDMDataset(registry, id).Register(stream);
  ChangeStreamReader reader(id);
  support::WriteNothing(registry, id);
  channel.Deliver(reader);
  support::Write(registry, id, ChangeALabel);
  const std::size_t bytes = BytesAllocatedBy([&] { reader.Apply(channel.frames.front()); });
  EXPECT_EQ(reader.Dictionary().GetVariable(500).GetLabel(), "another");
  return bytes;
}

TEST(CostOfAFrame, OfOneLabelDoesNotGrowWithTheNumberOfVariables) {
  EXPECT_EQ(BytesToApply(1'000), BytesToApply(20'000));
}

// Returns the number of name comparisons in four searches among `datasets` datasets: for a used and
// an unused handle name, and for a used and an unused file name.
int ComparisonsToFind(int datasets) {
  ServerDataManager registry;
  for (int i = 0; i < datasets; ++i) {
    const auto id = registry.Add(nullptr, "file" + std::to_string(i), /*quiet=*/true);
    SvrDMDataset(registry, id).SetHandle("handle" + std::to_string(i));
  }
  comparisons = 0;
  EXPECT_TRUE(registry.GetDataSet("HANDLE3").IsValid());
  EXPECT_FALSE(registry.GetDataSet("another").IsValid());
  registry.Add(nullptr, "File3", /*quiet=*/true);
  registry.Add(nullptr, "another", /*quiet=*/true);
  return comparisons;
}

TEST(CostOfASearch, IsTheSameNumberOfComparisonsAmongAnyNumberOfDatasets) {
  EXPECT_GT(ComparisonsToFind(10), 0);
  EXPECT_EQ(ComparisonsToFind(10), ComparisonsToFind(1'000));
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
