// The bootstrap specification of a dataset at the shell.

#include "ShellTest.h"

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMDataset.h>

#include <algorithm>
#include <vector>

namespace sdmsh {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

class Bootstrapping : public ShellTest {
 protected:
  // What the shell says to the commands, after survey was opened and `main` has its write lock.
  std::string Writing(const std::string& commands) {
    const std::string before = IsOpen("survey") + "main takes the write lock on survey\n";
    const std::string text = AtPrompt(Open("survey") + "write survey\n" + commands);
    EXPECT_THAT(text, StartsWith(before));
    return text.substr(std::min(before.size(), text.size()));
  }

  // Every JSON event of the bootstrap command, a line each.
  std::string InJsonWriting(const std::string& commands) {
    std::istringstream lines(InJson(Open("survey") + "write survey\n" + commands));
    std::string found;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(R"({"event":"bootstrap)")) found += line + "\n";
    }
    return found;
  }

  // The record of survey after the commands, which must go well.
  SvrBootstrapSpecs RecordAfter(const std::string& commands) {
    std::ostringstream out;
    const auto printer = MakeWordsPrinter(out, out);
    Shell shell(Registry(), *printer);
    std::istringstream input(Open("survey") + "write survey\n" + commands);
    EXPECT_TRUE(RunPrompt(shell, input, nullptr)) << out.str();
    const SvrDMDataset survey(Registry().GetDataSet("survey"));
    const SvrBootstrapSpecs* const specs = survey.GetBootstrapSpecs();
    return specs != nullptr ? *specs : SvrBootstrapSpecs();
  }

  static constexpr const char* kSet = "the bootstrap specification of survey is set\n";
  static constexpr const char* kReleased = "main releases the write lock on survey\n";
};

// The members of "specs" in JSON for a record with all defaults.
constexpr const char* kDefaultsInJson =
    R"({"method":"simple","strata":[],"dependents":[],"inputs":[],"predicted":[],"residuals":[],)"
    R"("splitEnds":[],"caseStats":[],"level":95.0,"interval":"percentile","samples":1000,)"
    R"("userMissingExcluded":true})";

// ---------------------------------------------------------------------------------------------
// Setting

TEST_F(Bootstrapping, TheFirstSettingMakesARecordWithDefaults) {
  EXPECT_EQ(Writing("bootstrap survey display\nbootstrap survey set interval bca\n"
                    "bootstrap survey display\n"),
            std::string("survey has no bootstrap specification\n") + kSet +
                "Start displaying Bootstrap Specifications\n"
                "\n"
                "Sampling Method = Simple\n"
                "Strata Variables = none\n"
                "Dependent Variables = none\n"
                "Input Variables = none\n"
                "Predicted Value Variables = none\n"
                "Residual Value Variables = none\n"
                "Confidence Interval Level as percent = 95\n"
                "Confidence Interval Type = BCA\n"
                "Number of samples = 1000\n"
                "User-missing variable values are excluded\n"
                "\n"
                "End displaying Bootstrap Specifications\n" +
                kReleased);
}

TEST_F(Bootstrapping, EverySettingReachesItsField) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set method residual\n"
      "bootstrap survey set strata b\n"
      "bootstrap survey set dependents c a\n"
      "bootstrap survey set inputs a b\n"
      "bootstrap survey set predicted c\n"
      "bootstrap survey set residuals a\n"
      "bootstrap survey set level 99.5\n"
      "bootstrap survey set interval bca\n"
      "bootstrap survey set samples 500\n"
      "bootstrap survey set user-missing included\n"
      "bootstrap survey set split-ends 0 4294967295\n"
      "bootstrap survey set case-stats 1.5 3 -2e3 0\n");
  EXPECT_EQ(specs.GetSamplingMethod(), SvrBootstrapSpecs::Residual);
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(1));
  EXPECT_THAT(specs.GetDependVarList(), ElementsAre(2, 0));
  EXPECT_THAT(specs.GetInputVarList(), ElementsAre(0, 1));
  EXPECT_THAT(specs.GetPredictedVarList(), ElementsAre(2));
  EXPECT_THAT(specs.GetResidualVarList(), ElementsAre(0));
  EXPECT_EQ(specs.GetCILevelPct(), 99.5);
  EXPECT_EQ(specs.GetCIType(), SvrBootstrapSpecs::BCA);
  EXPECT_EQ(specs.GetNSamples(), 500);
  EXPECT_FALSE(specs.GetExcludeUserMiss());
  EXPECT_THAT(specs.SplitEnds(), ElementsAre(0u, 4294967295u));
  EXPECT_THAT(specs.CaseStats(), ElementsAre(Pair(1.5, 3u), Pair(-2000.0, 0u)));
}

