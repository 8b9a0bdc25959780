// Ctrl-C gives up the command under way.

#include "ShellTest.h"

#include <Event.h>
#include <Interrupt.h>

#include <csignal>
#include <functional>
#include <utility>
#include <variant>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// Prints words, and sends this process SIGINT before the events that a test chooses.
class InterruptingPrinter final : public Printer {
 public:
  InterruptingPrinter(std::ostream& out, std::function<bool(const Event&)> interrupts)
      : words_(MakeWordsPrinter(out, out)), interrupts_(std::move(interrupts)) {}

  void Print(const Event& event) override {
    if (interrupts_(event)) std::raise(SIGINT);
    words_->Print(event);
  }
  bool ReachesItsReader() const override { return words_->ReachesItsReader(); }

 private:
  const std::unique_ptr<Printer> words_;
  const std::function<bool(const Event&)> interrupts_;
};

class Interrupt : public ShellTest {
 protected:
  Interrupt() { CatchInterrupts(); }
  ~Interrupt() override {
    ForgetInterrupt();
    std::signal(SIGINT, SIG_DFL);
  }

  // What a script says that is interrupted before these events.
  std::string InterruptedScript(const std::string& commands,
                                std::function<bool(const Event&)> interrupts) {
    std::istringstream script(commands);
    std::ostringstream out;
    InterruptingPrinter printer(out, std::move(interrupts));
    Shell shell(Registry(), printer);
    isGood_ = PlayScript(shell, script, "test.sdm");
    return out.str();
  }
  // The same, interrupted at the beginning of its last line.
  std::string InterruptedInLastLine(const std::string& before, const std::string& command) {
    return InterruptedScript(before + command + "\nlist\n", [&](const Event& event) {
      const auto* const line = std::get_if<ScriptLine>(&event);
      return line != nullptr && line->text == command;
    });
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

TEST_F(Interrupt, GivesUpCasesThatAreBeingPrinted) {
  const std::string text = InterruptedScript(
      Open("survey") + "cases survey\nlist\n",
      [](const Event& event) { return std::holds_alternative<CaseTable>(event); });
  EXPECT_THAT(text, EndsWith("> cases survey\ntest.sdm:2: the cases of survey cannot be said: "
                             "interrupted\n"));
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
