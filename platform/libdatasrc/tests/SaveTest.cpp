// Saving a source as delimited text, and opening the file again.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/SaveDelimited.h>
#include <rapidcheck/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <set>
#include <utility>

#include "Files.h"
#include "Variables.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

std::string BytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::set<std::string> FilesIn(const Folder& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

// --- A source as text: everything that a file keeps ---

void Print(const DataValue& value, std::ostream& out) {
  if (const auto* const number = std::get_if<double>(&value)) {
    const double bits = std::isnan(*number) ? kMissingNumber : *number;
    out << std::hex << std::bit_cast<std::uint64_t>(bits) << std::dec << ' ';
  } else {
    out << '"' << std::get<std::string>(value) << "\" ";
  }
}

void Print(const VariableAttributes& attributes, std::ostream& out) {
  for (const auto& [name, values] : attributes) {
    out << ' ' << name << '=';
    for (const std::string& value : values) out << value << ',';
  }
}

std::string TextOf(const ORVX_Variable& variable) {
  std::ostringstream text;
  text << variable.GetName() << " | " << variable.GetLabel() << " | type " << variable.GetType()
       << " level " << static_cast<int>(variable.GetMeasurementLevel()) << " format "
       << static_cast<int>(variable.GetFormat().kind) << ' ' << variable.GetFormat().width << ' '
       << variable.GetFormat().decimals << " labels ";
  for (const auto& [value, label] : variable.GetValueLabels()) {
    Print(value, text);
    text << label << ' ';
  }
  text << "missing ";
  for (const DataValue& value : variable.GetMissingValues().values) Print(value, text);
  Print(variable.GetAttributes(), text << "attributes");
  return text.str();
}

std::string TextOf(const ORVX_DataSource& source) {
  std::ostringstream text;
  text << (source.GetLabel() != nullptr ? source.GetLabel() : "no label") << ", weight "
       << source.GetWeightVarIndex() << " filter " << source.GetFilterVarIndex() << " split";
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i)
    text << ' ' << source.GetSplitVarIndex(i);
  text << ' ' << source.GetSplitqSeparate() << '\n' << source.GetAttributes().MakeString();
  for (int i = 0; i < source.ColumnCount(); ++i) text << TextOf(source.GetVariable(i)) << '\n';
  for (CaseReader cases(source); cases.Next();) {
    for (const DataValue& value : cases.Values()) Print(value, text);
    text << '\n';
  }
  return text.str();
}

// --- Examples ---

std::unique_ptr<MemoryDataSource> Survey() {
  auto survey = std::make_unique<MemoryDataSource>();
  survey->InsertVariable(0, Variable("code", 4), {"007", "NA", "", "a,\"b"});
  survey->InsertVariable(1, Variable("weight in kg"), {100000, 0.1, kMissingNumber, 1e300});
  survey->InsertVariable(2, Variable("answer"), {1, 2, 9, -0.0});
  ORVX_Variable& answer = survey->GetVariable(2);
  answer.SetLabel("\"Yes\" or no");
  answer.SetMeasurementLevel(MeasurementLevel::Ordinal);
  answer.SetValueLabels({{1.0, "yes"}, {2.0, "no"}});
  answer.SetMissingValues({{9.0}});
  answer.SetFormat({VariableFormat::Kind::Plain, 8, 2});
  answer.SetAttributes({{"source", {"form", "page 2"}}});
  survey->SetLabel("A survey");
  survey->SetWeightVar(1);
  const int split = 0;
  survey->SetSplit(1, &split, true);
  return survey;
}

