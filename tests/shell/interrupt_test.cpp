// Tests that ctrl-C ends the running command.

#include "ShellTest.h"

#include <CommandError.h>
#include <signal.h>

#include <csignal>
#include <sstream>
#include <utility>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// Keeps the output, and sends SIGINT to this process as soon as the output ends with `end`.
class Interrupting final : public std::stringbuf {
 public:
  explicit Interrupting(std::string end) : end_(std::move(end)) {}

 private:
  int sync() override {
    if (str().ends_with(end_)) RaiseHere();
    return 0;
  }

  // Unblocks SIGINT, because the threads of callers block SIGINT and may call this function.
  static void RaiseHere() {
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_UNBLOCK, &interrupt, &before);
    std::raise(SIGINT);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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

  // The output of a script that is interrupted as soon as its output ends with `end`.
  std::string InterruptedScript(const std::string& commands, const std::string& end) {
    std::istringstream script(commands);
    Interrupting text(end);
    std::ostream out(&text);
    Output output(out, out);
    Shell shell(Registry(), output);
    isGood_ = PlayInput(shell, script, "test.sdm");
    return text.str();
  }
  // The output of a script that is interrupted at the beginning of `command`.
  std::string InterruptedDuring(const std::string& before, const std::string& command) {
    return InterruptedScript(before + command + "\nlist\n", "> " + command + "\n");
  }
  bool IsGood() const { return isGood_; }

 private:
  bool isGood_ = true;
};

TEST_F(Interrupt, EndsReadingADataFile) {
  const std::string open = "open " + Path("abc.tsv") + " as survey";
  EXPECT_EQ(InterruptedDuring("", open), "> " + open + "\ntest.sdm:1: interrupted\n");
  EXPECT_FALSE(IsGood());
}

TEST_F(Interrupt, KeepsTheSourceIfReadingANewOneIsInterrupted) {
  const std::string text = InterruptedDuring(Open("survey") + "@r observe survey\nwrite survey\n",
                                             "source survey file " + WriteFile("d.tsv", "d\n1\n"));

  EXPECT_THAT(text, HasSubstr("test.sdm:4: interrupted\n"));
  EXPECT_THAT(text, HasSubstr("r: inserted variable \"a\""));
  EXPECT_THAT(text, Not(HasSubstr("inserted variable \"d\"")));
}

TEST_F(Interrupt, EndsReadingCases) {
  const std::string text = InterruptedDuring(Open("survey"), "cases survey");
  EXPECT_THAT(text, EndsWith("> cases survey\ntest.sdm:2: interrupted\n"));
}

TEST_F(Interrupt, EndsDescribingVariables) {
  const std::string text = InterruptedDuring(Open("survey"), "describe survey");
  EXPECT_THAT(text, EndsWith("> describe survey\ntest.sdm:2: interrupted\n"));
}

TEST_F(Interrupt, EndsAComputationAndInsertsNoVariable) {
  const std::string text = InterruptedDuring(Open("survey") + "write survey\n@r observe survey\n",
                                             "compute survey d = a + b");
  EXPECT_THAT(text, HasSubstr("test.sdm:4: interrupted\n"));
  EXPECT_THAT(text, HasSubstr("r: inserted variable \"c\""));
  EXPECT_THAT(text, Not(HasSubstr("inserted variable \"d\"")));
}

TEST_F(Interrupt, EndsASaveAndLeavesNoNewFile) {
  const std::string file = Path("new.csv");
  const std::string text =
      InterruptedDuring(Open("survey") + "write survey\n", "save survey as " + file);
  EXPECT_THAT(text, HasSubstr("test.sdm:3: interrupted\n"));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_FALSE(std::filesystem::exists(Path("new.schema.json")));
}

// None of the 2147483647 cases is selected, so the search would take very long.
TEST_F(Interrupt, EndsASearchForSelectedCases) {
  const std::string text = InterruptedDuring(Open("survey") +
                                                 "write survey\nsource survey blank 2147483647\n"
                                                 "source survey filtered by a\n",
                                             "cases survey");
  EXPECT_THAT(text, HasSubstr("> cases survey\ntest.sdm:5: interrupted\n"));
}

TEST_F(Interrupt, EndsPrintingCases) {
  const std::string text = InterruptedScript(
      Open("survey") + "write survey\nsource survey blank 300\ncases survey\nlist\n",
      " 200  NaN  NaN  NaN\n");
  EXPECT_THAT(text, HasSubstr(" 200  NaN  NaN  NaN\ntest.sdm:4: interrupted\n"));
}

TEST_F(Interrupt, EndsAScriptEvenIfTheRunningCommandSucceeds) {
  EXPECT_EQ(InterruptedDuring("", "add-empty nix"),
            "> add-empty nix\nnix is open, without a data source\ntest.sdm:1: interrupted\n");
  EXPECT_FALSE(IsGood());
}

TEST_F(Interrupt, BetweenCommandsDoesNotEndTheNextCommand) {
  std::raise(SIGINT);
  EXPECT_EQ(AtPrompt(Open("survey")), IsOpen("survey"));
  EXPECT_TRUE(WentWell());
}

}  // namespace
}  // namespace sdmsh
