// Tests of locks: which callers wait, which get a lock, and that no caller waits forever.

#include "ShellTest.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <optional>
#include <random>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Locks : public ShellTest {};

TEST_F(Locks, WriterWaitsUntilTheLastReaderReleases) {
  EXPECT_EQ(AtPrompt(Open("survey") + "@r1 read survey\n@r2 read survey\n@w write survey\nlist\n"
                                      "@r1 release\n@r2 release\n@w release survey\n"),
            IsOpen("survey") +
                "r1 acquires the read lock on survey\n"
                "r2 acquires the read lock on survey\n"
                "w waits for the write lock on survey, held by r1 (reading), r2 (reading)\n"
                "survey (0:0), file " +
                Path("abc.tsv") +
                ", held by r1 (reading), r2 (reading); waiting: w (to write)\n"
                "r1 releases the read lock on survey\n"
                "r2 releases the read lock on survey\n"
                "w acquires the write lock on survey\n"
                "w releases the write lock on survey\n");
  EXPECT_TRUE(WentWell());
}

// A waiting writer blocks a new reader only for a short time: if an earlier reader waits for the
// new reader, a longer block would be a deadlock.
TEST_F(Locks, ReaderBehindAWaitingWriterGetsTheLockBesideTheOtherReaders) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r1 read survey\n@w write survey\n@r2 read survey\n"
                                        "@r1 release\n@r2 release\n@w release\n"),
              EndsWith("r2 waits for the read lock on survey, held by r1 (reading), "
                       "behind w (to write)\n"
                       "r2 acquires the read lock on survey\n"
                       "r1 releases the read lock on survey\n"
                       "r2 releases the read lock on survey\n"
                       "w acquires the write lock on survey\n"
                       "w releases the write lock on survey\n"));
}

TEST_F(Locks, ReaderMayAcquireAgainWhileAWriterWaits) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w write survey\n@r read survey\n"
                                        "@r release survey\n@r release survey\n@w release\n"),
              EndsWith("r releases the read lock on survey\n"
                       "r releases the read lock on survey\n"
                       "w acquires the write lock on survey\n"
                       "w releases the write lock on survey\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, WritersCountIncludesAWaitingWriter) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@r read survey\n@w write survey\n@x write survey\n"
                                        "show survey\n@r release\n@w release\n@x release\n"),
              AllOf(HasSubstr("readers        1\n"), HasSubstr("writers        2\n")));
}

TEST_F(Locks, WaitingCallerCannotUseLocksAndTheErrorNamesTheCommandsThatHelp) {
  const std::string refused =
      "error: w waits for the write lock on survey, held by r (reading); it goes on after "
      "`@r release survey`; `@NAME COMMAND` gives a command as another caller\n";
  EXPECT_THAT(
      AtPrompt(Open("survey") + "add-empty nix\n@w write nix\n@r read survey\n@w write survey\n"
                                "@w variables survey\n@w read nix\n@w title nix x\n"
                                "@w tell nix\n@r release\n@w variables survey\n@w release\n"),
      HasSubstr(refused + refused + refused + refused +
                "r releases the read lock on survey\n"
                "w acquires the write lock on survey\n   1  a"));
}

TEST_F(Locks, TheErrorOfAWaitingCallerAlsoNamesTheCallersThatGetTheLockBefore) {
  EXPECT_THAT(AtPrompt(Open("survey") + "read survey\n@x write survey\n@y write survey\n"
                                        "@z read survey\n@y cases survey\nrelease\n@z release\n"
                                        "@x release\n@y release\n"),
              HasSubstr("error: y waits for the write lock on survey, held by main (reading), "
                        "z (reading), behind x (to write); it goes on after `release survey` and "
                        "`@z release survey` and `@x release survey`; "));
}

TEST_F(Locks, OfAClosedDatasetAreShownAndItsWaitingCallerIsToldWhatHelps) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@x write survey\n@y read survey\nclose survey\nlocks\n"
                                        "@y locks survey\n@y variables survey\n"
                                        "@x release survey\n@y release survey\nlocks\n"),
              EndsWith("survey (0:0): held by x (writing); waiting: y (to read)\n"
                       "survey (0:0): held by x (writing); waiting: y (to read)\n"
                       "error: y waits for the read lock on survey, held by x (writing); it goes "
                       "on after `@x release survey`; `@NAME COMMAND` gives a command as another "
                       "caller\n"
                       "x releases the write lock on survey\n"
                       "y acquires the read lock on survey\n"
                       "y releases the read lock on survey\n"
                       "no lock is held\n"));
}

