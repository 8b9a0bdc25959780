// Tests of datasets that share cases, and of sources that hide variables or select cases.

#include "ShellTest.h"

#include <libdatasrc/CaseReader.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace sdmsh {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Cloning : public ShellTest {
 protected:
  // Runs the commands under the write lock. Returns the last line of JSON before the lock is
  // released.
  std::string LastInJson(const std::string& commands) {
    const std::string text = InJson(Open("survey") + "@w write survey\n" + commands);
    const std::size_t end = text.rfind("{\"event\":\"lock\",\"what\":\"released\"");
    EXPECT_NE(end, std::string::npos) << text;
    const std::string before = text.substr(0, end);
    return before.substr(before.rfind('\n', before.size() - 2) + 1);
  }

  static constexpr const char* kCopyIsOpen =
      "copy is open: 3 variables, 2 cases, a clone of survey\n";
  static constexpr const char* kRows =
      "      a  b  c\n"
      "   1  1  2  3\n"
      "   2  4  5  6\n";
};

// ---------------------------------------------------------------------------------------------
// Clones

TEST_F(Cloning, CreatesADatasetWithTheSameCases) {
  EXPECT_EQ(Writing("clone survey as copy\ncases survey\ncases copy\n"),
            std::string(kCopyIsOpen) + kRows + kRows + kReleased);
}

TEST_F(Cloning, EachCloneHasItsOwnDictionary) {
  EXPECT_EQ(Writing("clone survey as copy\nmove survey c to 1\ndelete survey a\n"
                    "insert survey x before b\ncases survey\n"
                    "write copy\nretype copy b string:2\nrename copy a z\ncases copy\n"
                    "release copy\ncases survey\n"),
            std::string(kCopyIsOpen) +
                "      c    x  b\n"
                "   1  3  NaN  2\n"
                "   2  6  NaN  5\n"
                "main acquires the write lock on copy\n"
                "      z  b  c\n"
                "   1  1  2  3\n"
                "   2  4  5  6\n"
                "main releases the write lock on copy\n"
                "      c    x  b\n"
                "   1  3  NaN  2\n"
                "   2  6  NaN  5\n" +
                kReleased);
}

TEST_F(Cloning, CopiesUnsavedEditsOfTheDictionary) {
  EXPECT_THAT(Writing("delete survey b\ntitle survey Letters\nweight survey by c\n"
                      "dirty survey on\nclone survey as copy\nshow copy\n"),
              AllOf(StartsWith("copy is open: 2 variables, 2 cases, a clone of survey\n"),
                    HasSubstr("  file           none\n"
                              "  data source    yes, a clone\n"
                              "  label          \"Letters\"\n"
                              "  variables      2\n"
                              "  cases          2\n"
                              "  weight         \"c\"\n"),
                    HasSubstr("  unsaved        yes\n")));
}

TEST_F(Cloning, ShowReportsBothDatasetsAsClones) {
  const std::string both = "show survey\nshow copy\n";
  const std::string clone = "  data source    yes, a clone\n";
  EXPECT_THAT(Writing("show survey\nclone survey as copy\n"), HasSubstr("  data source    yes\n"));
  const std::string text = Writing("clone survey as copy\n" + both);
  EXPECT_NE(text.find(clone), std::string::npos);
  EXPECT_NE(text.find(clone), text.rfind(clone));
  EXPECT_THAT(Writing("clone survey as copy\nsource survey filtered by a\nshow survey\n"),
              HasSubstr("  data source    yes\n"));
}

TEST_F(Cloning, JsonReportsWhetherADatasetIsAClone) {
  const auto shown = [this](const std::string& commands) {
    return LastInJson("@w clone survey as copy\nadd-empty nix\n" + commands);
  };
  EXPECT_THAT(shown("@w show survey\n"), HasSubstr(R"("isClone":true,"dictionary":{)"));
  EXPECT_THAT(shown("show nix\n"), HasSubstr(R"("isClone":false,"dictionary":null)"));
  EXPECT_THAT(shown("show survey\n"), HasSubstr(R"("isClone":null,"dictionary":null)"));
  EXPECT_THAT(shown("list\n"), Not(HasSubstr("isClone")));
}

TEST_F(Cloning, BothDatasetsHaveTheDirtyFlagOfTheOriginal) {
  EXPECT_THAT(Writing("clone survey as copy\nshow survey\nshow copy\n"),
              Not(HasSubstr("  unsaved        yes\n")));
  EXPECT_THAT(Writing("dirty survey on\nclone survey as copy\nshow survey\n"),
              HasSubstr("  unsaved        yes\n"));
  EXPECT_THAT(Writing("clone survey as copy\ndirty survey on\nclone survey as two\nshow two\n"),
              HasSubstr("  unsaved        yes\n"));
}