TEST_F(Bootstrapping, EveryMethodHasAWord) {
  const auto method = [this](const std::string& word) {
    return RecordAfter("bootstrap survey set method " + word + "\n").GetSamplingMethod();
  };
  EXPECT_EQ(method("simple"), SvrBootstrapSpecs::Simple);
  EXPECT_EQ(method("stratified"), SvrBootstrapSpecs::Stratified);
  EXPECT_EQ(method("residual"), SvrBootstrapSpecs::Residual);
  EXPECT_EQ(method("wild"), SvrBootstrapSpecs::Wild);
}

TEST_F(Bootstrapping, EverySettingCanBeTakenBack) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set strata a\nbootstrap survey set dependents a\n"
      "bootstrap survey set inputs a\nbootstrap survey set predicted a\n"
      "bootstrap survey set residuals a\nbootstrap survey set split-ends 1\n"
      "bootstrap survey set case-stats 1 2\nbootstrap survey set interval bca\n"
      "bootstrap survey set user-missing included\n"
      "bootstrap survey set strata none\nbootstrap survey set dependents none\n"
      "bootstrap survey set inputs none\nbootstrap survey set predicted none\n"
      "bootstrap survey set residuals none\nbootstrap survey set split-ends none\n"
      "bootstrap survey set case-stats none\nbootstrap survey set interval percentile\n"
      "bootstrap survey set user-missing excluded\n");
  EXPECT_THAT(specs.GetStrataVarList(), IsEmpty());
  EXPECT_THAT(specs.GetDependVarList(), IsEmpty());
  EXPECT_THAT(specs.GetInputVarList(), IsEmpty());
  EXPECT_THAT(specs.GetPredictedVarList(), IsEmpty());
  EXPECT_THAT(specs.GetResidualVarList(), IsEmpty());
  EXPECT_THAT(specs.SplitEnds(), IsEmpty());
  EXPECT_THAT(specs.CaseStats(), IsEmpty());
  EXPECT_EQ(specs.GetCIType(), SvrBootstrapSpecs::Percentile);
  EXPECT_TRUE(specs.GetExcludeUserMiss());
}

TEST_F(Bootstrapping, AListIsReplacedAsAWhole) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set strata a b\nbootstrap survey set strata c\n"
      "bootstrap survey set split-ends 1 2\nbootstrap survey set split-ends 3\n"
      "bootstrap survey set case-stats 1 2\nbootstrap survey set case-stats 3 4\n");
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(2));
  EXPECT_THAT(specs.SplitEnds(), ElementsAre(3u));
  EXPECT_THAT(specs.CaseStats(), ElementsAre(Pair(3.0, 4u)));
}

TEST_F(Bootstrapping, NoneBesideOtherWordsIsAVariable) {
  WriteFile("abc.tsv", "a\tnone\tc\n1\t2\t3\n4\t5\t6\n");
  EXPECT_THAT(RecordAfter("bootstrap survey set strata c none\n").GetStrataVarList(),
              ElementsAre(2, 1));
}

// The record stores anything, so what is odd is set and shown.
TEST_F(Bootstrapping, OddNumbersAreSetAsTheyAre) {
  EXPECT_THAT(Writing("bootstrap survey set level 250\nbootstrap survey set samples -7\n"
                      "bootstrap survey display\n"),
              AllOf(HasSubstr("Confidence Interval Level as percent = 250\n"),
                    HasSubstr("Number of samples = -7\n")));
}

