// How the rules of a field read and check its values.

#include <gtest/gtest.h>
#include <libdatasrc/internal/FieldRules.h>
#include <libdatasrc/internal/NumberText.h>

#include <cmath>

#include "Variables.h"

namespace {

using sdm_internal::FieldRules;
using sdm_internal::TextForm;
using sdm_internal::TextPattern;
using sdm_internal::Trimmed;
using Type = FieldRules::Type;

FieldRules Of(Type type) {
  FieldRules rules;
  rules.type = type;
  return rules;
}

TEST(FieldRules, EachTypeParsesItsTexts) {
  EXPECT_EQ(Of(Type::Number).Parse(" -1.5e2 "), -150);
  EXPECT_EQ(Of(Type::Integer).Parse("15"), 15);
  EXPECT_EQ(Of(Type::Date).Parse("1970-01-02"), 86400);
  EXPECT_EQ(Of(Type::Time).Parse("00:01"), 60);
  EXPECT_EQ(Of(Type::DateTime).Parse("1970-01-01T00:01"), 60);
  EXPECT_EQ(Of(Type::Year).Parse("1990"), 1990);
  EXPECT_EQ(Of(Type::Year).Parse("-0044"), -44);
}

TEST(FieldRules, OnlyANumberMayBeInfiniteOrNaNInAnyCase) {
  for (const char* const text : {"INF", "inf", " Inf "}) {
    EXPECT_EQ(Of(Type::Number).Parse(text, ','), kInfinity) << text;
    EXPECT_EQ(Of(Type::Number).Parse("-" + std::string(Trimmed(text))), -kInfinity) << text;
  }
  for (const char* const text : {"NaN", "nan", " NAN "}) {
    EXPECT_TRUE(std::isnan(Of(Type::Number).Parse(text).value_or(0))) << text;
  }
  for (const char* const text : {"+INF", "- INF", "--INF", "INFINITY", "IN", "-NaN", "-"}) {
    EXPECT_FALSE(Of(Type::Number).Parse(text)) << text;
  }
  for (const Type type : {Type::Any, Type::String, Type::Integer, Type::Boolean, Type::Date,
                          Type::Time, Type::DateTime, Type::Year}) {
    for (const char* const text : {"INF", "-INF", "NaN"}) {
      EXPECT_FALSE(Of(type).Parse(text)) << static_cast<int>(type) << text;
    }
  }
}

TEST(FieldRules, AnInfinityAllowsNoTextAroundItAndIgnoresMarks) {
  FieldRules rules = Of(Type::Number);
  rules.isBareNumber = false;
  rules.groupMark = "I";
  rules.decimalMark = "N";
  EXPECT_EQ(rules.Parse("-INF"), -kInfinity);
  EXPECT_FALSE(rules.Parse("INF %"));
}

TEST(FieldRules, TextsOfOtherTypesAreRejected) {
  EXPECT_FALSE(Of(Type::Number).Parse("x"));
  EXPECT_FALSE(Of(Type::Number).Parse("1,5"));
  EXPECT_FALSE(Of(Type::Integer).Parse("1.5"));
  EXPECT_FALSE(Of(Type::Date).Parse("02.01.1970"));
  EXPECT_FALSE(Of(Type::Time).Parse("1970-01-02"));
  EXPECT_FALSE(Of(Type::DateTime).Parse("1970-01-02"));
  EXPECT_FALSE(Of(Type::Year).Parse("90"));
  EXPECT_FALSE(Of(Type::Year).Parse("1990.0"));
  EXPECT_FALSE(Of(Type::String).Parse("1"));
}

TEST(FieldRules, TruthValuesOfTheFieldReplaceTheDefaults) {
  FieldRules rules = Of(Type::Boolean);
  for (const char* const text : {"true", "True", "TRUE", "1"}) EXPECT_EQ(rules.Parse(text), 1);
  for (const char* const text : {"false", "False", "FALSE", "0"}) EXPECT_EQ(rules.Parse(text), 0);
  EXPECT_FALSE(rules.Parse("yes"));

  rules.trueValues = {"yes"};
  EXPECT_EQ(rules.Parse("yes"), 1);
  EXPECT_FALSE(rules.Parse("true"));
  EXPECT_EQ(rules.Parse("0"), 0);
  rules.falseValues = {"no"};
  EXPECT_EQ(rules.Parse("no"), 0);
  EXPECT_FALSE(rules.Parse("0"));
}

TEST(FieldRules, TheDecimalMarkOfTheFieldOverridesTheMarkOfTheFile) {
  FieldRules rules = Of(Type::Number);
  EXPECT_EQ(rules.Parse("1,5", ','), 1.5);
  EXPECT_FALSE(rules.Parse("1.5", ','));
  rules.decimalMark = ".";
  EXPECT_EQ(rules.Parse("1.5", ','), 1.5);
  rules.decimalMark = "\xD9\xAB";  // U+066B, the Arabic decimal separator
  EXPECT_EQ(rules.Parse("1\xD9\xAB"
                        "5"),
            1.5);
}

TEST(FieldRules, GroupMarksAreAllowedOnlyBetweenDigitsBeforeTheDecimalMark) {
  FieldRules rules = Of(Type::Number);
  rules.groupMark = ",";
  EXPECT_EQ(rules.Parse("-1,234,567.5"), -1234567.5);
  EXPECT_EQ(rules.Parse("1234"), 1234);
  for (const char* const text : {",123", "1,", "1,,2", "1.5,5", "1,.5"}) {
    EXPECT_FALSE(rules.Parse(text)) << text;
  }
  rules.groupMark = "\xC2\xA0";
  rules.decimalMark = ",";
  EXPECT_EQ(rules.Parse("1\xC2\xA0"
                        "234,5"),
            1234.5);
}

TEST(FieldRules, TextAroundANumberIsAllowedOnlyIfItNeedNotBeBare) {
  FieldRules rules = Of(Type::Number);
  EXPECT_FALSE(rules.Parse("95%"));
  rules.isBareNumber = false;
  EXPECT_EQ(rules.Parse("95%"), 95);
  EXPECT_EQ(rules.Parse("EUR -9.50"), -9.5);
  EXPECT_EQ(rules.Parse("Fr. 9"), 9);
  EXPECT_EQ(rules.Parse("\xE2\x82\xAC.5"), 0.5);
  EXPECT_FALSE(rules.Parse("EUR"));
  EXPECT_FALSE(rules.Parse("1 2"));
}

TEST(FieldRules, APatternOfStrptimeReplacesIso8601) {
  FieldRules rules = Of(Type::Date);
  rules.datePattern = "%d.%m.%Y";
  EXPECT_EQ(rules.Parse("2.1.1970"), 86400);
  EXPECT_FALSE(rules.Parse("1970-01-02"));
}

TEST(FieldRules, LimitsOfANumberAreChecked) {
  FieldRules rules = Of(Type::Number);
  EXPECT_EQ(rules.BrokenRule(-1e300), "");
  rules.minimum = 1;
  rules.maximum = 3;
  EXPECT_EQ(rules.BrokenRule(0.5), "minimum 1");
  EXPECT_EQ(rules.BrokenRule(1.0), "");
  EXPECT_EQ(rules.BrokenRule(3.0), "");
  EXPECT_EQ(rules.BrokenRule(3.5), "maximum 3");
  rules.exclusiveMinimum = 1;
  rules.exclusiveMaximum = 3;
  EXPECT_EQ(rules.BrokenRule(1.0), "exclusiveMinimum 1");
  EXPECT_EQ(rules.BrokenRule(3.0), "exclusiveMaximum 3");
  EXPECT_EQ(rules.BrokenRule(2.0), "");
  rules.hasEnum = true;
  rules.numbers = {2.5};
  EXPECT_EQ(rules.BrokenRule(2.0), "enum");
  EXPECT_EQ(rules.BrokenRule(2.5), "");
}

TEST(FieldRules, LimitsOfInfinitiesAreChecked) {
  FieldRules rules = Of(Type::Number);
  rules.minimum = -kInfinity;
  rules.maximum = 3;
  EXPECT_EQ(rules.BrokenRule(kInfinity), "maximum 3");
  EXPECT_EQ(rules.BrokenRule(-kInfinity), "");
  rules.exclusiveMinimum = -kInfinity;
  EXPECT_EQ(rules.BrokenRule(-kInfinity), "exclusiveMinimum -INF");
  EXPECT_EQ(rules.BrokenRule(-1e308), "");
  rules.hasEnum = true;
  rules.numbers = {1, kInfinity};
  rules.maximum = kInfinity;
  EXPECT_EQ(rules.BrokenRule(kInfinity), "");
  EXPECT_EQ(rules.BrokenRule(2.0), "enum");
}

TEST(FieldRules, RulesOfAStringAreChecked) {
  FieldRules rules = Of(Type::String);
  EXPECT_EQ(rules.BrokenRule("anything"), "");
  rules.minLength = 2;
  rules.maxLength = 3;
  EXPECT_EQ(rules.BrokenRule("\xC3\xBC"), "minLength 2");
  EXPECT_EQ(rules.BrokenRule("\xC3\xBC\xC3\xBC\xC3\xBC"), "");
  EXPECT_EQ(rules.BrokenRule("abcd"), "maxLength 3");
  rules.pattern = TextForm{"pattern a+", TextPattern("a+")};
  EXPECT_EQ(rules.BrokenRule("ab"), "pattern a+");
  EXPECT_EQ(rules.BrokenRule("aa"), "");
  rules.hasEnum = true;
  rules.texts = {"aaa"};
  EXPECT_EQ(rules.BrokenRule("aa"), "enum");
  EXPECT_EQ(rules.BrokenRule("aaa"), "");
}

TEST(FieldRules, JsonMustBeValidAndBeginWithItsBracket) {
  FieldRules rules = Of(Type::String);
  rules.form = TextForm{"type object", std::nullopt, '{'};
  EXPECT_EQ(rules.BrokenRule(" {\"a\": [1]}"), "");
  EXPECT_EQ(rules.BrokenRule("[1]"), "type object");
  EXPECT_EQ(rules.BrokenRule("{\"a\""), "type object");
  EXPECT_EQ(rules.BrokenRule(""), "type object");
}

}  // namespace
