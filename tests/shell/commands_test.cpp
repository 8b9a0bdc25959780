// Tests of each command and of its usage errors.

#include "ShellTest.h"

#include <Commands.h>
#include <sys/stat.h>

#include <map>
#include <set>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class Commands : public ShellTest {};

// ---------------------------------------------------------------------------------------------
// Wrong use

TEST_F(Commands, UnknownCommandIsNamedInTheError) {
  EXPECT_EQ(AtPrompt("frobnicate survey\n"),
            "error: no command \"frobnicate\"; `help` lists them\n");
  EXPECT_FALSE(WentWell());
}

// Uses each command of CommandTable() with missing, wrong or superfluous words. If a command
// changed the dataset, the output would contain the message to the observing caller w.
TEST_F(Commands, UsageErrorsGiveTheExpectedWordAndTheUsageAndChangeNothing) {
  const std::string type = "numeric or string:WIDTH (1 to 1000000)";
  const std::map<std::string, std::vector<std::pair<std::string, std::string>>> wrongUses = {
      {"open",
       {{"", "FILE"},
        {"x.tsv", "\"as\""},
        {"x.tsv called s", "\"as\""},
        {"x.tsv as", "NAME"},
        {"x.tsv delimiter as s", "\"comma\", \"tab\", \"semicolon\", \"bar\" or \"space\""},
        {"x.tsv delimiter tab decimal ; as s", "\"point\" or \"comma\""},
        {"x.tsv encoding", "ENCODING"},
        {"x.tsv as s loud", "the end of the line"}}},
      {"save",
       {{"", "DATASET"},
        {"survey as", "FILE"},
        {"survey delimiter space", "\"comma\", \"tab\", \"semicolon\" or \"bar\""},
        {"survey now", "the end of the line"}}},
      {"import", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"add-empty", {{"", "NAME"}, {"n loud", "the end of the line"}}},
      {"clone",
       {{"", "DATASET"},
        {"survey", "\"as\""},
        {"survey as", "NAME"},
        {"survey as s loud", "the end of the line"}}},
      {"close", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"list", {{"all", "the end of the line"}}},
      {"show", {{"", "DATASET"}, {"survey all", "the end of the line"}}},
      {"variables", {{"", "DATASET"}, {"survey a", "the end of the line"}}},
      {"cases",
       {{"", "DATASET"},
        {"survey 5", "\"from\" or \"count\""},
        {"survey from", "N (a number from 1 to 2147483647)"},
        {"survey from 0", "N (a number from 1 to 2147483647)"},
        {"survey count 0", "N (a number from 1 to 2147483647)"},
        {"survey from 1 2", "\"count\""},
        {"survey from 1 from 9", "\"count\""},
        {"survey count 1 count 9", "\"from\""},
        {"survey from 1 count 9 from 1", "the end of the line"}}},
      {"mirror", {{"", "DATASET"}, {"survey a", "the end of the line"}}},
      {"read", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"write", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"try-write", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"release", {{"survey now", "the end of the line"}}},
      {"locks", {{"survey now", "the end of the line"}}},
      {"observe", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"unobserve", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"tell", {{"", "DATASET"}, {"survey now", "the end of the line"}}},
      {"watch", {{"", "\"registry\""}, {"registry now", "the end of the line"}}},
      {"unwatch",
       {{"", "\"registry\""}, {"survey", "\"registry\""}, {"registry now", "the end of the line"}}},
      {"insert",
       {{"", "DATASET"},
        {"survey", "NAME"},
        {"survey x before", "VARIABLE"},
        {"survey x label", "TEXT"},
        {"survey x string:0", type + ", before VARIABLE or label TEXT"},
        {"survey x string:8b", type + ", before VARIABLE or label TEXT"}}},
      {"delete",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey cases one", "NUMBER (a number from 1 to 2147483647)"},
        {"survey cases 1 2", "the end of the line"},
        {"survey cases 1 to 2 3", "the end of the line"}}},
      {"move",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", "\"to\" or \"before\""},
        {"survey a to", "POSITION (a number from 1 to 2147483647)"},
        {"survey a to 0", "POSITION (a number from 1 to 2147483647)"},
        {"survey a to 2nd", "POSITION (a number from 1 to 2147483647)"},
        {"survey a to 99999999999", "POSITION (a number from 1 to 2147483647)"},
        {"survey a before", "VARIABLE"},
        {"survey a to 2 3", "the end of the line"}}},
      {"reorder", {{"", "DATASET"}, {"survey", "VARIABLE"}}},
      {"rename",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", "NAME"},
        {"survey a b c", "the end of the line"}}},
      {"label",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", "TEXT"},
        {"survey a two words", "the end of the line"}}},
      {"retype",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", type},
        {"survey a string", type},
        {"survey a string:1000001", type},
        {"survey a numeric now", "the end of the line"}}},
      {"weight",
       {{"", "DATASET"},
        {"survey", "\"by\" or \"off\""},
        {"survey a", "\"by\" or \"off\""},
        {"survey by", "VARIABLE"},
        {"survey by a b", "the end of the line"}}},
      {"filter",
       {{"", "DATASET"},
        {"survey", "\"by\" or \"off\""},
        {"survey by", "VARIABLE"},
        {"survey off a", "the end of the line"}}},
      {"split",
       {{"", "DATASET"},
        {"survey", "\"together\", \"separate\" or \"off\""},
        {"survey by a", "\"together\", \"separate\" or \"off\""},
        {"survey together", "\"by\""},
        {"survey separate by", "VARIABLE"},
        {"survey off by a", "the end of the line"}}},
      {"trends",
       {{"", "DATASET"},
        {"survey", "\"period\" or \"by\""},
        {"survey period", "NUMBER (a number from 1 to 2147483647)"},
        {"survey period 0", "NUMBER (a number from 1 to 2147483647)"},
        {"survey period 1 now", "\"period\" or \"by\""},
        {"survey by", "VARIABLE"},
        {"survey off by", "the end of the line"}}},
      {"mrset",
       {{"", "DATASET"},
        {"survey", "NAME"},
        {"survey x", "\"indicators\", \"answers\" or \"off\""},
        {"survey x indicators", "VALUE"},
        {"survey x answers a", "\"of\""},
        {"survey x answers label", "TEXT"},
        {"survey x answers of", "VARIABLE"},
        {"survey x off a", "the end of the line"}}},
      {"varset",
       {{"", "DATASET"},
        {"survey", "NAME"},
        {"survey x", "\"of\" or \"off\""},
        {"survey x of", "VARIABLE"},
        {"survey x off a", "the end of the line"}}},
      {"title", {{"", "DATASET"}, {"survey", "TEXT"}, {"survey a b", "the end of the line"}}},
      {"labels",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", "VALUE"},
        {"survey a 1", "TEXT"},
        {"survey a 1 one 2", "TEXT"},
        {"survey a off 1", "the end of the line"}}},
      {"missing", {{"", "DATASET"}, {"survey", "VARIABLE"}, {"survey a", "\"off\" or VALUE"}}},
      {"level",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a scale", "\"unknown\", \"nominal\", \"ordinal\", \"interval\" or \"ratio\""},
        {"survey a ratio now", "the end of the line"}}},
      {"format",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a", "\"plain\", \"date\", \"time\" or \"datetime\""},
        {"survey a date width 0", "NUMBER (a number from 1 to 2147483647)"},
        {"survey a date decimals -1", "NUMBER (a number from 0 to 2147483647)"},
        {"survey a date 8", "the end of the line"}}},
      {"role",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a none",
         "\"input\", \"target\", \"both\", \"weight\", \"group\", \"identifier\" or \"off\""},
        {"survey a off now", "the end of the line"}}},
      {"describe", {{"", "DATASET"}}},
      {"set",
       {{"", "DATASET"},
        {"survey", "VARIABLE"},
        {"survey a 0", "CASE (a number from 1 to 2147483647)"},
        {"survey a 1", "VALUE"},
        {"survey a 1 2 3", "the end of the line"}}},
      {"append", {{"", "DATASET"}, {"survey", "VALUE"}}},
      {"compute",
       {{"", "DATASET"}, {"survey", "NAME"}, {"survey d", "\"=\""}, {"survey d =", "EXPRESSION"}}},
      {"filespec", {{"", "DATASET"}, {"survey", "FILE"}, {"survey a b", "the end of the line"}}},
      {"imputation",
       {{"", "DATASET"},
        {"survey", "\"off\" or ROWS (a number from 1 to 2147483647)"},
        {"survey 0", "\"off\" or ROWS (a number from 1 to 2147483647)"},
        {"survey 2 3", "the end of the line"}}},
      {"extension", {{"", "DATASET"}, {"survey", "TEXT"}, {"survey a b", "the end of the line"}}},
      {"attribute", {{"", "DATASET"}, {"survey", "NAME"}}},
      {"dirty",
       {{"", "DATASET"},
        {"survey", "\"on\" or \"off\""},
        {"survey on now", "the end of the line"}}},
      {"bootstrap",
       {{"", "DATASET"},
        {"survey", "\"set\", \"display\", \"to\", \"from\", \"check\" or \"off\""},
        {"survey to", "FILE"},
        {"survey to x y", "the end of the line"},
        {"survey from", "FILE"},
        {"survey from x y", "the end of the line"},
        {"survey check", "FILE"},
        {"survey check x y", "the end of the line"},
        {"survey set",
         "\"method\", \"strata\", \"dependents\", \"inputs\", \"predicted\", \"residuals\", "
         "\"level\", \"interval\", \"samples\", \"user-missing\", \"split-ends\" or "
         "\"case-stats\""},
        {"survey set method", "\"simple\", \"stratified\", \"residual\" or \"wild\""},
        {"survey set method wild animals", "the end of the line"},
        {"survey set strata", "\"none\" or VARIABLE"},
        {"survey set level", "PERCENT (a number)"},
        {"survey set level 95%", "PERCENT (a number)"},
        {"survey set level nan", "PERCENT (a number)"},
        {"survey set level -inf", "PERCENT (a number)"},
        {"survey set level 1e999", "PERCENT (a number)"},
        {"survey set level 90 95", "the end of the line"},
        {"survey set interval bc", "\"percentile\" or \"bca\""},
        {"survey set interval bca now", "the end of the line"},
        {"survey set samples 1.5", "NUMBER (-2147483648 to 2147483647)"},
        {"survey set samples 2147483648", "NUMBER (-2147483648 to 2147483647)"},
        {"survey set user-missing off", "\"excluded\" or \"included\""},
        {"survey set split-ends", "\"none\" or NUMBER (0 to 4294967295)"},
        {"survey set split-ends 1 -2", "\"none\" or NUMBER (0 to 4294967295)"},
        {"survey set split-ends 4294967296", "\"none\" or NUMBER (0 to 4294967295)"},
        {"survey set split-ends none 1", "the end of the line"},
        {"survey set case-stats x 1", "\"none\" or VALUE (a number)"},
        {"survey set case-stats 1 2 3", "NUMBER (0 to 4294967295)"},
        {"survey set case-stats none 1", "the end of the line"},
        {"survey display all", "the end of the line"},
        {"survey off now", "the end of the line"}}},
      {"source",
       {{"", "DATASET"},
        {"survey", "\"file\", \"blank\", \"dictionary\", \"filtered\" or \"none\""},
        {"survey filtered", "\"by\""},
        {"survey filtered by", "VARIABLE"},
        {"survey filtered by a b", "the end of the line"},
        {"survey file", "FILE"},
        {"survey blank", "COUNT (a number from 1 to 2147483647)"},
        {"survey blank 0", "COUNT (a number from 1 to 2147483647)"},
        {"survey none x", "the end of the line"}}},
      {"sequence", {{"", "DATASET"}, {"survey 5", "the end of the line"}}},
      {"bulk", {{"", "DATASET"}, {"survey on", "the end of the line"}}},
      {"client", {{"", "DATASET"}, {"survey on", "the end of the line"}}},
      {"report",
       {{"", "DATASET"},
        {"survey", "\"error\" or \"warning\""},
        {"survey note x", "\"error\" or \"warning\""},
        {"survey error", "TEXT"},
        {"survey error two words", "the end of the line"}}},
      {"warnings",
       {{"", "DATASET"},
        {"survey", "\"on\" or \"off\""},
        {"survey off now", "the end of the line"}}},
      {"handle", {{"", "DATASET"}, {"survey", "NAME"}, {"survey a b", "the end of the line"}}},
      {"file", {{"", "DATASET"}, {"survey", "FILE"}, {"survey a b", "the end of the line"}}},
      {"window",
       {{"", "DATASET"},
        {"survey", "\"front\", \"minimized\" or \"hidden\""},
        {"survey front", "\"on\" or \"off\""},
        {"survey front 1", "\"on\" or \"off\""},
        {"survey front on now", "the end of the line"}}},
      {"password",
       {{"", "DATASET"}, {"survey", "TEXT"}, {"survey x plain", "the end of the line"}}},
      {"hide", {{"", "\"nothing\" or NAME"}, {"nothing now", "the end of the line"}}},
      {"touched", {{"", "FILE or DATASET"}, {"survey now", "the end of the line"}}},
      {"help", {{"list now", "the end of the line"}}},
      {"quit", {{"now", "the end of the line"}}},
  };
  const std::string before = Open("survey") + "@w observe survey\nwrite survey\n";
  const std::string start =
      IsOpen("survey") + "w observes survey\n" + "main acquires the write lock on survey\n";
  const std::string without = AtPrompt(before);
  ASSERT_THAT(without, StartsWith(start + "main releases the write lock on survey\n"));
  const std::string end = without.substr(start.size());
  for (const Command& command : CommandTable()) {
    if (command.run == nullptr) continue;
    const auto uses = wrongUses.find(command.name);
    ASSERT_NE(uses, wrongUses.end()) << "no wrong use of " << command.name;
    for (const auto& [arguments, expected] : uses->second) {
      const std::string text = AtPrompt(before + command.name + " " + arguments + "\n");
      EXPECT_THAT(text, StartsWith(start + "error: " + uses->first + ": expected " + expected +
                                   ", found "));
      EXPECT_THAT(text, EndsWith("; usage: " + uses->first + (*command.arguments ? " " : "") +
                                 command.arguments + "\n" + end));
      EXPECT_FALSE(WentWell());
    }
  }
}

