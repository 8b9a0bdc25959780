// Tests of the program sdmsh: its examples, its output in words and JSON, and its exit status.

#include "ShellTest.h"

#include <sys/wait.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <vector>

namespace sdmsh {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct Played {
  int status;
  std::string out;
  std::string err;
};

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

class Program : public ShellTest {
 protected:
  // Runs sdmsh in the root folder of the project. The system's shell parses `arguments`.
  Played Run(const std::string& arguments, const std::string& input = "") {
    return RunIn(PROJECT_ROOT, arguments, input);
  }

  // Like Run, but in another folder.
  Played RunIn(const std::string& folder, const std::string& arguments,
               const std::string& input = "") {
    const int status = StatusOf(folder, arguments, input, Path("out"));
    return {status, ReadFile(Path("out")), ReadFile(Path("err"))};
  }

  // Like Run, but standard output is a full disk.
  Played RunIntoNothing(const std::string& arguments, const std::string& input = "") {
    const int status = StatusOf(PROJECT_ROOT, arguments, input, "/dev/full");
    return {status, "", ReadFile(Path("err"))};
  }

  // Makes a folder with a link to the project's examples, and an empty folder build/, into which
  // some examples write.
  std::string Stage() const {
    std::filesystem::create_directories(Path("stage/build"));
    std::filesystem::create_directory_symlink(std::string(PROJECT_ROOT) + "/examples",
                                              Path("stage/examples"));
    return Path("stage");
  }

  std::string Script(const std::string& commands) { return WriteFile("test.sdm", commands); }

 private:
  int StatusOf(const std::string& folder, const std::string& arguments, const std::string& input,
               const std::string& out) {
    const std::string command = "cd '" + folder + "' && '" + SDMSH + "' " + arguments + " <'" +
                                WriteFile("in", input) + "' >'" + out + "' 2>'" + Path("err") + "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

std::vector<json> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<json> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
  return lines;
}

// Returns the lines that have all of `members`, with the same values.
std::vector<json> Where(const std::vector<json>& lines, const json& members) {
  std::vector<json> found;
  for (const json& line : lines) {
    json merged = line;
    merged.update(members);
    if (merged == line) found.push_back(line);
  }
  return found;
}

// To update an expected output, run ./build/release/tools/sdmsh/sdmsh examples/survey.sdm
// >tests/shell/survey.txt and review the difference. The other examples work in the same way.
TEST_F(Program, PrintsTheExpectedOutputOfTheExamples) {
  const std::string stage = Stage();
  for (const std::string story : {"survey", "properties", "errors", "bootstrap"}) {
    const Played played = RunIn(stage, "examples/" + story + ".sdm");
    EXPECT_EQ(played.out, ReadFile(std::string(PROJECT_ROOT) + "/tests/shell/" + story + ".txt"));
    EXPECT_THAT(played.err, IsEmpty());
    EXPECT_EQ(played.status, 0);
  }
}

// Returns the code blocks of docs/usage.md that begin with "> ".
std::vector<std::string> ExamplesOfTheManual() {
  std::istringstream manual(ReadFile(std::string(PROJECT_ROOT) + "/docs/usage.md"));
  std::vector<std::string> examples;
  bool inside = false;
  std::string block;
  for (std::string line; std::getline(manual, line);) {
    if (!line.starts_with("```")) {
      block += line + "\n";
      continue;
    }
    if (inside && block.starts_with("> ")) examples.push_back(block);
    inside = !inside;
    block.clear();
  }
  return examples;
}

std::string CommandsOf(const std::string& example) {
  std::istringstream lines(example);
  std::string commands;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("> ")) commands += line.substr(2) + "\n";
  }
  return commands;
}

