// Tests of the command for bootstrap specifications.

#include "ShellTest.h"

#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace sdmsh {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

class Bootstrapping : public ShellTest {
 protected:
  // The JSON events of the bootstrap command, one per line.
  std::string InJsonWriting(const std::string& commands) {
    std::istringstream lines(InJson(Open("survey") + "write survey\n" + commands));
    std::string found;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(R"({"event":"bootstrap)")) found += line + "\n";
    }
    return found;
  }

  // Runs the commands, which must succeed, and returns the bootstrap specification of survey.
  SvrBootstrapSpecs RecordAfter(const std::string& commands) {
    std::ostringstream out;
    Output output(out, out);
    Shell shell(Registry(), output);
    std::istringstream input(Open("survey") + "write survey\n" + commands);
    EXPECT_TRUE(PlayInput(shell, input)) << out.str();
    const SvrDMDataset survey(Registry().GetDataSet("survey"));
    const SvrBootstrapSpecs* const specs = survey.GetBootstrapSpecs();
    return specs != nullptr ? *specs : SvrBootstrapSpecs();
  }
};

// A bootstrap specification with all defaults, in JSON.
constexpr const char* kDefaultsInJson =
    R"({"method":"simple","strata":[],"dependents":[],"inputs":[],"predicted":[],"residuals":[],)"
    R"("splitEnds":[],"caseStats":[],"level":95.0,"interval":"percentile","samples":1000,)"
    R"("userMissingExcluded":true})";

// ---------------------------------------------------------------------------------------------
// Setting

TEST_F(Bootstrapping, FirstSettingCreatesASpecificationWithDefaults) {
  EXPECT_EQ(Writing("bootstrap survey display\nbootstrap survey set interval bca\n"
                    "bootstrap survey display\n"),
            std::string("survey has no bootstrap specification\n") +
                "Start displaying Bootstrap Specifications\n"
                "\n"
                "Sampling Method = Simple\n"
                "Strata Variables = none\n"
                "Dependent Variables = none\n"
                "Input Variables = none\n"
                "Predicted Value Variables = none\n"
                "Residual Value Variables = none\n"
                "Confidence Interval Level as percent = 95\n"
                "Confidence Interval Type = BCA\n"
                "Number of samples = 1000\n"
                "User-missing variable values are excluded\n"
                "\n"
                "End displaying Bootstrap Specifications\n" +
                kReleased);
}

TEST_F(Bootstrapping, EachSettingChangesItsField) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set method residual\n"
      "bootstrap survey set strata b\n"
      "bootstrap survey set dependents c a\n"
      "bootstrap survey set inputs a b\n"
      "bootstrap survey set predicted c\n"
      "bootstrap survey set residuals a\n"
      "bootstrap survey set level 99.5\n"
      "bootstrap survey set interval bca\n"
      "bootstrap survey set samples 500\n"
      "bootstrap survey set user-missing included\n"
      "bootstrap survey set split-ends 0 4294967295\n"
      "bootstrap survey set case-stats 1.5 3 -2e3 0\n");
  EXPECT_EQ(specs.GetSamplingMethod(), SvrBootstrapSpecs::Residual);
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(1));
  EXPECT_THAT(specs.GetDependVarList(), ElementsAre(2, 0));
  EXPECT_THAT(specs.GetInputVarList(), ElementsAre(0, 1));
  EXPECT_THAT(specs.GetPredictedVarList(), ElementsAre(2));
  EXPECT_THAT(specs.GetResidualVarList(), ElementsAre(0));
  EXPECT_EQ(specs.GetCILevelPct(), 99.5);
  EXPECT_EQ(specs.GetCIType(), SvrBootstrapSpecs::BCA);
  EXPECT_EQ(specs.GetNSamples(), 500);
  EXPECT_FALSE(specs.GetExcludeUserMiss());
  EXPECT_THAT(specs.SplitEnds(), ElementsAre(0u, 4294967295u));
  EXPECT_THAT(specs.CaseStats(), ElementsAre(Pair(1.5, 3u), Pair(-2000.0, 0u)));
}