TEST_F(Commands, NumberOutOfRangeIsReportedAsOutOfRange) {
  const std::string set = "bootstrap survey set ";
  for (const char* number : {"1e400", "-1e400", "1e-400"}) {
    EXPECT_THAT(Writing(set + "level " + number + "\n"),
                StartsWith("error: bootstrap: expected PERCENT (a number), found \"" +
                           std::string(number) + "\", which is out of range; usage: "));
  }
  EXPECT_THAT(Writing("cases survey from 2147483648\n"),
              StartsWith("error: cases: expected N (a number from 1 to 2147483647), found "
                         "\"2147483648\", which is out of range; usage: "));
  EXPECT_THAT(Writing("format survey a plain width 8 decimals 2147483648\n"),
              StartsWith("error: format: expected NUMBER (a number from 0 to 2147483647), found "
                         "\"2147483648\", which is out of range; usage: "));
  EXPECT_THAT(Writing(set + "level 1e400%\n"), StartsWith("error: bootstrap: expected PERCENT (a "
                                                          "number), found \"1e400%\"; usage: "));
  EXPECT_THAT(Writing(set + "level 0e-400\n" + set + "level 1e-320\n"),
              StartsWith("main releases "));
}

TEST_F(Commands, InvalidFileNamesAreRefused) {
  const std::string none = "error: no file name\n";
  EXPECT_THAT(Writing("open \"\" as x\nsource survey file \"\"\nbootstrap survey from \"\"\n"
                      "bootstrap survey to \"\"\nbootstrap survey check \"\"\n"),
              StartsWith(none + none + none + none + none + "main releases"));
  EXPECT_THAT(Writing(std::string("open a\0b as x\n", 14)),
              StartsWith("error: a file name cannot have a zero byte in it: \"a␀b\"\n"));
}

