// Tests of the command that describes values.

#include "ShellTest.h"

#include <Arguments.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <Locks.h>
#include <OpenDataset.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace sdmsh {
namespace {

using testing::HasSubstr;

class Describing : public ShellTest {
 protected:
  // Opens a file with this content as d, acquires its write lock, and runs the commands. Returns
  // only the output of the commands.
  std::string Printed(const std::string& content, const std::string& commands) {
    const std::string text =
        AtPrompt("open " + WriteFile("d.tsv", content) + " as d\nwrite d\n" + commands);
    const std::string lock = "main acquires the write lock on d\n";
    const std::size_t start = text.find(lock);
    if (start == std::string::npos) return text;
    const std::string rest = text.substr(start + lock.size());
    return rest.substr(0, rest.find("main releases the write lock on d\n"));
  }
};

TEST_F(Describing, ShowsEachVariable) {
  EXPECT_EQ(Printed("a\tb\n1\tx\n2\t\n\ty\n4\tz\n", "describe d\n"),
            "variable  n  missing     mean       sd  min  25%  median  75%  max\n"
            "a         3        1  2.33333  1.52753    1  1.5       2    3    4\n"
            "b         3        1\n");
}

TEST_F(Describing, ShowsDatesAsDates) {
  EXPECT_EQ(Printed("d\tg\n2024-02-28\t2024-01-01\n2024-03-01\t2024-01-01\n",
                    "split d together by g\ndescribe d d\n"),
            "variable  group           n  missing        mean      sd         min                  "
            "25%      median                  75%         max\n"
            "d         g = 2024-01-01  2        0  2024-02-29  122188  2024-02-28  "
            "2024-02-28T12:00:00  2024-02-29  2024-02-29T12:00:00  2024-03-01\n");
}

TEST_F(Describing, ShowsOnlyTheNamedVariables) {
  const std::string text = Printed("a\tb\n1\t2\n", "describe d b\n");
  EXPECT_THAT(text, HasSubstr("\nb "));
  EXPECT_THAT(text, testing::Not(HasSubstr("\na ")));
}

TEST_F(Describing, CountsDeclaredMissingValuesAsMissing) {
  EXPECT_THAT(Printed("a\n1\n2\n9\n", "missing d a 9\ndescribe d\n"),
              HasSubstr("a         2        1   1.5"));
}

TEST_F(Describing, ShowsWholeCountsWithAllDigits) {
  EXPECT_THAT(Printed("a\tw\n1\t1234567\n\t1000000\n", "weight d by w\ndescribe d a\n"),
              HasSubstr("\na         1234567  1000000  "));
}

TEST_F(Describing, LeavesOutCasesThatTheFilterDoesNotSelect) {
  EXPECT_THAT(Printed("a\tf\n1\t1\n2\t0\n3\t\n", "filter d by f\ndescribe d a\n"),
              HasSubstr("a         1        0     1"));
}

TEST_F(Describing, LeavesOutCasesWhoseWeightOrFilterIsDeclaredMissing) {
  EXPECT_THAT(Printed("a\tw\n1\t3\n2\t4\n", "missing d w 4\nweight d by w\ndescribe d a\n"),
              HasSubstr("a         3        0     1"));
  EXPECT_THAT(Printed("a\tw\n1\t3\n2\t4\n", "missing d w 4\nfilter d by w\ndescribe d a\n"),
              HasSubstr("a         1        0     1"));
}

TEST_F(Describing, CountsCasesByWeightAndLeavesOutThoseWithoutAPositiveWeight) {
  EXPECT_THAT(Printed("a\tw\n1\t3\n2\t1\n3\t0\n4\t-1\n5\t\n", "weight d by w\ndescribe d a\n"),
              HasSubstr("a         4        0  1.25  0.5    1    1       1  1.25    2"));
}

TEST_F(Describing, ComparesGroupsInOneTable) {
  EXPECT_EQ(
      Printed("a\tg\n1\t2\n3\t1\n5\t\n", "labels d g 1 one\nsplit d together by g\ndescribe d a\n"),
      "variable  group        n  missing  mean  sd  min  25%  median  75%  max\n"
      "a         g = 1 \"one\"  1        0     3        3    3       3    3    3\n"
      "a         g = 2        1        0     1        1    1       1    1    1\n"
      "a         g = missing  1        0     5        5    5       5    5    5\n");
}

TEST_F(Describing, ShowsSeparateGroupsInSeparateTables) {
  EXPECT_EQ(Printed("a\tg\n1\tx\n3\ty\n", "split d separate by g\ndescribe d a\n"),
            "g = \"x\"\n"
            "variable  n  missing  mean  sd  min  25%  median  75%  max\n"
            "a         1        0     1        1    1       1    1    1\n"
            "g = \"y\"\n"
            "variable  n  missing  mean  sd  min  25%  median  75%  max\n"
            "a         1        0     3        3    3       3    3    3\n");
}

TEST_F(Describing, ShowsTheDistributionAtATerminal) {
  std::istringstream input("open " + WriteFile("d.tsv", "a\n0\n9\n9\n") + " as d\ndescribe d\n");
  std::ostringstream out;
  Output output(out, out, {.width = 200});
  Shell shell(Registry(), output);
  PlayInput(shell, input);
  EXPECT_THAT(out.str(), HasSubstr("▄        █\n"));
}

TEST_F(Describing, JsonHasTheStatisticsOfEachGroup) {
  const std::string text =
      InJson("open " + WriteFile("d.tsv", "a\tg\n1\t2\n3\t2\n") +
             " as d\nwrite d\nsplit d together by g\nweight d by g\ndescribe d a\n");
  EXPECT_THAT(
      text,
      HasSubstr(R"({"event":"description","dataset":"d","weight":"g","filter":null,"groups":[)"
                R"({"group":[{"variable":"g","value":2.0}],"variables":[{"variable":"a","n":4.0,)"
                R"("missing":0.0,"mean":2.0,"sd":1.1547005383792515,"min":1.0,)"
                R"("quartiles":[1.0,2.0,3.0],"max":3.0}]}]})"));
}

TEST_F(Describing, ReportsThatADatasetHasNoValues) {
  EXPECT_EQ(Printed("a\n", "describe d\n"), "d has no values to describe\n");
}

TEST_F(Describing, RefusesADatasetWithoutADataSource) {
  EXPECT_THAT(AtPrompt("add-empty e\ndescribe e\n"), HasSubstr("e has no data source\n"));
}

TEST_F(Describing, RefusesAWeightThatBecameAString) {
  EXPECT_THAT(Printed("a\tw\n1\t3\n", "weight d by w\nretype d w string:4\ndescribe d\n"),
              HasSubstr("variable \"w\" is a string; only a numeric variable can weight cases"));
}

TEST_F(Describing, UsesANumericWeightWithTheNameOfAString) {
  std::ostringstream text;
  Output output(text, text);
  Shell shell(Registry(), output);
  const std::string file = WriteFile("d.tsv", "s\ta\tw\nx\t1\t3\n");
  for (const std::string& command : {"open " + file + " as d", std::string("write d"),
                                     std::string("weight d by w"), std::string("release d")}) {
    shell.Execute("main", ParseLine(command).words);
  }
  const DatasetPtr dataset = shell.Find(shell.Locks().CallerNamed("main"), "d");
  {
    SvrDMWriteableDataSource writer(Registry(), dataset->ID(), /*tryOnly=*/false, nullptr);
    (*writer)->GetVariable(0).SetName("w");
  }
  shell.Execute("main", {"describe", "d", "a"});
  EXPECT_THAT(text.str(), HasSubstr("a         3        0     1"));
  shell.CloseDown("");
}

// ---------------------------------------------------------------------------------------------
// What values mean

class MeaningOfValues : public ShellTest {
 protected:
  // Runs the commands and returns the variable `a` in JSON.
  Json After(const std::string& commands) {
    const std::string text =
        InJson(Open("survey") + "write survey\n" + commands + "variables survey\n");
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const Json event = Json::parse(line);
      if (event["event"] == "variables") return event["variables"][0];
    }
    ADD_FAILURE() << text;
    return nullptr;
  }
};