TEST(SaveDelimited, WritesDelimitedTextAndATableSchema) {
  const Folder folder;
  SaveDelimited(*Survey(), folder.Path("survey.csv"));
  EXPECT_EQ(BytesOf(folder.Path("survey.csv")),
            "code,weight in kg,answer\n"
            "007,100000,1\n"
            "NA,0.1,2\n"
            ",,9\n"
            "\"a,\"\"b\",1e+300,-0\n");
  EXPECT_EQ(BytesOf(folder.Path("survey.schema.json")), R"({
 "title": "A survey",
 "missingValues": [""],
 "weight": "weight in kg",
 "split": ["code"],
 "splitSeparate": true,
 "fields": [
  {"name": "code", "type": "string", "width": 4, "level": "unknown"},
  {"name": "weight in kg", "type": "number", "decimalChar": ".", "level": "unknown"},
  {"name": "answer", "title": "\"Yes\" or no", "type": "number", "decimalChar": ".", "level": "ordinal", "categories": [{"value": 1, "label": "yes"}, {"value": 2, "label": "no"}], "categoriesOrdered": true, "missing": [9], "printFormat": {"kind": "plain", "width": 8, "decimals": 2}, "attributes": {"source": ["form", "page 2"]}}
 ]
}
)");
  EXPECT_EQ(FilesIn(folder), (std::set<std::string>{"survey.csv", "survey.schema.json"}));
}

TEST(SaveDelimited, GivesTheSameSourceWhenOpenedAgain) {
  const Folder folder;
  const auto survey = Survey();
  SaveDelimited(*survey, folder.Path("survey.tsv"));
  EXPECT_EQ(TextOf(*SystemFileDataSource::Open(folder.Path("survey.tsv"))), TextOf(*survey));
}

TEST(SaveDelimited, KeepsValueLabelsWithAnEmptyText) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, Variable("a"), {1, 2});
  source.GetVariable(0).SetValueLabels({{1.0, ""}, {2.0, "two"}});
  SaveDelimited(source, folder.Path("a.csv"));
  EXPECT_EQ(SystemFileDataSource::Open(folder.Path("a.csv"))->GetVariable(0).GetValueLabels(),
            source.GetVariable(0).GetValueLabels());
}

TEST(SaveDelimited, KeepsInfinities) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, Variable("a"), {kInfinity, -kInfinity, 1});
  source.GetVariable(0).SetValueLabels({{kInfinity, "no limit"}});
  source.GetVariable(0).SetMissingValues({{-kInfinity, 1.0}});
  source.GetVariable(0).SetFormat({VariableFormat::Kind::Date});
  SaveDelimited(source, folder.Path("a.csv"));
  EXPECT_EQ(BytesOf(folder.Path("a.csv")), "a\nINF\n-INF\n1\n");
  EXPECT_THAT(BytesOf(folder.Path("a.schema.json")),
              testing::HasSubstr(R"("categories": [{"value": "INF", "label": "no limit"}], )"
                                 R"("missing": ["-INF", 1])"));
  EXPECT_EQ(TextOf(*SystemFileDataSource::Open(folder.Path("a.csv"))), TextOf(source));
}

TEST(SaveDelimited, TakesTheDelimiterFromTheSuffixUnlessItIsGiven) {
  const auto survey = Survey();
  const auto firstLine = [&](const std::string& name, char delimiter) {
    const Folder folder;
    SaveDelimited(*survey, folder.Path(name), {delimiter});
    const std::string bytes = BytesOf(folder.Path(name));
    return bytes.substr(0, bytes.find('\n'));
  };
  const std::string commas = "code,weight in kg,answer";
  const std::string tabs = "code\tweight in kg\tanswer";
  EXPECT_EQ(firstLine("a.csv", 0), commas);
  EXPECT_EQ(firstLine("a", 0), commas);
  EXPECT_EQ(firstLine("a.tsv", 0), tabs);
  EXPECT_EQ(firstLine("a.tab", 0), tabs);
  EXPECT_EQ(firstLine("a.tsv", ','), commas);
  EXPECT_EQ(firstLine("a.csv", '\t'), tabs);
  EXPECT_EQ(firstLine("a.tsv", ';'), "code;weight in kg;answer");
  EXPECT_EQ(firstLine("a.csv", '|'), "code|weight in kg|answer");
  EXPECT_THROW(firstLine("a.csv", ' '), std::invalid_argument);
  EXPECT_THROW(firstLine("a.csv", ':'), std::invalid_argument);
  EXPECT_THROW(firstLine("a.csv.gz", 0), std::invalid_argument);
  EXPECT_THROW(firstLine("a.csv.zst", 0), std::invalid_argument);
}