TEST_F(Cloning, ClonesCanBeClosedInAnyOrder) {
  const std::string clones = "clone survey as copy\nclone survey as third\nrelease\n";
  EXPECT_THAT(Writing(clones + "close survey\ncases copy\nclose copy\ncases third\n"),
              EndsWith(std::string("survey is closed\n") + kRows + "copy is closed\n" + kRows));
  EXPECT_THAT(Writing(clones + "close third\nclose copy\ncases survey\n"),
              EndsWith(std::string("copy is closed\n") + kRows));
  EXPECT_THAT(Writing(clones + "write survey\nsource survey none\ncases copy\n"),
              EndsWith(std::string(kRows) + kReleased));
}

TEST_F(Cloning, ClonesCanBeCloned) {
  EXPECT_THAT(Writing("clone survey as copy\nwrite copy\ndelete copy a\nclone copy as third\n"
                      "write third\nmove third c to 1\nclose survey\nclose copy\nrelease survey\n"
                      "release copy\ncases third\n"),
              HasSubstr("\n"
                        "      c  b\n"
                        "   1  3  2\n"
                        "   2  6  5\n"));
}

TEST_F(Cloning, OnlyTheFirstCloneNotifiesOfAReplacedSourceAndDoesSoTwice) {
  EXPECT_THAT(
      AtPrompt(Open("survey") + "write survey\nrelease\n@v observe survey\nwrite survey\n"
                                "clone survey as copy\nrelease\nmirror survey\nwrite survey\n"
                                "clone survey as third\nrelease\n"),
      AllOf(HasSubstr(std::string(kReleased) + "  v: undo history reset\n"
                                               "  v: undo history reset\n"
                                               "             survey"),
            EndsWith("third is open: 3 variables, 2 cases, a clone of survey\n"
                     "main releases the write lock on survey\n")));
}

TEST_F(Cloning, NotifiesRegistryObserversUnlessTheCloneIsQuiet) {
  EXPECT_THAT(Writing("@w watch registry\nclone survey as copy\nclone survey as third quiet\n"),
              EndsWith(std::string(kCopyIsOpen) +
                       "  w: dataset 0:1 created, file none\n"
                       "third is open: 3 variables, 2 cases, a clone of survey (quiet)\n" +
                       kReleased));
}

TEST_F(Cloning, ClonedDatasetKeepsItsFileNameButItsSourceIsNoDataFile) {
  const std::string show = "show survey\n";
  EXPECT_THAT(Writing("password survey secret mangled\n" + show),
              AllOf(HasSubstr("  file           " + Path("abc.tsv") + "\n"),
                    HasSubstr("  password       set\n")));
  EXPECT_THAT(Writing("password survey secret mangled\nclone survey as copy\n" + show),
              AllOf(HasSubstr("  file           " + Path("abc.tsv") + "\n"),
                    HasSubstr("  saved as       " + Path("abc.tsv") + "\n"),
                    HasSubstr("  password       set, mangled\n")));
  EXPECT_THAT(Writing("release\nwrite survey\nclone survey as copy\nfilespec survey /x.tsv\n"
                      "release\n" +
                      show),
              AllOf(HasSubstr("  file           " + Path("abc.tsv") + "\n"),
                    HasSubstr("  saved as       /x.tsv\n")));
}

TEST_F(Cloning, IsRefusedWithoutADataSource) {
  EXPECT_EQ(AtPrompt("add-empty nix\nwrite nix\nclone nix as copy\nlist\n"),
            "nix is open, without a data source\n"
            "main acquires the write lock on nix\n"
            "error: nix has no data source; `source` gives it one\n"
            "nix (0:0), file none, held by main (writing)\n"
            "main releases the write lock on nix\n");
}

TEST_F(Cloning, RefusesATakenNameAndReplacesNoSource) {
  EXPECT_EQ(AtPrompt(Open("survey") + "write survey\nrelease\n@v observe survey\nwrite survey\n" +
                     "clone survey as Survey\nclone survey as \"\"\nrelease\n"),
            IsOpen("survey") + "main acquires the write lock on survey\n" + kReleased +
                "v observes survey\nmain acquires the write lock on survey\n"
                "error: there is a dataset called \"survey\" already\n"
                "error: a dataset cannot have an empty name\n" +
                kReleased);
}

