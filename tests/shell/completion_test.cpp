// Tests of completion, and of error messages that suggest a similar name.

#include "ShellTest.h"

#include <Arguments.h>
#include <Prompt.h>

namespace sdmsh {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

class Completion : public ShellTest {
 protected:
  // Runs the commands, then completes the line.
  std::vector<std::string> After(const std::string& commands, const std::string& line) {
    Shell shell(Registry(), output_);
    std::istringstream input(commands);
    for (std::string each; std::getline(input, each);) {
      const Line parsed = ParseLine(each);
      shell.Execute(parsed.caller.empty() ? "main" : parsed.caller, parsed.words);
    }
    const Completions completions = CompletionsOf(shell, line);
    start_ = completions.start;
    typed_ = completions.typed;
    std::vector<std::string> words = completions.words;
    shell.CloseDown("");
    return words;
  }

  std::vector<std::string> Of(const std::string& line) { return After("", line); }

  std::size_t start_ = 0;
  std::string typed_;

 private:
  std::ostringstream text_;
  Output output_{text_, text_};
};

TEST_F(Completion, OffersCommandsAsTheFirstWord) {
  EXPECT_THAT(Of(""), IsSupersetOf({"open", "quit"}));
  EXPECT_THAT(Of("l"), ElementsAre("label", "labels", "level", "list", "locks"));
  EXPECT_THAT(Of("@recode wr"), ElementsAre("write"));
  EXPECT_THAT(Of("nosuch "), IsEmpty());
}

TEST_F(Completion, OffersDatasetsIfACommandTakesOne) {
  EXPECT_THAT(After(Open("survey") + "add-empty study", "show s"), ElementsAre("study", "survey"));
  EXPECT_THAT(After("add-empty nix", "release "), ElementsAre("nix"));
  EXPECT_THAT(After("add-empty nix", "list "), IsEmpty());
  EXPECT_THAT(After("add-empty nix", "help sh"), ElementsAre("show"));
}

TEST_F(Completion, OffersVariablesAndKeywordsOfTheGrammar) {
  const std::string open = Open("survey");
  EXPECT_THAT(After(open, "describe survey "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(After(open, "describe survey a "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(After(open, "delete survey "), ElementsAre("a", "b", "c", "cases"));
  EXPECT_THAT(After(open, "delete survey cases 1 "), Contains("to"));
  EXPECT_THAT(After(open, "trends survey "), ElementsAre("a", "b", "by", "c", "off", "period"));
  EXPECT_THAT(After(open, "weight survey by "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(After(open, "move survey a "), IsSupersetOf({"before", "to"}));
  EXPECT_THAT(After(open, "move survey a before "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(After(open, "cases survey from "), IsEmpty());
  EXPECT_THAT(After(open, "delete nosuch "), IsEmpty());
}

TEST_F(Completion, ReadsVariablesUnderTheLockOfTheCaller) {
  EXPECT_THAT(
      After(Open("survey") + "@w write survey\n@w insert survey added", "@w label survey a"),
      ElementsAre("a", "added"));
}

TEST_F(Completion, OffersVariablesAsOfTheLastPassWhileAnotherCallerWrites) {
  EXPECT_THAT(After(Open("survey") + "@w write survey\n@w tell survey\n@w insert survey added",
                    "label survey a"),
              ElementsAre("a"));
}

TEST_F(Completion, OffersFilesAndFolders) {
  std::filesystem::create_directory(Path("abdomen"));
  WriteFile(".hidden", "");
  EXPECT_THAT(Of("open " + Path("ab")), ElementsAre(Path("abc.tsv"), Path("abdomen") + "/"));
  EXPECT_THAT(Of("open " + Path("")), Not(Contains(Path(".hidden"))));
  EXPECT_THAT(Of("open " + Path(".h")), ElementsAre(Path(".hidden")));
  EXPECT_THAT(Of("open /nowhere/"), IsEmpty());
}

TEST_F(Completion, ReturnsTheStartAndTheTextOfTheLastWord) {
  After("", "open \"my fi");
  EXPECT_EQ(start_, 5u);
  EXPECT_EQ(typed_, "my fi");
  After("", "open ");
  EXPECT_EQ(start_, 5u);
  EXPECT_EQ(typed_, "");
}

TEST_F(Completion, OffersNothingInAComment) {
  EXPECT_THAT(Of("# a comment l"), IsEmpty());
  EXPECT_THAT(Of("list # fi"), IsEmpty());
  EXPECT_THAT(Of("list # \"fi"), IsEmpty());
  EXPECT_THAT(After("add-empty nix", "close #fi"), IsEmpty());
  EXPECT_THAT(After("add-empty nix", "close #"), IsEmpty());
  EXPECT_THAT(After("add-empty \"#nix\"", "close \"#n"), ElementsAre("#nix"));
}

TEST(DidYouMean, SuggestsTheMostSimilarName) {
  const std::vector<std::string> names = {"age", "income", "educ"};
  EXPECT_EQ(DidYouMean("incmoe", names), "; did you mean \"income\"?");
  EXPECT_EQ(DidYouMean("aeg", names), "; did you mean \"age\"?");
  EXPECT_EQ(DidYouMean("edu", names), "; did you mean \"educ\"?");
}

TEST(DidYouMean, SuggestsNothingIfNoNameIsSimilar) {
  EXPECT_EQ(DidYouMean("vote", {"age", "income"}), "");
  EXPECT_EQ(DidYouMean("x", {"y", "a"}), "");
  EXPECT_EQ(DidYouMean("", {"a"}), "");
  EXPECT_EQ(DidYouMean(std::string(1000, 'x'), {std::string(1000, 'x') + "y"}), "");
}

TEST_F(Completion, ErrorsSuggestASimilarName) {
  EXPECT_EQ(AtPrompt("opne x\nhelp opne\n"),
            "error: no command \"opne\"; did you mean \"open\"?\n"
            "error: no command \"opne\"; did you mean \"open\"?\n");
  EXPECT_THAT(AtPrompt(Open("survey") + "show srvey\n"),
              HasSubstr("error: no dataset is called \"srvey\"; did you mean \"survey\"?\n"));
  WriteFile("abc.tsv", "income\n1\n");
  EXPECT_THAT(AtPrompt(Open("survey") + "write survey\ndelete survey incmoe\n"),
              HasSubstr("error: there is no variable \"incmoe\"; did you mean \"income\"?\n"));
}

}  // namespace
}  // namespace sdmsh