TEST(SaveDelimited, EveryDelimiterIsFoundAgain) {
  MemoryDataSource source;
  source.InsertVariable(0, Variable("a;b|c\td,e f", 20), {";;;;", "||||", "\t\t", "1,5", "x y"});
  source.InsertVariable(1, Variable(",,,,"), {0.5, 1.5, 2, kMissingNumber, -kInfinity});
  for (const char delimiter : {',', '\t', ';', '|'}) {
    const Folder folder;
    SaveDelimited(source, folder.Path("a.txt"), {delimiter});
    const auto again = SystemFileDataSource::Open(folder.Path("a.txt"));
    EXPECT_EQ(again->Report().delimiter, delimiter);
    EXPECT_EQ(TextOf(*again), TextOf(source)) << delimiter;
  }
}

TEST(SaveDelimited, ASingleColumnWithDelimitersIsOneColumnAgain) {
  for (const std::string name : {"a b", "a,b", "a\tb", "a;b", "a|b", " "}) {
    MemoryDataSource source;
    source.InsertVariable(0, Variable(name, 9), {"c 1", "d 2"});
    for (const char delimiter : {',', '\t', ';', '|'}) {
      const Folder folder;
      SaveDelimited(source, folder.Path("a.txt"), {delimiter});
      EXPECT_EQ(TextOf(*SystemFileDataSource::Open(folder.Path("a.txt"))), TextOf(source));
    }
  }
}

TEST(SaveDelimited, WritesTheCasesOfAnySource) {
  const Folder folder;
  const auto survey = Survey();
  FilteredDataSource selected(survey.get(), survey->GetVariable(2).GetID());
  selected.DeleteVariables(2, 2);
  selected.GetVariable(1).SetType(6);
  PassedOn passing(&selected);
  passing.GetVariable(0).SetLabel("Code");
  SaveDelimited(passing, folder.Path("selected.csv"));
  EXPECT_EQ(BytesOf(folder.Path("selected.csv")), "code,weight in kg\n007,1e+05\nNA,0.1\n");
}

TEST(SaveDelimited, WritesAnEmptyValueOfASingleColumnInQuotes) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, Variable("only"), {1, kMissingNumber, 3});
  SaveDelimited(source, folder.Path("only.csv"));
  EXPECT_EQ(BytesOf(folder.Path("only.csv")), "only\n1\n\"\"\n3\n");
  EXPECT_EQ(SystemFileDataSource::Open(folder.Path("only.csv"))->RowCount(), 3);
}

TEST(SaveDelimited, KeepsAByteOrderMarkAtTheStartOfTheFirstName) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0,
                        Variable("\xEF\xBB\xBF"
                                 "a"),
                        {1});
  SaveDelimited(source, folder.Path("bom.csv"));
  EXPECT_EQ(TextOf(*SystemFileDataSource::Open(folder.Path("bom.csv"))), TextOf(source));
}

