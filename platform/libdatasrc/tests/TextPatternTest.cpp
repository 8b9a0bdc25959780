// Regular expressions of XML Schema.

#include <gtest/gtest.h>
#include <libdatasrc/internal/TextPattern.h>

#include <initializer_list>
#include <stdexcept>
#include <string>

namespace {

using sdm_internal::TextPattern;

using Texts = std::initializer_list<const char*>;

void ExpectMatches(const char* pattern, Texts yes, Texts no) {
  const TextPattern compiled(pattern);
  for (const char* const text : yes) EXPECT_TRUE(compiled.Matches(text)) << pattern << ' ' << text;
  for (const char* const text : no) EXPECT_FALSE(compiled.Matches(text)) << pattern << ' ' << text;
}

std::string ReasonAgainst(const std::string& pattern) {
  try {
    TextPattern compiled(pattern);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST(TextPattern, APatternMatchesOnlyTheWholeText) {
  ExpectMatches("abc", {"abc"}, {"", "ab", "abcd", "xabc", "ABC"});
  ExpectMatches("", {""}, {"a"});
  ExpectMatches("^abc$", {"abc"}, {"ab", "abcd"});
}

TEST(TextPattern, APointMatchesOneCharacterButNoLineEnd) {
  ExpectMatches("a.c",
                {"abc", "a.c",
                 "a\xC3\xBC"
                 "c",
                 "a\xF0\x9F\x98\x80"
                 "c"},
                {"ac", "abbc", "a\nc", "a\rc"});
}

TEST(TextPattern, QuantifiersSetTheNumberOfRepetitions) {
  ExpectMatches("ab?c", {"ac", "abc"}, {"abbc"});
  ExpectMatches("ab*c", {"ac", "abc", "abbbc"}, {"adc"});
  ExpectMatches("ab+c", {"abc", "abbbc"}, {"ac"});
  ExpectMatches("a{2}", {"aa"}, {"a", "aaa"});
  ExpectMatches("a{2,}", {"aa", "aaaa"}, {"a"});
  ExpectMatches("a{1,3}", {"a", "aa", "aaa"}, {"", "aaaa"});
  ExpectMatches("a{0}", {""}, {"a"});
  ExpectMatches("a{0,1}b", {"b", "ab"}, {"aab"});
}

TEST(TextPattern, GroupsAndChoicesNest) {
  ExpectMatches("a|bc|", {"a", "bc", ""}, {"ab", "b"});
  ExpectMatches("(ab|c)+d", {"abd", "cd", "abcabd"}, {"d", "ad", "abab"});
  ExpectMatches("((a|b)(c|d)){2}", {"acbd", "adad"}, {"ac", "acb"});
  ExpectMatches("(?:ab)*", {"", "abab"}, {"aba"});
  ExpectMatches("(a*)*", {"", "aaa"}, {"b"});
}

TEST(TextPattern, SetsHaveRangesClassesAndNegation) {
  ExpectMatches("[a-cx]", {"a", "b", "c", "x"}, {"d", "-", ""});
  ExpectMatches("[^a-c]", {"d", "-", "\n"}, {"a", ""});
  ExpectMatches("[-a]", {"-", "a"}, {"b"});
  ExpectMatches("[a-]", {"-", "a"}, {"b"});
  ExpectMatches("[\\d.,-]+", {"1.5", "-1,5"}, {"a"});
  ExpectMatches("[\\]\\\\]", {"]", "\\"}, {"["});
  ExpectMatches("[\xC3\xA0-\xC3\xBC]", {"\xC3\xA9"}, {"e", "\xC3"});
  ExpectMatches("[.]", {"."}, {"a"});
}

TEST(TextPattern, ClassesMatchTheDocumentedCharacters) {
  ExpectMatches("\\d", {"0", "9"}, {"a", "\xD9\xA1"});
  ExpectMatches("\\D", {"a", "\xC3\xBC"}, {"5"});
  ExpectMatches("\\s", {" ", "\t", "\n", "\r"}, {"a"});
  ExpectMatches("\\S", {"a"}, {" ", "\t", "\n", "\r"});
  ExpectMatches("\\w", {"a", "Z", "0", "_", "\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"},
                {"-", " "});
  ExpectMatches("\\W", {"-", " "}, {"a", "\xC3\xBC"});
}

TEST(TextPattern, AnEscapeMatchesItsCharacter) {
  ExpectMatches("\\.\\*\\(\\)\\$\\^", {".*()$^"}, {"a"});
  ExpectMatches("a\\$", {"a$"}, {"a"});
  ExpectMatches("^\\\\$", {"\\"}, {"\\$", ""});
  ExpectMatches("\\\\\\$", {"\\$"}, {"\\"});
  ExpectMatches("$", {""}, {"$"});
  ExpectMatches("\\t\\n\\r", {"\t\n\r"}, {"tnr"});
}

TEST(TextPattern, UnsupportedPatternsAreRejected) {
  EXPECT_EQ(ReasonAgainst("(a"), "')' is missing");
  EXPECT_EQ(ReasonAgainst("a)"), "')' without '('");
  EXPECT_EQ(ReasonAgainst("[a"), "'[' without ']'");
  EXPECT_EQ(ReasonAgainst("*a"), "'*' must be escaped");
  EXPECT_EQ(ReasonAgainst("a**"), "a quantifier after a quantifier");
  EXPECT_EQ(ReasonAgainst("a+?"), "a quantifier after a quantifier");
  EXPECT_EQ(ReasonAgainst("a{3,2}"), "the quantifier has a maximum below its minimum");
  EXPECT_EQ(ReasonAgainst("a{}"), "a quantifier without a number");
  EXPECT_EQ(ReasonAgainst("a{1"), "'}' is missing");
  EXPECT_EQ(ReasonAgainst("a{99999999999}"), "a quantifier above 1000");
  EXPECT_EQ(ReasonAgainst("[z-a]"), "a range without order");
  EXPECT_EQ(ReasonAgainst("[a-\\d]"), "a range without order");
  EXPECT_EQ(ReasonAgainst("[a-z-[aeiou]]"), "'[' in a set must be escaped");
  EXPECT_EQ(ReasonAgainst("(?=a)"), "'(?' is unknown");
  EXPECT_EQ(ReasonAgainst("a^b"), "'^' must be escaped");
  EXPECT_EQ(ReasonAgainst("a$b"), "'$' must be escaped");
  for (const char* const escape : {"\\1", "\\b", "\\p{L}", "\\", "a\\"}) {
    EXPECT_EQ(ReasonAgainst(escape), "an unknown escape") << escape;
  }
}

TEST(TextPattern, SizeAndDepthAreLimited) {
  EXPECT_EQ(ReasonAgainst("((a{1000}){1000}){1000}"), "too large");
  EXPECT_EQ(ReasonAgainst("((){1000}){1000}"), "too large");
  EXPECT_EQ(ReasonAgainst(std::string(100000, '(')), "nested too deeply");
}

// Backtracking would take more than 2^10000 steps.
TEST(TextPattern, NestedRepetitionTakesTimeInProportionToTheText) {
  const TextPattern pattern("(a|a|aa)*b");

  EXPECT_FALSE(pattern.Matches(std::string(10000, 'a')));
}

TEST(TextPattern, MatchingALongTextDoesNotOverflowTheStack) {
  EXPECT_TRUE(TextPattern("(a|b)*").Matches(std::string(1000000, 'a')));
}

}  // namespace