TEST_F(Bootstrapping, WhatIsWrongChangesNothing) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"strata a nope", "there is no variable \"nope\""},
      {"inputs a b a", "variable \"a\" is named twice"},
      {"split-ends 1 x",
       "bootstrap: expected \"none\" or NUMBER (0 to 4294967295), found \"x\"; usage"},
      {"case-stats 1 2 3",
       "bootstrap: expected NUMBER (0 to 4294967295), found the end of the line; usage"},
      {"level nan", "bootstrap: expected PERCENT (a number), found \"nan\"; usage"},
      {"samples many",
       "bootstrap: expected NUMBER (-2147483648 to 2147483647), found \"many\"; usage"},
  };
  const std::string before =
      "bootstrap survey set strata b\nbootstrap survey set inputs c\n"
      "bootstrap survey set split-ends 9\nbootstrap survey set case-stats 8 7\n";
  const std::string shown = InJsonWriting(before + "bootstrap survey display\n");
  for (const auto& [setting, error] : wrong) {
    const std::string set = "bootstrap survey set " + setting + "\n";
    EXPECT_THAT(Writing(set), StartsWith("error: " + error));
    EXPECT_EQ(InJsonWriting(before + set + "bootstrap survey display\n"), shown) << setting;
    EXPECT_THAT(InJsonWriting(set + "bootstrap survey display\n"), EndsWith("\"specs\":null}\n"))
        << setting;
  }
}

TEST_F(Bootstrapping, VariablesNeedADataSource) {
  EXPECT_EQ(AtPrompt("add-empty nix\nwrite nix\nbootstrap nix set strata x\n"
                     "bootstrap nix display\nbootstrap nix set strata none\n"
                     "bootstrap nix set level 90\n"),
            "nix is open, without a data source\n"
            "main takes the write lock on nix\n"
            "error: there are no variables without a data source; `source` gives one\n"
            "nix has no bootstrap specification\n"
            "the bootstrap specification of nix is set\n"
            "the bootstrap specification of nix is set\n"
            "main releases the write lock on nix\n");
}

// ---------------------------------------------------------------------------------------------
// Showing and removing

TEST_F(Bootstrapping, IsShownToWhoeverMayRead) {
  EXPECT_THAT(Writing("bootstrap survey set method wild\nrelease\n@r read survey\n"
                      "bootstrap survey display\n"),
              HasSubstr("\nSampling Method = Wild\n"));
  EXPECT_THAT(Writing("@v bootstrap survey display\n"),
              StartsWith("error: v would have to wait for the read lock on survey, held by main "
                         "(writing)\n"));
}

TEST_F(Bootstrapping, OffRemovesTheRecord) {
  EXPECT_EQ(Writing("bootstrap survey set level 90\nbootstrap survey off\n"
                    "bootstrap survey display\nbootstrap survey off\n"),
            std::string(kSet) +
                "survey has no bootstrap specification any more\n"
                "survey has no bootstrap specification\n"
                "survey has no bootstrap specification any more\n" +
                kReleased);
  EXPECT_TRUE(WentWell());
}

TEST_F(Bootstrapping, TellsEveryFieldInJson) {
  EXPECT_EQ(InJsonWriting("bootstrap survey display\nbootstrap survey set level 95\n"
                          "bootstrap survey display\nbootstrap survey off\n"),
            std::string(R"({"event":"bootstrap","dataset":"survey","specs":null})") + "\n" +
                R"({"event":"bootstrapChanged","role":"main","dataset":"survey","specs":)" +
                kDefaultsInJson + "}\n" + R"({"event":"bootstrap","dataset":"survey","specs":)" +
                kDefaultsInJson + "}\n" +
                R"({"event":"bootstrapChanged","role":"main","dataset":"survey","specs":null})" +
                "\n");
  EXPECT_THAT(
      InJsonWriting("bootstrap survey set method wild\nbootstrap survey set strata a\n"
                    "bootstrap survey set dependents b\nbootstrap survey set inputs c\n"
                    "bootstrap survey set predicted a b\nbootstrap survey set residuals b c\n"
                    "bootstrap survey set split-ends 7 4294967295\n"
                    "bootstrap survey set case-stats 1.5 2\nbootstrap survey set level 99.5\n"
                    "bootstrap survey set interval bca\nbootstrap survey set samples -1\n"
                    "bootstrap survey set user-missing included\nbootstrap survey display\n"),
      EndsWith(R"({"event":"bootstrap","dataset":"survey","specs":{"method":"wild","strata":[0],)"
               R"("dependents":[1],"inputs":[2],"predicted":[0,1],"residuals":[1,2],)"
               R"("splitEnds":[7,4294967295],"caseStats":[[1.5,2]],"level":99.5,)"
               R"("interval":"bca","samples":-1,"userMissingExcluded":false}})"
               "\n"));
}

}  // namespace
}  // namespace sdmsh