TEST(SaveDelimited, OmitsLabelsMissingValuesAndUsesThatAVariableCannotHave) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, Variable("number"), {1});
  source.InsertVariable(1, Variable("text", 3), {"a"});
  for (const int i : {0, 1}) {
    source.GetVariable(i).SetValueLabels({{1.0, "one"}, {"a", "A"}, {kMissingNumber, "missing"}});
    source.GetVariable(i).SetMissingValues({{1.0, "a", kMissingNumber}});
  }
  source.SetWeightVar(1);
  source.SetFilterVar(1);
  SaveDelimited(source, folder.Path("a.csv"));
  source.SetWeightVar(-1);
  source.SetFilterVar(-1);
  source.GetVariable(0).SetValueLabels({{1.0, "one"}});
  source.GetVariable(0).SetMissingValues({{1.0}});
  source.GetVariable(1).SetValueLabels({{"a", "A"}});
  source.GetVariable(1).SetMissingValues({{"a"}});
  EXPECT_EQ(TextOf(*SystemFileDataSource::Open(folder.Path("a.csv"))), TextOf(source));
}

// --- Refusals and errors ---

constexpr const char* kOldData = "old\n1\n";

// Tries to save over an old file. Expects the error text, and that no file has changed.
template <class Exception>
void ExpectRefused(const ORVX_DataSource& source, const std::string& text) {
  const Folder folder;
  const std::string path = folder.Write("a.csv", kOldData);
  try {
    SaveDelimited(source, path);
    ADD_FAILURE() << "saved, but expected: " << text;
  } catch (const Exception& error) {
    EXPECT_EQ(std::string(error.what()), path + " cannot be saved: " + text);
  }
  EXPECT_EQ(BytesOf(path), kOldData);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.csv"});
}

TEST(SaveDelimited, RefusesASourceThatCannotBeReadBack) {
  const auto refused = [](const ORVX_DataSource& source, const std::string& text) {
    ExpectRefused<std::invalid_argument>(source, text);
  };
  refused(MemoryDataSource(), "the dictionary has no variables");

  MemoryDataSource source;
  source.InsertVariable(0, Variable("a", 8), {"x", "y"});
  source.InsertVariable(1, Variable("b"), {1, 2});
  source.SetValue(1, 0, std::string("z\0z", 3));
  refused(source, "the value of \"a\" in case 2 is not UTF-8 or has a zero byte");
  source.SetValue(1, 0, "\xFF");
  refused(source, "the value of \"a\" in case 2 is not UTF-8 or has a zero byte");
  source.SetValue(1, 0, "\xC3");
  refused(source, "the value of \"a\" in case 2 is not UTF-8 or has a zero byte");
  source.SetValue(1, 0, "");

  source.GetVariable(1).SetLabel("\xFF");
  refused(source, "variable 2 has a text that is not UTF-8");
  source.GetVariable(1).SetLabel("");
  source.GetVariable(1).SetName("");
  refused(source, "variable 2 has no name");
  source.GetVariable(1).SetName("a");
  refused(source, "several variables have the name \"a\"");
  source.GetVariable(1).SetName(std::string("b\0", 2));
  refused(source, "the name of variable 2 is not UTF-8 or has a zero byte");
  source.GetVariable(1).SetName("b");
  source.SetLabel("\xFF");
  refused(source, "the dataset has a text that is not UTF-8");
  source.SetLabel(nullptr);
  source.GetVariable(1).SetFormat({.width = -1});
  refused(source, "variable 2 has a format with a negative width or decimals");
  source.GetVariable(1).SetFormat({.width = 8, .decimals = -1});
  refused(source, "variable 2 has a format with a negative width or decimals");
  source.GetVariable(1).SetFormat({});
  const std::vector<int> split(9, 0);
  source.SetSplitOfAnySize(9, split.data(), false);
  refused(source, "9 variables split the file");
}

TEST(SaveDelimited, RefusesARecordThatCouldNotBeRead) {
  constexpr std::size_t kHalf = SystemFileDataSource::kMaxRecordBytes / 2;
  MemoryDataSource source;
  for (const int i : {0, 1}) {
    source.InsertVariable(i, Variable("v" + std::to_string(i), kHalf), {std::string(kHalf, 'x')});
  }
  ExpectRefused<std::invalid_argument>(source,
                                       "a record of " + std::to_string(2 * kHalf + 2) + " bytes");
}

