// Tests of the properties of a dictionary: how they are set, sent, shown and mirrored.

#include "ShellTest.h"

#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> LinesWith(const std::string& text, const std::string& beginning) {
  std::istringstream stream(text);
  std::vector<std::string> found;
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(beginning)) found.push_back(line.substr(beginning.size()));
  }
  return found;
}

class PropertyCommands : public ShellTest {
 protected:
  // Commands that open survey, with the variables a, b and c, and run its first notification pass.
  std::string Opened() const { return Open("survey") + "write survey\nrelease\n"; }

  static std::string Write(const std::string& commands) {
    return "write survey\n" + commands + "release\n";
  }

  // Runs `before`, lets the caller v observe survey, and runs `commands`. Returns the messages that
  // v receives.
  std::vector<std::string> Notified(const std::string& commands, const std::string& before = "") {
    const std::string setUp = before.empty() ? "" : Write(before);
    const std::string text = AtPrompt(Opened() + setUp + "@v observe survey\n" + Write(commands));
    EXPECT_TRUE(WentWell()) << text;
    return LinesWith(text, "  v: ");
  }
};

// ---------------------------------------------------------------------------------------------
// Notifications

TEST_F(PropertyCommands, FirstPassSendsTheDictionaryOfTheDataFile) {
  WriteFile("abc.schema.json", R"({"title": "Letters", "fields": []})");
  const std::string text = AtPrompt("open " + Path("abc.tsv") +
                                    " as survey\n@v observe survey\nwrite survey\nrelease\n");
  EXPECT_THAT(LinesWith(text, "  v: "),
              ElementsAre("inserted variable \"a\" (numeric) at the end",
                          "inserted variable \"b\" (numeric) at the end",
                          "inserted variable \"c\" (numeric) at the end",
                          "saved file: \"" + Path("abc.tsv") + "\"", "dataset label: \"Letters\"",
                          "case data reset: 2 rows"));
}

TEST_F(PropertyCommands, SettingAPropertySendsItsMessage) {
  EXPECT_THAT(Notified("weight survey by b\n"), ElementsAre("weight: \"b\""));
  EXPECT_THAT(Notified("filter survey by b\n"), ElementsAre("filter: \"b\""));
  EXPECT_THAT(Notified("split survey together by c a\n"),
              ElementsAre("split: \"c\", \"a\" (together)"));
  EXPECT_THAT(Notified("split survey separate by c\n"), ElementsAre("split: \"c\" (separately)"));
  EXPECT_THAT(Notified("trends survey period 12 by b a\n"),
              ElementsAre("time series: by \"b\", \"a\", period 12"));
  EXPECT_THAT(Notified("trends survey period 4\n"), ElementsAre("time series: period 4"));
  EXPECT_THAT(Notified("mrset survey x indicators 1 of a b\n"),
              ElementsAre("multiple-response sets: \"x\" (2 variables)",
                          "multiple-response sets (extension 19): \"x\" (2 variables)"));
  EXPECT_THAT(Notified("varset survey x of a\n"), ElementsAre("variable sets: \"x\" (1 variable)"));
  EXPECT_THAT(Notified("title survey Letters\n"), ElementsAre("dataset label: \"Letters\""));
  EXPECT_THAT(Notified("filespec survey /x.tsv\n"), ElementsAre("saved file: \"/x.tsv\""));
  EXPECT_THAT(Notified("extension survey cut=2\n"), ElementsAre("extension of type 0: \"cut=2\""));
  EXPECT_THAT(Notified("extension survey " + std::string(61, 'x') + "\n"),
              ElementsAre("extension of type 0: 61 bytes"));
  EXPECT_THAT(Notified("attribute survey source form \"page 2\"\n"),
              ElementsAre("attributes: source = \"form\" \"page 2\""));
  EXPECT_THAT(Notified("dirty survey on\n"), ElementsAre("unsaved changes: yes"));
  EXPECT_THAT(Notified("source survey blank 1\n"),
              ElementsAre("undo history reset", "case data reset: 1 row"));
}

