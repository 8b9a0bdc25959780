// Tests of libplatdep: case-insensitive comparison.

#include <gtest/gtest.h>
#include <libplatdep/mbstricmp.h>

#include <string>
#include <vector>

namespace {

// Copies the texts to exact allocations, so that the address sanitizer detects a read past the end.
int Compare(const std::string& left, const std::string& right) {
  const std::vector<char> leftBytes(left.c_str(), left.c_str() + left.size() + 1);
  const std::vector<char> rightBytes(right.c_str(), right.c_str() + right.size() + 1);
  return _ORVXMBstricmp_A(leftBytes.data(), rightBytes.data());
}

bool AreEqual(const std::string& left, const std::string& right) {
  return Compare(left, right) == 0 && Compare(right, left) == 0;
}

bool IsBefore(const std::string& left, const std::string& right) {
  return Compare(left, right) < 0 && Compare(right, left) > 0;
}

TEST(CaselessCompare, IdenticalStringsCompareEqual) {
  EXPECT_TRUE(AreEqual("", ""));
  EXPECT_TRUE(AreEqual("survey", "survey"));
}

TEST(CaselessCompare, IgnoresCaseOfAsciiLetters) {
  EXPECT_TRUE(AreEqual("SURVEY_2024.tsv", "survey_2024.TSV"));
  EXPECT_TRUE(AreEqual("ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"));
}

TEST(CaselessCompare, DoesNotFoldAsciiSigns) {
  EXPECT_FALSE(AreEqual("@", "`"));
  EXPECT_FALSE(AreEqual("[", "{"));
}

TEST(CaselessCompare, IgnoresCaseBeyondAscii) {
  EXPECT_TRUE(AreEqual("Größe", "GRÖßE"));
  EXPECT_TRUE(AreEqual("ПРОВЕРКА", "проверка"));
}

TEST(CaselessCompare, OneLetterMayEqualTwoLetters) {
  EXPECT_TRUE(AreEqual("Größe", "GRÖSSE"));
  EXPECT_TRUE(AreEqual("GRÖẞE", "größe"));
  EXPECT_TRUE(AreEqual("ß", "sS"));
  EXPECT_TRUE(IsBefore("s", "ß"));
  EXPECT_TRUE(IsBefore("ß", "sst"));
}

TEST(CaselessCompare, TheFinalSigmaEqualsTheOtherSigmas) {
  EXPECT_TRUE(AreEqual("ΔΟΚΙΜΗ", "δοκιμη"));
  EXPECT_TRUE(AreEqual("ΟΔΟΣ", "οδος"));
  EXPECT_TRUE(AreEqual("ΟΔΟΣ", "οδοσ"));
}

TEST(CaselessCompare, FoldsLettersOutsideTheBasicPlane) {
  EXPECT_TRUE(AreEqual("\U00010400", "\U00010428"));
}

TEST(CaselessCompare, TheKelvinSignEqualsK) {
  EXPECT_TRUE(AreEqual("\u212A", "k"));
}

TEST(CaselessCompare, DoesNotNormalise) {
  EXPECT_FALSE(AreEqual("\u00E9", "e\u0301"));
}

TEST(CaselessCompare, APrefixSortsFirst) {
  EXPECT_TRUE(IsBefore("", "a"));
  EXPECT_TRUE(IsBefore("data", "DATA1"));
  EXPECT_TRUE(IsBefore("Größ", "größe"));
  EXPECT_TRUE(IsBefore("a", "a\xFF"));
}

TEST(CaselessCompare, SortsByFoldedCodePoint) {
  EXPECT_TRUE(IsBefore("a", "B"));
  EXPECT_TRUE(IsBefore("A", "b"));
  EXPECT_TRUE(IsBefore("Z", "ä"));
  EXPECT_TRUE(IsBefore("\uFFFD", "\U00010000"));
}

TEST(CaselessCompare, InvalidBytesEqualOnlyThemselves) {
  EXPECT_TRUE(AreEqual("\xFF", "\xFF"));
  EXPECT_TRUE(AreEqual("GR\xD6SSE", "gr\xD6sse"));
  EXPECT_FALSE(AreEqual("\xC4", "\xE4"));  // capital and small letter in ISO 8859-1
  EXPECT_FALSE(AreEqual("\xC4", "\u00C4"));
  EXPECT_TRUE(IsBefore("\x80", "\x81"));
}

TEST(CaselessCompare, InvalidBytesSortAfterEveryCodePoint) {
  EXPECT_TRUE(IsBefore("\U0010FFFF", "\x80"));
  EXPECT_TRUE(IsBefore("z", "\xC3"));
}

TEST(CaselessCompare, MalformedUtf8CountsAsInvalidBytes) {
  EXPECT_FALSE(AreEqual("\xC1\x81", "A"));                  // overlong encoding of `A`
  EXPECT_FALSE(AreEqual("\xC1\xA1", "\xC1\x81"));           // overlong encodings of `a` and `A`
  EXPECT_TRUE(IsBefore("\U0010FFFF", "\xED\xA0\x80"));      // a surrogate
  EXPECT_TRUE(IsBefore("\U0010FFFF", "\xF4\x90\x80\x80"));  // above the last code point
  EXPECT_TRUE(IsBefore("\U0010FFFF", "\xC0\x80"));          // overlong encoding of a zero
}

TEST(CaselessCompare, ATruncatedSequenceCountsAsInvalidBytes) {
  EXPECT_TRUE(AreEqual("a\xC3", "A\xC3"));
  EXPECT_TRUE(IsBefore("\xC3\xA9", "\xC3"));
  EXPECT_TRUE(AreEqual("\xE2\x82", "\xE2\x82"));
  EXPECT_TRUE(AreEqual("\xF0\x9F\x98", "\xF0\x9F\x98"));
}

const std::vector<std::string> samples = {
    "",      "a",    "A",       "b",     "s",        "ss",           "S\u017F",   "ß",
    "ẞ",     "sst",  "t",       "ä",     "Ä",        "a\u0308",      "Σ",         "ς",
    "σ",     "İ",    "i\u0307", "ŉ",     "\u02BCn",  "\uFFFF",       "\x80",      "\xC3",
    "\xC3z", "\xFF", "a\xFF",   "A\xFF", "\xC0\x80", "\xED\xA0\x80", "\U0010FFFF"};

TEST(CaselessCompare, IsATotalOrder) {
  for (const auto& first : samples) {
    EXPECT_TRUE(AreEqual(first, first)) << first;
    for (const auto& second : samples) {
      const int order = Compare(first, second);
      EXPECT_EQ(order<0, Compare(second, first)> 0) << first << " and " << second;
      for (const auto& third : samples) {
        const int next = Compare(second, third);
        if (order > 0 || next > 0) continue;
        const bool apart = order < 0 || next < 0;
        EXPECT_EQ(Compare(first, third) < 0, apart) << first << ", " << second << ", " << third;
        EXPECT_LE(Compare(first, third), 0) << first << ", " << second << ", " << third;
      }
    }
  }
}

// A template, so that it also compiles with a library that does not have the optional MBFoldedHash.
template <class Text>
void ExpectHashesAgree(const std::vector<Text>& texts) {
  if constexpr (requires(Text text) { MBFoldedHash(text.c_str()); }) {
    for (const Text& first : texts) {
      for (const Text& second : texts) {
        EXPECT_EQ(MBFoldedHash(first.c_str()) == MBFoldedHash(second.c_str()),
                  AreEqual(first, second))
            << first << " and " << second;
      }
    }
  } else {
    GTEST_SKIP() << "this library has no MBFoldedHash";
  }
}

TEST(FoldedHash, IsTheSameExactlyForEqualStrings) {
  ExpectHashesAgree(samples);
}

}  // namespace