TEST_F(Locks, CommandsThatNeedNoLockWorkWhileTheCallerWaits) {
  const std::string text = AtPrompt(Open("survey") +
                                    "@w write survey\nread survey\nlist\nhelp read\nlocks\n"
                                    "show survey\nadd-empty nix\nobserve survey\nquit\n");
  EXPECT_THAT(text, HasSubstr("main waits for the read lock on survey, held by w (writing)\n"
                              "survey (0:0), file "));
  EXPECT_THAT(text, HasSubstr("read DATASET\n"));
  EXPECT_THAT(text, HasSubstr("survey (0:0): held by w (writing); waiting: main (to read)\n"));
  EXPECT_THAT(text, HasSubstr("nix is open, without a data source\n"
                              "main observes survey\n"
                              "error: main still waits for the read lock on survey\n"));
}

TEST_F(Locks, AreShownForOneDatasetOrForAllThatAreLocked) {
  EXPECT_THAT(AtPrompt(Open("survey") + "add-empty nix\nlocks\nlocks nix\n@r read survey\nlocks\n"),
              EndsWith("no lock is held\n"
                       "nix (0:1): free\n"
                       "r acquires the read lock on survey\n"
                       "survey (0:0): held by r (reading)\n"
                       "r releases the read lock on survey\n"));
}

TEST_F(Locks, ReleaseWithoutANameReleasesAllLocksTheLastAcquiredFirst) {
  EXPECT_THAT(AtPrompt(Open("survey") + "add-empty nix\nread survey\nwrite nix\nread survey\n"
                                        "release\nrelease\nrelease nix\n"),
              EndsWith("main releases the read lock on survey\n"
                       "main releases the write lock on nix\n"
                       "main releases the read lock on survey\n"
                       "error: main holds no lock on nix\n"));
}