TEST_F(Commands, ErrorsShowTheWholeUnexpectedWordOnOneLine) {
  EXPECT_EQ(AtPrompt(std::string("lu\0st\x1B[2J\n", 10)),
            "error: no command \"lu␀st␛[2J\"; `help` lists them\n");
  EXPECT_THAT(AtPrompt(std::string("add-empty n lo\0ud\n", 18)),
              EndsWith("found \"lo␀ud\"; usage: add-empty NAME [quiet]\n"));
  EXPECT_THAT(Writing("delete survey \"x\x01\"\n"),
              StartsWith("error: there is no variable \"x␁\"\n"));
  EXPECT_THAT(InJson(std::string("lu\0st\n", 6)), HasSubstr(R"("text":"no command \"lu␀st\";)"));
}

TEST_F(Commands, HideRefusesAnEmptyName) {
  EXPECT_EQ(AtPrompt("hide \"\"\nhide a \"\"\n" + Open("survey")),
            "error: no variable has an empty name\nerror: no variable has an empty name\n" +
                IsOpen("survey"));
}

TEST_F(Commands, EveryCommandNamesAnUnknownDatasetInItsError) {
  const std::set<std::string> others = {"open",    "add-empty", "list", "watch",
                                        "unwatch", "hide",      "help", "quit"};
  for (const Command& command : CommandTable()) {
    if (command.run == nullptr) continue;
    if (others.contains(command.name)) continue;
    EXPECT_EQ(AtPrompt(std::string(command.name) + " nothing\n"),
              "error: no dataset is called \"nothing\"\n");
  }
}