TEST_F(Program, PrintsTheOutputThatTheManualShows) {
  const std::string open = "open examples/data/survey.tsv as survey\n";
  const std::string isOpen =
      "> " + open + "survey is open: 10 variables, 944 cases, from examples/data/survey.tsv\n";
  const std::string stage = Stage();
  const std::vector<std::string> examples = ExamplesOfTheManual();
  EXPECT_EQ(examples.size(), 12u);
  for (const std::string& example : examples) {
    const std::string commands = CommandsOf(example);
    const bool opensItself = commands.find(open) != std::string::npos;
    const Played played = RunIn(stage, Script((opensItself ? "" : open) + commands));
    const std::string shown = (opensItself ? "" : isOpen) + example;
    EXPECT_EQ(played.out.substr(0, shown.size()), shown);
    std::istringstream rest(played.out.substr(std::min(shown.size(), played.out.size())));
    for (std::string line; std::getline(rest, line);) {  // at its end, a script releases its locks
      EXPECT_THAT(line, HasSubstr(" lock on "));
    }
    EXPECT_THAT(played.err, IsEmpty());
    EXPECT_EQ(played.status, 0);
  }
}

TEST_F(Program, PrintsTheBootstrapExampleInJson) {
  const std::string stage = Stage();
  const Played played = RunIn(stage, "--json examples/bootstrap.sdm");
  EXPECT_EQ(played.status, 0);
  const std::vector<json> lines = Lines(played.out);
  EXPECT_THAT(Where(lines, {{"event", "error"}}), IsEmpty());

  const auto written = Where(lines, {{"event", "bootstrapWritten"}});
  ASSERT_EQ(written.size(), 1u);
  const std::string bytes = ReadFile(stage + "/" + written[0]["file"].get<std::string>());
  EXPECT_EQ(written[0]["size"], bytes.size());
  const auto checked = Where(lines, {{"event", "bootstrapChecked"}, {"finding", "whole"}});
  ASSERT_EQ(checked.size(), 1u);
  EXPECT_EQ(checked[0]["size"], bytes.size());

  const auto shown = Where(lines, {{"event", "bootstrap"}, {"dataset", "survey"}});
  const auto read = Where(lines, {{"event", "bootstrapChanged"}, {"file", written[0]["file"]}});
  ASSERT_EQ(shown.size(), 1u);
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0]["dataset"], "tried");
  EXPECT_EQ(read[0]["specs"], shown[0]["specs"]);

  EXPECT_EQ(Where(lines, {{"event", "opened"}, {"cloneOf", "survey"}, {"cases", 944}}).size(), 1u);
  const auto cases = Where(lines, {{"event", "cases"}, {"dataset", "tried"}});
  ASSERT_EQ(cases.size(), 2u);
  EXPECT_EQ(cases[0]["rows"][0], json::parse(R"([1.0, 6.0, "36", null, 3.0, 1.0])"));
}

TEST_F(Program, PrintsTheSurveyExampleInJson) {
  const Played played = Run("--json examples/survey.sdm");
  EXPECT_EQ(played.status, 0);
  EXPECT_THAT(played.err, IsEmpty());
  const std::vector<json> lines = Lines(played.out);

  EXPECT_EQ(Where(lines, {{"event", "opened"}, {"variables", 10}, {"cases", 944}}).size(), 1u);
  EXPECT_EQ(Where(lines, {{"event", "lock"}, {"what", "acquired"}}).size(),
            Where(lines, {{"event", "lock"}, {"what", "released"}}).size());
  const auto waits = Where(lines, {{"event", "lock"}, {"what", "waits"}, {"caller", "recode"}});
  ASSERT_EQ(waits.size(), 1u);
  EXPECT_EQ(waits[0]["holders"], json::parse(R"([{"caller": "tables", "mode": "read"},
                                                 {"caller": "figures", "mode": "read"}])"));
  EXPECT_EQ(Where(lines, {{"event", "notNotified"}, {"caller", "window"}}).size(), 1u);
  EXPECT_THAT(Where(lines, {{"event", "error"}}), IsEmpty());
}