TEST_F(PropertyCommands, RemovingAPropertySendsItsMessage) {
  EXPECT_THAT(Notified("weight survey off\n", "weight survey by b\n"), ElementsAre("weight: none"));
  EXPECT_THAT(Notified("filter survey off\n", "filter survey by b\n"), ElementsAre("filter: none"));
  EXPECT_THAT(Notified("split survey off\n", "split survey separate by b\n"),
              ElementsAre("split: none"));
  EXPECT_THAT(Notified("trends survey off\n", "trends survey period 4\n"),
              ElementsAre("time series: none"));
  EXPECT_THAT(
      Notified("mrset survey x off\n", "mrset survey x answers of a\n"),
      ElementsAre("multiple-response sets: none", "multiple-response sets (extension 19): none"));
  EXPECT_THAT(Notified("varset survey x off\n", "varset survey x of a\n"),
              ElementsAre("variable sets: none"));
  EXPECT_THAT(Notified("title survey \"\"\n", "title survey Letters\n"),
              ElementsAre("dataset label: none"));
  EXPECT_THAT(Notified("imputation survey off\n", "imputation survey 5\n"),
              ElementsAre("rows per imputation: none"));
  EXPECT_THAT(Notified("extension survey \"\"\n", "extension survey cut=2\n"),
              ElementsAre("extension of type 0: none"));
  EXPECT_THAT(Notified("attribute survey source\n", "attribute survey source form\n"),
              ElementsAre("attributes: none"));
  EXPECT_THAT(Notified("dirty survey off\n", "dirty survey on\n"),
              ElementsAre("unsaved changes: no"));
}

TEST_F(PropertyCommands, ChangesThatMessagesDoNotCarryAreNotSent) {
  EXPECT_THAT(Notified("imputation survey 5\n"), IsEmpty());
  EXPECT_THAT(Notified("filespec survey /y.tsv\n", "source survey blank 2\n"), IsEmpty());
}

TEST_F(PropertyCommands, MovingTheWeightVariableSendsTheWeightAgain) {
  EXPECT_THAT(Notified("move survey c to 1\n",
                       "weight survey by c\nfilter survey by c\nsplit survey separate by a c\n"),
              ElementsAre("moved variable \"c\" from position 3 to 1", "weight: \"c\"",
                          "filter: \"c\"", "split: \"a\", \"c\" (separately)"));
  EXPECT_THAT(Notified("reorder survey c\n", "weight survey by b\n"),
              ElementsAre("deleted variables \"a\", \"b\", \"c\"",
                          "inserted variables \"c\", \"a\", \"b\" at the end", "weight: \"b\""));
}

// Opened() acquires and releases the write lock. This runs the first pass, which reports all
// variables to the shell, because the shell observes every dataset. The observer of this test
// registers after that pass, so it does not receive the variables.
TEST_F(PropertyCommands, ObserverRegisteredAfterTheFirstReleaseDoesNotReceiveTheVariables) {
  EXPECT_THAT(Notified("weight survey by a\n"), ElementsAre("weight: \"a\""));
}

TEST_F(PropertyCommands, OnlyAModifiedDefinitionSetsTheDirtyFlag) {
  const auto written = [this](const std::string& commands) {
    return AtPrompt(Opened() + Write(commands) + "show survey\n");
  };
  for (const std::string commands :
       {"insert survey d\n", "delete survey a\n", "move survey c to 1\n", "weight survey by a\n",
        "title survey T\n", "source survey blank 9\n"}) {
    EXPECT_THAT(written(commands), HasSubstr("\n  unsaved        no\n")) << commands;
  }
  EXPECT_THAT(written("label survey a A\n"), HasSubstr("\n  unsaved        yes\n"));
}

TEST_F(PropertyCommands, StringVariableCanBeNeitherWeightNorFilter) {
  EXPECT_EQ(
      Writing("insert survey s string:3\nweight survey by b\nfilter survey by c\n"
              "weight survey by s\nfilter survey by s\n"),
      std::string("error: variable \"s\" is a string; only a numeric variable can weight cases\n"
                  "error: variable \"s\" is a string; only a numeric variable can select cases\n") +
          kReleased);
  EXPECT_FALSE(WentWell());
}

