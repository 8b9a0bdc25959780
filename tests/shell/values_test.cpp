// Tests of the commands that change values.

#include "ShellTest.h"

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// The dataset survey has the cases 1 2 3 and 4 5 6 of the variables a, b and c.
class ChangingValues : public ShellTest {
 protected:
  // The output of `cases survey` after the commands.
  std::string CasesAfter(const std::string& commands) {
    const std::string text = Writing(commands + "cases survey\n");
    EXPECT_TRUE(WentWell()) << text;
    return text.substr(0, text.find(kReleased));
  }
};

TEST_F(ChangingValues, SetsOneValue) {
  EXPECT_EQ(CasesAfter("set survey b 2 -1.5\n"),
            "      a     b  c\n"
            "   1  1     2  3\n"
            "   2  4  -1.5  6\n");
}

TEST_F(ChangingValues, SetsAMissingValue) {
  EXPECT_THAT(CasesAfter("set survey b 2 \"\"\n"), HasSubstr("   2  4  NaN  6\n"));
}

TEST_F(ChangingValues, SetsADate) {
  EXPECT_EQ(CasesAfter("format survey b date\nset survey b 1 2024-02-29\nset survey b 2 0\n"),
            "      a           b  c\n"
            "   1  1  2024-02-29  3\n"
            "   2  4  1970-01-01  6\n");
}

TEST_F(ChangingValues, SetsAString) {
  EXPECT_THAT(CasesAfter("retype survey b string:3\nset survey b 2 abc\n"),
              HasSubstr("   2  4  abc  6\n"));
}

TEST_F(ChangingValues, AppendsACase) {
  EXPECT_EQ(CasesAfter("append survey 7 \"\" 9\n"),
            "      a    b  c\n"
            "   1  1    2  3\n"
            "   2  4    5  6\n"
            "   3  7  NaN  9\n");
}

TEST_F(ChangingValues, DeletesCases) {
  EXPECT_EQ(CasesAfter("append survey 7 8 9\nappend survey 10 11 12\ndelete survey cases 2 to 3\n"),
            "       a   b   c\n"
            "   1   1   2   3\n"
            "   2  10  11  12\n");
  EXPECT_EQ(CasesAfter("delete survey cases 1\n"),
            "      a  b  c\n"
            "   1  4  5  6\n");
}

TEST_F(ChangingValues, DeleteCasesWithoutNumbersDeletesTheVariableOfThatName) {
  EXPECT_EQ(CasesAfter("rename survey b cases\ndelete survey cases\n"),
            "      a  c\n"
            "   1  1  3\n"
            "   2  4  6\n");
}

TEST_F(ChangingValues, ComputesANewVariableAtTheEnd) {
  EXPECT_EQ(CasesAfter("compute survey total = a + b*c\n"),
            "      a  b  c  total\n"
            "   1  1  2  3      7\n"
            "   2  4  5  6     34\n");
}

TEST_F(ChangingValues, ComputesAVariableFromItself) {
  EXPECT_THAT(CasesAfter("compute survey a = a > 2 ? -a : a\n"), HasSubstr("   2  -4  5  6\n"));
}

TEST_F(ChangingValues, ComputesWithFunctions) {
  EXPECT_THAT(CasesAfter("compute survey d = floor(b / 2) + 10 * ceil(a / 3) + 100 * min(a, c)\n"),
              HasSubstr("   2  4  5  6  422\n"));
}

TEST_F(ChangingValues, ComputesWithAVariableThatIsCalledLikeAConstantOfTheParser) {
  EXPECT_THAT(CasesAfter("rename survey a _pi\ncompute survey d = _pi * 10\n"),
              HasSubstr("   2    4  5  6  40\n"));
}

TEST_F(ChangingValues, ComputesWithNamesThatAreNotAscii) {
  EXPECT_THAT(CasesAfter("rename survey a größe.1\ncompute survey d = größe.1 * 10\n"),
              HasSubstr("   2        4  5  6  40\n"));
}

TEST_F(ChangingValues, ComputesMissingIfAnOperandIsMissingOrDeclaredMissing) {
  EXPECT_THAT(CasesAfter("set survey a 1 \"\"\ncompute survey d = a == a\n"),
              HasSubstr("   1  NaN  2  3  NaN\n"));
  EXPECT_THAT(CasesAfter("missing survey a 4\ncompute survey d = a\n"),
              HasSubstr("   2  4  5  6  NaN\n"));
}