TEST(SaveDelimited, ReportsErrorsOfTheFileSystem) {
  const Folder folder;
  const auto survey = Survey();
  const auto errorOf = [&](const std::string& path) -> std::string {
    try {
      SaveDelimited(*survey, path);
      return "no error";
    } catch (const DataFileError& error) {
      return std::string(error.what()).substr(path.size());
    }
  };
  EXPECT_EQ(errorOf(folder.Path("none/a.csv")), ": cannot be saved: No such file or directory");
  EXPECT_EQ(errorOf(folder.Path("")), ": not a regular file");
  std::filesystem::create_directory(folder.Path("a.schema.json"));
  EXPECT_THROW(SaveDelimited(*survey, folder.Path("a.csv")), DataFileError);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.schema.json"});
}

TEST(SaveDelimited, LeavesTheOldFileWhenTheDiskIsFull) {
  const Folder folder;
  const std::string path = folder.Write("a.csv", kOldData);
  MemoryDataSource source;
  source.InsertVariable(0, Variable("long", 100),
                        std::vector<std::string>(20000, std::string(90, 'x')));
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 1000000;
  auto* const handler = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(SaveDelimited(source, path), DataFileError);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(BytesOf(path), kOldData);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.csv"});
}

TEST(SaveDelimited, RefusesToReplaceAWriteProtectedFile) {
  const Folder folder;
  const std::string path = folder.Write("a.csv", kOldData);
  std::filesystem::permissions(path, std::filesystem::perms::owner_read);
  std::filesystem::permissions(folder.Path(""), std::filesystem::perms::all);
  const uid_t user = geteuid();
  if (user == 0) {
    ASSERT_EQ(setresuid(65534, 65534, 0), 0);
  }
  EXPECT_THROW(SaveDelimited(*Survey(), path), DataFileError);
  if (user == 0) {
    ASSERT_EQ(setresuid(0, 0, 0), 0);
  }
  EXPECT_EQ(BytesOf(path), kOldData);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.csv"});
}

TEST(SaveDelimited, KeepsThePermissionsOfAFile) {
  const Folder folder;
  const std::string path = folder.Write("a.csv", kOldData);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  SaveDelimited(*Survey(), path);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST(SaveDelimited, SavesToTheCurrentFolder) {
  const Folder folder;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path(""));
  SaveDelimited(*Survey(), "a.csv");
  std::filesystem::current_path(before);
  EXPECT_EQ(FilesIn(folder), (std::set<std::string>{"a.csv", "a.schema.json"}));
}

TEST(SaveDelimited, RefusesAFileThatIsNotRegular) {
  const Folder folder;
  ASSERT_EQ(mkfifo(folder.Path("a.csv").c_str(), 0600), 0);
  EXPECT_THROW(SaveDelimited(*Survey(), folder.Path("a.csv")), DataFileError);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.csv"});
}

TEST(SaveDelimited, ReplacesASymbolicLinkAndLeavesItsTarget) {
  const Folder folder;
  const std::string target = folder.Write("target", kOldData);
  std::filesystem::create_symlink(target, folder.Path("a.csv"));
  SaveDelimited(*Survey(), folder.Path("a.csv"));
  EXPECT_EQ(BytesOf(target), kOldData);
  EXPECT_FALSE(std::filesystem::is_symlink(folder.Path("a.csv")));
}

// --- Progress ---

