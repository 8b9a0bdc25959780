// Tests of splitting a line into words.

#include <Arguments.h>
#include <CommandError.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using sdmsh::CommandError;
using sdmsh::ParseLine;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::string Complaint(const char* text) {
  try {
    ParseLine(text);
  } catch (const CommandError& error) {
    return error.what();
  }
  return "none";
}

TEST(Line, AnyBlanksSeparateWords) {
  EXPECT_THAT(ParseLine("  open\tsurvey.tsv  as survey \r").words,
              ElementsAre("open", "survey.tsv", "as", "survey"));
}

TEST(Line, WithoutWordsIsEmpty) {
  EXPECT_THAT(ParseLine("").words, IsEmpty());
  EXPECT_THAT(ParseLine(" \t ").words, IsEmpty());
}

TEST(Line, CommentEndsTheLine) {
  EXPECT_THAT(ParseLine("# all of it").words, IsEmpty());
  EXPECT_THAT(ParseLine("list # the rest").words, ElementsAre("list"));
}

TEST(Line, NumberSignInsideAWordDoesNotStartAComment) {
  EXPECT_THAT(ParseLine("label s v Q#1 \"# 2\"").words,
              ElementsAre("label", "s", "v", "Q#1", "# 2"));
}

TEST(Line, QuotedWordKeepsItsBlanks) {
  EXPECT_THAT(ParseLine("label s \"Wildlife Size\" \"\"").words,
              ElementsAre("label", "s", "Wildlife Size", ""));
}

TEST(Line, TwoQuotesInsideQuotesStandForOne) {
  EXPECT_THAT(ParseLine("label s v \"say \"\"yes\"\"\"").words,
              ElementsAre("label", "s", "v", "say \"yes\""));
}

TEST(Line, QuotesMayBePartOfAWord) {
  EXPECT_THAT(ParseLine("a\"b c\"d").words, ElementsAre("ab cd"));
}

TEST(Line, UnclosedQuoteIsRefused) {
  EXPECT_EQ(Complaint("label s v \"yes"), "expected a closing quote (\")");
  EXPECT_EQ(Complaint("label s v \"yes\"\""), "expected a closing quote (\")");
}

TEST(Line, MayBeginWithACaller) {
  const sdmsh::Line line = ParseLine(" @recode-2 write survey");
  EXPECT_EQ(line.caller, "recode-2");
  EXPECT_THAT(line.words, ElementsAre("write", "survey"));
}

TEST(Line, AtSignInALaterWordNamesNoCaller) {
  const sdmsh::Line line = ParseLine("write @survey");
  EXPECT_EQ(line.caller, "");
  EXPECT_THAT(line.words, ElementsAre("write", "@survey"));
}

TEST(Line, CallerNameMayHaveNonAsciiLetters) {
  EXPECT_EQ(ParseLine("@größe list").caller, "größe");
}

TEST(Line, CallerWithoutANameIsRefused) {
  EXPECT_THAT(Complaint("@ list"), HasSubstr("expected a caller"));
  EXPECT_THAT(Complaint("@a.b list"), HasSubstr("found \"a.b\""));
}

TEST(Line, CallerWithoutACommandIsRefused) {
  EXPECT_EQ(Complaint("@recode"), "expected a command after @recode");
  EXPECT_EQ(Complaint("@recode # later"), "expected a command after @recode");
}

}  // namespace