TEST_F(Cloning, JsonNamesTheClonedDataset) {
  EXPECT_EQ(LastInJson("@w clone survey as copy\n"),
            R"({"event":"opened","caller":"w","dataset":"copy","id":"0:1","file":"","quiet":false,)"
            R"("variables":3,"cases":2,"cloneOf":"survey"})"
            "\n");
  EXPECT_THAT(InJson(Open("survey")), Not(HasSubstr("cloneOf")));
}

// ---------------------------------------------------------------------------------------------
// Hidden variables

TEST_F(Cloning, HidesVariablesOnlyInTheClone) {
  EXPECT_THAT(Writing("hide b\nclone survey as copy\ncases copy\ncases survey\n"),
              HasSubstr("copy is open: 2 variables, 2 cases, a clone of survey\n"
                        "      a  c\n"
                        "   1  1  3\n"
                        "   2  4  6\n" +
                        std::string(kRows)));
}

TEST_F(Cloning, HidesVariablesOfAChangedDictionary) {
  EXPECT_THAT(Writing("clone survey as copy\nmove survey c to 1\ninsert survey x before a\n"
                      "hide a\nclone survey as third\ncases third\n"),
              HasSubstr("\n"
                        "      c    x  b\n"
                        "   1  3  NaN  2\n"
                        "   2  6  NaN  5\n"));
}

TEST_F(Cloning, KeepsTheDirtyFlagIfVariablesAreHidden) {
  EXPECT_THAT(Writing("dirty survey on\nhide b\nclone survey as copy\nshow copy\n"),
              HasSubstr("  unsaved        yes\n"));
}

TEST_F(Cloning, ClonesADatasetWithHiddenVariables) {
  EXPECT_THAT(AtPrompt("hide b\nopen " + Path("abc.tsv") +
                       " as survey\nhide nothing\nwrite survey\nclone survey as copy\n"
                       "move survey c to 1\ncases survey\ncases copy\nclose survey\n"
                       "release\ncases copy\n"),
              AllOf(HasSubstr("      c  a\n   1  3  1\n   2  6  4\n"
                              "      a  c\n   1  1  3\n   2  4  6\n"),
                    EndsWith("      a  c\n   1  1  3\n   2  4  6\n")));
}

// ---------------------------------------------------------------------------------------------
// Selected cases

class Selecting : public Cloning {
 protected:
  Selecting() {
    WriteFile("abc.tsv", "a\tz\tc\ts\n1\t1\t3\tx\n4\t0\t6\tx\n7\t\t9\tx\n8\t-2\t5\tx\n");
  }

  static constexpr const char* kSelected =
      "      a   z  c  s\n"
      "   1  1   1  3  x\n"
      "   2  8  -2  5  x\n";
};

TEST_F(Selecting, ShowsCasesWhoseFilterIsNeitherZeroNorMissing) {
  EXPECT_EQ(Writing("source survey filtered by z\ncases survey\n"),
            std::string(kSelected) + kReleased);
}

TEST_F(Selecting, SelectsFromThePreviousSelection) {
  WriteFile("abc.tsv", "a\tz\tc\ts\n1\t1\t0\tx\n4\t0\t6\tx\n7\t1\t9\tx\n0\t1\t1\tx\n");
  EXPECT_THAT(Writing("source survey filtered by z\nsource survey filtered by c\n"
                      "source survey filtered by a\ncases survey\n"),
              StartsWith("      a  z  c  s\n"
                         "   1  7  1  9  x\n" +
                         std::string(kReleased)));
}

TEST_F(Selecting, StillWorksAfterTheFilterVariableIsMovedOrDeleted) {
  EXPECT_THAT(Writing("source survey filtered by z\nmove survey z to 1\ndelete survey c s\n"
                      "cases survey\ndelete survey z\ncases survey\n"),
              StartsWith("       z  a\n"
                         "   1   1  1\n"
                         "   2  -2  8\n"
                         "      a\n"
                         "   1  1\n"
                         "   2  8\n"));
}

TEST_F(Selecting, KeepsTheDirtyFlag) {
  EXPECT_THAT(Writing("dirty survey on\nsource survey filtered by z\nshow survey\n"),
              HasSubstr("  unsaved        yes\n"));
  EXPECT_THAT(Writing("source survey filtered by z\nshow survey\n"),
              HasSubstr("  unsaved        no\n"));
}

TEST_F(Selecting, FilteredSourceStillCountsAsADataFile) {
  EXPECT_THAT(Writing("password survey x mangled\nsource survey filtered by z\nshow survey\n"),
              HasSubstr("  password       set\n"));
  EXPECT_THAT(AtPrompt(Open("survey") + "@v observe survey\nwrite survey\nrelease\nwrite survey\n" +
                       "source survey filtered by z\nfilespec survey /x.tsv\nrelease\n"),
              HasSubstr("  v: saved file: \"/x.tsv\"\n"));
}

