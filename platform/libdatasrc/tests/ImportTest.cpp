// What opening a file of delimited text decides: its layout, the types of its columns, missing
// values, and the report.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <utility>

#include "Files.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Reason = ImportReport::Reason;
using Type = ImportReport::Type;

class Import : public testing::Test {
 protected:
  std::unique_ptr<SystemFileDataSource> Open(std::string_view text,
                                             const ImportOptions& options = {}) const {
    return SystemFileDataSource::Open(folder.Write("data.csv", text), options);
  }
  // The report on the only column of a file with these fields.
  ImportReport::Variable ReportOn(std::initializer_list<std::string_view> fields) const {
    std::string text = "a\n";
    for (const std::string_view field : fields) text.append(field).append("\n");
    return Open(text)->Report().variables.front();
  }
  Type TypeOf(std::initializer_list<std::string_view> fields) const {
    return ReportOn(fields).type;
  }

  Folder folder;
};

// --- Layout ---

TEST_F(Import, FindsTheDelimiterThatGivesEveryRecordTheSameNumberOfFields) {
  const auto delimiterOf = [this](std::string_view text) { return Open(text)->Report().delimiter; };

  EXPECT_EQ(delimiterOf("a,b\n1,2\n"), ',');
  EXPECT_EQ(delimiterOf("a\tb\n1\t2\n"), '\t');
  EXPECT_EQ(delimiterOf("a;b\n1,5;2,5\n"), ';');
  EXPECT_EQ(delimiterOf("a|b\n1;2|3;4\n"), '|');
  EXPECT_EQ(delimiterOf("a b\nx 1\n"), ' ');
  EXPECT_EQ(delimiterOf("a,b;c\n1;2\n3;4\n"), ';');
  EXPECT_EQ(delimiterOf("\"a;;\",b\n1,\"2;;;\n;\"\n"), ',');
  EXPECT_EQ(delimiterOf("a\n1\n"), ',');
}

TEST_F(Import, WordsAreNotSplitAtSpaces) {
  EXPECT_EQ(Open("full name\nJohn Smith\nMary Jones\n")->ColumnCount(), 1);
  EXPECT_EQ(Open("room\nRoom 1\n")->ColumnCount(), 1);
  EXPECT_EQ(Open("a b,c d\n1 2,3 4\n")->ColumnCount(), 2);
}

TEST_F(Import, FindsADecimalCommaUnlessItMaySeparateThousands) {
  const auto markOf = [this](std::string_view text) { return Open(text)->Report().decimalMark; };

  EXPECT_EQ(markOf("a;b\n1,5;x\n"), ',');
  EXPECT_EQ(markOf("a;b\n\"-0,125\";x\n"), ',');
  EXPECT_EQ(markOf("a;b\n1.5;x\n"), '.');
  EXPECT_EQ(markOf("a;b\n1,234;x\n"), '.');
  EXPECT_EQ(markOf("a;b\n1;x\n"), '.');
  EXPECT_EQ(markOf("a,b\n\"1,5\",x\n"), '.');
}

TEST_F(Import, ReadsNumbersWithADecimalComma) {
  EXPECT_THAT(Rows(*Open("a;b\n1,5;-2\n,25;123456,7890123\n+3,;1e3\n")),
              ElementsAre("1.5 -2", "0.25 123457", "3 1000"));
  EXPECT_EQ(TypeOf({"\"1,5\""}), Type::Text);
}

TEST_F(Import, OptionsOverrideTheDetectedLayout) {
  ImportOptions options;
  options.delimiter = ';';
  options.decimalMark = ',';
  EXPECT_THAT(Rows(*Open("a,b;c,d\n1,5;2\n", options)), ElementsAre("1.5 2"));
  options.decimalMark = '.';
  EXPECT_THAT(Rows(*Open("a,b;c,d\n1,5;2\n", options)), ElementsAre("[1,5     ] 2"));
}

TEST_F(Import, ImpossibleOptionsAreRejected) {
  ImportOptions options;
  options.delimiter = '"';
  EXPECT_THROW(Open("a\n", options), std::invalid_argument);
  options.delimiter = ',';
  options.decimalMark = ',';
  EXPECT_THROW(Open("a\n", options), std::invalid_argument);
  options.delimiter.reset();
  options.decimalMark = ';';
  EXPECT_THROW(Open("a\n", options), std::invalid_argument);
}