TEST_F(Bootstrapping, EachMethodHasAKeyword) {
  const auto method = [this](const std::string& word) {
    return RecordAfter("bootstrap survey set method " + word + "\n").GetSamplingMethod();
  };
  EXPECT_EQ(method("simple"), SvrBootstrapSpecs::Simple);
  EXPECT_EQ(method("stratified"), SvrBootstrapSpecs::Stratified);
  EXPECT_EQ(method("residual"), SvrBootstrapSpecs::Residual);
  EXPECT_EQ(method("wild"), SvrBootstrapSpecs::Wild);
}

TEST_F(Bootstrapping, EachSettingCanBeReset) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set strata a\nbootstrap survey set dependents a\n"
      "bootstrap survey set inputs a\nbootstrap survey set predicted a\n"
      "bootstrap survey set residuals a\nbootstrap survey set split-ends 1\n"
      "bootstrap survey set case-stats 1 2\nbootstrap survey set interval bca\n"
      "bootstrap survey set user-missing included\n"
      "bootstrap survey set strata none\nbootstrap survey set dependents none\n"
      "bootstrap survey set inputs none\nbootstrap survey set predicted none\n"
      "bootstrap survey set residuals none\nbootstrap survey set split-ends none\n"
      "bootstrap survey set case-stats none\nbootstrap survey set interval percentile\n"
      "bootstrap survey set user-missing excluded\n");
  EXPECT_THAT(specs.GetStrataVarList(), IsEmpty());
  EXPECT_THAT(specs.GetDependVarList(), IsEmpty());
  EXPECT_THAT(specs.GetInputVarList(), IsEmpty());
  EXPECT_THAT(specs.GetPredictedVarList(), IsEmpty());
  EXPECT_THAT(specs.GetResidualVarList(), IsEmpty());
  EXPECT_THAT(specs.SplitEnds(), IsEmpty());
  EXPECT_THAT(specs.CaseStats(), IsEmpty());
  EXPECT_EQ(specs.GetCIType(), SvrBootstrapSpecs::Percentile);
  EXPECT_TRUE(specs.GetExcludeUserMiss());
}

TEST_F(Bootstrapping, SettingAListReplacesTheWholeList) {
  const SvrBootstrapSpecs specs = RecordAfter(
      "bootstrap survey set strata a b\nbootstrap survey set strata c\n"
      "bootstrap survey set split-ends 1 2\nbootstrap survey set split-ends 3\n"
      "bootstrap survey set case-stats 1 2\nbootstrap survey set case-stats 3 4\n");
  EXPECT_THAT(specs.GetStrataVarList(), ElementsAre(2));
  EXPECT_THAT(specs.SplitEnds(), ElementsAre(3u));
  EXPECT_THAT(specs.CaseStats(), ElementsAre(Pair(3.0, 4u)));
}

TEST_F(Bootstrapping, NoneAmongOtherNamesIsAVariable) {
  WriteFile("abc.tsv", "a\tnone\tc\n1\t2\t3\n4\t5\t6\n");
  EXPECT_THAT(RecordAfter("bootstrap survey set strata c none\n").GetStrataVarList(),
              ElementsAre(2, 1));
}

// A bootstrap specification stores any number, so implausible numbers are accepted.
TEST_F(Bootstrapping, ImplausibleNumbersAreAccepted) {
  EXPECT_THAT(Writing("bootstrap survey set level 250\nbootstrap survey set samples -7\n"
                      "bootstrap survey display\n"),
              AllOf(HasSubstr("Confidence Interval Level as percent = 250\n"),
                    HasSubstr("Number of samples = -7\n")));
}