TEST_F(Program, PrintsEveryArgumentOfAMessageInJson) {
  const std::vector<json> lines = Lines(Run("--json examples/survey.sdm").out);
  const json telling = {{"event", "notified"}, {"caller", "codebook"}, {"caseSequence", 1}};
  const auto notified = [&](const char* message) {
    json members = telling;
    members["message"] = message;
    const auto found = Where(lines, members);
    EXPECT_FALSE(found.empty()) << message;
    return found.empty() ? json() : found.front();
  };

  const json insert = notified("InsertVarsMsg");
  EXPECT_EQ(insert["leading"], 0);
  EXPECT_EQ(insert["datasetId"], "0:0");
  EXPECT_EQ(insert["anchorName"], "educ");
  EXPECT_TRUE(insert["anchor"].is_string());
  EXPECT_EQ(insert["variables"][0]["name"], "age2");
  EXPECT_EQ(insert["variables"][0]["label"], "Age in groups");

  const json move = notified("MoveVarsMsg");
  EXPECT_EQ(move["positions"], json::parse("[3]"));
  EXPECT_EQ(move["target"], 0);
  EXPECT_EQ(move["names"], json::parse(R"(["PID"])"));

  EXPECT_EQ(notified("DeleteVarsMsg")["variables"].size(), 2u);

  const json modify = notified("ModifyVarMsg");
  EXPECT_EQ(modify["before"]["name"], "income");
  EXPECT_EQ(modify["variable"]["name"], "hhincome");
  EXPECT_EQ(modify["variable"]["id"], modify["before"]["id"]);
  EXPECT_EQ(modify["variable"]["valueLabels"].size(), 24u);
  EXPECT_EQ(modify["changed"], json::parse(R"(["name", "label"])"));
}

TEST_F(Program, PrintsEveryArgumentOfAPropertyMessageInJson) {
  const std::string script = Script(
      "open examples/data/survey.tsv as survey\n@v observe survey\n"
      "write survey\nimputation survey 3\nrelease\n"
      "write survey\nimputation survey off\nfilespec survey /x.tsv\ntitle survey Study\n"
      "weight survey by popul\nfilter survey by vote\ntrends survey period 4 by age\n"
      "split survey separate by PID educ\nmrset survey x indicators 1 label X of selfLR\n"
      "varset survey y of age\nextension survey \"\xFF\x01z\"\nattribute survey source a b\n"
      "dirty survey on\nsource survey blank 5\nrelease\n"
      "write survey\nweight survey off\ndelete survey age\nvarset survey z of vote\n"
      "dirty survey on\nrelease\n");
  const std::vector<json> lines = Lines(Run("--json " + script).out);
  const auto idOf = [&](const std::string& name) {
    for (const json& line : Where(lines, {{"message", "InsertVarsMsg"}})) {
      if (line["variables"][0]["name"] == name) return line["variables"][0]["id"];
    }
    return json();
  };
  const auto isNotified = [&](const char* message, json members) {
    members["event"] = "notified";
    members["caller"] = "v";
    members["message"] = message;
    EXPECT_EQ(Where(lines, members).size(), 1u) << members;
  };

  isNotified("ImputationInfoMsg", {{"rowsPerImputation", 0}, {"datasetId", nullptr}});
  isNotified("FileSpecChangeMsg", {{"fileSpec", "examples/data/survey.tsv"}, {"flag", true}});
  isNotified("FileLabelChangeMsg", {{"label", "Study"}});
  isNotified("WeightVarMsg", {{"variable", idOf("popul")}, {"name", "popul"}});
  isNotified("WeightVarMsg", {{"variable", nullptr}, {"name", nullptr}});
  isNotified("FilterVarMsg", {{"variable", idOf("vote")}, {"name", "vote"}});
  isNotified("TrendsInfoMsg",
             {{"timeVariables", {idOf("age")}}, {"names", {"age"}}, {"seasonalPeriod", 4}});
  isNotified(
      "SplitFileMsg",
      {{"variables", {idOf("PID"), idOf("educ")}}, {"names", {"PID", "educ"}}, {"separate", true}});
  const json set = {{"name", "x"},
                    {"label", "X"},
                    {"kind", "indicators"},
                    {"selectedValue", "1"},
                    {"firstFlag", false},
                    {"secondFlag", false},
                    {"members", {idOf("selfLR")}},
                    {"names", {"selfLR"}}};
  isNotified("ExtensionsMsg", {{"type", 7}, {"version", 1}, {"sets", json::array({set})}});
  isNotified("ExtensionsMsg", {{"type", 19}, {"version", 1}, {"sets", json::array({set})}});
  isNotified("ExtensionsMsg", {{"type", 0}, {"version", 1}, {"bytes", "ff017a"}});
  isNotified("ExtensionsMsg", {{"type", 17},
                               {"bytes", "736f75726365096109620a"},
                               {"attributes", {{"source", {"a", "b"}}}}});
  isNotified("ResetClientDataMsg", {{"rowCount", 5}});
  isNotified("DataSetModifiedMsg", {{"modified", true}});

  const std::vector<json> variableSets = Where(lines, {{"type", 5}});
  ASSERT_EQ(variableSets.size(), 2u);
  EXPECT_EQ(variableSets[0]["sets"][0]["names"], json::array({"age"}));
  EXPECT_EQ(variableSets[1]["sets"][0]["members"], json::array({idOf("age")}));
  EXPECT_EQ(variableSets[1]["sets"][0]["names"], json::array({nullptr}));
}