TEST_F(Import, AChosenDecimalCommaRulesOutTheDelimiterComma) {
  ImportOptions options;
  options.decimalMark = ',';
  EXPECT_THAT(Rows(*Open("a,b;c\n1,5;2\n", options)), ElementsAre("1.5 2"));
}

TEST_F(Import, ReadsTextInTheEncodingOfTheOptions) {
  ImportOptions options;
  options.encoding = "ISO-8859-1";
  const auto source = Open("a\nM\xFCnchen\n", options);

  EXPECT_THAT(Rows(*source), ElementsAre("[M\xC3\xBCnchen]"));
  EXPECT_EQ(source->Report().encoding, "ISO-8859-1");
}

TEST_F(Import, AnUnknownEncodingAndTextInAnotherEncodingAreRejected) {
  const auto errorIn = [this](const std::string& encoding) -> std::string {
    ImportOptions options;
    options.encoding = encoding;
    try {
      Open("a\nM\xFCnchen\n", options);
    } catch (const DataFileError& error) {
      return std::string(error.what()).substr(folder.Path("").size());
    }
    return "opened";
  };
  EXPECT_EQ(errorIn("no-such-encoding"), "data.csv: unknown encoding 'no-such-encoding'");
  EXPECT_EQ(errorIn("US-ASCII"), "data.csv:2:2: not US-ASCII");
}

// --- Types ---

TEST_F(Import, NumbersWithLeadingZerosAreText) {
  for (const char* const text : {"007", "00", "-01", "+00.5", "01e5", " 007 "}) {
    const ImportReport::Variable report = ReportOn({"1", text});
    EXPECT_EQ(report.type, Type::Text) << text;
    EXPECT_EQ(report.reason, Reason::LeadingZero) << text;
    EXPECT_EQ(report.line, 3) << text;
  }
  EXPECT_EQ(TypeOf({"0", "0.5", "-0", ".0", "0e5", "100"}), Type::Number);
}

TEST_F(Import, WholeNumbersThatADoubleMayNotHoldAreText) {
  for (const char* const text :
       {"9007199254740993", "-9007199254740993", "10000000000000000000000"}) {
    const ImportReport::Variable report = ReportOn({text, "1"});
    EXPECT_EQ(report.type, Type::Text) << text;
    EXPECT_EQ(report.reason, Reason::LargeNumber) << text;
  }
  EXPECT_EQ(TypeOf({"9007199254740992", "-9007199254740992", "9007199254740993.0", "1e300"}),
            Type::Number);
}

TEST_F(Import, TheSchemaTypeNumberAllowsLeadingZerosAndLargeNumbers) {
  folder.Write("data.schema.json", R"({"fields": [{"name": "a", "type": "number"}]})");

  EXPECT_THAT(Rows(*Open("a\n007\n0010000000000000000000000\n")), ElementsAre("7", "1e+22"));
  EXPECT_EQ(Open("a\n007\n")->Report().variables[0].reason, Reason::Schema);
}

TEST_F(Import, DatesAreDateValuesWithTheirFormat) {
  const auto source =
      Open("a,b\n1970-01-02,1970-01-01T00:01:00Z\n, \n 1970-01-01,1970-01-01 01:00\n");

  EXPECT_THAT(Rows(*source), ElementsAre("86400 60", ". .", "0 3600"));
  EXPECT_EQ(source->GetVariable(0).GetFormat().kind, VariableFormat::Kind::Date);
  EXPECT_EQ(source->GetVariable(1).GetFormat().kind, VariableFormat::Kind::DateTime);
  EXPECT_EQ(source->GetVariable(0).GetMeasurementLevel(), MeasurementLevel::Interval);
}

TEST_F(Import, OnlyDatesThatExistAreDates) {
  EXPECT_EQ(TypeOf({"2024-02-29", "2023-02-29"}), Type::Text);
  EXPECT_EQ(TypeOf({"2024-02-29", "2024-02-29T10:00"}), Type::Text);
  EXPECT_EQ(TypeOf({"29.02.2024"}), Type::Text);
}

TEST_F(Import, TruthValuesAreLabelledNumbers) {
  const auto source = Open("a\ntrue\nFALSE\n\n");

  EXPECT_THAT(Rows(*source), ElementsAre("1", "0", "."));
  EXPECT_EQ(source->GetVariable(0).GetValueLabels(), (ValueLabels{{0.0, "false"}, {1.0, "true"}}));
  EXPECT_EQ(source->GetVariable(0).GetMeasurementLevel(), MeasurementLevel::Nominal);
  EXPECT_EQ(TypeOf({"true", "1"}), Type::Text);
}