TEST_F(Bootstrapping, InvalidSettingsChangeNothing) {
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"strata a nope", "there is no variable \"nope\""},
      {"inputs a b a", "variable \"a\" is named twice"},
      {"split-ends 1 x",
       "bootstrap: expected \"none\" or NUMBER (0 to 4294967295), found \"x\"; usage"},
      {"case-stats 1 2 3",
       "bootstrap: expected NUMBER (0 to 4294967295), found the end of the line; usage"},
      {"level nan", "bootstrap: expected PERCENT (a number), found \"nan\"; usage"},
      {"samples many",
       "bootstrap: expected NUMBER (-2147483648 to 2147483647), found \"many\"; usage"},
  };
  const std::string before =
      "bootstrap survey set strata b\nbootstrap survey set inputs c\n"
      "bootstrap survey set split-ends 9\nbootstrap survey set case-stats 8 7\n";
  const std::string shown = InJsonWriting(before + "bootstrap survey display\n");
  for (const auto& [setting, error] : wrong) {
    const std::string set = "bootstrap survey set " + setting + "\n";
    EXPECT_THAT(Writing(set), StartsWith("error: " + error));
    EXPECT_EQ(InJsonWriting(before + set + "bootstrap survey display\n"), shown) << setting;
    EXPECT_THAT(InJsonWriting(set + "bootstrap survey display\n"), EndsWith("\"specs\":null}\n"))
        << setting;
  }
}

TEST_F(Bootstrapping, SettingVariablesNeedsADataSource) {
  EXPECT_EQ(AtPrompt("add-empty nix\nwrite nix\nbootstrap nix set strata x\n"
                     "bootstrap nix display\nbootstrap nix set strata none\n"
                     "bootstrap nix set level 90\n"),
            "nix is open, without a data source\n"
            "main acquires the write lock on nix\n"
            "error: there are no variables without a data source; `source` gives one\n"
            "nix has no bootstrap specification\n"
            "main releases the write lock on nix\n");
}

// ---------------------------------------------------------------------------------------------
// Showing and removing

TEST_F(Bootstrapping, DisplayNeedsOnlyAReadLock) {
  EXPECT_THAT(Writing("bootstrap survey set method wild\nrelease\n@r read survey\n"
                      "bootstrap survey display\n"),
              HasSubstr("\nSampling Method = Wild\n"));
  EXPECT_THAT(Writing("@v bootstrap survey display\n"),
              StartsWith("error: v would have to wait for the read lock on survey, held by main "
                         "(writing)\n"));
}

TEST_F(Bootstrapping, ShowAndListReportWhetherThereIsASpecification) {
  EXPECT_THAT(Writing("show survey\n"), Not(HasSubstr("bootstrap")));
  const std::string set = "bootstrap survey set level 90\n";
  EXPECT_THAT(Writing(set + "show survey\n"), HasSubstr("\n  bootstrap      set\n"));
  EXPECT_THAT(Writing(set + "bootstrap survey off\nshow survey\n"),
              Not(HasSubstr("\n  bootstrap ")));
  EXPECT_THAT(InJson(Open("survey") + "list\nwrite survey\n" + set + "@r list\n@r show survey\n"),
              AllOf(HasSubstr(R"({"event":"datasets")"), HasSubstr(R"("hasBootstrap":false)"),
                    ContainsRegex("\"datasets\":[^\n]*\"hasBootstrap\":true"),
                    ContainsRegex("\"event\":\"dataset\",[^\n]*\"hasBootstrap\":true")));
}

TEST_F(Bootstrapping, OffRemovesTheSpecification) {
  EXPECT_EQ(Writing("bootstrap survey set level 90\nbootstrap survey off\n"
                    "bootstrap survey display\nbootstrap survey off\n"),
            std::string("survey has no bootstrap specification\n") +
                "survey has no bootstrap specification\n"
                "survey has no bootstrap specification\n" +
                kReleased);
  EXPECT_TRUE(WentWell());
}