TEST_F(Program, PrintsPropertiesAndTheMirrorInJson) {
  const std::vector<json> lines =
      Lines(Run("--json",
                "open examples/data/survey.tsv as survey\n@w write survey\nshow survey\n"
                "@w weight survey by popul\n@w filter survey by vote\n"
                "@w split survey together by PID\n@w title survey Study\n@w tell survey\n"
                "@w title survey Survey\n@w dirty survey on\n@w imputation survey 3\n"
                "@w mirror survey\n@w release\nshow survey\nvariables survey\n"
                "mirror survey\n")
                .out);
  const auto shown = Where(lines, {{"event", "dataset"}});
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_EQ(shown[0]["dictionary"], nullptr);
  const json& dictionary = shown[1]["dictionary"];
  EXPECT_EQ(dictionary["label"], "Survey");
  EXPECT_EQ(dictionary["variableCount"], 10);
  EXPECT_EQ(dictionary["rowCount"], 944);
  EXPECT_EQ(dictionary["fileSpec"], "examples/data/survey.tsv");
  EXPECT_EQ(dictionary["rowsPerImputation"], 3);
  EXPECT_EQ(dictionary["weight"]["name"], "popul");
  EXPECT_EQ(dictionary["filter"]["name"], "vote");
  EXPECT_EQ(dictionary["split"]["names"], json::array({"PID"}));
  EXPECT_EQ(dictionary["trends"]["seasonalPeriod"], 0);
  EXPECT_EQ(dictionary["responseSets"], json::array());
  EXPECT_EQ(dictionary["variableSets"], json::array());
  EXPECT_EQ(dictionary["extension"], json::parse(R"({"type": 0, "version": 1, "bytes": ""})"));
  EXPECT_EQ(dictionary["attributes"], json::object());
  EXPECT_EQ(dictionary["modified"], true);

  const auto variables = Where(lines, {{"event", "variables"}});
  ASSERT_EQ(variables.size(), 1u);
  EXPECT_EQ(variables[0]["weight"], dictionary["weight"]["variable"]);
  EXPECT_EQ(variables[0]["filter"], dictionary["filter"]["variable"]);
  EXPECT_EQ(variables[0]["split"], dictionary["split"]["variables"]);

  const auto mirrors = Where(lines, {{"event", "mirror"}, {"dataset", "survey"}});
  ASSERT_EQ(mirrors.size(), 2u);
  EXPECT_EQ(mirrors[0]["differing"],
            json::array({"label", "rowsPerImputation", "modified", "digest"}));
  EXPECT_EQ(mirrors[0]["source"]["label"], "Survey");
  EXPECT_EQ(mirrors[0]["mirror"]["label"], "Study");
  EXPECT_EQ(mirrors[1]["differing"], json::array({"rowsPerImputation"}));
  EXPECT_EQ(mirrors[1]["source"]["digest"], mirrors[1]["mirror"]["digest"]);
  EXPECT_EQ(mirrors[1]["mirror"]["variables"].size(), 10u);
}