TEST_F(Import, TheWordsForMissingValuesAreMissingInEveryColumn) {
  const auto source = Open("a,b,c\n1,x,NA\nNA,null,\"NaN\"\nnull,.,2\n.,,3\n,NaN,na\n");

  EXPECT_EQ(source->GetVariable(0).GetType(), 0);
  EXPECT_EQ(source->GetVariable(2).GetType(), 2);
  EXPECT_THAT(Rows(*source), ElementsAre("1 [x       ] [        ]", ". [        ] [        ]",
                                         ". [        ] [2       ]", ". [        ] [3       ]",
                                         ". [        ] [na      ]"));
}

TEST_F(Import, OptionsReplaceTheWordsForMissingValues) {
  ImportOptions options;
  options.missing = {"-9", "x"};

  EXPECT_THAT(Rows(*Open("a,b,c\n1,NA,x\n-9,x,-9\n,,\n", options)),
              ElementsAre("1 [NA      ] .", ". [        ] .", ". [        ] ."));
}

// --- Types decided after the start of the file ---

std::string Repeated(std::string_view line, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += line;
  return text;
}

TEST_F(Import, AColumnBecomesTextFromTheStartIfALateValueRefutesItsType) {
  const std::string text = "a,b,c,d,e\n" + Repeated("01.50,1,2024-01-31,true,1\n", 1) +
                           Repeated("1.50,1,2024-01-31,true,1\n", 50000) + "x,007,never,maybe,1\n" +
                           Repeated(" 2 ,NA,2024-01-31,false,1\n", 50000);
  const auto source = Open(text);
  const std::vector<std::string> rows = Rows(*source);

  ASSERT_EQ(rows.size(), 100002U);
  EXPECT_EQ(rows[0], "[01.50   ] [1       ] [2024-01-31      ] [true    ] 1");
  EXPECT_EQ(rows[50001], "[x       ] [007     ] [never           ] [maybe   ] 1");
  EXPECT_EQ(rows[100001], "[ 2      ] [        ] [2024-01-31      ] [false   ] 1");
  EXPECT_EQ(source->Report().variables[1].line, 50003);
  EXPECT_EQ(source->Report().variables[1].value, "007");
  EXPECT_EQ(source->Report().variables[1].missing.front().count, 50000U);
  EXPECT_EQ(source->GetVariable(1).GetType(), 3);
}

TEST_F(Import, AColumnWithoutValuesAtTheStartTakesItsTypeLater) {
  const std::string text = "a,b,c\n" + Repeated(",,1\n", 100000) + "x,2024-01-31,1\n,,1\n";
  const auto source = Open(text);
  const std::vector<std::string> rows = Rows(*source);

  EXPECT_EQ(rows[0], "[        ] . 1");
  EXPECT_EQ(rows[100000], "[x       ] 1.70666e+09 1");
  EXPECT_EQ(rows[100001], "[        ] . 1");
  EXPECT_EQ(source->Report().variables[0].line, 100002);
  EXPECT_EQ(source->Report().variables[0].missing.front().count, 100001U);
}

TEST_F(Import, BlankFieldsBeforeALateTextAreValues) {
  for (const int rows : {10, 60000}) {
    const std::string text = "a,b\n" + Repeated(" \t,1\n", rows) + ",1\nx,1\n";
    const auto source = Open(text);

    EXPECT_EQ(Rows(*source).front(), "[ \t      ] 1") << rows;
    EXPECT_EQ(source->GetVariable(0).GetType(), 2) << rows;
    const ImportReport::Variable variable = source->Report().variables[0];
    EXPECT_EQ(variable.value, "x");
    EXPECT_EQ(variable.line, rows + 3);
    ASSERT_EQ(variable.missing.size(), 1U);
    EXPECT_EQ(variable.missing.front().count, 1U) << rows;
  }
}

// --- Progress ---

TEST_F(Import, ProgressCountsTheBytesOfTheFile) {
  const std::string path = folder.Write("data.csv", "a,b\n" + Repeated("1,2\n", 200000));
  const std::uint64_t size = std::filesystem::file_size(path);
  std::uint64_t last = 0;
  int calls = 0;
  SystemFileDataSource::Open(path, {}, [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_EQ(total, size);
    EXPECT_GE(done, last);
    last = done;
    ++calls;
    return true;
  });

  EXPECT_EQ(last, size);
  EXPECT_GT(calls, 1);
}