TEST_F(Bootstrapping, JsonHasEveryField) {
  EXPECT_EQ(InJsonWriting("bootstrap survey display\nbootstrap survey set level 95\n"
                          "bootstrap survey display\nbootstrap survey off\n"),
            std::string(R"({"event":"bootstrap","dataset":"survey","specs":null})") + "\n" +
                R"({"event":"bootstrapChanged","caller":"main","dataset":"survey","specs":)" +
                kDefaultsInJson + "}\n" + R"({"event":"bootstrap","dataset":"survey","specs":)" +
                kDefaultsInJson + "}\n" +
                R"({"event":"bootstrapChanged","caller":"main","dataset":"survey","specs":null})" +
                "\n");
  EXPECT_THAT(
      InJsonWriting("bootstrap survey set method wild\nbootstrap survey set strata a\n"
                    "bootstrap survey set dependents b\nbootstrap survey set inputs c\n"
                    "bootstrap survey set predicted a b\nbootstrap survey set residuals b c\n"
                    "bootstrap survey set split-ends 7 4294967295\n"
                    "bootstrap survey set case-stats 1.5 2\nbootstrap survey set level 99.5\n"
                    "bootstrap survey set interval bca\nbootstrap survey set samples -1\n"
                    "bootstrap survey set user-missing included\nbootstrap survey display\n"),
      EndsWith(R"({"event":"bootstrap","dataset":"survey","specs":{"method":"wild","strata":[0],)"
               R"("dependents":[1],"inputs":[2],"predicted":[0,1],"residuals":[1,2],)"
               R"("splitEnds":[7,4294967295],"caseStats":[[1.5,2]],"level":99.5,)"
               R"("interval":"bca","samples":-1,"userMissingExcluded":false}})"
               "\n"));
}

// ---------------------------------------------------------------------------------------------
// Files

// Encodes a bootstrap specification field by field, in native or swapped byte order.
class SpecsBytes {
 public:
  explicit SpecsBytes(bool swapped) : swapped_(swapped) { Add(std::uint16_t{1}); }

  template <class Number>
  SpecsBytes& Add(Number number) {
    std::string field(sizeof number, '\0');
    std::memcpy(field.data(), &number, sizeof number);
    if (swapped_) std::reverse(field.begin(), field.end());
    bytes_ += field;
    return *this;
  }

  template <class Number>
  SpecsBytes& AddList(const std::vector<Number>& numbers) {
    Add(static_cast<std::uint32_t>(numbers.size()));
    for (const Number number : numbers) Add(number);
    return *this;
  }

  const std::string& Bytes() const { return bytes_; }

 private:
  const bool swapped_;
  std::string bytes_;
};

// Returns the 91 bytes of a bootstrap specification with these fields: wild, strata 1, dependents 2
// and 0, inputs 7, split ends 3 and 4, one case statistic of 0.5 and 6, level 99.5, bca, 20
// samples, user-missing values included.
std::string FullSpecs(bool swapped) {
  SpecsBytes bytes(swapped);
  bytes.Add(std::uint32_t{1}).Add(std::int32_t{3});
  bytes.AddList<std::int32_t>({1}).AddList<std::int32_t>({2, 0}).AddList<std::int32_t>({7});
  bytes.AddList<std::int32_t>({}).AddList<std::int32_t>({});
  bytes.AddList<std::uint32_t>({3, 4});
  bytes.Add(std::uint32_t{1}).Add(0.5).Add(std::uint32_t{6});
  bytes.Add(99.5).Add(std::int32_t{1}).Add(std::int32_t{20}).Add(std::uint8_t{0});
  return bytes.Bytes();
}

constexpr const char* kFullInJson =
    R"({"method":"wild","strata":[1],"dependents":[2,0],"inputs":[7],"predicted":[],)"
    R"("residuals":[],"splitEnds":[3,4],"caseStats":[[0.5,6]],"level":99.5,"interval":"bca",)"
    R"("samples":20,"userMissingExcluded":false})";

class BootstrapFiles : public Bootstrapping {
 protected:
  std::string ReadFile(const std::string& file) const {
    std::ifstream stream(Path(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::vector<std::string> Files() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Path(""))) {
      const std::string name = entry.path().filename().string();
      if (name != "abc.tsv") files.push_back(name);
    }
    return files;
  }

