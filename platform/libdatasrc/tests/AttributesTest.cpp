// Attributes of a data source, and their text format.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/DatasourceAttributes.h>

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

DatasourceAttributes Attributes(
    std::initializer_list<std::pair<std::string, DatasourceAttributes::Values>> all) {
  DatasourceAttributes attributes;
  for (const auto& [name, values] : all) attributes.Set(name, values);
  return attributes;
}

std::string Refusal(const std::string& text) {
  try {
    DatasourceAttributes::Read(text);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "nothing thrown";
}

// --- The value ---

TEST(Attributes, AreInitiallyEmpty) {
  const DatasourceAttributes attributes;
  EXPECT_TRUE(attributes.IsEmpty());
  EXPECT_THAT(attributes.All(), IsEmpty());
}

TEST(Attributes, HaveOneOrMoreTextsPerName) {
  const DatasourceAttributes attributes = Attributes({{"source", {"survey", "1996"}}, {"x", {""}}});
  EXPECT_FALSE(attributes.IsEmpty());
  EXPECT_THAT(attributes.All(), ElementsAre(Pair("source", ElementsAre("survey", "1996")),
                                            Pair("x", ElementsAre(""))));
}

TEST(Attributes, SetReplacesTheValuesAndAnEmptyListRemovesTheAttribute) {
  DatasourceAttributes attributes = Attributes({{"a", {"1"}}, {"b", {"2"}}});
  attributes.Set("a", {"3", "4"});
  attributes.Set("b", {});
  attributes.Set("never there", {});
  EXPECT_THAT(attributes.All(), ElementsAre(Pair("a", ElementsAre("3", "4"))));
}

TEST(Attributes, AreEqualRegardlessOfTheOrderOfSetting) {
  EXPECT_TRUE(Attributes({{"a", {"1"}}, {"b", {"2"}}}) == Attributes({{"b", {"2"}}, {"a", {"1"}}}));
}

TEST(Attributes, DifferInNamesValuesOrderOfValuesOrNumberOfValues) {
  const DatasourceAttributes attributes = Attributes({{"a", {"1", "2"}}});
  EXPECT_FALSE(attributes == Attributes({{"A", {"1", "2"}}}));
  EXPECT_FALSE(attributes == Attributes({{"a", {"1", "3"}}}));
  EXPECT_FALSE(attributes == Attributes({{"a", {"2", "1"}}}));
  EXPECT_FALSE(attributes == Attributes({{"a", {"1"}}}));
  EXPECT_FALSE(attributes == Attributes({{"a", {"1", "2"}}, {"b", {"1"}}}));
  EXPECT_FALSE(attributes == DatasourceAttributes());
}

TEST(Attributes, AreRemovedByPrefixOfTheirNames) {
  DatasourceAttributes attributes = Attributes({{"a.x", {"1"}}, {"a.y", {"2"}}, {"b", {"3"}}});
  EXPECT_TRUE(attributes.RemoveUnder("a."));
  EXPECT_THAT(attributes.All(), ElementsAre(Pair("b", ElementsAre("3"))));
  EXPECT_FALSE(attributes.RemoveUnder("a."));
}

// --- As text ---

TEST(AttributesText, HasOneLinePerAttributeSortedByNameWithTabs) {
  EXPECT_EQ(Attributes({{"b", {"2", ""}}, {"a", {"1"}}}).MakeString(), "a\t1\nb\t2\t\n");
}

TEST(AttributesText, IsEmptyWithoutAttributes) {
  EXPECT_EQ(DatasourceAttributes().MakeString(), "");
  EXPECT_TRUE(DatasourceAttributes::Read("").IsEmpty());
}

TEST(AttributesText, DoesNotDependOnTheOrderOfSetting) {
  EXPECT_EQ(Attributes({{"a", {"1"}}, {"b", {"2"}}}).MakeString(),
            Attributes({{"b", {"2"}}, {"a", {"1"}}}).MakeString());
}

TEST(AttributesText, IsParsedWithLinesInAnyOrder) {
  EXPECT_EQ(DatasourceAttributes::Read("b\t2\na\t1\n"), Attributes({{"a", {"1"}}, {"b", {"2"}}}));
}

TEST(AttributesText, EscapesAsLinearTsvAndKeepsAllOtherBytes) {
  const DatasourceAttributes awkward =
      Attributes({{"tab\there", {"line\nfeed", "back\\slash\\t", ""}}, {"", {"\0\r\xFF"s}}});
  EXPECT_EQ(awkward.MakeString(), "\t\0\\r\xFF\ntab\\there\tline\\nfeed\tback\\\\slash\\\\t\t\n"s);
  EXPECT_EQ(DatasourceAttributes::Read(awkward.MakeString()), awkward);
}

TEST(AttributesText, IsRejectedWithItsLineIfANameHasNoValue) {
  EXPECT_EQ(Refusal("a\t1\nb\n"), "line 2: attribute \"b\" without a value");
  EXPECT_EQ(Refusal("\n"), "line 1: attribute \"\" without a value");
}

TEST(AttributesText, IsRejectedWithItsLineIfANameIsDuplicate) {
  EXPECT_EQ(Refusal("a\t1\nb\t2\na\t1\n"), "line 3: duplicate attribute \"a\"");
}

TEST(AttributesText, IsRejectedWithItsLineIfItsFormatIsWrong) {
  EXPECT_EQ(Refusal("a\t1\nb\t\\x\n"), "line 2: unknown escape \\x");
  EXPECT_EQ(Refusal("a\t1\\\n"), "line 1: backslash at the end of a line");
  EXPECT_EQ(Refusal("a\t1\nb\t2"), "line 2: no line feed at the end");
}

// --- In a data source ---

TEST(AttributesOfASource, AreStoredAndReplacedAsAWhole) {
  DataFreeDataSource source;
  EXPECT_TRUE(source.GetAttributes().IsEmpty());
  source.SetAttributes(Attributes({{"a", {"1"}}}));
  source.SetAttributes(Attributes({{"b", {"2"}}}));
  EXPECT_EQ(source.GetAttributes(), Attributes({{"b", {"2"}}}));
  EXPECT_FALSE(source.IsDirty());
}

TEST(AttributesOfASource, AreCopiedWithTheDictionaryAndThenIndependent) {
  DataFreeDataSource source;
  source.SetAttributes(Attributes({{"a", {"1"}}}));
  DataFreeDataSource copy;
  copy.SetAttributes(Attributes({{"b", {"2"}}}));

  copy.CopyDictionary(&source);
  source.SetAttributes(DatasourceAttributes());

  EXPECT_EQ(copy.GetAttributes(), Attributes({{"a", {"1"}}}));
}

TEST(DashboardInfo, ClearingRemovesOnlyTheAttributesUnderItsPrefix) {
  DataFreeDataSource source;
  const DatasourceAttributes others =
      Attributes({{"dashboard", {"1"}}, {"Dashboard.x", {"2"}}, {"my.dashboard.x", {"3"}}});
  DatasourceAttributes all = others;
  all.Set("dashboard.layout", {"wide"});
  all.Set("dashboard.", {"x"});
  source.SetAttributes(all);

  EXPECT_TRUE(ClearDashboardInfo(source));

  EXPECT_EQ(source.GetAttributes(), others);
}

TEST(DashboardInfo, ClearingReturnsWhetherItRemovedAttributes) {
  DataFreeDataSource source;
  source.SetAttributes(Attributes({{"dashboard.layout", {"wide"}}}));
  EXPECT_TRUE(ClearDashboardInfo(source));
  EXPECT_FALSE(ClearDashboardInfo(source));
  EXPECT_TRUE(source.GetAttributes().IsEmpty());
  EXPECT_FALSE(source.IsDirty());
}

}  // namespace