TEST_F(Import, ProgressCountsTheSecondReadingToo) {
  const std::string path = folder.Write("data.csv", "a\n" + Repeated("1\n", 200000) + "x\n");
  std::uint64_t last = 0;
  std::uint64_t lastTotal = 0;
  SystemFileDataSource::Open(path, {}, [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_GE(done, last);
    last = done;
    lastTotal = total;
    return true;
  });

  EXPECT_EQ(last, 2 * std::filesystem::file_size(path));
  EXPECT_EQ(lastTotal, last);
}

TEST_F(Import, OpeningThrowsGivenUpIfProgressReturnsFalse) {
  const std::string path = folder.Write("data.csv", "a\n" + Repeated("1\n", 500000));
  int calls = 0;
  const auto answer = [&](std::uint64_t, std::uint64_t) { return ++calls < 2; };

  EXPECT_THROW(SystemFileDataSource::Open(path, {}, answer), GivenUp);
  EXPECT_EQ(calls, 2);
}

TEST_F(Import, AFileThatIsReplacedBeforeTheSecondReadingIsRejected) {
  const std::string path = folder.Write("data.csv", "a,b\n" + Repeated("1,1\n", 200000) + "x,1\n");
  const std::uint64_t size = std::filesystem::file_size(path);
  bool isReplaced = false;
  const auto replace = [&](std::uint64_t, std::uint64_t total) {
    if (total == size || std::exchange(isReplaced, true)) return true;
    folder.Write("new.csv", "a,b\n" + Repeated("2,2\n", 200000) + "y,2\n");
    const auto oneMinute = std::chrono::minutes(1);
    std::filesystem::last_write_time(folder.Path("new.csv"),
                                     std::filesystem::last_write_time(path) + oneMinute);
    std::filesystem::rename(folder.Path("new.csv"), path);
    return true;
  };

  try {
    SystemFileDataSource::Open(path, {}, replace);
    FAIL() << "opened";
  } catch (const DataFileError& error) {
    EXPECT_THAT(error.what(), HasSubstr("changed while it was read"));
  }
  EXPECT_TRUE(isReplaced);
}

// --- The report ---

TEST_F(Import, TheReportHasTheLayoutAndTheNumberOfRows) {
  const ImportReport report = Open("a;b\n1,5;2\n\n3;4\n")->Report();

  EXPECT_EQ(report.delimiter, ';');
  EXPECT_EQ(report.decimalMark, ',');
  EXPECT_EQ(report.encoding, "UTF-8");
  EXPECT_EQ(report.rows, 2U);
  ASSERT_EQ(report.variables.size(), 2U);
  EXPECT_EQ(report.variables[1].name, "b");
}

TEST_F(Import, TheReportHasTheValueThatDecidedATypeAndItsLine) {
  const ImportReport report =
      Open("a,b,c,d,e\n\"\n\",,1,,2024-01-31\n,x,\"2\n\",,2024-02-30\n,,,,\n")->Report();

  const auto text = [&](std::size_t i) {
    const ImportReport::Variable& variable = report.variables[i];
    return variable.value + " in " + std::to_string(variable.line);
  };
  EXPECT_EQ(text(0), "  in 2");
  EXPECT_EQ(report.variables[0].reason, Reason::OtherValue);
  EXPECT_EQ(text(1), "x in 4");
  EXPECT_EQ(text(2), "2  in 4");
  EXPECT_EQ(report.variables[3].reason, Reason::NoValues);
  EXPECT_EQ(report.variables[3].line, 0);
  EXPECT_EQ(text(4), "2024-02-30 in 5");
}

TEST_F(Import, TheReportCountsMissingValuesByWord) {
  const ImportReport report = Open("a,b\n,1\nNA,2\n  ,3\nNA,4\n1,5\n")->Report();

  ASSERT_EQ(report.variables[0].missing.size(), 2U);
  EXPECT_EQ(report.variables[0].missing[0].word, "");
  EXPECT_EQ(report.variables[0].missing[0].count, 2U);
  EXPECT_EQ(report.variables[0].missing[1].word, "NA");
  EXPECT_EQ(report.variables[0].missing[1].count, 2U);
  EXPECT_TRUE(report.variables[1].missing.empty());
}