  std::string To(const std::string& file) const {
    return "bootstrap survey to " + Path(file) + "\n";
  }
  std::string From(const std::string& file) const {
    return "bootstrap survey from " + Path(file) + "\n";
  }
  std::string Check(const std::string& file) const {
    return "bootstrap survey check " + Path(file) + "\n";
  }

  // Sets all fields of FullSpecs except the inputs: the input of FullSpecs is position 7, but the
  // dataset has only three variables.
  static constexpr const char* kSetMost =
      "bootstrap survey set method wild\nbootstrap survey set strata b\n"
      "bootstrap survey set dependents c a\nbootstrap survey set split-ends 3 4\n"
      "bootstrap survey set case-stats 0.5 6\nbootstrap survey set level 99.5\n"
      "bootstrap survey set interval bca\nbootstrap survey set samples 20\n"
      "bootstrap survey set user-missing included\n";
};

constexpr std::uintmax_t kTooLong = 16777217;

TEST_F(BootstrapFiles, ContainTheEncodedSpecification) {
  EXPECT_THAT(Writing(std::string("bootstrap survey set inputs a\n") + kSetMost + To("specs")),
              EndsWith("wrote the bootstrap specification of survey to " + Path("specs") +
                       ": 91 bytes\n" + kReleased));
  std::string expected = FullSpecs(/*swapped=*/false);
  const std::int32_t inputs = 0;
  std::memcpy(&expected[34], &inputs, sizeof inputs);
  EXPECT_EQ(ReadFile("specs"), expected);
  EXPECT_THAT(Files(), ElementsAre("specs"));
}

TEST_F(BootstrapFiles, AreReadInBothByteOrders) {
  for (const bool swapped : {false, true}) {
    WriteFile("specs", FullSpecs(swapped));
    EXPECT_EQ(InJsonWriting(From("specs") + "bootstrap survey display\n"),
              R"({"event":"bootstrapChanged","caller":"main","dataset":"survey","specs":)" +
                  std::string(kFullInJson) + R"(,"file":")" + Path("specs") + "\"}\n" +
                  R"({"event":"bootstrap","dataset":"survey","specs":)" + kFullInJson + "}\n");
    EXPECT_TRUE(WentWell());
  }
}

TEST_F(BootstrapFiles, ReadingReplacesTheWholeSpecification) {
  WriteFile("specs", FullSpecs(/*swapped=*/false));
  EXPECT_THAT(InJsonWriting("bootstrap survey set predicted a\nbootstrap survey set strata c\n"
                            "bootstrap survey set split-ends 9\n" +
                            From("specs") + From("specs") + "bootstrap survey display\n"),
              EndsWith(std::string("\"specs\":") + kFullInJson + "}\n"));
}

TEST_F(BootstrapFiles, CanBeReadIntoAnotherDataset) {
  EXPECT_THAT(AtPrompt(Open("survey") + Open("other") + "write survey\n" + kSetMost + To("specs") +
                       "write other\nbootstrap other from " + Path("specs") +
                       "\nbootstrap other display\n"),
              AllOf(HasSubstr("read the bootstrap specification of other from " + Path("specs") +
                              "\nStart displaying"),
                    HasSubstr("\nDependent Variables = 2 0\n")));
}

TEST_F(BootstrapFiles, KeepValuesThatHaveNoKeyword) {
  SpecsBytes bytes(/*swapped=*/false);
  bytes.Add(std::uint32_t{1}).Add(std::int32_t{-1});
  for (int list = 0; list < 7; ++list) bytes.Add(std::uint32_t{0});
  bytes.Add(std::numeric_limits<double>::quiet_NaN()).Add(std::int32_t{2});
  bytes.Add(std::int32_t{-5}).Add(std::uint8_t{1});
  WriteFile("specs", bytes.Bytes());
  EXPECT_THAT(InJsonWriting(From("specs")),
              AllOf(HasSubstr(R"("method":-1,)"), HasSubstr(R"("level":null,"interval":2,)")));
  EXPECT_THAT(Writing(From("specs") + To("copy") + "bootstrap survey display\n"),
              AllOf(HasSubstr("Sampling Method = unknown\n"), HasSubstr("Type = unknown\n")));
  EXPECT_EQ(ReadFile("copy"), bytes.Bytes());
}

