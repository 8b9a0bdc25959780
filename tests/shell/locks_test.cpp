// Callers on threads of their own: who waits, who gets in, and that nobody hangs.

#include "ShellTest.h"

#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <optional>
#include <random>

namespace sdmsh {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Locks : public ShellTest {};

TEST_F(Locks, AWriterWaitsUntilTheLastReaderLetsItIn) {
  EXPECT_EQ(AtPrompt(Open("survey") + "@r1 read survey\n@r2 read survey\n@w write survey\nlist\n"
                                      "@r1 release\n@r2 release\n@w release survey\n"),
            IsOpen("survey") +
                "r1 takes the read lock on survey\n"
                "r2 takes the read lock on survey\n"
                "w waits for the write lock on survey, held by r1 (reading), r2 (reading)\n"
                "survey (0:0), file " +
                Path("abc.tsv") +
                ", held by r1 (reading), r2 (reading); waiting: w (to write)\n"
                "r1 releases the read lock on survey\n"
                "r2 releases the read lock on survey\n"
                "w gets the write lock on survey\n"
                "w releases the write lock on survey\n");
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, AReaderJoinsTheOthersThoughAWriterWaits) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r1 read survey\n@w write survey\n@r2 read survey\n"
                                        "@r1 release\n@r2 release\n@w release\n"),
              EndsWith("r2 takes the read lock on survey\n"
                       "r1 releases the read lock on survey\n"
                       "r2 releases the read lock on survey\n"
                       "w gets the write lock on survey\n"
                       "w releases the write lock on survey\n"));
}

TEST_F(Locks, AWriterBehindAWaitingWriterSaysSo) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w1 write survey\n@w2 write survey\n"
                                        "@r release\n@w1 release\n@w2 release\n"),
              EndsWith("w2 waits for the write lock on survey, held by r (reading), "
                       "behind w1 (to write)\n"
                       "r releases the read lock on survey\n"
                       "w1 gets the write lock on survey\n"
                       "w1 releases the write lock on survey\n"
                       "w2 gets the write lock on survey\n"
                       "w2 releases the write lock on survey\n"));
}

TEST_F(Locks, AReaderMayReadAgainWhileAWriterWaits) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w write survey\n@r read survey\n"
                                        "@r release survey\n@r release survey\n@w release\n"),
              EndsWith("r takes the read lock on survey\n"
                       "r releases the read lock on survey\n"
                       "r releases the read lock on survey\n"
                       "w gets the write lock on survey\n"
                       "w releases the write lock on survey\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, AWaitingWriterIsCountedAlready) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w write survey\n@x write survey\n"
                                        "show survey\n@r release\n@w release\n@x release\n"),
              AllOf(HasSubstr("readers        1\n"), HasSubstr("writers        2\n")));
}

TEST_F(Locks, AWaitingRoleTakesNoCommand) {
  EXPECT_THAT(
      AtPrompt(Open("survey") + "@r read survey\n@w write survey\n@w list\n"
                                "@r release\n@w list\n@w release\n"),
      AllOf(HasSubstr("error: w waits for the write lock on survey and can take no command\n"),
            HasSubstr("w gets the write lock on survey\nsurvey (0:0)")));
}

TEST_F(Locks, WithoutANameEverythingIsReleasedFromTheLastToTheFirst) {
  EXPECT_THAT(AtPrompt(Open("survey") + "add-empty nix\nread survey\nwrite nix\nread survey\n"
                                        "release\nrelease\nrelease nix\n"),
              EndsWith("main releases the read lock on survey\n"
                       "main releases the write lock on nix\n"
                       "main releases the read lock on survey\n"
                       "error: main holds no lock on nix\n"));
}

TEST_F(Locks, ARoleIsNotLetWaitForItself) {
  EXPECT_THAT(AtPrompt(Open("survey") + "read survey\nwrite survey\nrelease\nwrite survey\n"
                                        "read survey\nwrite survey\n"),
              AllOf(HasSubstr("error: main would wait for ever for the write lock on survey, held "
                              "by main (reading)\n"),
                    HasSubstr("error: main would wait for ever for the read lock on survey, held "
                              "by main (writing)\n"),
                    HasSubstr("error: main would wait for ever for the write lock on survey, held "
                              "by main (writing)\n")));
}

TEST_F(Locks, RolesAreNotLetWaitForEachOther) {
  EXPECT_THAT(AtPrompt(Open("survey") + "add-empty nix\n@x write survey\n@y write nix\n"
                                        "@x read nix\n@y read survey\n@y release\n@x release\n"),
              EndsWith("x waits for the read lock on nix, held by y (writing)\n"
                       "error: y would wait for ever for the read lock on survey, held by x "
                       "(writing)\n"
                       "y releases the write lock on nix\n"
                       "x gets the read lock on nix\n"
                       "x releases the read lock on nix\n"
                       "x releases the write lock on survey\n"));
}

