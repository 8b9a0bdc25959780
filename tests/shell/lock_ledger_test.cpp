// The rules by which the shell knows who must wait and who gets in.

#include <LockLedger.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sdmsh::Holding;
using sdmsh::LockLedger;
using sdmsh::LockMode;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr LockMode kRead = LockMode::Read;
constexpr LockMode kWrite = LockMode::Write;

class Ledger : public testing::Test {
 protected:
  bool Ask(const char* role, LockMode mode) { return ledger.Ask(survey, role, mode); }
  std::vector<Holding> Release(const char* role) { return ledger.Release(survey, role); }

  const LocallyUniqueID survey{0, 0};
  const LocallyUniqueID birds{0, 1};
  LockLedger ledger;
};

TEST_F(Ledger, ReadersShareTheLock) {
  EXPECT_TRUE(Ask("r1", kRead));
  EXPECT_TRUE(Ask("r2", kRead));
  EXPECT_THAT(ledger.Holders(survey), ElementsAre(Holding{"r1", kRead}, Holding{"r2", kRead}));
}

TEST_F(Ledger, AWriterWaitsForReadersAndTheLastLetsItIn) {
  Ask("r1", kRead);
  Ask("r2", kRead);
  EXPECT_FALSE(Ask("w", kWrite));
  EXPECT_TRUE(ledger.IsWaiting("w"));
  EXPECT_THAT(Release("r1"), IsEmpty());
  EXPECT_THAT(Release("r2"), ElementsAre(Holding{"w", kWrite}));
  EXPECT_FALSE(ledger.IsWaiting("w"));
}

TEST_F(Ledger, AReaderDoesNotWaitForAWriterThatOnlyWaits) {
  Ask("r1", kRead);
  Ask("w", kWrite);
  EXPECT_TRUE(Ask("r1", kRead));
  EXPECT_TRUE(Ask("r2", kRead));
  EXPECT_THAT(Release("r1"), IsEmpty());
  EXPECT_THAT(Release("r1"), IsEmpty());
  EXPECT_THAT(Release("r2"), ElementsAre(Holding{"w", kWrite}));
}

TEST_F(Ledger, AReaderWaitsForTheWriterThatHoldsTheLock) {
  Ask("w", kWrite);
  EXPECT_FALSE(Ask("r", kRead));
  EXPECT_THAT(Release("w"), ElementsAre(Holding{"r", kRead}));
}

TEST_F(Ledger, AWriterThatReleasesLetsInAllReadersBeforeTheNextWriter) {
  Ask("w1", kWrite);
  Ask("w2", kWrite);
  Ask("r1", kRead);
  Ask("w3", kWrite);
  Ask("r2", kRead);
  EXPECT_THAT(ledger.InFront(survey, kRead), IsEmpty());
  EXPECT_THAT(Release("w1"), ElementsAre(Holding{"r1", kRead}, Holding{"r2", kRead}));
  EXPECT_THAT(ledger.Waiters(survey), ElementsAre(Holding{"w2", kWrite}, Holding{"w3", kWrite}));
  Release("r1");
  EXPECT_THAT(Release("r2"), ElementsAre(Holding{"w2", kWrite}));
  EXPECT_THAT(Release("w2"), ElementsAre(Holding{"w3", kWrite}));
  EXPECT_THAT(Release("w3"), IsEmpty());
  EXPECT_TRUE(Ask("w4", kWrite));
}

TEST_F(Ledger, DatasetsHaveLocksOfTheirOwn) {
  Ask("w", kWrite);
  EXPECT_TRUE(ledger.Ask(birds, "w", kWrite));
  EXPECT_THAT(Release("w"), IsEmpty());
  EXPECT_THAT(ledger.Holders(birds), ElementsAre(Holding{"w", kWrite}));
}

TEST_F(Ledger, SeesThatARoleWouldWaitForItself) {
  Ask("w", kRead);
  EXPECT_TRUE(ledger.AllGetIn());
  Ask("w", kWrite);
  EXPECT_FALSE(ledger.AllGetIn());
}

TEST_F(Ledger, SeesThatTwoRolesWouldWaitForEachOther) {
  Ask("x", kWrite);
  ledger.Ask(birds, "y", kWrite);
  ledger.Ask(birds, "x", kRead);
  EXPECT_TRUE(ledger.AllGetIn());
  Ask("y", kRead);
  EXPECT_FALSE(ledger.AllGetIn());
}

// x reads the survey, where a writer waits; y, for which x waits, joins x there all the same.
TEST_F(Ledger, SeesNoWaitThroughAWriterThatOnlyWaits) {
  Ask("x", kRead);
  Ask("w", kWrite);
  ledger.Ask(birds, "y", kWrite);
  ledger.Ask(birds, "x", kWrite);
  EXPECT_TRUE(ledger.AllGetIn());
  EXPECT_TRUE(Ask("y", kRead));
  EXPECT_TRUE(ledger.AllGetIn());
}

TEST_F(Ledger, AfterAFailedTryNoReleaseEndsALock) {
  Ask("r", kRead);
  ledger.HoldForGood(survey);
  EXPECT_THAT(Release("r"), IsEmpty());
  EXPECT_THAT(ledger.Holders(survey), ElementsAre(Holding{"", kRead}));
  EXPECT_TRUE(Ask("r2", kRead));
  Ask("w", kWrite);
  EXPECT_FALSE(ledger.AllGetIn());
}

}  // namespace