TEST(SaveDelimited, ReportsTheBytesOfTheCasesWritten) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, Variable("a"), std::vector<double>(10000, 1.0));
  source.InsertVariable(1, Variable("b", 9), std::vector<std::string>(10000, "b"));
  const auto reports = [&](const ORVX_DataSource& saved) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
    SaveDelimited(saved, folder.Path("a.csv"), {}, [&](std::uint64_t done, std::uint64_t total) {
      calls.emplace_back(done, total);
      return true;
    });
    return calls;
  };
  EXPECT_THAT(reports(source), ElementsAre(Pair(0, 240000), Pair(98304, 240000),
                                           Pair(196608, 240000), Pair(240000, 240000)));
  FilteredDataSource selected(&source, source.GetVariable(0).GetID());
  selected.DeleteVariables(0, 0);
  EXPECT_THAT(reports(selected),
              ElementsAre(Pair(0, 0), Pair(65536, 0), Pair(131072, 0), Pair(160000, 160000)));
  PassedOn shorter(&source);
  shorter.DeleteVariables(1, 1);
  EXPECT_EQ(reports(shorter).back(), std::make_pair(std::uint64_t{240000}, std::uint64_t{0}));
}

TEST(SaveDelimited, RefusesToReplaceTheSchemaOfAnotherDataFile) {
  const Folder folder;
  MemoryDataSource source;
  source.InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "a"), {1, 2});
  folder.Write("two.csv.gz", "p,q\n1,2\n");
  EXPECT_THROW(SaveDelimited(source, folder.Path("two.tsv")), std::invalid_argument);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("two.schema.json")));
  folder.Write("three.pdf", "no data");
  SaveDelimited(source, folder.Path("three.csv"));
  SaveDelimited(source, folder.Path("three.csv"));
  EXPECT_THROW(SaveDelimited(source, folder.Path("three.schema.json")), std::invalid_argument);
}

TEST(SaveDelimited, LeavesOnlyTheOldFileIfProgressReturnsFalseOrThrows) {
  const Folder folder;
  const std::string path = folder.Write("a.csv", kOldData);
  MemoryDataSource source;
  source.InsertVariable(0, Variable("a"), std::vector<double>(10000, 1.0));
  for (const std::uint64_t last : {0U, 8 * 4096U, 8 * 10000U}) {
    EXPECT_THROW(SaveDelimited(source, path, {},
                               [&](std::uint64_t done, std::uint64_t) { return done < last; }),
                 GivenUp);
    EXPECT_THROW(SaveDelimited(source, path, {},
                               [&](std::uint64_t done, std::uint64_t) -> bool {
                                 if (done < last) return true;
                                 throw 7;
                               }),
                 int);
  }
  EXPECT_EQ(BytesOf(path), kOldData);
  EXPECT_EQ(FilesIn(folder), std::set<std::string>{"a.csv"});
}

// --- Random sources ---