TEST_F(BootstrapFiles, CanBeWrittenUnderAReadLock) {
  EXPECT_THAT(Writing("bootstrap survey set level 90\nrelease\n@r " + To("specs")),
              EndsWith(": 55 bytes\n"));
  EXPECT_THAT(Writing("@r " + To("other")),
              StartsWith("error: r would have to wait for the read lock on survey"));
  EXPECT_EQ(AtPrompt(Open("survey") + From("specs")),
            IsOpen("survey") +
                "error: main does not hold the write lock on survey; `write survey` acquires it\n");
}

TEST_F(BootstrapFiles, AreNotWrittenWithoutASpecification) {
  EXPECT_EQ(Writing(To("specs")),
            std::string("error: survey has no bootstrap specification\n") + kReleased);
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(BootstrapFiles, DoNotReplaceFilesWithOtherContent) {
  const std::string set = "bootstrap survey set level 90\n";
  const std::string cut = FullSpecs(/*swapped=*/false).substr(0, 90);
  for (const std::string& content : {std::string("x"), cut}) {
    WriteFile("specs", content);
    EXPECT_EQ(Writing(set + To("specs")),
              "error: " + Path("specs") + ": not a bootstrap specification, and not replaced\n" +
                  kReleased);
    EXPECT_FALSE(WentWell());
    EXPECT_EQ(ReadFile("specs"), content);
  }
  EXPECT_THAT(Writing(set + To("abc.tsv")), HasSubstr("abc.tsv: not a bootstrap specification"));
}

TEST_F(BootstrapFiles, CannotHaveZeroBytesInTheirNames) {
  const std::string file = Path("a") + std::string(1, '\0') + "b\n";
  const std::string error =
      "error: a file name cannot have a zero byte in it: \"" + Path("a") + "␀b\"\n";
  EXPECT_THAT(Writing("bootstrap survey set level 90\nbootstrap survey to " + file),
              HasSubstr(error));
  WriteFile("a", FullSpecs(/*swapped=*/false));
  EXPECT_EQ(Writing("bootstrap survey from " + file), error + kReleased);
}

TEST_F(BootstrapFiles, AreRefusedIfTheyCannotBeRead) {
  std::filesystem::create_directory(Path("folder"));
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  WriteFile("long", "");
  std::filesystem::resize_file(Path("long"), kTooLong);
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"folder", "Is a directory"},
      {"pipe", "not a regular file"},
      {"nowhere", "No such file or directory"},
      {"long", "longer than 16777216 bytes"}};
  for (const auto& [file, reason] : wrong) {
    const std::string error = "error: " + Path(file) + ": " + reason + "\n";
    EXPECT_EQ(Writing(From(file)), error + kReleased);
    EXPECT_FALSE(WentWell());
    EXPECT_EQ(Writing(Check(file)), error + kReleased);
    EXPECT_FALSE(WentWell());
  }
}

// Invalid bytes, and how the commands `bootstrap from` and `bootstrap check` report them.
struct BrokenBytes {
  std::string bytes;
  std::string finding;  // the end of the message of both commands
  std::string json;     // the end of the JSON of `check`
};

