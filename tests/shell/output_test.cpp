// Tests of the output: tables that fit the terminal, the order of notices, colour, lines of JSON,
// events lost for lack of memory, visible control characters, and the progress bar.

#include <Commands.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <Output.h>

#include <sstream>
#include <string>

namespace sdmsh {
namespace {

class Printed : public testing::Test {
 protected:
  // A table of two cases, each with a number, a text and a number. One text has wide characters.
  std::string TableText(const Look& look) {
    Output output(out, err, look);
    Table table({{.head = "", .right = true, .width = 4},
                 {.head = "age", .right = true},
                 {.head = "name"},
                 {.head = "income", .right = true}});
    table.Add({"1", "36", "日本", "7"});
    table.Add({"2", "5", "abc", "11"});
    return table.TakeText(output);
  }

  std::ostringstream out;
  std::ostringstream err;
};

TEST_F(Printed, TablesAlignWideCharacters) {
  EXPECT_EQ(TableText({}),
            "      age  name  income\n"
            "   1   36  日本       7\n"
            "   2    5  abc       11");
}

TEST_F(Printed, WidthCountsColumnsOfTheTerminal) {
  EXPECT_EQ(Width("e\u0301"), 1u);
  EXPECT_EQ(Width("日本"), 4u);
  EXPECT_EQ(Width("Öl \xC2"), 4u);
}

TEST_F(Printed, WrappedTextCountsColumnsOfTheTerminal) {
  EXPECT_EQ(Wrapped("äöü äöü äöü", 7, 0), "äöü äöü\näöü");
  EXPECT_EQ(Wrapped("日本 日本", 8, 2), "日本\n  日本");
}

TEST_F(Printed, WideTablesAreSplitIntoBlocksOfColumns) {
  const std::string inTwo =
      "      age  name\n"
      "   1   36  日本\n"
      "   2    5  abc\n"
      "      income\n"
      "   1       7\n"
      "   2      11";
  EXPECT_EQ(TableText({.width = 22}), inTwo);
  EXPECT_EQ(TableText({.width = 15}), inTwo);
  EXPECT_NE(TableText({.width = 14}), inTwo);
  EXPECT_EQ(TableText({.width = 23}), TableText({}));
}

TEST_F(Printed, ColumnWiderThanTheTerminalHasItsOwnBlock) {
  EXPECT_EQ(TableText({.width = 1}),
            "      age\n"
            "   1   36\n"
            "   2    5\n"
            "      name\n"
            "   1  日本\n"
            "   2  abc\n"
            "      income\n"
            "   1       7\n"
            "   2      11");
}

TEST_F(Printed, ColumnsNeverGetNarrower) {
  Output output(out, err);
  Table table({{.head = "x"}, {.head = "y"}});
  table.Add({"long", "1"});
  EXPECT_EQ(table.TakeText(output), "x     y\nlong  1");
  table.Add({"a", "longer"});
  EXPECT_EQ(table.TakeText(output), "x     y\na     longer");
}

TEST_F(Printed, HeadingsAreBoldAndErrorsRedWithColour) {
  EXPECT_THAT(TableText({.colour = true}),
              testing::StartsWith("\x1B[1m      age  name  income\x1B[0m\n   1   36"));
  Output(out, err, {.colour = true}).Fail("", 0, "plain");
  Output(out, err, {.colourErrors = true}).Fail("a.sdm", 3, "red");
  EXPECT_EQ(err.str(), "error: plain\n\x1B[31ma.sdm:3: red\x1B[0m\n");
}

TEST_F(Printed, NoticesFollowTheEventThatCausedThem) {
  Output output(out, err);
  const auto none = []() -> Json { return nullptr; };
  output.Notice("  v: first", none);
  output.Notice("  w: second", none);
  output.Say("released", none);
  output.Say("next", none);
  EXPECT_EQ(out.str(), "released\n  v: first\n  w: second\nnext\n");
}

TEST_F(Printed, JsonIsOneLineAndNullPrintsNothing) {
  Output output(out, err, {.json = true});
  output.Say("words", []() -> Json { return nullptr; });
  output.Say("words", []() -> Json { return {{"event", "a"}, {"text", "line\nbreak \xFF"}}; });
  output.Fail("a.sdm", 3, "wrong");
  EXPECT_EQ(out.str(),
            "{\"event\":\"a\",\"text\":\"line\\nbreak \uFFFD\"}\n"
            "{\"event\":\"error\",\"text\":\"wrong\",\"file\":\"a.sdm\",\"line\":3}\n");
  EXPECT_EQ(err.str(), "");
}

TEST_F(Printed, TakeLossReportsOnceThatAnEventWasLostForLackOfMemory) {
  Output output(out, err);
  output.Say([]() -> std::string { throw std::bad_alloc(); }, []() -> Json { return nullptr; });
  EXPECT_TRUE(output.TakeLoss());
  EXPECT_FALSE(output.TakeLoss());
}

TEST(OnOneLine, ReplacesOnlyControlCharacters) {
  EXPECT_EQ(OnOneLine(std::string("\0\t\x1F \x7F~", 6)), "␀␉␟ ␡~");
  EXPECT_EQ(OnOneLine("a\u0080b\u009Fc\u00A0d\u2027\u2028\u2029\u202A"),
            "a\uFFFDb\uFFFDc\u00A0d\u2027\uFFFD\uFFFD\u202A");
  EXPECT_EQ(OnOneLine("Öl \xC2"), "Öl \xC2");
  EXPECT_EQ(OnOneLine("\x9B\xE2\x80"), "\x9B\xE2\x80");
}

// ---------------------------------------------------------------------------------------------
// Progress

TEST(Joined, HasASeparatorAfterEachTextButTheLastEvenIfTextsAreEmpty) {
  EXPECT_EQ(Joined({"", "", "a", ""}), ", , a, ");
  EXPECT_EQ(Joined({"a"}, "\n"), "a");
  EXPECT_EQ(Joined({}), "");
}

std::string Shown(const Look& look, std::uint64_t done, std::uint64_t total,
                  std::chrono::milliseconds delay) {
  std::ostringstream out;
  Output output(out, out, look);
  {
    ProgressBar bar(output, delay);
    EXPECT_TRUE(bar(done, total));
  }
  return out.str();
}

TEST(ProgressBar, IsDrawnAtATerminalAndRemovedAtTheEnd) {
  const std::string bar = Shown({.width = 80}, 1, 4, std::chrono::milliseconds(0));
  EXPECT_EQ(bar.substr(0, bar.find('%') + 1), "\r██████████░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░ 25 %");
  EXPECT_EQ(bar.substr(bar.find('%') + 1), "\r\x1B[K");
}

TEST(ProgressBar, IsFullIfMoreWasDoneThanExpected) {
  EXPECT_THAT(Shown({.width = 80}, 9, 4, std::chrono::milliseconds(0)),
              testing::HasSubstr("█ 100 %"));
}

TEST(ProgressBar, IsNotDrawnForAShortCommandOrAnUnknownTotalOrWithoutATerminal) {
  EXPECT_EQ(Shown({.width = 80}, 1, 4, std::chrono::hours(1)), "");
  EXPECT_EQ(Shown({.width = 80}, 1, 0, std::chrono::milliseconds(0)), "");
  EXPECT_EQ(Shown({}, 1, 4, std::chrono::milliseconds(0)), "");
  EXPECT_EQ(Shown({.json = true, .width = 80}, 1, 4, std::chrono::milliseconds(0)), "");
}

}  // namespace
}  // namespace sdmsh
