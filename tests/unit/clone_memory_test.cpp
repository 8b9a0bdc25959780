// Clones and their sources when memory runs out.

#include <gmock/gmock.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullMemory.h>

#include <memory>
#include <utility>

namespace {

using support::CountedSource;
using support::FailsWithMemoryFor;
using support::Var;

std::unique_ptr<CountedSource> SourceOnAParent(int& deaths) {
  auto source = std::make_unique<CountedSource>(deaths, new CountedSource(deaths));
  source->MakeVariable(Var("A"), nullptr);
  source->SetLabel("a label that is too long to stand inside a string object");
  return source;
}

void DeleteChain(const ORVX_DataSource* source) {
  const std::unique_ptr<const ORVX_DataSource> parent(source->GetParentSource());
  delete source;
}

TEST(FullMemoryInAClone, OwnsTheChainAfterItsFirstAllocation) {
  long failures = 0;
  for (bool built = false; !built;) {
    int deaths = 0;
    ORVX_DataSource* const source = SourceOnAParent(deaths).release();
    built = !FailsWithMemoryFor(failures, [&] { const SvrDMCloneDataSource clone(source); });
    if (built) {
      EXPECT_EQ(deaths, 2);  // deleted with the clone
    } else if (failures == 0) {
      EXPECT_EQ(deaths, 0);  // still owned by the caller
      DeleteChain(source);
    } else {
      EXPECT_EQ(deaths, 2) << "allocation " << failures;
    }
    if (!built) ++failures;
  }
  EXPECT_GT(failures, 3);
}

TEST(FullMemoryInAClone, AdoptDeletesTheSourceIfAnyAllocationFails) {
  long failures = 0;
  for (bool built = false; !built;) {
    int deaths = 0;
    auto source = SourceOnAParent(deaths);
    built = !FailsWithMemoryFor(failures, [&] { SvrDMCloneDataSource::Adopt(std::move(source)); });
    EXPECT_EQ(deaths, 2) << "allocation " << failures;
    EXPECT_EQ(source, nullptr);
    if (!built) ++failures;
  }
  EXPECT_GT(failures, 3);
}

TEST(FullMemoryInAClone, AFailedCopyLeavesTheChainToTheOtherCopies) {
  int deaths = 0;
  {
    const auto clone = SvrDMCloneDataSource::Adopt(SourceOnAParent(deaths));
    long failures = 0;
    while (FailsWithMemoryFor(failures, [&] { const SvrDMCloneDataSource copy(*clone); })) {
      ++failures;
      EXPECT_EQ(deaths, 0);
      EXPECT_EQ(support::Names(*clone), "A");
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(deaths, 0);
  }
  EXPECT_EQ(deaths, 2);
}

TEST(FullMemoryInAClone, HidesItsParentIfMakingAnIteratorFails) {
  int deaths = 0;
  auto clone = SvrDMCloneDataSource::Adopt(SourceOnAParent(deaths));
  OBS cell;
  long failures = 0;
  clone->ShowParents(true);
  while (FailsWithMemoryFor(
      failures, [&] { const std::unique_ptr<ObsIterator> rows(clone->MakeIterator(&cell)); })) {
    ++failures;
    EXPECT_FALSE(clone->ShowParents(true));
  }
  EXPECT_FALSE(clone->ShowParents(false));
  EXPECT_GT(failures, 1);
}

}  // namespace
