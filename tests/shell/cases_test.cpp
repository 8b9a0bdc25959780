// Tests of the command that shows cases: which cases it shows, and how.

#include "ShellTest.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <Output.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <variant>
#include <vector>

namespace sdmsh {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// A source with one variable, x, and a case for each number. Counts the calls of Next().
class Numbers final : public ORVX_DataSource {
 public:
  explicit Numbers(std::vector<double> numbers) : numbers_(std::move(numbers)) {
    MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "x"), nullptr);
  }

  ObsIterator* MakeIterator(OBS* area) const override { return new Rows(*this, area); }
  long long RowCount() const override { return -1; }
  int Asked() const { return asked_; }

 private:
  class Rows final : public ObsIterator {
   public:
    Rows(const Numbers& source, OBS* area) : source_(source), area_(area) {}

    bool Next() override {
      ++source_.asked_;
      if (next_ == source_.numbers_.size()) return false;
      area_->number = source_.numbers_[next_++];
      return true;
    }

   private:
    const Numbers& source_;
    OBS* const area_;
    std::size_t next_ = 0;
  };

  const std::vector<double> numbers_;
  mutable int asked_ = 0;
};

class Cases : public ShellTest {
 protected:
  // The output of the commands, after `file` was opened as survey.
  std::string Said(const std::string& file, const std::string& commands) {
    return AfterFirstLine(AtPrompt("open " + file + " as survey\n" + commands));
  }
  std::string SaidInJson(const std::string& file, const std::string& commands) {
    return AfterFirstLine(InJson("open " + file + " as survey\n" + commands));
  }

  // The output of the commands for a dataset with these numbers.
  std::string SaidOf(const std::vector<double>& numbers, const std::string& commands) {
    AddNumbers(numbers);
    return Played(commands, {});
  }
  std::string SaidInJsonOf(const std::vector<double>& numbers, const std::string& commands) {
    AddNumbers(numbers);
    return Played(commands, {.json = true});
  }

  // How many rows the last call of SaidOf or SaidInJsonOf asked the source for.
  int Asked() const { return asked_; }

 private:
  static std::string AfterFirstLine(const std::string& text) {
    return text.substr(std::min(text.find('\n') + 1, text.size()));
  }

  void AddNumbers(const std::vector<double>& numbers) {
    source_ = new Numbers(numbers);
    id_ = Registry().Add(*source_, "", /*quiet=*/true);
  }

  std::string Played(const std::string& commands, const Look& look) {
    std::istringstream input(commands);
    std::ostringstream out;
    Output output(out, out, look);
    Shell shell(Registry(), output);
    shell.Adopt(id_, "survey");
    PlayInput(shell, input);
    asked_ = source_->Asked();
    return out.str();
  }