TEST_F(Import, TheReportCountsNaNOfTheSchemaTypeNumberAsMissing) {
  folder.Write("data.schema.json", R"({"fields": [{"name": "a", "type": "number"}]})");
  const ImportReport::Variable variable = Open("a\nNaN\nnan\n\n1\n")->Report().variables[0];

  EXPECT_EQ(variable.value, "1");
  EXPECT_EQ(variable.line, 5);
  ASSERT_EQ(variable.missing.size(), 2U);
  EXPECT_EQ(variable.missing[0].word, "");
  EXPECT_EQ(variable.missing[1].word, "NaN");
  EXPECT_EQ(variable.missing[1].count, 2U);
}

TEST_F(Import, TheReportDescribesEachVariableOnOneLine) {
  ImportOptions options;
  options.missing = {"not\nasked"};

  EXPECT_THAT(Open("\"one\ntwo\"\n\"not\nasked\"\n\"x\ny\"\n", options)->Report().Text(),
              testing::EndsWith("\none two: text, because 'x y' in line 5 does not have another "
                                "type that all values share. Missing values: 1 'not asked'.\n"));
}

TEST_F(Import, TheReportIsFormattedAsText) {
  EXPECT_EQ(Open("code,n,when\n1,,2024-01-31\n007,NA,\n2,,\n")->Report().Text(),
            "3 rows and 3 variables. The delimiter is a comma, the decimal mark is a point, the "
            "encoding is UTF-8.\n"
            "code: text, because '007' in line 3 is a number with a leading zero. No missing "
            "values.\n"
            "n: number, because it has no values. Missing values: 2 empty, 1 'NA'.\n"
            "when: date, like its first value '2024-01-31' in line 2. Missing values: 2 empty.\n");
}

TEST_F(Import, TheReportIsFormattedAsJson) {
  EXPECT_EQ(Open("code;n\n1;\n007;NA\n")->Report().Json(),
            R"({"delimiter":";","decimalMark":".","encoding":"UTF-8","rows":2,"variables":[)"
            R"({"name":"code","type":"text","reason":"leadingZero","value":"007","line":3,)"
            R"("missing":[]},)"
            R"({"name":"n","type":"number","reason":"noValues","value":"","line":null,)"
            R"("missing":[{"word":"","count":1},{"word":"NA","count":1}]}]})");
}

TEST_F(Import, EachTypeAndReasonHasAWordInJson) {
  const auto json = [](Type type, Reason reason) {
    ImportReport report;
    report.variables.resize(1);
    report.variables[0].type = type;
    report.variables[0].reason = reason;
    return report.Json();
  };
  using testing::HasSubstr;
  EXPECT_THAT(json(Type::Number, Reason::NoValues), HasSubstr(R"("number","reason":"noValues")"));
  EXPECT_THAT(json(Type::Boolean, Reason::EveryValue),
              HasSubstr(R"("boolean","reason":"everyValue")"));
  EXPECT_THAT(json(Type::Date, Reason::Schema), HasSubstr(R"("date","reason":"schema")"));
  EXPECT_THAT(json(Type::DateTime, Reason::OtherValue),
              HasSubstr(R"("datetime","reason":"otherValue")"));
  EXPECT_THAT(json(Type::Time, Reason::LeadingZero), HasSubstr(R"("time","reason":"leadingZero")"));
  EXPECT_THAT(json(Type::Text, Reason::LargeNumber), HasSubstr(R"("text","reason":"largeNumber")"));
}

TEST_F(Import, BytesThatAreNotUtf8AreReplacedInJson) {
  ImportReport report;
  report.encoding = "\xFF";
  EXPECT_THAT(report.Json(), testing::HasSubstr("\"encoding\":\"\uFFFD\""));
}

TEST_F(Import, LinesInTheReportCountEmptyLinesAndLineEndsInQuotes) {
  EXPECT_EQ(Open("a,b\n1,2\n3,x\n")->Report().variables[1].line, 3);
  EXPECT_EQ(Open("a,b\n1,2\n3,x")->Report().variables[1].line, 3);
  EXPECT_EQ(Open("a,b\n\n1,2\n\n3,x\n")->Report().variables[1].line, 5);
  EXPECT_EQ(Open("a,b\n\"p\nq\",2\n3,x\n")->Report().variables[1].line, 4);
  EXPECT_EQ(Open("a,b\n\"p\nq\",2\n3,x")->Report().variables[1].line, 4);
  EXPECT_EQ(Open("a,b\n\"p\nq\",x")->Report().variables[1].line, 3);
}

}  // namespace