TEST_F(Commands, UnknownIdentifierIsExplained) {
  EXPECT_EQ(AtPrompt(Open("survey") + "show 0:7\n"),
            IsOpen("survey") + "error: 0:7: no dataset has this identifier (error 2001)\n");
}

TEST_F(Commands, EditingNeedsTheWriteLock) {
  const std::string refusal =
      "error: main does not hold the write lock on survey; `write survey` acquires it\n";
  for (const char* command : {"insert survey x",         "delete survey a",
                              "move survey a to 1",      "reorder survey c",
                              "rename survey a x",       "label survey a x",
                              "retype survey a numeric", "source survey none",
                              "sequence survey",         "bulk survey",
                              "weight survey by a",      "filter survey by a",
                              "split survey off",        "trends survey off",
                              "mrset survey x off",      "varset survey x off",
                              "title survey x",          "filespec survey x",
                              "imputation survey 1",     "extension survey x",
                              "attribute survey x",      "dirty survey on",
                              "client survey",           "report survey error x",
                              "warnings survey on",      "bootstrap survey set level 90",
                              "bootstrap survey off",    "bootstrap survey from x",
                              "clone survey as copy",    "source survey filtered by a"}) {
    EXPECT_EQ(AtPrompt(Open("survey") + command + "\n"), IsOpen("survey") + refusal);
    EXPECT_EQ(AtPrompt(Open("survey") + "read survey\n" + command + "\n"),
              IsOpen("survey") + "main acquires the read lock on survey\n" + refusal +
                  "main releases the read lock on survey\n");
  }
}