TEST_F(Locks, CallerThatWaitsForItselfCausesADeadlockThatItsReleaseEnds) {
  EXPECT_THAT(AtPrompt(Open("survey") + "read survey\nwrite survey\nrelease\nrelease\n"),
              EndsWith("main waits for the write lock on survey, held by main (reading)\n"
                       "deadlock: main waits for the write lock on survey, held by main (reading); "
                       "`release` ends it\n"
                       "main releases the read lock on survey\n"
                       "main acquires the write lock on survey\n"
                       "main releases the write lock on survey\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, CallersThatWaitForEachOtherCauseADeadlockThatOneReleaseEnds) {
  EXPECT_THAT(AtPrompt(Open("survey") + "add-empty nix\n@x write survey\n@y write nix\n"
                                        "@x read nix\n@y read survey\n@y release\n@x release\n"
                                        "@y release\n"),
              EndsWith("x waits for the read lock on nix, held by y (writing)\n"
                       "y waits for the read lock on survey, held by x (writing)\n"
                       "deadlock: y waits for the read lock on survey, held by x (writing); "
                       "x waits for the read lock on nix, held by y (writing); "
                       "`@y release` ends it\n"
                       "y releases the write lock on nix\n"
                       "x acquires the read lock on nix\n"
                       "x releases the read lock on nix\n"
                       "x releases the write lock on survey\n"
                       "y acquires the read lock on survey\n"
                       "y releases the read lock on survey\n"));
  EXPECT_TRUE(WentWell());
}

// The lock monitor truncates the labels of threads to 31 bytes.
TEST_F(Locks, CallersWhoseLongNamesBeginAlikeAreDistinguished) {
  const std::string start(40, 'c');
  const std::string x = start + "x";
  const std::string y = start + "y";
  EXPECT_THAT(
      AtPrompt(Open("survey") + "add-empty nix\n@" + x + " write survey\n@" + y + " write nix\n@" +
               x + " read nix\n@" + y + " read survey\n@" + y + " release\n"),
      HasSubstr("deadlock: " + y + " waits for the read lock on survey, held by " + x +
                " (writing); " + x + " waits for the read lock on nix, held by " + y +
                " (writing); `@" + y + " release` ends it\n"));
}

TEST_F(Locks, SuggestedCommandsCanBeTypedAsTheyAre) {
  const std::string waits = Open("\"my data\"") + "@w read \"my data\"\n@q write \"my data\"\n";
  EXPECT_THAT(AtPrompt(waits + "@q cases \"my data\"\n"),
              HasSubstr("; it goes on after `@w release \"my data\"`; "));
  EXPECT_THAT(AtPrompt(Open("\"my data\"") + "@q title \"my data\" x\n"),
              HasSubstr("error: q does not hold the write lock on my data; "
                        "`@q write \"my data\"` acquires it\n"));
  EXPECT_THAT(AtPrompt(Open("\"a \"\"b\"\"\"") + "title \"a \"\"b\"\"\" x\n"),
              HasSubstr("; `write \"a \"\"b\"\"\"` acquires it\n"));
}

TEST_F(Locks, DeadlockInJsonNamesEachCallerAndTheHolderThatBlocksIt) {
  EXPECT_THAT(InJson(Open("survey") + "read survey\nwrite survey\nrelease\n"),
              HasSubstr(R"({"event":"deadlock","steps":[{"caller":"main","mode":"write",)"
                        R"("dataset":"survey","holder":{"caller":"main","mode":"read"}}]})"));
}

TEST_F(Locks, SuccessfulTryAcquiresTheWriteLock) {
  EXPECT_THAT(
      AtPrompt(Open("survey") + "try-write survey\ndelete survey a\nrelease\n@r read survey\n"),
      AllOf(HasSubstr("main acquires the write lock on survey\n"),
            HasSubstr("r acquires the read lock on survey\n")));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, AfterAFailedTryNoLockOnTheDatasetIsEverReleased) {
  const std::string text = AtPrompt(Open("survey") +
                                    "@r read survey\ntry-write survey\n@r release\nshow survey\n"
                                    "@r read survey\n@w write survey\n");
  EXPECT_THAT(text,
              HasSubstr("main does not acquire the write lock on survey, held by r (reading); "
                        "from here on no lock on survey is ever released\n"));
  EXPECT_THAT(text, HasSubstr("lock           held by nobody who could release it (reading)\n"));
  EXPECT_THAT(text, HasSubstr("readers        4294967295\n"));
  EXPECT_THAT(text, HasSubstr("writers        1\n"));
  EXPECT_THAT(text, HasSubstr("r acquires the read lock on survey\nerror: w would wait forever"));
}

TEST_F(Locks, TryThatWouldLeaveACallerWaitingForeverIsRefused) {
  EXPECT_THAT(
      AtPrompt(Open("survey") + "@r read survey\n@w write survey\ntry-write survey\n"
                                "@r release\n@w release\n"),
      EndsWith("error: try-write would fail, and w (to write) would wait forever for survey\n"
               "r releases the read lock on survey\n"
               "w acquires the write lock on survey\n"
               "w releases the write lock on survey\n"));
}

TEST_F(Locks, AllLocksAreReleasedAndWaitingCallersReportedAtTheEnd) {
  EXPECT_EQ(InScript(Open("survey") + "@r write survey\n@w write survey\n@v read survey\n"),
            "> " + Open("survey") + IsOpen("survey") +
                "> @r write survey\nr acquires the write lock on survey\n"
                "> @w write survey\nw waits for the write lock on survey, held by r (writing)\n"
                "> @v read survey\nv waits for the read lock on survey, held by r (writing), "
                "behind w (to write)\n"
                "test.sdm: v still waits for the read lock on survey\n"
                "test.sdm: w still waits for the write lock on survey\n"
                "r releases the write lock on survey\n"
                "v acquires the read lock on survey\n"
                "v releases the read lock on survey\n"
                "w acquires the write lock on survey\n"
                "w releases the write lock on survey\n");
  EXPECT_FALSE(WentWell());
}

TEST_F(Locks, DeadlockAtTheEndIsResolved) {
  InScript(Open("survey") +
           "add-empty nix\n@x write survey\n@y write nix\n"
           "@x read nix\n@y read survey\n");
  EXPECT_FALSE(WentWell());
}

TEST_F(Locks, HoldingALockAtTheEndIsNoError) {
  EXPECT_THAT(InScript(Open("survey") + "@v observe survey\nwrite survey\ndelete survey a b\n"),
              HasSubstr("main releases the write lock on survey\n"
                        "  v: inserted variable \"c\" (numeric) at the end\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, WriterOfAClosedDatasetStillNotifiesAtTheEnd) {
  EXPECT_THAT(InScript(Open("survey") + "@v observe survey\nwrite survey\nclose survey\n"),
              HasSubstr("  v: inserted variable \"c\" (numeric) at the end\n"));
  EXPECT_TRUE(WentWell());
}

TEST_F(Locks, CallerWaitsForALockHeldOutsideTheShell) {
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output, /*bound=*/50ms);
  shell.Execute("main", {"add-empty", "nix"});
  auto outsider =
      std::make_optional<SvrDMInputDataSource>(Registry(), LocallyUniqueID(0, 0), false);

  std::istringstream input("@w write nix\n");
  EXPECT_FALSE(PlayInput(shell, input));
  EXPECT_TRUE(shell.IsStuck());
  EXPECT_THAT(out.str(),
              testing::ContainsRegex("w waits for the write lock on nix, held by thread "
                                     "[0-9]+ .reading.\n"
                                     "error: w still waits for the write lock on nix\n"));
  outsider.reset();
}

// Runs a command of the shell in each creation notice and each pass, while the library holds the
// registry lock or the notification mutex.
class CommandInANotification : public ServerDataManagerObserver, public SvrDMDataSetObserver {
 public:
  CommandInANotification(Shell& shell, std::vector<std::string> words)
      : shell_(shell), words_(std::move(words)) {}
  void DataSetCreated(const LocallyUniqueID&, const std::string&) override {
    shell_.Execute("main", words_);
  }
  void DataSetDeleted(const LocallyUniqueID&) override {}
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {
    shell_.Execute("main", words_);
  }

 private:
  Shell& shell_;
  const std::vector<std::string> words_;
};

TEST_F(Locks, RegistryLockIsShownIfAThreadOutsideTheShellHoldsIt) {
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output);
  CommandInANotification observer(shell, {"locks"});
  Registry().Register(observer);
  Registry().Add(std::make_unique<DataFreeDataSource>(), "", /*quiet=*/false);
  Registry().Unregister(observer);
  EXPECT_THAT(out.str(), testing::MatchesRegex("the registry lock: held by thread [0-9]+\n"));
}

TEST_F(Locks, NotificationMutexIsShownIfAThreadOutsideTheShellHoldsIt) {
  for (const bool json : {false, true}) {
    std::ostringstream out;
    Output output(out, out, {.json = json});
    Shell shell(Registry(), output);
    shell.Execute("main", {"open", Path("abc.tsv"), "as", "survey"});
    shell.Execute("main", {"add-empty", "other"});
    CommandInANotification observer(shell, {"locks", "survey"});
    CommandInANotification observerOfOther(shell, {"locks", "other"});
    const LocallyUniqueID id = shell.Datasets().front()->ID();
    SvrDMDataset dataset(Registry(), id);
    dataset.Register(observer);
    dataset.Register(observerOfOther);
    out.str("");
    { const SvrDMWriteableDataSource writer(Registry(), id, /*tryOnly=*/false, nullptr); }
    dataset.Unregister(observer);
    dataset.Unregister(observerOfOther);
    if (json) {
      EXPECT_THAT(out.str(),
                  testing::ContainsRegex(R"re("mutexes":.."dataset":"survey","holders":..)re"
                                         R"re("caller":"thread [0-9]+","mode":"exclusive")re"));
      EXPECT_THAT(out.str(), HasSubstr("\"mutexes\":[]"));
    } else {
      EXPECT_THAT(out.str(),
                  testing::MatchesRegex("survey .0:[0-9]+.: held by thread [0-9]+ .writing.\n"
                                        "the notification mutex of survey: held by thread [0-9]+\n"
                                        "other .0:[0-9]+.: free\n"));
    }
  }
}

// The shell starts the lock monitor. The monitor does not know locks that were acquired before its
// start.
TEST_F(Locks, WaitingForALockAcquiredBeforeTheShellStartedFailsAfterTheBound) {
  const LocallyUniqueID id = Registry().AddEmpty(true);
  auto outsider = std::make_optional<SvrDMInputDataSource>(Registry(), id, false);
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output, /*bound=*/50ms);
  shell.Adopt(id, "nix");

  std::istringstream input("@w write nix\n");
  EXPECT_FALSE(PlayInput(shell, input));
  EXPECT_THAT(out.str(), HasSubstr("error: w should have the write lock on nix by now: something "
                                   "outside this shell must hold it\n"));
  outsider.reset();
}

// Runs random commands. If a caller waited for a lock that it could have, a command would fail with
// a message that contains " should ". A failure of this test prints the seed.
TEST_F(Locks, RandomCommandsLeaveNoCallerWaitingForAFreeLock) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&](unsigned n) { return std::to_string(random() % n); };
    std::string commands = Open("d0") + Open("d1");
    for (int i = 0; i < 150; ++i) {
      commands += "@r" + pick(5);
      switch (random() % 5) {
        case 0:
          commands += " write d" + pick(2) + "\n";
          break;
        case 1:
        case 2:
          commands += " read d" + pick(2) + "\n";
          break;
        default:
          commands += " release d" + pick(2) + "\n";
      }
    }
    const std::string text = AtPrompt(commands);
    EXPECT_THAT(text, Not(HasSubstr(" should "))) << "seed " << seed;
    EXPECT_THAT(text, HasSubstr(" acquires the write lock on ")) << "seed " << seed;
    EXPECT_THAT(text, HasSubstr(" acquires the read lock on ")) << "seed " << seed;
    EXPECT_EQ(Registry().GetAllDatasets().size(), 0u);
  }
}

}  // namespace
}  // namespace sdmsh