TEST_F(Program, PrintsRegistryNoticesAndErrorReportsInJson) {
  const std::string file = "examples/data/survey.tsv";
  const std::vector<json> lines =
      Lines(Run("--json " + Script("@w watch registry\nhide vote\nopen " + file +
                                   " as survey\ntouched survey\nwrite survey\nreport survey error "
                                   "Lost\nclient survey\nreport survey warning Odd\nreport survey "
                                   "error Full\nwarnings survey off\nreport survey warning Odd\n"
                                   "show survey\nclient survey off\nclose survey\nrelease\n"
                                   "@w unwatch registry\nhide nothing\n"))
                .out);
  std::vector<json> events;
  for (const json& line : lines) {
    const std::string event = line["event"];
    if (event != "command" && event != "lock" && event != "opened" && event != "closed" &&
        event != "dataset") {
      events.push_back(line);
    }
  }
  const json expected = json::parse(R"([
      {"event": "watches", "caller": "w"},
      {"event": "hides", "names": ["vote"]},
      {"event": "created", "caller": "w", "id": "0:0", "handle": "",
       "file": "examples/data/survey.tsv"},
      {"event": "touched", "file": "examples/data/survey.tsv", "touched": false},
      {"event": "notReported", "caller": null, "dataset": "survey"},
      {"event": "client", "caller": "main", "dataset": "survey"},
      {"event": "reported", "caller": "main", "dataset": "survey", "datasetId": "0:0",
       "kind": "warning", "severity": 2, "text": "Odd"},
      {"event": "reported", "caller": "main", "dataset": "survey", "datasetId": "0:0",
       "kind": "error", "severity": 1, "text": "Full"},
      {"event": "notReported", "caller": "main", "dataset": "survey"},
      {"event": "client", "caller": null, "dataset": "survey"},
      {"event": "deleted", "caller": "w", "id": "0:0", "handle": "survey"},
      {"event": "watchesNoLonger", "caller": "w"},
      {"event": "hides", "names": []}])");
  EXPECT_EQ(json(events), expected);
  const std::vector<json> shown = Where(lines, {{"event", "dataset"}});
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0]["client"], "main");
}

TEST_F(Program, PrintsTheSameOutputInEachRun) {
  EXPECT_EQ(Run("--json examples/survey.sdm").out, Run("--json examples/survey.sdm").out);
}

TEST_F(Program, StopsAScriptAtTheFirstCommandThatFails) {
  const std::string script = Script("# two comments\n\nlist\nshow nothing\nlist\n");
  const Played played = Run(script);
  EXPECT_EQ(played.status, 1);
  EXPECT_EQ(played.out, "# two comments\n\n> list\nno dataset is open\n> show nothing\n");
  EXPECT_EQ(played.err, script + ":4: no dataset is called \"nothing\"\n");
}

TEST_F(Program, NamesTheLineOfAFailedCommandInJson) {
  const std::string script = Script("list\nlist \"all\n");
  const Played played = Run("--json " + script);
  EXPECT_EQ(played.status, 1);
  EXPECT_THAT(played.err, IsEmpty());
  EXPECT_EQ(Lines(played.out).back(), json({{"event", "error"},
                                            {"text", "expected a closing quote (\")"},
                                            {"file", script},
                                            {"line", 2}}));
}

TEST_F(Program, PrintsValidJsonForAnyBytes) {
  const Played played =
      Run("--json", "add-empty \"\xFF\x01\xC3\"\nshow \"\xFF\"\nlist\nhelp\nhelp list\n");
  EXPECT_EQ(Lines(played.out).size(), 5u);
}