// ---------------------------------------------------------------------------------------------
// Datasets

TEST_F(Commands, OpenReportsAQuietDataset) {
  EXPECT_THAT(AtPrompt("open " + Path("abc.tsv") + " as survey quiet\n"),
              EndsWith("abc.tsv (quiet)\n"));
}

TEST_F(Commands, HandleNamesAreUniqueIgnoringCase) {
  EXPECT_EQ(AtPrompt(Open("survey") + Open("SURVEY") + "add-empty Survey\n"),
            IsOpen("survey") + "error: there is a dataset called \"survey\" already\n" +
                "error: there is a dataset called \"survey\" already\n");
}

TEST_F(Commands, NameThatReadsLikeAnIdentifierIsRefused) {
  EXPECT_THAT(AtPrompt("add-empty 0:3\nadd-empty \"\"\n"),
              AllOf(HasSubstr("that reads like an identifier"), HasSubstr("an empty name")));
}

TEST_F(Commands, SecondDatasetOfAFileHasASuppressedFileName) {
  const std::string text = AtPrompt(Open("one") + Open("two") + "show two\n");
  EXPECT_THAT(text, HasSubstr("file           none (kept aside: " + Path("abc.tsv") + ")\n"));
}

TEST_F(Commands, ShowPrintsAnEmptyDataset) {
  EXPECT_EQ(AtPrompt("add-empty nix\nshow nix\n"),
            "nix is open, without a data source\n"
            "nix\n"
            "  identifier     0:0\n"
            "  file           none\n"
            "  data source    none\n"
            "  case sequence  0\n"
            "  lock           free\n"
            "  readers        0\n"
            "  writers        0\n"
            "  observers      none\n"
            "  window         minimized\n"
            "  password       none\n");
}