// The library keeps the weight and the filter when the variable becomes a string.
TEST_F(PropertyCommands, WeightThatBecomesAStringStaysTheWeight) {
  const std::string text = Writing(
      "weight survey by b\nfilter survey by b\n"
      "retype survey b string:3\nshow survey\n");
  EXPECT_THAT(text, HasSubstr("\n  weight         \"b\"\n  filter         \"b\"\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(PropertyCommands, DeletingAVariableRemovesItFromWeightAndSplit) {
  EXPECT_THAT(Notified("delete survey c\n", "weight survey by c\nsplit survey together by a c\n"),
              ElementsAre("deleted variable \"c\"", "split: \"a\" (together)"));
}

TEST_F(PropertyCommands, ChangeOfTheCasesInUseRemovesDashboardAttributes) {
  const std::string noted = "attribute survey dashboard.chart bar\nattribute survey source form\n";
  EXPECT_THAT(Notified("filter survey by a\n", noted),
              ElementsAre("filter: \"a\"", "attributes: source = \"form\""));
  EXPECT_THAT(Notified("title survey Letters\n", noted), ElementsAre("dataset label: \"Letters\""));
}

// ---------------------------------------------------------------------------------------------
// Sets

TEST_F(PropertyCommands, SetIsReplacedAtItsPosition) {
  EXPECT_THAT(Writing("varset survey x of a\nvarset survey y of b\nvarset survey x of c a\n"
                      "show survey\n"),
              HasSubstr("  variable sets  \"x\": \"c\", \"a\"; \"y\": \"b\"\n"));
  EXPECT_THAT(Writing("mrset survey x indicators 1 label \"An x\" of a b\n"
                      "mrset survey y answers of c\nshow survey\n"),
              HasSubstr("  response sets  \"x\" \"An x\": indicators \"a\", \"b\", selected "
                        "value \"1\"; \"y\": answers \"c\"\n"));
}

TEST_F(PropertyCommands, RemovingAnUnknownSetIsRefused) {
  EXPECT_THAT(Writing("varset survey x of a\nmrset survey x off\n"),
              StartsWith("error: there is no set \"x\"\n"));
  EXPECT_THAT(Writing("varset survey x off\n"), StartsWith("error: there is no set \"x\"\n"));
}

TEST_F(PropertyCommands, DeletedMemberIsShownByItsIdentifier) {
  const std::string text = Writing("varset survey x of a c\ndelete survey a\nshow survey\n");
  EXPECT_THAT(text, HasSubstr("  variable sets  \"x\": 1:"));
  EXPECT_THAT(text, HasSubstr(" (no such variable), \"c\"\n"));
}

// ---------------------------------------------------------------------------------------------
// Refused commands

TEST_F(PropertyCommands, InvalidVariablesChangeNothing) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"weight survey by nope\n", "there is no variable \"nope\""},
      {"filter survey by nope\n", "there is no variable \"nope\""},
      {"split survey together by a nope\n", "there is no variable \"nope\""},
      {"split survey together by a a\n", "variable \"a\" is named twice"},
      {"trends survey by a a\n", "variable \"a\" is named twice"},
      {"mrset survey x answers of nope\n", "there is no variable \"nope\""},
      {"varset survey x of a b a\n", "variable \"a\" is named twice"},
  };
  for (const auto& [command, error] : wrong) {
    const std::string text = Writing(command + "show survey\n");
    EXPECT_THAT(text, StartsWith("error: " + error + "\n"));
    EXPECT_THAT(text, HasSubstr("  weight         none\n"
                                "  filter         none\n"
                                "  split          none\n"
                                "  saved as "))
        << command;
  }
}