TEST_F(MeaningOfValues, LabelsAreAddedReplacedAndRemoved) {
  EXPECT_EQ(
      After("labels survey a 1 one 2 two\nlabels survey a 2 \"\" 1 first 3 third\n")["valueLabels"],
      Json::parse(R"([{"value":1.0,"label":"first"},{"value":3.0,"label":"third"}])"));
  EXPECT_EQ(After("labels survey a 1 one\nlabels survey a off\n")["valueLabels"], Json::array());
}

TEST_F(MeaningOfValues, MissingValuesAreReplaced) {
  EXPECT_EQ(After("missing survey a 7\nmissing survey a 8 9\n")["missingValues"],
            Json::parse("[8.0,9.0]"));
  EXPECT_EQ(After("missing survey a 7\nmissing survey a off\n")["missingValues"], Json::array());
}

TEST_F(MeaningOfValues, ValuesOfAStringVariableAreStrings) {
  EXPECT_EQ(After("retype survey a string:2\nmissing survey a no 1\n")["missingValues"],
            Json::parse(R"(["no","1"])"));
}

TEST_F(MeaningOfValues, EachLevelCanBeSet) {
  for (const char* const level : {"unknown", "nominal", "ordinal", "interval", "ratio"}) {
    EXPECT_EQ(After(std::string("level survey a ") + level + "\n")["measurementLevel"], level);
  }
}

TEST_F(MeaningOfValues, EachKindOfFormatCanBeSet) {
  for (const char* const kind : {"plain", "date", "time", "datetime"}) {
    const Json format =
        After(std::string("format survey a ") + kind + " width 8 decimals 2\n")["format"];
    EXPECT_EQ(format, (Json{{"kind", kind}, {"width", 8}, {"decimals", 2}}));
  }
}

TEST_F(MeaningOfValues, RoleIsAnAttribute) {
  EXPECT_EQ(After("role survey a target\n")["attributes"], Json::parse(R"({"role":["target"]})"));
  EXPECT_EQ(After("role survey a target\nrole survey a off\n")["attributes"], Json::object());
}

TEST_F(MeaningOfValues, WrongValuesAreRefused) {
  EXPECT_THAT(Writing("missing survey a x\n"),
              HasSubstr("\"x\" is not a number, but variable \"a\" is numeric"));
  EXPECT_THAT(Writing("labels survey a inf much\n"), HasSubstr("\"inf\" is not a number"));
  EXPECT_THAT(Writing("retype survey a string:2\nmissing survey a yes\n"),
              HasSubstr("\"yes\" does not fit into variable \"a\", a string of 2 bytes"));
}

}  // namespace
}  // namespace sdmsh
