// Ctrl-C gives up the command under way.

#include "ShellTest.h"

#include <Interrupt.h>

#include <csignal>
#include <sstream>
#include <utility>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// Keeps what is printed, and sends this process SIGINT once that ends with a text of the test's.
class Interrupting final : public std::stringbuf {
 public:
  explicit Interrupting(std::string end) : end_(std::move(end)) {}

 private:
  int sync() override {
    if (str().ends_with(end_)) std::raise(SIGINT);
    return 0;
  }

  const std::string end_;
};

class Interrupt : public ShellTest {
 protected:
  Interrupt() { CatchInterrupts(); }
  ~Interrupt() override {
    ForgetInterrupt();
    std::signal(SIGINT, SIG_DFL);
  }

  // What a script says that is interrupted once this was printed.
  std::string InterruptedScript(const std::string& commands, const std::string& end) {
    std::istringstream script(commands);
    Interrupting text(end);
    std::ostream out(&text);
    Output output(out, out);
    Shell shell(Registry(), output);
    isGood_ = PlayScript(shell, script, "test.sdm");
    return text.str();
  }
  // The same, interrupted at the beginning of its last line.
  std::string InterruptedInLastLine(const std::string& before, const std::string& command) {
    return InterruptedScript(before + command + "\nlist\n", "> " + command + "\n");
  }
  bool IsGood() const { return isGood_; }

 private:
  bool isGood_ = true;
};

TEST_F(Interrupt, GivesUpADataFileThatIsBeingRead) {
  const std::string open = "open " + Path("abc.tsv") + " as survey";
  EXPECT_EQ(InterruptedInLastLine("", open), "> " + open + "\ntest.sdm:1: interrupted\n");
  EXPECT_FALSE(IsGood());
}

TEST_F(Interrupt, LeavesTheSourceOfAWriterThatReadsAnother) {
  const std::string text =
      InterruptedInLastLine(Open("survey") + "@r observe survey\nwrite survey\n",
                            "source survey file " + WriteFile("d.tsv", "d\n1\n"));

  EXPECT_THAT(text, HasSubstr("test.sdm:4: interrupted\n"));
  EXPECT_THAT(text, HasSubstr("r is told: variable \"a\" inserted"));
  EXPECT_THAT(text, Not(HasSubstr("variable \"d\" inserted")));
}

TEST_F(Interrupt, GivesUpCasesThatAreBeingRead) {
  const std::string text = InterruptedInLastLine(Open("survey"), "cases survey");
  EXPECT_THAT(text, EndsWith("> cases survey\ntest.sdm:2: interrupted\n"));
}

// None of two thousand million cases is selected, so that the first never comes.
TEST_F(Interrupt, GivesUpASearchForCasesThatAreSelected) {
  const std::string text =
      InterruptedInLastLine(Open("survey") +
                                "write survey\nsource survey blank 2147483647\n"
                                "source survey filtered by a\n",
                            "cases survey");
  EXPECT_THAT(text, HasSubstr("> cases survey\ntest.sdm:5: interrupted\n"));
}

TEST_F(Interrupt, EndsAScriptAtTheCommandUnderWayAlsoWhereThatIsCarriedOut) {
  EXPECT_EQ(InterruptedInLastLine("", "add-empty nix"),
            "> add-empty nix\nnix is open, without a data source\ntest.sdm:1: interrupted\n");
  EXPECT_FALSE(IsGood());
}

TEST_F(Interrupt, BetweenTwoCommandsAtThePromptIsNoMatterOfTheNext) {
  std::raise(SIGINT);
  EXPECT_EQ(AtPrompt(Open("survey")), IsOpen("survey"));
  EXPECT_TRUE(WentWell());
}

}  // namespace
}  // namespace sdmsh