std::vector<BrokenBytes> BrokenSpecs(bool swapped) {
  const std::string order = swapped ? R"("byteOrder":"swapped",)" : R"("byteOrder":"native",)";
  const std::string whole = FullSpecs(swapped);
  std::string otherVersion = whole;
  otherVersion[swapped ? 5 : 2] = 2;
  std::string longList = whole;
  longList[swapped ? 10 : 13] = '\x7F';
  return {
      {whole.substr(0, 90), "it ends within the field at offset 90",
       R"("fileSize":90,"finding":"truncated",)" + order + R"("size":0,"offset":90})"},
      {whole.substr(0, 3), "it ends within the field at offset 2",
       R"("fileSize":3,"finding":"truncated",)" + order + R"("size":0,"offset":2})"},
      {otherVersion, "the version at offset 2 is not 1",
       R"("fileSize":91,"finding":"unknownVersion",)" + order + R"("size":0,"offset":2})"},
      {longList, "the list at offset 10 is longer than the file",
       R"("fileSize":91,"finding":"listTooLong",)" + order + R"("size":0,"offset":10})"},
  };
}

TEST_F(BootstrapFiles, AreRefusedAndChangeNothingIfInvalid) {
  for (const bool swapped : {false, true}) {
    for (const auto& [bytes, finding, json] : BrokenSpecs(swapped)) {
      WriteFile("specs", bytes);
      EXPECT_EQ(Writing(From("specs") + "bootstrap survey display\n"),
                "error: " + Path("specs") + ": not a bootstrap specification: " + finding +
                    "\nsurvey has no bootstrap specification\n" + kReleased);
      EXPECT_FALSE(WentWell());
    }
  }
}

TEST_F(BootstrapFiles, WithBytesAfterTheSpecificationChangeNothing) {
  WriteFile("specs", FullSpecs(/*swapped=*/false) + "x");
  EXPECT_EQ(Writing(From("specs") + "bootstrap survey display\n"),
            "error: " + Path("specs") +
                ": 1 byte after the bootstrap specification, which ends at offset 91\n"
                "survey has no bootstrap specification\n" +
                kReleased);
  EXPECT_FALSE(WentWell());
}

TEST_F(BootstrapFiles, CheckFindsACompleteSpecification) {
  const std::string here = ", in this machine's byte order";
  const std::string there = ", in the other byte order";
  for (const bool swapped : {false, true}) {
    const std::string holds =
        Path("specs") + ": a bootstrap specification of 91 bytes" + (swapped ? there : here);
    WriteFile("specs", FullSpecs(swapped));
    EXPECT_EQ(AtPrompt(Open("survey") + Check("specs")), IsOpen("survey") + holds + "\n");
    WriteFile("specs", FullSpecs(swapped) + "x");
    EXPECT_EQ(AtPrompt(Open("survey") + Check("specs")),
              IsOpen("survey") + holds + ", then 1 byte more\n");
    EXPECT_TRUE(WentWell());
    EXPECT_EQ(InJsonWriting(Check("specs")),
              R"({"event":"bootstrapChecked","dataset":"survey","file":")" + Path("specs") +
                  R"(","fileSize":92,"finding":"whole","byteOrder":")" +
                  (swapped ? "swapped" : "native") + R"(","size":91,"offset":91})" + "\n");
  }
}

TEST_F(BootstrapFiles, CheckReportsInvalidBytesWithoutFailing) {
  for (const bool swapped : {false, true}) {
    for (const auto& [bytes, finding, json] : BrokenSpecs(swapped)) {
      WriteFile("specs", bytes);
      EXPECT_EQ(
          AtPrompt(Open("survey") + Check("specs")),
          IsOpen("survey") + Path("specs") + ": not a bootstrap specification: " + finding + "\n");
      EXPECT_TRUE(WentWell());
      EXPECT_EQ(InJsonWriting(Check("specs")),
                R"({"event":"bootstrapChecked","dataset":"survey","file":")" + Path("specs") +
                    "\"," + json + "\n");
    }
  }
}

TEST_F(BootstrapFiles, WritingIsAnEventInJson) {
  EXPECT_THAT(
      InJsonWriting("bootstrap survey set level 95\n" + To("specs")),
      EndsWith(R"({"event":"bootstrapWritten","caller":"main","dataset":"survey","file":")" +
               Path("specs") + "\",\"size\":55}\n"));
}

}  // namespace
}  // namespace sdmsh