std::string AnyText() {
  static const std::vector<std::string> kParts = {"a",
                                                  "0",
                                                  "7",
                                                  ",",
                                                  "\t",
                                                  ";",
                                                  "|",
                                                  "\"",
                                                  "\n",
                                                  "\r",
                                                  " ",
                                                  "\\",
                                                  "'",
                                                  "m\xC3\xBC",
                                                  "\xE2\x82\xAC",
                                                  "\xF0\x9F\x98\x80",
                                                  "\xEF\xBB\xBF",
                                                  "NA",
                                                  "NaN",
                                                  "INF",
                                                  "1e5",
                                                  "-1",
                                                  "2024-02-29",
                                                  "true",
                                                  "."};
  std::string text;
  for (int i = *rc::gen::inRange(0, 5); i > 0; --i) text += *rc::gen::elementOf(kParts);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

double AnyNumber() {
  const auto bits = *rc::gen::arbitrary<std::uint64_t>();
  switch (*rc::gen::inRange(0, 4)) {
    case 0:
      return std::bit_cast<double>(bits);
    case 1:
      return static_cast<double>(static_cast<std::int64_t>(bits) % 1000);
    case 2:
      return *rc::gen::element(0.0, -0.0, 0.1, 1e15, -1e15, 5e-324, 1.7976931348623157e308,
                               kInfinity, -kInfinity, kMissingNumber);
    default:
      return static_cast<double>(static_cast<std::int64_t>(bits) % 100000) / 100;
  }
}

double AnyNumberButNaN() {
  const double number = AnyNumber();
  return std::isnan(number) ? 0 : number;
}

VariableAttributes AnyAttributes() {
  VariableAttributes attributes;
  for (int i = *rc::gen::inRange(0, 3); i > 0; --i) {
    auto& values = attributes["name" + AnyText()];
    for (int count = *rc::gen::inRange(1, 3); count > 0; --count) values.push_back(AnyText());
  }
  return attributes;
}

DataValue AnyValueOf(int type) {
  if (type == 0) return AnyNumberButNaN();
  return AnyText();
}

ORVX_Variable AnyVariable(int position) {
  const int type = *rc::gen::element(0, 0, 40, 200);
  ORVX_Variable variable = Variable(AnyText() + std::to_string(position), type);
  variable.SetLabel(AnyText());
  variable.SetMeasurementLevel(*rc::gen::element(
      MeasurementLevel::Unknown, MeasurementLevel::Nominal, MeasurementLevel::Ordinal,
      MeasurementLevel::Interval, MeasurementLevel::Ratio));
  variable.SetFormat({*rc::gen::element(VariableFormat::Kind::Plain, VariableFormat::Kind::Date,
                                        VariableFormat::Kind::Time, VariableFormat::Kind::DateTime),
                      *rc::gen::inRange(0, 20), *rc::gen::inRange(0, 5)});
  ValueLabels labels;
  MissingValues missing;
  for (int i = *rc::gen::inRange(0, 3); i > 0; --i) {
    labels[AnyValueOf(type)] = "label" + AnyText();
    const DataValue value = AnyValueOf(type);
    if (type == 0 || !std::get<std::string>(value).empty()) missing.values.push_back(value);
  }
  variable.SetValueLabels(labels);
  variable.SetMissingValues(missing);
  variable.SetAttributes(AnyAttributes());
  return variable;
}

std::unique_ptr<MemoryDataSource> AnySource() {
  auto source = std::make_unique<MemoryDataSource>();
  const int columns = *rc::gen::inRange(1, 6);
  for (int i = 0; i < columns; ++i) source->MakeVariable(AnyVariable(i), nullptr);
  if (*rc::gen::arbitrary<bool>()) source->SetLabel(AnyText().c_str());
  const int weight = *rc::gen::inRange(-1, columns);
  const int filter = *rc::gen::inRange(-1, columns);
  const auto isNumeric = [&](int i) { return i == -1 || source->GetVariable(i).GetType() == 0; };
  if (isNumeric(weight)) source->SetWeightVar(weight);
  if (isNumeric(filter)) source->SetFilterVar(filter);
  const std::vector<int> split = {*rc::gen::inRange(0, columns)};
  source->SetSplit(*rc::gen::inRange(0U, 2U), split.data(), *rc::gen::arbitrary<bool>());
  DatasourceAttributes attributes;
  for (const auto& [name, values] : AnyAttributes()) attributes.Set(name, values);
  source->SetAttributes(attributes);

  for (int row = *rc::gen::inRange(0, 8); row > 0; --row) {
    std::vector<DataValue> values;
    for (int i = 0; i < columns; ++i) {
      const bool isNumber = source->GetVariable(i).GetType() == 0;
      values.push_back(isNumber ? DataValue(AnyNumber()) : DataValue(AnyText()));
    }
    source->AppendCase(values);
  }
  return source;
}

RC_GTEST_PROP(SaveDelimited, GivesAnySourceAgainWhenOpened, ()) {
  const Folder folder;
  const auto source = AnySource();
  const std::string path = folder.Path(*rc::gen::element<std::string>("a.csv", "a.tsv"));
  SaveDelimited(*source, path, {*rc::gen::element('\0', ',', '\t', ';', '|')});
  const auto again = SystemFileDataSource::Open(path);
  RC_ASSERT(TextOf(*again) == TextOf(*source));
}

}  // namespace