TEST_F(Program, ReportsCallersStillWaitingAtTheEndOfAScript) {
  const std::string script = Script("add-empty nix\n@r read nix\n@w write nix\n");
  const Played played = Run(script);
  EXPECT_EQ(played.status, 1);
  EXPECT_EQ(played.err, script + ": w still waits for the write lock on nix\n");
}

TEST_F(Program, FailsIfItsOutputIsLost) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "this system has no /dev/full";
  const std::string lost = "sdmsh: standard output cannot be written\n";
  for (const std::string arguments :
       {"examples/survey.sdm", "--json examples/survey.sdm", "--json", "", "--help"}) {
    const Played played = RunIntoNothing(arguments, "list\nlust\n");
    EXPECT_EQ(played.err, lost) << arguments;
    EXPECT_EQ(played.status, 1) << arguments;
  }
}

TEST_F(Program, ReadsCommandsFromAPipeAndContinuesAfterAFailedOne) {
  const Played played = Run("", "lust\nlist\nquit\nlist\n");
  EXPECT_EQ(played.out, "no dataset is open\n");
  EXPECT_EQ(played.err, "error: no command \"lust\"; did you mean \"list\"?\n");
  EXPECT_EQ(played.status, 1);
}

TEST_F(Program, AcceptsALastLineWithoutALineFeed) {
  const Played played = Run("", "list");
  EXPECT_EQ(played.out, "no dataset is open\n");
  EXPECT_EQ(played.status, 0);
}

TEST_F(Program, ReadsLinesThatEndInCarriageReturns) {
  EXPECT_EQ(Run(Script("list\r\n")).out, "> list\nno dataset is open\n");
}

TEST_F(Program, PrintsHelp) {
  const Played played = Run("--help");
  EXPECT_THAT(played.out, HasSubstr("Usage: sdmsh [OPTIONS] [FILE]\n"));
  EXPECT_THAT(played.out, HasSubstr("--json "));
  EXPECT_EQ(played.status, 0);
}

TEST_F(Program, PrintsItsVersion) {
  const Played played = Run("--version");
  EXPECT_THAT(played.out, testing::ContainsRegex("^sdmsh [0-9]+[.][0-9]+[.][0-9]+\n$"));
  EXPECT_EQ(played.status, 0);
}

TEST_F(Program, HasAManualPageThatNamesEveryOption) {
  std::string page = ReadFile(std::string(PROJECT_ROOT) + "/tools/sdmsh/sdmsh.1");
  std::erase(page, '\\');
  const std::string help = Run("--help").out;
  const std::regex option("(^|[ ,])(--?[a-z][a-z-]*)");
  int count = 0;
  for (std::sregex_iterator found(help.begin(), help.end(), option), end; found != end; ++found) {
    EXPECT_THAT(page, testing::ContainsRegex("[ ]" + (*found)[2].str() + "[^a-z-]"));
    ++count;
  }
  EXPECT_EQ(count, 4);
}

TEST_F(Program, RefusesWrongUse) {
  for (const char* arguments : {"--xml", "a.sdm b.sdm", "''"}) {
    const Played played = Run(arguments);
    EXPECT_EQ(played.status, 2) << arguments;
    EXPECT_THAT(played.err, StartsWith("sdmsh: ")) << arguments;
    EXPECT_THAT(played.out, IsEmpty());
  }
}

TEST_F(Program, RefusesAScriptThatCannotBeRead) {
  const Played missing = Run("/nowhere.sdm");
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err, "sdmsh: /nowhere.sdm: No such file or directory\n");
  const std::string longName(300, 'x');
  const Played tooLong = Run(longName);
  EXPECT_EQ(tooLong.status, 2);
  EXPECT_EQ(tooLong.err, "sdmsh: " + longName + ": File name too long\n");
  const Played folder = Run("examples");
  EXPECT_EQ(folder.status, 2);
  EXPECT_EQ(folder.err, "sdmsh: examples: a folder, not a script\n");
}

}  // namespace
}  // namespace sdmsh