TEST_F(Commands, ShowPrintsChangedSettings) {
  const std::string text = AtPrompt(
      "add-empty nix\nhandle nix Größe\nfile größe /data/x\nwindow größe front on\n"
      "window größe minimized off\nwindow größe hidden on\npassword größe secret mangled\n"
      "show GRÖßE\n");
  EXPECT_THAT(text, HasSubstr("Größe\n  identifier"));
  EXPECT_THAT(text, HasSubstr("file           /data/x\n"));
  EXPECT_THAT(text, HasSubstr("window         in front, hidden\n"));
  EXPECT_THAT(text, HasSubstr("password       set, mangled\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Commands, OpenDataFileSaysWhetherThePasswordIsMangled) {
  EXPECT_THAT(AtPrompt(Open("survey") + "password survey secret mangled\nshow survey\n" +
                       "write survey\nsource survey none\nrelease\nshow survey\n"),
              AllOf(HasSubstr("password       set\n"), EndsWith("password       set, mangled\n")));
}

TEST_F(Commands, ListPrintsEachDataset) {
  EXPECT_EQ(AtPrompt("list\n" + Open("survey") + "add-empty nix\nread nix\nlist\nrelease\n"),
            "no dataset is open\n" + IsOpen("survey") +
                "nix is open, without a data source\nmain acquires the read lock on nix\n"
                "survey (0:0), file " +
                Path("abc.tsv") + ", free\n" +
                "nix (0:1), file none, held by main (reading)\n"
                "main releases the read lock on nix\n");
}

TEST_F(Commands, DatasetIsFoundByIdentifier) {
  EXPECT_THAT(AtPrompt(Open("survey") + "show 0:0\n"), HasSubstr("survey\n  identifier     0:0\n"));
}

TEST_F(Commands, ClosedDatasetExistsWhileItsLockIsHeld) {
  EXPECT_EQ(
      AtPrompt(Open("survey") + "observe survey\n@recode write survey\nclose survey\nread survey\n"
                                "@recode insert survey x\n@recode release survey\n"),
      IsOpen("survey") +
          "main observes survey\n"
          "recode acquires the write lock on survey\n"
          "survey is closed; it lives on while held by recode (writing)\n"
          "error: no dataset is called \"survey\"\n"
          "recode releases the write lock on survey\n"
          "  main: inserted variable \"a\" (numeric) at the end\n"
          "  main: inserted variable \"b\" (numeric) at the end\n"
          "  main: inserted variable \"c\" (numeric) at the end\n"
          "  main: inserted variable \"x\" (numeric) at the end\n"
          "  main: saved file: \"" +
          Path("abc.tsv") +
          "\"\n"
          "  main: case data reset: 2 rows\n");
}

TEST_F(Commands, NewDatasetIsFoundBeforeAClosedDatasetWithTheSameName) {
  EXPECT_EQ(AtPrompt(Open("s") + "write s\nclose s\nadd-empty S\nclose s\nlist\n"),
            IsOpen("s") +
                "main acquires the write lock on s\n"
                "s is closed; it lives on while held by main (writing)\n"
                "S is open, without a data source\n"
                "S is closed\n"
                "no dataset is open\n"
                "main releases the write lock on s\n");
}

TEST_F(Commands, HoldersFindAClosedDatasetByNameIgnoringCaseAndByIdentifier) {
  EXPECT_EQ(AtPrompt(Open("s") + "write s\nclose s\nvariables S\nadd-empty s\n" +
                     "release s\nvariables 0:0\nrelease 00:0\nvariables 0:0\n"),
            IsOpen("s") +
                "main acquires the write lock on s\n"
                "s is closed; it lives on while held by main (writing)\n"
                "   1  a  numeric  unknown\n   2  b  numeric  unknown\n   3  c  numeric  unknown\n"
                "s is open, without a data source\n"
                "error: main holds no lock on s\n"
                "   1  a  numeric  unknown\n   2  b  numeric  unknown\n   3  c  numeric  unknown\n"
                "main releases the write lock on s\n"
                "error: 0:0: no dataset has this identifier (error 2001)\n");
}

TEST_F(Commands, NameOfTwoClosedDatasetsFindsTheDatasetLockedLast) {
  EXPECT_THAT(AtPrompt(Open("s") + "write s\nclose s\nadd-empty s\nwrite s\nclose s\n" +
                       "show s\nrelease s\nshow s\n"),
              AllOf(HasSubstr("s\n  identifier     0:1\n"),
                    HasSubstr("main releases the write lock on s\ns\n  identifier     0:0\n")));
}

TEST_F(Commands, ClosedDatasetCannotBeClosedAgain) {
  EXPECT_EQ(AtPrompt(Open("s") + "write s\nclose s\nclose s\nclose 0:0\n"),
            IsOpen("s") +
                "main acquires the write lock on s\n"
                "s is closed; it lives on while held by main (writing)\n"
                "error: s (0:0) is closed already; it lives on while held by main (writing)\n"
                "error: s (0:0) is closed already; it lives on while held by main (writing)\n"
                "main releases the write lock on s\n");
}

TEST_F(Commands, ShowingVariablesReleasesTheTemporaryReadLock) {
  EXPECT_EQ(AtPrompt(Open("survey") + "variables survey\n@w write survey\nvariables survey\n" +
                     "@w variables survey\n@w release\n"),
            IsOpen("survey") +
                "   1  a  numeric  unknown\n   2  b  numeric  unknown\n   3  c  numeric  unknown\n"
                "w acquires the write lock on survey\n"
                "error: main would have to wait for the read lock on survey, held by w (writing)\n"
                "   1  a  numeric  unknown\n   2  b  numeric  unknown\n   3  c  numeric  unknown\n"
                "w releases the write lock on survey\n");
}

// ---------------------------------------------------------------------------------------------
// Data files

TEST_F(Commands, InvalidFileGivesOneErrorAndNoDataset) {
  WriteFile("empty.tsv", "");
  WriteFile("ragged.tsv", "a\tb\n1\t2\n3\n");
  WriteFile("quote.tsv", "a\tb\n1\t\"2\n");
  WriteFile("latin.tsv",
            "a\tb\n1\tGr\xF6\xDF"
            "e\n");
  WriteFile("long.tsv", "a\tb\n1\t" + std::string(17 << 20, 'x'));
  WriteFile("schema.tsv", "a\tb\n1\t2\n");
  WriteFile("schema.schema.json", "{\"fields\": [");
  ASSERT_EQ(mkfifo(Path("fifo.tsv").c_str(), 0600), 0);
  ASSERT_TRUE(std::filesystem::create_directory(Path("folder.tsv")));
  const std::map<std::string, std::string> places = {
      {"missing.tsv", ": "},         {"empty.tsv", ""},    {"ragged.tsv", ":3:"},
      {"quote.tsv", ":2:"},          {"latin.tsv", ":2:"}, {"long.tsv", ":2:"},
      {"schema.schema.json", ":1:"}, {"fifo.tsv", ": "},   {"folder.tsv", ": "}};
  for (const auto& [file, place] : places) {
    const std::string opened = file == "schema.schema.json" ? "schema.tsv" : file;
    const std::string text = AtPrompt("open " + Path(opened) + " as bad\nlist\n");
    EXPECT_THAT(text, StartsWith("error: " + Path(file) + place));
    EXPECT_THAT(text, EndsWith("\nno dataset is open\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_FALSE(WentWell());
  }
}

TEST_F(Commands, InvalidFileDoesNotReplaceTheSource) {
  const std::string text = Writing("source survey file /nowhere.tsv\nvariables survey\n");
  EXPECT_THAT(text, StartsWith("error: /nowhere.tsv: "));
  EXPECT_THAT(text, HasSubstr("   3  c  numeric"));
}

// ---------------------------------------------------------------------------------------------
// Variables

TEST_F(Commands, InsertAddsAVariableAtTheGivenPlace) {
  EXPECT_THAT(Writing("insert survey x string:5 label \"An x\" before b\ninsert survey y\n"
                      "variables survey\n"),
              StartsWith("   1  a  numeric            unknown\n"
                         "   2  x  string of 5 bytes  unknown   An x\n"
                         "   3  b  numeric            unknown\n"
                         "   4  c  numeric            unknown\n"
                         "   5  y  numeric            unknown\n"));
}

TEST_F(Commands, PositionsOfMoveCountFromOneInTheResultingList) {
  const auto order = [this](const std::string& move) {
    const std::string text = Writing(move + "\nvariables survey\n");
    std::string names;
    for (std::size_t at = 0; (at = text.find("  numeric", at)) != std::string::npos; ++at) {
      names += text[at - 1];
    }
    return names;
  };
  EXPECT_EQ(order("move survey a to 3"), "bca");
  EXPECT_EQ(order("move survey c to 1"), "cab");
  EXPECT_EQ(order("move survey a before c"), "bac");
  EXPECT_EQ(order("move survey c before a"), "cab");
  EXPECT_EQ(order("move survey b before b"), "abc");
  EXPECT_EQ(order("reorder survey c a"), "cab");
  EXPECT_EQ(order("delete survey c a"), "b");
}

TEST_F(Commands, InvalidVariablesChangeNothing) {
  EXPECT_THAT(Writing("delete survey a nope\n"),
              StartsWith("error: there is no variable \"nope\"\n"));
  EXPECT_THAT(Writing("delete survey a a\nvariables survey\n"),
              StartsWith("error: variable \"a\" is named twice\n   1  a"));
  EXPECT_THAT(Writing("reorder survey b nope\nvariables survey\n"),
              StartsWith("error: there is no variable \"nope\"\n   1  a"));
  EXPECT_THAT(Writing("insert survey a\n"),
              StartsWith("error: there is a variable \"a\" already\n"));
  EXPECT_THAT(Writing("insert survey \"\"\n"),
              StartsWith("error: a variable cannot have an empty"));
  EXPECT_THAT(Writing("insert survey x before nope\n"),
              StartsWith("error: there is no variable \"nope\"\n"));
  EXPECT_THAT(Writing("rename survey a b\n"),
              StartsWith("error: there is a variable \"b\" already\n"));
  EXPECT_THAT(Writing("label survey nope x\n"),
              StartsWith("error: there is no variable \"nope\"\n"));
  EXPECT_THAT(Writing("move survey a to 4\n"), StartsWith("error: there are only 3 positions\n"));
}

TEST_F(Commands, EditingNeedsADataSource) {
  EXPECT_THAT(AtPrompt("add-empty nix\nwrite nix\ninsert nix x\n"),
              HasSubstr("error: nix has no data source; `source` gives it one\n"));
}

// ---------------------------------------------------------------------------------------------
// Notifications

TEST_F(Commands, ObserversAreNotifiedInTheOrderOfRegistration) {
  EXPECT_EQ(Writing("release\n@v observe survey\n@u observe survey\n"
                    "write survey\nlabel survey b B\nrelease\n"),
            "main releases the write lock on survey\n"
            "v observes survey\nu observes survey\n"
            "main acquires the write lock on survey\nmain releases the write lock on survey\n"
            "  v: modified variable \"b\": label none -> \"B\"\n"
            "  v: unsaved changes: yes\n"
            "  u: modified variable \"b\": label none -> \"B\"\n"
            "  u: unsaved changes: yes\n");
}

TEST_F(Commands, OriginatorIsNotNotified) {
  EXPECT_THAT(Writing("release\nobserve survey\n@v observe survey\n"
                      "write survey\ndelete survey a\nrelease\nwrite survey\nrelease\n"),
              EndsWith("main releases the write lock on survey\n"
                       "  v: deleted variable \"a\"\n"
                       "  main: not notified of its own changes\n"
                       "main acquires the write lock on survey\n"
                       "main releases the write lock on survey\n"));
}

TEST_F(Commands, ObserverRegisteredTwiceIsNotifiedTwiceUntilUnobserved) {
  const std::string text = Writing(
      "release\n@v observe survey\n@v observe survey\nwrite survey\ndelete survey a\nrelease\n"
      "@v unobserve survey\nwrite survey\ndelete survey b\nrelease\n@v unobserve survey\n");
  EXPECT_THAT(text, HasSubstr("  v: deleted variable \"a\"\n"
                              "  v: deleted variable \"a\"\n"));
  EXPECT_THAT(text, Not(HasSubstr("deleted variable \"b\"")));
  EXPECT_THAT(text, EndsWith("error: v does not observe survey\n"));
}

TEST_F(Commands, TellNotifiesOfEachChangeOnceUnderTheLock) {
  EXPECT_EQ(Writing("release\n@v observe survey\nwrite survey\nrename survey a x\ntell survey\n"
                    "rename survey x y\nrelease\n@v tell survey\n"),
            "main releases the write lock on survey\nv observes survey\n"
            "main acquires the write lock on survey\n"
            "  v: modified variable \"a\": name \"a\" -> \"x\"\n"
            "  v: unsaved changes: yes\n"
            "main releases the write lock on survey\n"
            "  v: modified variable \"x\": name \"x\" -> \"y\"\n"
            "error: v does not hold the write lock on survey; `@v write survey` acquires it\n");
}

TEST_F(Commands, EachKindOfChangeIsPrintedInWords) {
  const std::string text = Writing(
      "release\n@v observe survey\nwrite survey\n"
      "insert survey x string:1 before b\nmove survey c to 1\nretype survey a string:4\n"
      "release\nwrite survey\nbulk survey\nrelease\nwrite survey\nsource survey dictionary\n"
      "insert survey z\nrelease\n");
  EXPECT_THAT(text, HasSubstr("  v: moved variable \"c\" from position 3 to 1\n"
                              "  v: modified variable \"a\": "
                              "type numeric -> string of 4 bytes\n"
                              "  v: inserted variable \"x\" (string of 1 byte) before \"b\"\n"));
  EXPECT_THAT(text, HasSubstr("  v: deleted variables \"c\", \"a\", \"x\", \"b\"\n"
                              "  v: inserted variables \"c\", \"a\", \"x\", \"b\" at the end\n"));
  EXPECT_THAT(text, HasSubstr("  v: undo history reset\n"
                              "  v: inserted variable \"z\" (numeric) before \"c\"\n"
                              "  v: deleted variables \"c\", \"a\", \"x\", \"b\"\n"));
}

// ---------------------------------------------------------------------------------------------
// Help

TEST_F(Commands, HelpListsEveryCommand) {
  const std::string text = AtPrompt("help\n");
  for (const Command& row : CommandTable()) {
    EXPECT_THAT(text, HasSubstr(row.run == nullptr ? row.name : row.help));
  }
  EXPECT_TRUE(WentWell());
}

TEST_F(Commands, HelpExplainsOneCommand) {
  EXPECT_EQ(AtPrompt("help move\n"),
            "move DATASET VARIABLE to POSITION|before VARIABLE\n"
            "  moves a variable\n"
            "  Positions count from 1.\n");
  EXPECT_THAT(AtPrompt("help try-write\n"), HasSubstr("no lock on the dataset is ever released"));
  EXPECT_EQ(AtPrompt("help frob\n"), "error: no command \"frob\"; `help` lists them\n");
}

TEST_F(Commands, FailedInputIsReported) {
  class Broken final : public std::streambuf {
    int_type underflow() override { throw std::runtime_error("broken"); }
  } broken;
  std::istream input(&broken);
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output);
  EXPECT_FALSE(PlayInput(shell, input));
  EXPECT_EQ(out.str(), "error: the input cannot be read to its end\n");
}

TEST_F(Commands, QuitIgnoresTheRestOfTheInput) {
  EXPECT_THAT(AtPrompt("quit\nlist\n"), IsEmpty());
  EXPECT_TRUE(WentWell());
}

}  // namespace
}  // namespace sdmsh
