// Tests of the commands on the registry, and of registry observers.

#include "ShellTest.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/SvrDMInputDataSource.h>

#include <chrono>
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

TEST_F(RegistryAtTheShell, ObserversAreNotifiedOfCreatedAndDeletedDatasets) {
  EXPECT_EQ(AtPrompt("@w watch registry\n" + Open("survey") + "close survey\n"),
            "w watches the registry\n" + IsOpen("survey") + "  w: dataset 0:0 created, file " +
                Path("abc.tsv") +
                "\n"
                "survey is closed\n"
                "  w: dataset 0:0 (survey) deleted\n");
}

TEST_F(RegistryAtTheShell, CreationNoticeOfASecondDatasetOfAFileHasNoFileName) {
  EXPECT_THAT(AtPrompt(Open("one") + "watch registry\n" + Open("two")),
              EndsWith("  main: dataset 0:1 created, file none\n"));
}

TEST_F(RegistryAtTheShell, ObserversAreNotNotifiedOfAQuietDataset) {
  EXPECT_EQ(AtPrompt("watch registry\nopen " + Path("abc.tsv") +
                     " as survey quiet\nclose survey\nadd-empty nix quiet\nwrite nix\n"
                     "source nix dictionary\nrelease\nclose nix\n"),
            "main watches the registry\n"
            "survey is open: 3 variables, 2 cases, from " +
                Path("abc.tsv") +
                " (quiet)\n"
                "survey is closed\n"
                "nix is open, without a data source (quiet)\n"
                "main acquires the write lock on nix\n"
                "main releases the write lock on nix\n"
                "nix is closed\n");
}

TEST_F(RegistryAtTheShell, CreationNoticeOfAnEmptyDatasetComesWithItsFirstSource) {
  EXPECT_EQ(AtPrompt("watch registry\n@v add-empty nix\n@v observe nix\nwrite nix\n"
                     "source nix dictionary\ninsert nix x\ntell nix\nrelease\n"),
            "main watches the registry\n"
            "nix is open, without a data source\n"
            "v observes nix\n"
            "main acquires the write lock on nix\n"
            "  main: dataset 0:0 (nix) created, file none\n"
            "  v: inserted variable \"x\" (numeric) at the end\n"
            "  v: case data reset: 0 rows\n"
            "main releases the write lock on nix\n");
}

TEST_F(RegistryAtTheShell, DatasetThatNeverHadASourceStillHasADeletionNotice) {
  EXPECT_THAT(AtPrompt("watch registry\nadd-empty nix\nclose nix\n"),
              EndsWith("nix is open, without a data source\nnix is closed\n"
                       "  main: dataset 0:0 (nix) deleted\n"));
}

TEST_F(RegistryAtTheShell, CreationNoticeMayFollowTheDeletionNotice) {
  EXPECT_THAT(AtPrompt("watch registry\nadd-empty nix\nwrite nix\nsource nix dictionary\n"
                       "insert nix x\nclose nix\nrelease\n"),
              EndsWith("  main: dataset 0:0 (nix) deleted\n"
                       "main releases the write lock on nix\n"
                       "  main: dataset 0:0 created, file none\n"));
}

TEST_F(RegistryAtTheShell, ObserverThatWatchesAgainIsNotifiedLastAndOnce) {
  EXPECT_THAT(AtPrompt("@v watch registry\n@u watch registry\n@v watch registry\nadd-empty nix\n"
                       "close nix\n"),
              EndsWith("nix is closed\n"
                       "  u: dataset 0:0 (nix) deleted\n"
                       "  v: dataset 0:0 (nix) deleted\n"));
}

TEST_F(RegistryAtTheShell, ObserverThatNoLongerWatchesIsNotNotified) {
  EXPECT_EQ(AtPrompt("watch registry\nunwatch registry\nadd-empty nix\nclose nix\n"
                     "unwatch registry\n"),
            "main watches the registry\n"
            "main no longer watches the registry\n"
            "nix is open, without a data source\n"
            "nix is closed\n"
            "error: main does not watch the registry\n");
}

TEST_F(RegistryAtTheShell, ObserversAreUnregisteredWhenTheShellEnds) {
  AtPrompt("watch registry\n");
  EXPECT_EQ(AtPrompt("add-empty nix\nclose nix\n"),
            "nix is open, without a data source\nnix is closed\n");
}

// ---------------------------------------------------------------------------------------------
// Hiding variables

class Hiding : public RegistryAtTheShell {
 protected:
  // The rows of the dataset, cell by cell, as a reader returns them.
  std::vector<std::vector<double>> Rows(const std::string& dataset) {
    SvrDMItemPtr item = Registry().GetDataSet(dataset);
    const SvrDMInputDataSource reader(item, /*tryOnly=*/false);
    std::vector<OBS> area(static_cast<std::size_t>(reader->GetObsAreaSize()));
    const std::unique_ptr<ObsIterator> cases(reader->MakeIterator(area.data()));
    std::vector<std::vector<double>> rows;
    while (cases->Next()) {
      std::vector<double>& row = rows.emplace_back();
      for (const OBS& cell : area) row.push_back(cell.number);
    }
    return rows;
  }

  // Runs the commands and keeps the shell, so that a test can call Execute several times.
  void Execute(const std::vector<std::vector<std::string>>& commands) {
    for (const auto& words : commands) shell_.Execute(Shell::kMainCaller, words);
  }