TEST_F(Selecting, NumberOfCasesIsUnknown) {
  const std::string text =
      AtPrompt(Open("survey") + "@v observe survey\nwrite survey\nsource survey filtered by z\n" +
               "show survey\nclone survey as copy\nrelease\nmirror survey\nshow copy\n");
  EXPECT_THAT(text, AllOf(HasSubstr("\n  cases          unknown\n"),
                          HasSubstr("copy is open: 4 variables, an unknown number of cases, a "
                                    "clone of survey\n"),
                          HasSubstr("  v: case data reset: unknown number of rows\n"),
                          HasSubstr("\n  cases      unknown "), Not(HasSubstr("-1")),
                          Not(HasSubstr("differs\ncopy"))));
}

TEST_F(Selecting, NumberOfCasesIsNullInJson) {
  const std::string text = InJson(Open("survey") +
                                  "@v observe survey\nwrite survey\nsource survey filtered by z\n"
                                  "show survey\nclone survey as copy\nrelease\nmirror survey\n");
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    for (const char* event : {"\"dataset\"", "\"opened\"", "\"mirror\""}) {
      if (line.starts_with(std::string("{\"event\":") + event)) lines.push_back(line);
    }
    if (line.find("ResetClientDataMsg") != std::string::npos) lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), 5u) << text;
  EXPECT_THAT(lines[0], HasSubstr(R"("cases":4)"));
  EXPECT_THAT(lines[1], HasSubstr(R"("rowCount":null)"));
  EXPECT_THAT(lines[2], HasSubstr(R"("cases":null,"cloneOf":"survey")"));
  EXPECT_THAT(lines[3], HasSubstr(R"("message":"ResetClientDataMsg","rowCount":null)"));
  EXPECT_THAT(lines[4],
              AllOf(HasSubstr(R"("source":{"label":"","variableCount":4,"rowCount":null)"),
                    HasSubstr(R"("mirror":{"label":"","variableCount":4,"rowCount":null)"),
                    EndsWith(R"("differing":["fileSpec"]})")));
  EXPECT_THAT(text, Not(HasSubstr(":-1")));
}

TEST_F(Selecting, NeedsANumericVariableAndADataSource) {
  const std::string cases = "cases survey count 1\n";
  const std::string all = "      a  z  c  s\n   1  1  1  3  x\nmore cases follow\n";
  EXPECT_EQ(Writing("source survey filtered by nope\n" + cases),
            "error: there is no variable \"nope\"\n" + all + kReleased);
  EXPECT_EQ(Writing("source survey filtered by s\n" + cases),
            "error: variable \"s\" is a string; only a numeric variable can select cases\n" + all +
                kReleased);
  EXPECT_EQ(Writing("source survey none\nsource survey filtered by a\n"),
            std::string("error: survey has no data source; `source` gives it one\n") + kReleased);
}

TEST_F(Selecting, ReadsACloneAfterEditsOfItsVariables) {
  const auto expect = [&](const std::string& edits, const std::string& cases) {
    EXPECT_THAT(
        Writing("clone survey as copy\n" + edits + "source survey filtered by z\ncases survey\n"),
        EndsWith("a clone of survey\n" + cases + kReleased));
  };
  expect("label survey z zet\nrename survey z y\nrename survey y z\n", kSelected);
  expect("insert survey x\n",
         "      a   z  c  s    x\n"
         "   1  1   1  3  x  NaN\n"
         "   2  8  -2  5  x  NaN\n");
  expect("delete survey s\n",
         "      a   z  c\n"
         "   1  1   1  3\n"
         "   2  8  -2  5\n");
  expect("move survey s to 1\n",
         "      s  a   z  c\n"
         "   1  x  1   1  3\n"
         "   2  x  8  -2  5\n");
  expect("retype survey c string:8\n", kSelected);
  expect("delete survey z\ninsert survey z before s\n", "survey has no cases\n");
}

TEST_F(Selecting, CloneSharesTheSelection) {
  EXPECT_THAT(Writing("source survey filtered by z\nclone survey as copy\nclose survey\nrelease\n"
                      "cases copy\n"),
              EndsWith(kSelected));
}

// ---------------------------------------------------------------------------------------------
// Cases

TEST(CaseReaderOfAClone, HasNoCasesIfTheCloneHasNoSource) {
  SvrDMCloneDataSource clone(static_cast<ORVX_DataSource const*>(nullptr));
  clone.MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "x"), nullptr);
  CaseReader cases(clone);
  EXPECT_FALSE(cases.Next());
}

}  // namespace
}  // namespace sdmsh
