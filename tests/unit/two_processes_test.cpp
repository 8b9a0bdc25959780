// The example with a server and a client in two processes, played to its end and with the client
// killed after every number of passes.

#include <sys/wait.h>
#include <tests/unit/saved_files.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr int kPasses = 5;

struct Played {
  int status;
  std::vector<std::string> lines;

  // What stands behind this at the beginning of a line, in order.
  std::vector<std::string> Behind(const std::string& beginning) const {
    std::vector<std::string> found;
    for (const std::string& line : lines) {
      if (line.rfind(beginning, 0) == 0) found.push_back(line.substr(beginning.size()));
    }
    return found;
  }
};

Played Play(const std::string& arguments) {
  const TemporaryFolder folder;
  const std::string out = folder.Path("out");
  const std::string command =
      std::string("'") + TWO_PROCESSES + "' " + arguments + " </dev/null >'" + out + "' 2>&1";
  const int status = std::system(command.c_str());
  Played played{WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}};
  std::ifstream file(out);
  for (std::string line; std::getline(file, line);) played.lines.push_back(line);
  return played;
}

Played PlaySurvey(const std::string& more = "") {
  return Play(std::string("'") + SURVEY + "' " + more);
}

// The digests in "pass 1 <digest>", "pass 2 <digest>", ...
std::vector<std::string> DigestsOf(const std::vector<std::string>& passes) {
  std::vector<std::string> digests;
  for (const std::string& pass : passes) {
    const std::string number = std::to_string(digests.size() + 1) + " ";
    EXPECT_EQ(pass.substr(0, number.size()), number);
    digests.push_back(pass.substr(number.size()));
  }
  return digests;
}

TEST(TwoProcesses, PrintTheSameDigestAfterEveryPass) {
  const Played played = PlaySurvey();
  EXPECT_EQ(played.status, 0);
  const std::vector<std::string> server = played.Behind("server: digest ");
  EXPECT_THAT(server, SizeIs(kPasses));
  EXPECT_EQ(DigestsOf(played.Behind("client: pass ")), server);
  EXPECT_EQ(played.Behind("server: the client is lost"), std::vector<std::string>());
}

TEST(TwoProcesses, TheClientThatJoinsLateAsksForOneSnapshot) {
  EXPECT_THAT(PlaySurvey().Behind("client: asks for a snapshot"), SizeIs(1));
}

TEST(TwoProcesses, TheClientPrintsTheServersDictionary) {
  const Played played = PlaySurvey();
  EXPECT_THAT(played.Behind("client: \""),
              ElementsAre("National election study\", 944 cases, weight popul, filter -, "
                          "not saved"));
  EXPECT_THAT(played.Behind("client: 10 "), ElementsAre("vote       Expected vote"));
  EXPECT_THAT(played.Behind("client:  5 "), ElementsAre("ageGroup   Age in groups of ten years"));
}

TEST(TwoProcesses, AKilledClientIsReportedOnceAndTheServerGoesOn) {
  const std::vector<std::string> digests = PlaySurvey().Behind("server: digest ");
  for (int passes = 0; passes < kPasses; ++passes) {
    const Played played = PlaySurvey(std::to_string(passes));
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.Behind("client: pass "), SizeIs(passes));
    EXPECT_THAT(played.Behind("server: the client is lost"), SizeIs(1)) << passes << " passes";
    EXPECT_EQ(played.Behind("server: digest "), digests) << passes << " passes";
    EXPECT_THAT(played.lines.back(), "server: 7 writes made");
    // In the very write after which the client was gone.
    const auto lost = std::find_if(played.lines.begin(), played.lines.end(), [](const auto& line) {
      return line.rfind("server: the client is lost", 0) == 0;
    });
    const auto digestsBefore = std::count_if(played.lines.begin(), lost, [](const auto& line) {
      return line.rfind("server: digest ", 0) == 0;
    });
    EXPECT_EQ(digestsBefore, passes);
  }
}

TEST(TwoProcesses, AWrongNumberOfPassesIsSaidAndNothingStarted) {
  for (const char* wrong : {"-1", "5", "two", "''"}) {
    const Played played = PlaySurvey(wrong);
    EXPECT_EQ(played.status, 2) << wrong;
    ASSERT_THAT(played.lines, SizeIs(1)) << wrong;
    EXPECT_THAT(played.lines[0], HasSubstr("0 to 4"));
  }
}

TEST(TwoProcesses, ABadFileIsSaidAndNothingStarted) {
  const Played played = Play("/no/such/file.tsv");
  EXPECT_EQ(played.status, 1);
  ASSERT_THAT(played.lines, SizeIs(1));
  EXPECT_THAT(played.lines[0], HasSubstr("/no/such/file.tsv"));
}

}  // namespace