  std::string Said() { return out_.str(); }

 private:
  std::ostringstream out_;
  Output output_{out_, out_};
  Shell shell_{Registry(), output_};
};

TEST_F(Hiding, HidesVariablesOfDatasetsOpenedLaterUntilTurnedOff) {
  EXPECT_EQ(AtPrompt("open " + Path("abc.tsv") + " as before\nhide b nope\nopen " +
                     Path("abc.tsv") + " as hidden\nhide nothing\nopen " + Path("abc.tsv") +
                     " as after\nvariables hidden\n"),
            IsOpen("before") +
                "datasets opened from now on hide b, nope\n"
                "hidden is open: 2 variables, 2 cases, from " +
                Path("abc.tsv") + "\ndatasets opened from now on hide no variables\n" +
                IsOpen("after") + "   1  a  numeric  unknown\n   2  c  numeric  unknown\n");
}

TEST_F(Hiding, DoesNotHideVariablesOfAReplacingSource) {
  EXPECT_THAT(AtPrompt("hide b\nadd-empty nix\nwrite nix\nsource nix file " + Path("abc.tsv") +
                       "\ncases nix count 1\n"),
              HasSubstr("      a  b  c\n"));
}

TEST_F(Hiding, KeepsTheOtherVariablesReadable) {
  Execute({{"hide", "b"}, {"open", Path("abc.tsv"), "as", "survey"}});
  EXPECT_EQ(Rows("survey"), (std::vector<std::vector<double>>{{1, 3}, {4, 6}}));
}

TEST_F(Hiding, ReadsCasesWithTheEditedDictionary) {
  const std::string file = WriteFile("text.tsv", "s\th\tn\nlong enough\t7\t8\n");
  Execute({{"hide", "h"},
           {"open", file, "as", "survey"},
           {"write", "survey"},
           {"move", "survey", "n", "to", "1"},
           {"insert", "survey", "new", "before", "s"},
           {"release"}});
  const std::vector<double> row = Rows("survey").at(0);
  ASSERT_EQ(row.size(), 4u);
  EXPECT_EQ(row[0], 8);
  EXPECT_THAT(row[1], testing::IsNan());
  OBS text[2];
  text[0].number = row[2];
  text[1].number = row[3];
  EXPECT_EQ(std::string(text[0].text, 8) + std::string(text[1].text, 8), "long enough     ");
}

TEST_F(Hiding, ConvertsTheValuesOfAVariableWhoseTypeChanges) {
  Execute({{"hide", "b"},
           {"open", Path("abc.tsv"), "as", "survey"},
           {"write", "survey"},
           {"retype", "survey", "a", "string:9"},
           {"release"}});
  const std::vector<double> row = Rows("survey").at(1);
  ASSERT_EQ(row.size(), 3u);
  OBS text;
  text.number = row[0];
  EXPECT_EQ(std::string(text.text, 8), "4       ");
  EXPECT_EQ(row[2], 6);
}

TEST_F(Hiding, MayHideAllVariables) {
  Execute({{"hide", "a", "b", "c"},
           {"open", Path("abc.tsv"), "as", "survey"},
           {"variables", "survey"}});
  EXPECT_THAT(Said(), EndsWith("survey has no variables\n"));
}

TEST_F(Hiding, UnregistersTheFilterHookWhenTheShellEnds) {
  AtPrompt("hide b\n");
  EXPECT_EQ(Registry().RegisterFilter(nullptr), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Files changed by another program

class Touching : public Hiding {
 protected:
  // Changes the time of the file, as if another program had saved it.
  void Touch(const std::string& file) const {
    using namespace std::chrono_literals;
    const std::filesystem::path path = Path(file);
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + 5s);
  }
};

TEST_F(Touching, IsDetectedByFileAndByDataset) {
  Execute({{"open", Path("abc.tsv"), "as", "survey"}, {"touched", "survey"}});
  EXPECT_THAT(Said(), EndsWith(Path("abc.tsv") + " was not changed by another program\n"));
  Touch("abc.tsv");
  Execute({{"touched", "survey"}});
  EXPECT_THAT(Said(), EndsWith(Path("abc.tsv") + " was changed by another program\n"));
  Execute({{"touched", Path("ABC.tsv")}, {"touched", "0:0"}});
  EXPECT_THAT(Said(), EndsWith(Path("abc.tsv") + " was changed by another program\n" +
                               Path("abc.tsv") + " was changed by another program\n"));
}

TEST_F(Touching, IsResetWhenTheFileIsReadAgain) {
  Execute({{"open", Path("abc.tsv"), "as", "survey"}});
  Touch("abc.tsv");
  Execute({{"write", "survey"},
           {"source", "survey", "file", Path("abc.tsv")},
           {"release"},
           {"touched", "survey"}});
  EXPECT_THAT(Said(), EndsWith(" was not changed by another program\n"));
}

TEST_F(Touching, NeedsTheFileOfADataset) {
  EXPECT_EQ(AtPrompt("add-empty nix\ntouched nix\ntouched " + Path("abc.tsv") + "\n"),
            "nix is open, without a data source\nerror: nix has no file\n"
            "error: no dataset is called \"" +
                Path("abc.tsv") + "\"\n");
}

}  // namespace
}  // namespace sdmsh