TEST_F(PropertyCommands, AtMostEightVariablesCanSplit) {
  WriteFile("abc.tsv", "a\tb\tc\td\te\tf\tg\th\ti\n1\t2\t3\t4\t5\t6\t7\t8\t9\n");
  const std::string open =
      Open("survey") + "write survey\nsplit survey together by a b c d e f g h";
  EXPECT_THAT(AtPrompt(open + "\nshow survey\n"), HasSubstr("\"g\", \"h\" (together)\n"));
  EXPECT_THAT(AtPrompt(open + " i\nshow survey\n"),
              AllOf(HasSubstr("error: SetSplit: 9 variables, but at most 8 can split a file\n"),
                    HasSubstr("  split          none\n")));
}

TEST_F(PropertyCommands, BlankCasesNeedADictionary) {
  EXPECT_THAT(Writing("source survey none\nsource survey blank 3\n"),
              StartsWith("error: survey has no dictionary to keep\n"));
}

// ---------------------------------------------------------------------------------------------
// Showing

TEST_F(PropertyCommands, ShowOmitsRarePropertiesThatAreNotSet) {
  EXPECT_THAT(AtPrompt(Open("survey") + "show survey\n"), HasSubstr("  data source    yes\n"
                                                                    "  label          none\n"
                                                                    "  variables      3\n"
                                                                    "  cases          2\n"
                                                                    "  weight         none\n"
                                                                    "  filter         none\n"
                                                                    "  split          none\n"
                                                                    "  saved as       " +
                                                                    Path("abc.tsv") +
                                                                    "\n"
                                                                    "  unsaved        no\n"
                                                                    "  case sequence  0\n"));
}

TEST_F(PropertyCommands, ShowPrintsAllPropertiesThatAreSet) {
  EXPECT_THAT(Writing("title survey Letters\nweight survey by a\nfilter survey by b\n"
                      "split survey separate by c a\nimputation survey 1\n"
                      "trends survey period 12 by b\n"
                      "mrset survey x answers of a\nvarset survey y of b\n"
                      "extension survey cut=2\nattribute survey source form\nfilespec survey \"\"\n"
                      "dirty survey on\nsource survey blank 7\nshow survey\n"),
              HasSubstr("  label          \"Letters\"\n"
                        "  variables      3\n"
                        "  cases          7\n"
                        "  weight         \"a\"\n"
                        "  filter         \"b\"\n"
                        "  split          \"c\", \"a\" (separately)\n"
                        "  imputation     1 row\n"
                        "  trends         by \"b\", period 12\n"
                        "  response sets  \"x\": answers \"a\"\n"
                        "  variable sets  \"y\": \"b\"\n"
                        "  extension      \"cut=2\"\n"
                        "  attributes     source = \"form\"\n"
                        "  saved as       none\n"
                        "  unsaved        no\n"));
}