TEST_F(ChangingValues, ComputesMissingIfTheResultIsInfinite) {
  EXPECT_THAT(CasesAfter("compute survey d = 3 / (a - 1)\n"), HasSubstr("   1  1  2  3  NaN\n"));
}

TEST_F(ChangingValues, ComputesAConstantInADatasetWithoutCases) {
  EXPECT_THAT(Writing("delete survey cases 1 to 2\ncompute survey d = 1\nvariables survey\n"),
              HasSubstr("   4  d "));
}

TEST_F(ChangingValues, RaisesTheCaseSequenceEachTimeButResetsCaseDataOncePerPass) {
  EXPECT_THAT(Writing("@window observe survey\nset survey a 1 9\nset survey a 2 9\nrelease survey\n"
                      "show survey\n"),
              HasSubstr("case sequence  2\n"));
  const std::string text = AtPrompt(Open("survey") +
                                    "write survey\nrelease survey\n@window observe survey\n"
                                    "write survey\nset survey a 1 9\nset survey a 2 9\nrelease "
                                    "survey\n");
  EXPECT_THAT(text, EndsWith("main releases the write lock on survey\n"
                             "  window: case data reset: 2 rows\n"
                             "  window: unsaved changes: yes\n"));
}

TEST_F(ChangingValues, NotifiesOfTheNewNumberOfCases) {
  const std::string text = AtPrompt(Open("survey") +
                                    "write survey\nrelease survey\n@window observe survey\n"
                                    "write survey\nappend survey 7 8 9\nrelease survey\n");
  EXPECT_THAT(text, EndsWith("  window: case data reset: 3 rows\n"
                             "  window: unsaved changes: yes\n"));
}

TEST_F(ChangingValues, ChangesOnlyTheEditedClone) {
  EXPECT_THAT(Writing("clone survey as copy\nwrite copy\nset copy a 1 9\ncases copy\n"),
              HasSubstr("   1  9  2  3\n"));
  EXPECT_THAT(Writing("clone survey as copy\nwrite copy\nset copy a 1 9\ncases survey\n"),
              HasSubstr("   1  1  2  3\n"));
}

TEST_F(ChangingValues, NumbersCasesAsTheFilteredSourceShowsThem) {
  EXPECT_THAT(CasesAfter("set survey a 1 0\nsource survey filtered by a\nset survey b 1 9\n"),
              EndsWith("   1  4  9  6\n"));
}

TEST_F(ChangingValues, RefusedCommandsChangeNothing) {
  for (const auto& [command, error] : std::vector<std::pair<std::string, std::string>>{
           {"set survey a 3 1", "there is no case 3: the dataset has 2 cases"},
           {"set survey x 1 1", "there is no variable \"x\""},
           {"set survey a 1 x", "\"x\" is not a number, but variable \"a\" is numeric"},
           {"append survey 1 2", "a case has 3 values, not 2"},
           {"append survey 1 2 x", "\"x\" is not a number"},
           {"delete survey cases 2 to 1", "the last case comes before the first"},
           {"delete survey cases 2 to 3", "there is no case 3"},
           {"compute survey d = a +", "Unexpected end of expression"},
           {"compute survey d = a + x", "there is no variable \"x\""},
           {"compute survey d = a = 4", "`=` within an expression; `==` compares"},
           {"compute survey d = a, b", "a comma outside a function"},
           {"compute survey \"\" = a", "a variable cannot have an empty name"}}) {
    const std::string text =
        Writing("clone survey as copy\n" + command + "\ncases survey\nshow survey\n");
    EXPECT_THAT(text, HasSubstr(error));
    EXPECT_THAT(text, HasSubstr("      a  b  c\n   1  1  2  3\n   2  4  5  6\n")) << command;
    EXPECT_THAT(text, HasSubstr("yes, a clone\n")) << command;
    EXPECT_THAT(text, HasSubstr("case sequence  0\n")) << command;
  }
}

TEST_F(ChangingValues, RefusesAStringInAnExpression) {
  EXPECT_THAT(Writing("retype survey b string:3\ncompute survey d = a + b\n"),
              HasSubstr("variable \"b\" is a string; only a numeric variable can be used in an "
                        "expression"));
  EXPECT_THAT(Writing("retype survey b string:3\ncompute survey b = a\n"),
              HasSubstr("only a numeric variable can be computed"));
}

TEST_F(ChangingValues, NeedsADataSource) {
  EXPECT_THAT(AtPrompt("add-empty e\nwrite e\nappend e 1\n"), HasSubstr("e has no data source"));
}

}  // namespace
}  // namespace sdmsh