  Numbers* source_ = nullptr;  // the source of the dataset added last
  LocallyUniqueID id_;
  int asked_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Which cases are shown

TEST_F(Cases, AreAllShownByDefault) {
  EXPECT_EQ(Said(Path("abc.tsv"), "cases survey\n"),
            "      a  b  c\n"
            "   1  1  2  3\n"
            "   2  4  5  6\n");
}

TEST_F(Cases, AreLimitedByFromAndCount) {
  const std::vector<double> numbers = {10, 20, 30, 40};
  EXPECT_EQ(SaidOf(numbers, "cases survey from 2 count 2\n"),
            "       x\n"
            "   2  20\n"
            "   3  30\n"
            "more cases follow\n");
  EXPECT_EQ(SaidOf(numbers, "cases survey count 9 from 4\n"),
            "       x\n"
            "   4  40\n");
  EXPECT_EQ(SaidOf(numbers, "cases survey from 3 count 2\n"),
            "       x\n"
            "   3  30\n"
            "   4  40\n");
}

TEST_F(Cases, StartingAfterTheLastCaseShowsNone) {
  EXPECT_EQ(Said(Path("abc.tsv"), "cases survey from 3\n"), "survey has no cases from 3 on\n");
  EXPECT_EQ(Said(Path("abc.tsv"), "cases survey from 2147483647 count 1\n"),
            "survey has no cases from 2147483647 on\n");
  EXPECT_TRUE(WentWell());
}

TEST_F(Cases, ReadingStopsOneRowAfterTheLastShown) {
  SaidOf(std::vector<double>(100, 7), "cases survey from 3 count 2\n");
  EXPECT_EQ(Asked(), 5);  // one more row, to find out whether cases follow
}

TEST_F(Cases, DatasetWithoutCasesIsReportedAndIsNoError) {
  EXPECT_EQ(Said(WriteFile("none.tsv", "a\tb\n"), "cases survey\n"), "survey has no cases\n");
  EXPECT_EQ(AtPrompt("add-empty nix\ncases nix\ncases nix from 2\n"),
            "nix is open, without a data source\n"
            "nix has no data source\nnix has no data source\n");
  EXPECT_TRUE(WentWell());
}

TEST_F(Cases, AreNotShownIfReadingWouldHaveToWait) {
  EXPECT_THAT(AtPrompt(Open("survey") + "@w write survey\ncases survey\n"),
              HasSubstr("error: main would have to wait for the read lock on survey, held by w "
                        "(writing)\n"));
}

TEST_F(Cases, AreShownWithTheEditedDictionary) {
  EXPECT_THAT(Said(Path("abc.tsv"),
                   "write survey\nmove survey c to 1\ninsert survey x before b\n"
                   "delete survey a\nretype survey b string:3\ncases survey\n"),
              HasSubstr("\n"
                        "      c    x  b\n"
                        "   1  3  NaN  2\n"
                        "   2  6  NaN  5\n"));
}

// ---------------------------------------------------------------------------------------------
// How values are shown

TEST_F(Cases, NumbersAreRightAlignedAndTextIsLeftAligned) {
  const std::string file = WriteFile("t.tsv",
                                     "number\tname\tn\n"
                                     "1\tÖl\t0.1\n"
                                     "-1234567\tlonger\t\n"
                                     "\t\t1e300\n");
  EXPECT_EQ(Said(file, "cases survey\n"),
            "        number  name         n\n"
            "   1         1  Öl         0.1\n"
            "   2  -1234567  longer     NaN\n"
            "   3       NaN          1e+300\n");
}

TEST_F(Cases, NumbersPrintInTheirShortestExactForm) {
  EXPECT_EQ(SaidOf({0.1 + 0.2, 1.0 / 3, 100, -0.0, 5e-324}, "cases survey\n"),
            "                        x\n"
            "   1  0.30000000000000004\n"
            "   2   0.3333333333333333\n"
            "   3                  100\n"
            "   4                   -0\n"
            "   5               5e-324\n");
}

TEST_F(Cases, MissingNumbersPrintAsNaNAndInfinitiesAsInf) {
  const double inf = std::numeric_limits<double>::infinity();
  const double lowest = std::numeric_limits<double>::lowest();
  EXPECT_EQ(SaidOf({inf, -inf, lowest, kMissingNumber, -kMissingNumber}, "cases survey\n"),
            "                             x\n"
            "   1                       inf\n"
            "   2                      -inf\n"
            "   3  -1.7976931348623157e+308\n"
            "   4                       NaN\n"
            "   5                       NaN\n");
}

TEST_F(Cases, TextKeepsLeadingBlanksAndStaysOnOneLine) {
  const std::string file = WriteFile("t.tsv", "s\tn\n\"  two\nlines\x01\x7F \"\t1\n");
  EXPECT_EQ(Said(file, "cases survey\n"),
            "      s              n\n"
            "   1    two␊lines␁␡  1\n");
}

TEST_F(Cases, NamesOfVariablesStayOnOneLine) {
  const std::string file = WriteFile("t.tsv", "\"a\nb\"\t\x1B[2Jc\n1\t2\n");
  EXPECT_EQ(Said(file, "cases survey\nvariables survey\n"),
            "      a␊b  ␛[2Jc\n"
            "   1    1      2\n"
            "   1  a␊b    numeric  unknown\n"
            "   2  ␛[2Jc  numeric  unknown\n");
  EXPECT_THAT(SaidInJson(file, "cases survey\n"),
              HasSubstr(R"("variables":["a\nb","\u001b[2Jc"])"));
}

TEST_F(Cases, LabelsStayOnOneLine) {
  const std::string file = WriteFile("t.tsv", "a\n1\n");
  WriteFile("t.schema.json",
            R"({"title": "two\nlines", "fields": [{"name": "a", "title": "x\u2028y\u009Bz"}]})");
  const std::string text = Said(file,
                                "@v observe survey\nvariables survey\nshow survey\n"
                                "mirror survey\nwrite survey\nrelease\n");
  EXPECT_THAT(text, AllOf(HasSubstr("   1  a  numeric  unknown   x�y�z\n"),
                          HasSubstr("  label          \"two␊lines\"\n"),
                          HasSubstr("  label      \"two␊lines\"  "),
                          HasSubstr("  v: dataset label: \"two␊lines\"")));
}

TEST_F(Cases, ColumnOfCaseNumbersGrowsWithTheNumbers) {
  EXPECT_EQ(SaidOf(std::vector<double>(10001, 7), "cases survey from 9999\n"),
            "       x\n"
            " 9999  7\n"
            "10000  7\n"
            "10001  7\n");
}

TEST_F(Cases, WithoutVariablesAreStillNumbered) {
  EXPECT_THAT(Said(Path("abc.tsv"), "write survey\ndelete survey a b c\ncases survey\n"),
              HasSubstr("\n   1\n   2\n"));
}

// ---------------------------------------------------------------------------------------------
// Many cases

// A source that runs out of memory when its rows are read.
class Huge final : public ORVX_DataSource {
 public:
  ObsIterator* MakeIterator(OBS*) const override { throw std::bad_alloc(); }
  long long RowCount() const override { throw std::bad_alloc(); }
};

TEST_F(Cases, CommandThatRunsOutOfMemoryFailsAndTheShellContinues) {
  std::ostringstream out;
  Output output(out, out);
  Shell shell(Registry(), output);
  shell.Adopt(Registry().Add(*new Huge, "", /*quiet=*/true), "survey");
  std::istringstream input("cases survey\n@r cases survey\nlist\nvariables survey\n");
  EXPECT_FALSE(PlayInput(shell, input));
  EXPECT_EQ(out.str(),
            "error: not enough memory\n"
            "error: not enough memory\n"
            "survey (0:0), file none, free\n"
            "survey has no variables\n");
}

// Keeps the output, and records how many rows were read before the first output.
class FirstText final : public std::stringbuf {
 public:
  explicit FirstText(const Numbers& source) : source_(source) {}

  int AskedBefore() const { return asked_; }

 private:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    if (asked_ < 0) asked_ = source_.Asked();
    return std::stringbuf::xsputn(text, size);
  }

  const Numbers& source_;
  int asked_ = -1;  // rows read before the first output; -1 until then
};

class Streaming : public Cases, public testing::WithParamInterface<bool> {};

TEST_P(Streaming, PrintsCasesWhileReading) {
  auto* const source = new Numbers(std::vector<double>(1000, 7));
  const LocallyUniqueID id = Registry().Add(*source, "", /*quiet=*/true);
  FirstText text(*source);
  std::ostream out(&text);
  Output output(out, out, {.json = GetParam()});
  Shell shell(Registry(), output);
  shell.Adopt(id, "survey");
  shell.Execute("main", {"cases", "survey"});
  EXPECT_EQ(text.AskedBefore(), 201);
  EXPECT_EQ(source->Asked(), 1001);
}

INSTANTIATE_TEST_SUITE_P(WordsAndJson, Streaming, testing::Bool());

TEST_F(Cases, ArePrintedInPartsThatRepeatTheHeadingAndMayGetWider) {
  std::vector<double> numbers(201, 7);
  numbers.back() = 12345;
  const std::string text = SaidOf(numbers, "cases survey\n");
  EXPECT_THAT(text, HasSubstr(" 200  7\n          x\n 201  12345\n"));
  EXPECT_THAT(text, testing::StartsWith("      x\n   1  7\n"));
}

// ---------------------------------------------------------------------------------------------
// In JSON

TEST_F(Cases, EachPartIsAnEventInJson) {
  std::vector<double> numbers(201, 7);
  EXPECT_THAT(SaidInJsonOf(numbers, "cases survey\n"),
              AllOf(HasSubstr(R"([7.0]],"more":true})"
                              "\n"
                              R"({"event":"cases","dataset":"survey","hasDataSource":true,)"),
                    EndsWith(R"("from":201,"variables":["x"],"rows":[[7.0]],"more":false})"
                             "\n")));
}

TEST_F(Cases, AreArraysInJson) {
  const std::string file = WriteFile("t.tsv", "n\ts\n1.5\tx \n\t\n3\ty\n");
  EXPECT_EQ(SaidInJson(file, "cases survey count 2\ncases survey from 3\ncases survey from 4\n"),
            R"({"event":"cases","dataset":"survey","hasDataSource":true,"from":1,)"
            R"("variables":["n","s"],"rows":[[1.5,"x"],[null,""]],"more":true})"
            "\n"
            R"({"event":"cases","dataset":"survey","hasDataSource":true,"from":3,)"
            R"("variables":["n","s"],"rows":[[3.0,"y"]],"more":false})"
            "\n"
            R"({"event":"cases","dataset":"survey","hasDataSource":true,"from":4,)"
            R"("variables":["n","s"],"rows":[],"more":false})"
            "\n");
}

TEST_F(Cases, MissingNumbersAreNullAndInfinitiesAreStringsInJson) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_THAT(SaidInJsonOf({inf, -inf, kMissingNumber}, "cases survey\n"),
              HasSubstr(R"("rows":[["Infinity"],["-Infinity"],[null]])"));
}

TEST_F(Cases, JsonReportsAMissingDataSource) {
  EXPECT_THAT(InJson("add-empty nix\ncases nix\n"),
              EndsWith(R"({"event":"cases","dataset":"nix","hasDataSource":false,"from":1,)"
                       R"("variables":[],"rows":[],"more":false})"
                       "\n"));
}

}  // namespace
}  // namespace sdmsh