TEST_F(PropertyCommands, ShowDoesNotWaitForAWriter) {
  const std::string text = AtPrompt(Open("survey") + "@w write survey\nshow survey\n");
  EXPECT_THAT(text, HasSubstr("  data source    yes, but the lock is not free for reading\n"
                              "  case sequence  0\n"
                              "  lock           held by w (writing)\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(PropertyCommands, VariablesAreShownWithWeightFilterAndSplit) {
  EXPECT_THAT(Writing("label survey b \"The b\"\nweight survey by b\nfilter survey by b\n"
                      "split survey together by c b\nvariables survey\n"),
              StartsWith("   1  a  numeric  unknown\n"
                         "   2  b  numeric  unknown   The b [weight, filter, split 2]\n"
                         "   3  c  numeric  unknown    [split 1]\n"));
}

// ---------------------------------------------------------------------------------------------
// The mirror

// Returns the two digests in the last table of the output.
std::pair<std::string, std::string> Digests(const std::string& text) {
  const std::vector<std::string> lines = LinesWith(text, "  digest");
  if (lines.empty()) return {};
  std::istringstream words(lines.back());
  std::pair<std::string, std::string> digests;
  words >> digests.first >> digests.second;
  return digests;
}

TEST_F(PropertyCommands, MirrorEqualsTheSourceAfterAPass) {
  const std::string change =
      "title survey Letters\nweight survey by a\nfilter survey by b\n"
      "split survey separate by c a\ntrends survey period 12 by b\nmove survey c to 1\n"
      "mrset survey x answers of a\nvarset survey y of b\nextension survey cut=2\n"
      "attribute survey source form\nrename survey a z\n";
  const auto before = Digests(AtPrompt(Opened() + "write survey\n" + change + "mirror survey\n"));
  EXPECT_NE(before.first, before.second);

  const std::string text = AtPrompt(Opened() + Write(change) + "mirror survey\n");
  EXPECT_EQ(Digests(text).first, Digests(text).second);
  EXPECT_EQ(Digests(text).first.size(), 32u);
  EXPECT_THAT(text, Not(HasSubstr("differs")));
  EXPECT_THAT(text, HasSubstr("  weight         \"z\"                               the same\n"));
}

TEST_F(PropertyCommands, MirrorShowsChangesThatWereNotSentYet) {
  const std::string text =
      AtPrompt(Opened() + "write survey\nweight survey by a\nlabel survey b \"The b\"\n" +
               "delete survey c\ninsert survey x\nmirror survey\n");
  EXPECT_THAT(
      LinesWith(text, "  weight"),
      ElementsAre(AllOf(HasSubstr("\"a\"  "), HasSubstr("none  "), EndsWith("  <- differs"))));
  EXPECT_THAT(
      LinesWith(text, "  \"b\" label"),
      ElementsAre(AllOf(HasSubstr(" \"The b\" "), HasSubstr(" none "), EndsWith(" <- differs"))));
  EXPECT_THAT(LinesWith(text, "  \"x\" "), ElementsAre(HasSubstr(" present   ")));
  EXPECT_THAT(LinesWith(text, "  \"c\" "), ElementsAre(HasSubstr(" missing  ")));
  EXPECT_THAT(LinesWith(text, "  digest"), ElementsAre(EndsWith("<- differs")));
  EXPECT_THAT(LinesWith(text, "  order"), IsEmpty());
}

TEST_F(PropertyCommands, MirrorShowsADifferentOrder) {
  EXPECT_THAT(LinesWith(AtPrompt(Opened() + "write survey\nmove survey c to 1\nmirror survey\n"),
                        "  order      "),
              ElementsAre(AllOf(StartsWith("\"c\", \"a\", \"b\""), HasSubstr("\"a\", \"b\", \"c\""),
                                EndsWith("  <- differs"))));
}

TEST_F(PropertyCommands, DigestsExcludePropertiesThatMessagesDoNotCarryCompletely) {
  const std::string text =
      AtPrompt(Opened() + Write("imputation survey 5\nsource survey blank 2\n") +
               Write("filespec survey /y.tsv\n") + "mirror survey\n");
  EXPECT_THAT(LinesWith(text, "  imputation"),
              ElementsAre(AllOf(HasSubstr("5 rows"), HasSubstr("none"),
                                EndsWith("  <- differs; messages do not carry every change"))));
  EXPECT_THAT(LinesWith(text, "  saved as"),
              ElementsAre(AllOf(HasSubstr("/y.tsv"),
                                EndsWith("  <- differs; messages do not carry every change"))));
  EXPECT_EQ(Digests(text).first, Digests(text).second);
}

TEST_F(PropertyCommands, DatasetWithoutASourceIsComparedAsAnEmptyDictionary) {
  const std::string text = AtPrompt(Opened() + Write("source survey none\n") + "mirror survey\n");
  EXPECT_THAT(text, HasSubstr("  variables  0 "));
  EXPECT_EQ(Digests(text).first.size(), 32u);
  EXPECT_EQ(Digests(text).first, Digests(text).second);
}

TEST_F(PropertyCommands, MirrorIsNotShownIfReadingWouldHaveToWait) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@w write survey\nmirror survey\n"),
              HasSubstr("error: main would have to wait for the read lock on survey, held by w "
                        "(writing)\n"));
}

}  // namespace
}  // namespace sdmsh
