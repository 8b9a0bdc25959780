// The process stops if the view differs from the source after an update. This program replaces the
// comparison of variables, so that no variable equals any variable, not even itself.

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/serverdatamgr.h>
#include <tests/support/Datasets.h>
#include <tests/support/Observers.h>

#include <gtest/gtest.h>

#include <csignal>

bool ORVX_Variable::operator==(const ORVX_Variable&) const {
  return false;
}

namespace {

TEST(UnequalVariablesDeathTest, AnUnequalViewStopsTheProcessWithOneLine) {
  ServerDataManager registry;
  const LocallyUniqueID id = support::AddDataset(registry, "A", /*quiet=*/true);
  support::RecordingObserver observer;
  registry.GetDataSet(id)->Register(observer);

  EXPECT_EXIT(support::WriteNothing(registry, id), testing::KilledBySignal(SIGABRT),
              "^Assertion failed: view\\.GetVariable\\(iNew\\) == pDs->GetVariable\\(iNew\\), "
              "function Update, source ServerDataManager/ObserverView, line 352\n$");
}

TEST(UnequalVariables, AreIgnoredWithoutObservers) {
  ServerDataManager registry;
  const LocallyUniqueID id = support::AddDataset(registry, "A", /*quiet=*/true);

  support::WriteNothing(registry, id);

  EXPECT_TRUE(registry.GetDataSet(id)->Notifications().empty());
}

}  // namespace
