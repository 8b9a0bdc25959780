// What the shell asks the registry, and who is told of datasets that come and go.

#include "ShellTest.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <memory>
#include <vector>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class RegistryAtTheShell : public ShellTest {};

// ---------------------------------------------------------------------------------------------
// Watching

TEST_F(RegistryAtTheShell, WhoWatchesIsToldOfEachDatasetThatComesAndGoes) {
  EXPECT_EQ(AtPrompt("@w watch registry\n" + Open("survey") + "close survey\n"),
            "w watches the registry\n" + IsOpen("survey") +
                "  w is told: dataset 0:0 is created, file " + Path("abc.tsv") +
                "\n"
                "survey is closed\n"
                "  w is told: dataset 0:0 (survey) is deleted\n");
}

TEST_F(RegistryAtTheShell, ASecondDatasetOfAFileIsCreatedWithoutAFile) {
  EXPECT_THAT(AtPrompt(Open("one") + "watch registry\n" + Open("two")),
              EndsWith("  main is told: dataset 0:1 is created, file none\n"));
}

TEST_F(RegistryAtTheShell, NobodyIsToldOfAQuietDataset) {
  EXPECT_EQ(AtPrompt("watch registry\nopen " + Path("abc.tsv") +
                     " as survey quiet\nclose survey\nadd-empty nix quiet\nwrite nix\n"
                     "source nix dictionary\nrelease\nclose nix\n"),
            "main watches the registry\n"
            "survey is open: 3 variables, 2 cases, from " +
                Path("abc.tsv") +
                " (quiet)\n"
                "survey is closed\n"
                "nix is open, without a data source (quiet)\n"
                "main takes the write lock on nix\n"
                "main releases the write lock on nix\n"
                "nix is closed\n");
}

TEST_F(RegistryAtTheShell, AnEmptyDatasetIsCreatedOnceItsFirstSourceIsToldAndNoSooner) {
  EXPECT_EQ(AtPrompt("watch registry\n@v add-empty nix\n@v observe nix\nwrite nix\n"
                     "source nix dictionary\ninsert nix x\ntell nix\nrelease\n"),
            "main watches the registry\n"
            "nix is open, without a data source\n"
            "v observes nix\n"
            "main takes the write lock on nix\n"
            "  main is told: dataset 0:0 (nix) is created, file none\n"
            "  v is told: variable \"x\" inserted at the end (numeric)\n"
            "  v is told: clients drop their cases: 0 rows now\n"
            "main releases the write lock on nix\n");
}

TEST_F(RegistryAtTheShell, ADatasetThatNeverHadASourceIsToldAsDeletedAllTheSame) {
  EXPECT_THAT(AtPrompt("watch registry\nadd-empty nix\nclose nix\n"),
              EndsWith("nix is open, without a data source\nnix is closed\n"
                       "  main is told: dataset 0:0 (nix) is deleted\n"));
}

TEST_F(RegistryAtTheShell, ADatasetClosedBeforeItsFirstPassIsToldAsCreatedAfterwards) {
  EXPECT_THAT(AtPrompt("watch registry\nadd-empty nix\nwrite nix\nsource nix dictionary\n"
                       "insert nix x\nclose nix\nrelease\n"),
              EndsWith("  main is told: dataset 0:0 (nix) is deleted\n"
                       "main releases the write lock on nix\n"
                       "  main is told: dataset 0:0 is created, file none\n"));
}

TEST_F(RegistryAtTheShell, WhoWatchesAgainIsToldLastAndOnce) {
  EXPECT_THAT(AtPrompt("@v watch registry\n@u watch registry\n@v watch registry\nadd-empty nix\n"
                       "close nix\n"),
              EndsWith("nix is closed\n"
                       "  u is told: dataset 0:0 (nix) is deleted\n"
                       "  v is told: dataset 0:0 (nix) is deleted\n"));
}

TEST_F(RegistryAtTheShell, WhoNoLongerWatchesIsToldNothing) {
  EXPECT_EQ(AtPrompt("watch registry\nunwatch registry\nadd-empty nix\nclose nix\n"
                     "unwatch registry\n"),
            "main watches the registry\n"
            "main no longer watches the registry\n"
            "nix is open, without a data source\n"
            "nix is closed\n"
            "error: main does not watch the registry\n");
}

TEST_F(RegistryAtTheShell, ForgetsThoseWhoWatchWhenTheShellEnds) {
  AtPrompt("watch registry\n");
  EXPECT_EQ(AtPrompt("add-empty nix\nclose nix\n"),
            "nix is open, without a data source\nnix is closed\n");
}

}  // namespace
}  // namespace sdmsh