TEST_F(Locks, ATryThatSucceedsIsAWriteLock) {
  EXPECT_THAT(
      AtPrompt(Open("survey") + "try-write survey\ndelete survey a\nrelease\n@r read survey\n"),
      AllOf(HasSubstr("main takes the write lock on survey\n"),
            HasSubstr("r takes the read lock on survey\n")));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, ATryThatFailsMarksTheDatasetForGood) {
  const std::string text = AtPrompt(Open("survey") +
                                    "@r read survey\ntry-write survey\n@r release\nshow survey\n"
                                    "@r read survey\n@w write survey\n");
  EXPECT_THAT(text, HasSubstr("main does not get the write lock on survey, held by r (reading); "
                              "from here on no lock on survey is ever released\n"));
  EXPECT_THAT(text, HasSubstr("lock           held by nobody who could let go (reading)\n"));
  EXPECT_THAT(text, HasSubstr("readers        4294967295\n"));
  EXPECT_THAT(text, HasSubstr("writers        1\n"));
  EXPECT_THAT(text, HasSubstr("r takes the read lock on survey\nerror: w would wait for ever"));
}

TEST_F(Locks, ATryThatWouldStrandAWaitingRoleIsRefused) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w write survey\ntry-write survey\n"
                                        "@r release\n@w release\n"),
              EndsWith("error: the try would fail, and w (to write) wait for ever for survey\n"
                       "r releases the read lock on survey\n"
                       "w gets the write lock on survey\n"
                       "w releases the write lock on survey\n"));
}

TEST_F(Locks, AtTheEndEverybodyLetsGoAndThoseWhoWaitedAreNamed) {
  EXPECT_EQ(InScript(Open("survey") + "@w write survey\n@x write survey\n@v read survey\n"),
            "> " + Open("survey") + IsOpen("survey") +
                "> @w write survey\nw takes the write lock on survey\n"
                "> @x write survey\nx waits for the write lock on survey, held by w (writing)\n"
                "> @v read survey\nv waits for the read lock on survey, held by w (writing)\n"
                "test.sdm: v still waits for the read lock on survey\n"
                "test.sdm: x still waits for the write lock on survey\n"
                "w releases the write lock on survey\n"
                "v gets the read lock on survey\n"
                "v releases the read lock on survey\n"
                "x gets the write lock on survey\n"
                "x releases the write lock on survey\n");
  EXPECT_FALSE(WentWell());
}

TEST_F(Locks, HoldingALockAtTheEndIsNoError) {
  EXPECT_THAT(InScript(Open("survey") + "@v observe survey\nwrite survey\ndelete survey a b\n"),
              HasSubstr("main releases the write lock on survey\n"
                        "  v is told: variable \"c\" inserted at the end (numeric)\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, AWriterReleasedAtTheEndOfAClosedDatasetStillTells) {
  EXPECT_THAT(InScript(Open("survey") + "@v observe survey\nwrite survey\nclose survey\n"),
              HasSubstr("  v is told: variable \"c\" inserted at the end (numeric)\n"));
  EXPECT_TRUE(WentWell());
}

// Somebody outside the shell holds the lock, so what must happen at once does not.
TEST_F(Locks, ALockThatSomebodyElseHoldsIsAnErrorAfterAWhile) {
  std::ostringstream out;
  const auto printer = MakeWordsPrinter(out, out);
  Shell shell(Registry(), *printer, /*bound=*/50ms);
  shell.Execute("main", {"add-empty", "nix"});
  auto outsider =
      std::make_optional<SvrDMInputDataSource>(Registry(), LocallyUniqueID(0, 0), false);

  std::istringstream input("@w write nix\n@w list\n");
  EXPECT_FALSE(RunPrompt(shell, input, nullptr));
  EXPECT_TRUE(shell.IsStuck());
  EXPECT_THAT(out.str(),
              HasSubstr("error: w should have the write lock on nix by now, and has not: "
                        "somebody outside this shell must hold it\n"
                        "error: w waits for the write lock on nix and can take no "
                        "command\n"
                        "error: w still waits for the write lock on nix\n"));
  outsider.reset();
}

// What the ledger foresees is what the locks do: otherwise a command fails, saying what should have
// happened. The seed is in the message.
TEST_F(Locks, DoWhatTheLedgerForesees) {
  std::string all;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&](unsigned n) { return std::to_string(random() % n); };
    std::string commands = Open("d0") + Open("d1");
    for (int i = 0; i < 150; ++i) {
      commands += "@r" + pick(5);
      switch (random() % 5) {
        case 0:
        case 1:
          commands += " write d" + pick(2) + "\n";
          break;
        case 2:
          commands += " read d" + pick(2) + "\n";
          break;
        default:
          commands += " release d" + pick(2) + "\n";
      }
    }
    const std::string text = AtPrompt(commands);
    EXPECT_THAT(text, Not(HasSubstr(" should "))) << "seed " << seed;
    all += text;
    EXPECT_EQ(Registry().GetAllDatasets().size(), 0u);
  }
  EXPECT_THAT(all, HasSubstr(" gets the write lock on "));
  EXPECT_THAT(all, HasSubstr(" gets the read lock on "));
}

}  // namespace
}  // namespace sdmsh
