// Tests of the commands that open and save data files.

#include "ShellTest.h"

#include <fstream>
#include <iterator>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class DataFiles : public ShellTest {
 protected:
  std::string Content(const std::string& file) const {
    std::ifstream stream(Path(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

// ---------------------------------------------------------------------------------------------
// Opening

TEST_F(DataFiles, AreOpenedWithTheGivenDelimiterAndDecimalMark) {
  const std::string file = WriteFile("f.txt", "a;b,c\n1,5;2,5\n");
  EXPECT_THAT(AtPrompt("open " + file + " delimiter semicolon decimal comma as f\ncases f\n"),
              HasSubstr("       a  b,c\n   1  1.5  2.5\n"));
  const std::string other = WriteFile("g.txt", "a;b\n1;5\n");
  EXPECT_THAT(AtPrompt("open " + other + " delimiter comma as f\ncases f\n"),
              HasSubstr("      a;b\n   1  1;5\n"));
}

TEST_F(DataFiles, AreOpenedInTheGivenEncoding) {
  const std::string file = WriteFile("f.txt", "town\nG\xD6RLITZ\n");
  EXPECT_THAT(AtPrompt("open " + file + " encoding latin1 as f\ncases f\n"), HasSubstr("GÖRLITZ"));
  EXPECT_THAT(AtPrompt("open " + file + " encoding nonsense as f\n"), HasSubstr("nonsense"));
  EXPECT_FALSE(WentWell());
}

TEST_F(DataFiles, ReplacingTheSourceUsesTheGivenDelimiter) {
  const std::string file = WriteFile("f.txt", "a|b\n7|8\n");
  EXPECT_THAT(Writing("source survey file " + file + " delimiter bar\ncases survey\n"),
              StartsWith("      a  b\n   1  7  8\n"));
}

TEST_F(DataFiles, ImportShowsWhatWasFoundInAFile) {
  const std::string file = WriteFile("f.txt", "zip;x\n01067;1,5\nNA;\n");
  EXPECT_THAT(AtPrompt("open " + file + " as f\nimport f\n"),
              EndsWith("2 rows and 2 variables. The delimiter is a semicolon, the decimal mark is "
                       "a comma, the encoding is UTF-8.\n"
                       "zip: text, because '01067' in line 2 is a number with a leading zero. "
                       "Missing values: 1 'NA'.\n"
                       "x: number, like its first value '1,5' in line 2. Missing values: 1 "
                       "empty.\n"));
  EXPECT_THAT(InJson("open " + file + " as f\nimport f\n"),
              EndsWith(R"({"event":"import","dataset":"f","delimiter":";","decimalMark":",",)"
                       R"("encoding":"UTF-8","rows":2,"variables":[{"name":"zip","type":"text",)"
                       R"("reason":"leadingZero","value":"01067","line":2,)"
                       R"("missing":[{"word":"NA","count":1}]},{"name":"x","type":"number",)"
                       R"("reason":"everyValue","value":"1,5","line":2,)"
                       R"("missing":[{"word":"","count":1}]}]})"
                       "\n"));
}

TEST_F(DataFiles, ImportShowsTheFileBelowClonesAndFilters) {
  const std::string report = "2 rows and 3 variables. The delimiter is a tab";
  EXPECT_THAT(Writing("clone survey as copy\nimport survey\n"), HasSubstr(report));
  EXPECT_THAT(Writing("clone survey as copy\nimport copy\n"), HasSubstr(report));
  EXPECT_THAT(Writing("source survey filtered by a\nimport survey\n"), HasSubstr(report));
}

TEST_F(DataFiles, ImportIsRefusedWithoutAFile) {
  EXPECT_THAT(Writing("source survey dictionary\nimport survey\n"),
              StartsWith("error: the data source of survey does not read a data file\n"));
}

// ---------------------------------------------------------------------------------------------
// Saving

TEST_F(DataFiles, AreReplacedByASave) {
  const std::string text =
      Writing("set survey a 1 9.5\nlabel survey a \"Age, in years\"\nsave survey\nshow survey\n");
  EXPECT_THAT(text, HasSubstr("survey is saved in " + Path("abc.tsv") + "\n"));
  EXPECT_THAT(text, HasSubstr("unsaved        no\n"));
  EXPECT_EQ(Content("abc.tsv"), "a\tb\tc\n9.5\t2\t3\n4\t5\t6\n");
  EXPECT_THAT(AtPrompt(Open("again") + "variables again\n"), HasSubstr("Age, in years"));
}

TEST_F(DataFiles, AreWrittenWithTheDelimiterOfTheirNameOrTheGivenOne) {
  Writing("save survey as " + Path("new.csv") + "\nsave survey as " + Path("other.csv") +
          " delimiter tab\nsave survey as " + Path("bars.txt") + " delimiter bar\n");
  EXPECT_THAT(Content("new.csv"), StartsWith("a,b,c\n"));
  EXPECT_THAT(Content("bars.txt"), StartsWith("a|b|c\n"));
  EXPECT_THAT(Content("other.csv"), StartsWith("a\tb\tc\n"));
}

class Delimiter : public DataFiles {
 protected:
  // Writes `text` to the file `name`, opens the file as survey, and runs the commands under the
  // write lock. Returns the first line of the file afterwards.
  std::string HeaderAfter(const std::string& name, const std::string& text,
                          const std::string& commands) {
    const std::string file = WriteFile(name, text);
    EXPECT_THAT(AtPrompt("open " + file + " as survey\nwrite survey\n" + commands),
                testing::Not(HasSubstr("error")));
    const std::string content = Content(name);
    return content.substr(0, content.find('\n'));
  }
};

TEST_F(Delimiter, OfAFileIsKeptByASave) {
  EXPECT_EQ(HeaderAfter("f.csv", "a;b\n1,5;2\n", "save survey\n"), "a;b");
  EXPECT_EQ(Content("f.csv"), "a;b\n1.5;2\n");
  EXPECT_EQ(HeaderAfter("g.txt", "a|b\n1|2\n", "source survey filtered by a\nsave survey\n"),
            "a|b");
  EXPECT_EQ(HeaderAfter("h.csv", "a;b\n1;2\n", "clone survey as copy\nsave survey\n"), "a;b");
  EXPECT_EQ(HeaderAfter("i.csv", "a\tb\n1\t2\n", "save survey\nsave survey\n"), "a\tb");
}

TEST_F(Delimiter, OfAFileIsItsLatest) {
  const std::string text = "a;b\n1;2\n";
  EXPECT_EQ(HeaderAfter("f.csv", text, "save survey delimiter bar\nsave survey\n"), "a|b");
  EXPECT_EQ(HeaderAfter("f.csv", text, "save survey as " + Path("f.csv") + "\nsave survey\n"),
            "a,b");
  EXPECT_EQ(HeaderAfter("f.csv", text,
                        "save survey as " + Path("new.csv") + "\nsave survey\nsave survey as " +
                            Path("f.csv") + " delimiter tab\nsave survey\n"),
            "a\tb");
  EXPECT_THAT(Content("new.csv"), StartsWith("a,b\n"));
}

TEST_F(Delimiter, OfAFileThatReplacesTheSourceIsKept) {
  WriteFile("new.csv", "a|b\n1|2\n");
  HeaderAfter("f.csv", "a;b\n1;2\n",
              "source survey file " + Path("new.csv") + "\nrelease\nwrite survey\nsave survey\n");
  EXPECT_THAT(Content("new.csv"), StartsWith("a|b\n"));
}

TEST_F(Delimiter, OfAFileStaysIfAnotherFileReplacesTheSourceBeforeTheSave) {
  WriteFile("new.csv", "a|b\n1|2\n");
  EXPECT_EQ(HeaderAfter("f.csv", "a;b\n1;2\n",
                        "source survey file " + Path("new.csv") + "\nsave survey\n"),
            "a;b");
}

TEST_F(Delimiter, FollowsTheNameInOtherCases) {
  EXPECT_EQ(HeaderAfter("f.tsv", "a;b\n1;2\n", "save survey\n"), "a\tb");
  EXPECT_EQ(HeaderAfter("e.tab", "a;b\n1;2\n", "save survey\n"), "a\tb");
  EXPECT_EQ(HeaderAfter("g.csv", "a b\n1 2\n", "save survey\n"), "a,b");
  HeaderAfter("h.csv", "a;b\n1;2\n", "file survey " + Path("new.csv") + "\nsave survey\n");
  EXPECT_THAT(Content("new.csv"), StartsWith("a,b\n"));
}

TEST_F(DataFiles, SavedUnderANewNameBecomeTheFileOfTheDataset) {
  const std::string text =
      Writing("save survey as " + Path("new.csv") + "\nshow survey\ntouched survey\n");
  EXPECT_THAT(text, HasSubstr("saved as       " + Path("new.csv") + "\n"));
  EXPECT_THAT(text, HasSubstr(Path("new.csv") + " was not changed by another program\n"));
}

TEST_F(DataFiles, ChangedByAnotherProgramAreReplacedOnlyIfNamed) {
  const std::string file = Path("abc.tsv");
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output);
  shell.Execute("main", {"open", file, "as", "survey"});
  shell.Execute("main", {"write", "survey"});
  const auto time = std::filesystem::last_write_time(file);
  std::ofstream(file, std::ios::app) << "7\t8\t9\n";
  std::filesystem::last_write_time(file, time + std::chrono::seconds(10));
  try {
    shell.Execute("main", {"save", "survey"});
    ADD_FAILURE() << "saved over the changes";
  } catch (const std::exception& error) {
    EXPECT_EQ(error.what(), file + " was changed by another program; `save survey as " + file +
                                "` replaces it all the same");
  }
  EXPECT_THAT(Content("abc.tsv"), EndsWith("7\t8\t9\n"));
  shell.Execute("main", {"save", "survey", "as", file});
  EXPECT_THAT(Content("abc.tsv"), EndsWith("4\t5\t6\n"));
  shell.CloseDown("");
}

TEST_F(DataFiles, AreNotWrittenWithoutAName) {
  EXPECT_THAT(AtPrompt("add-empty e\nwrite e\nsource e file " + Path("abc.tsv") +
                       "\nfile e \"\"\nsave e\n"),
              HasSubstr("error: e has no file; `save e as FILE` gives it one\n"));
}

TEST_F(DataFiles, DatasetKeepsItsFileAndDirtyFlagIfASaveFails) {
  EXPECT_THAT(
      Writing("dirty survey on\nsave survey as " + Path("none/new.csv") + "\nshow survey\n"),
      testing::AllOf(HasSubstr("none/new.csv"), HasSubstr("unsaved        yes\n"),
                     HasSubstr("file           " + Path("abc.tsv") + "\n")));
}

TEST_F(DataFiles, SavingIsAnEventInJson) {
  const std::string text = InJson(Open("survey") + "write survey\nsave survey\n");
  EXPECT_THAT(text, HasSubstr(R"({"event":"saved","caller":"main","dataset":"survey","file":")" +
                              Path("abc.tsv") + R"(","cases":2})"));
}

}  // namespace
}  // namespace sdmsh
