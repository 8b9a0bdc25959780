// Tests of error reports and of the clients that receive them.

#include "ShellTest.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/svrdmitem.h>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Errors : public ShellTest {
 protected:
  // The output of the commands, after `window` acquired the write lock of survey and became the
  // client of survey.
  std::string AtClient(const std::string& commands) {
    const std::string before = IsOpen("survey") +
                               "window acquires the write lock on survey\n"
                               "window is the client of survey\n";
    const std::string text =
        AtPrompt(Open("survey") + "@window write survey\n@window client survey\n" + commands);
    EXPECT_THAT(text, StartsWith(before));
    return text.substr(std::min(before.size(), text.size()));
  }
};

TEST_F(Errors, ReachTheClientWithTheirText) {
  EXPECT_THAT(AtClient("@window report survey error \"Größe: \"\"7\"\"\"\n"
                       "@window report survey warning \"\"\n"),
              StartsWith("  window: error on survey: \"Größe: \"7\"\"\n"
                         "  window: warning on survey: \"\"\n"));
}

TEST_F(Errors, ShowPrintsTheClient) {
  EXPECT_THAT(AtClient("@window show survey\n"), HasSubstr("  client         window\n"));
}

TEST_F(Errors, CanBeReportedByAnyWriter) {
  EXPECT_THAT(AtClient("@window release\n@recode write survey\n@recode report survey error Full\n"),
              HasSubstr("recode acquires the write lock on survey\n"
                        "  window: error on survey: \"Full\"\n"));
}

TEST_F(Errors, AreReportedEvenIfWarningsAreOff) {
  EXPECT_THAT(AtClient("@window warnings survey off\n@window report survey warning Odd\n"
                       "@window report survey error Full\n@window warnings survey on\n"
                       "@window report survey warning Odd\n"),
              StartsWith("  not reported: warnings on survey are off\n"
                         "  window: error on survey: \"Full\"\n"
                         "  window: warning on survey: \"Odd\"\n"));
}

TEST_F(Errors, ReachNobodyWithoutAClient) {
  EXPECT_THAT(AtPrompt("add-empty nix\nwrite nix\nreport nix error Full\n"),
              HasSubstr("  not reported: nix has no client\n"));
  EXPECT_THAT(AtClient("@window client survey off\n@window report survey error Full\n"),
              StartsWith("survey has no client\n"
                         "  not reported: survey has no client\n"));
}

TEST_F(Errors, ReachOnlyTheLastClient) {
  EXPECT_THAT(AtClient("@window release\nwrite survey\nclient survey\nreport survey error Full\n"),
              HasSubstr("main is the client of survey\n"
                        "  main: error on survey: \"Full\"\n"
                        "main releases the write lock on survey\n"));
}

TEST_F(Errors, ReachTheClientOfTheirDataset) {
  EXPECT_THAT(AtClient("add-empty nix\nwrite nix\nclient nix\nwarnings nix off\n"
                       "report nix error Full\n@window report survey warning Odd\n"),
              HasSubstr("  main: error on nix: \"Full\"\n"
                        "  window: warning on survey: \"Odd\"\n"));
}

TEST_F(Errors, StillReachTheClientOfAClosedDataset) {
  EXPECT_THAT(AtClient("close survey\n@window report survey error Full\n"),
              HasSubstr("  window: error on survey: \"Full\"\n"));
}

TEST_F(Errors, ReachNobodyAfterTheShellIsDestroyed) {
  std::ostringstream out;
  Output output(out, out);
  SvrDMItemPtr item(nullptr);
  {
    Shell shell(Registry(), output);
    shell.Execute("window", {"add-empty", "nix"});
    shell.Execute("window", {"write", "nix"});
    shell.Execute("window", {"client", "nix"});
    shell.Execute("window", {"release"});
    item = Registry().GetDataSet("nix");
  }
  item->GetErrorMonitor().Report(ErrorText("Full", ErrorText::kError));
  EXPECT_THAT(out.str(), EndsWith("window releases the write lock on nix\n"));
}

}  // namespace
}  // namespace sdmsh
