// The variable sets and multiple-response sets of a data source, and their text format.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/VariableSets.h>

#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const LocallyUniqueID kRead(1, 1);
const LocallyUniqueID kSing(1, 2);
const LocallyUniqueID kWalk(15, 0x0FFFFFFE);

// Returns a set in which every field differs from the default.
VariableSetImpl Hobbies() {
  VariableSetImpl set;
  set.kind = VariableSetImpl::kIndicators;
  set.firstFlag = true;
  set.secondFlag = true;
  set.name = "hobbies";
  set.label = "Hobbies";
  set.selectedValue = "1";
  set.members = {kRead, kSing, kWalk};
  return set;
}

VariableSetImpl Named(const std::string& name) {
  VariableSetImpl set;
  set.name = name;
  return set;
}

testing::Matcher<const VariableSetImpl&> Is(const VariableSetImpl& set) {
  return testing::FieldsAre(set.kind, set.firstFlag, set.secondFlag, set.name, set.label,
                            set.selectedValue, set.members);
}

std::vector<std::string> NamesOf(const std::vector<VariableSetImpl>& sets) {
  std::vector<std::string> names;
  for (const VariableSetImpl& set : sets) names.push_back(set.name);
  return names;
}

std::vector<VariableSet> Wrapped(const std::vector<VariableSetImpl>& sets) {
  std::vector<VariableSet> wrapped;
  for (const VariableSetImpl& set : sets) wrapped.emplace_back(set);
  return wrapped;
}

std::string TextOf(const std::vector<VariableSetImpl>& sets) {
  std::string text;
  MakeExtension(Wrapped(sets), text, 7);
  return text;
}

std::vector<VariableSetImpl> SetsIn(const std::string& text) {
  std::vector<VariableSetImpl> sets;
  for (const VariableSet& set : ReadExtension(text, 7)) sets.push_back(set.Impl());
  return sets;
}

template <class Call>
std::string Refusal(Call call) {
  try {
    call();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "nothing thrown";
}

// --- In a data source ---

TEST(VariableSets, ANewSetIsPlainAndEmpty) {
  const VariableSetImpl set;
  EXPECT_THAT(set, testing::FieldsAre(VariableSetImpl::kPlain, false, false, "", "", "",
                                      std::vector<LocallyUniqueID>()));
}

TEST(VariableSets, ListsOfEqualSetsAreEqual) {
  const std::vector<VariableSet> sets = Wrapped({Hobbies(), Named("x")});
  EXPECT_TRUE(sets == ReadExtension(TextOf({Hobbies(), Named("x")}), 7));
  EXPECT_FALSE(sets == Wrapped({Named("x"), Hobbies()}));
  EXPECT_FALSE(sets == Wrapped({Hobbies(), Named("y")}));
  EXPECT_FALSE(sets == Wrapped({Hobbies()}));
}

TEST(VariableSets, ANewSourceHasNoSets) {
  const DataFreeDataSource source;
  EXPECT_THAT(source.GetMRSets(), IsEmpty());
  EXPECT_THAT(source.GetVariableSets(), IsEmpty());
}

TEST(VariableSets, AreStoredWithAllFields) {
  DataFreeDataSource source;
  source.SetMRSets({Hobbies()});
  EXPECT_THAT(source.GetMRSets(), ElementsAre(Is(Hobbies())));
}

TEST(VariableSets, KeepTheirOrderAndReplaceTheOldSets) {
  DataFreeDataSource source;
  source.SetVariableSets({Named("b"), Named("a")});
  EXPECT_THAT(NamesOf(source.GetVariableSets()), ElementsAre("b", "a"));
  source.SetVariableSets({Named("a"), Named("b")});
  EXPECT_THAT(NamesOf(source.GetVariableSets()), ElementsAre("a", "b"));
}

TEST(VariableSets, BothKindsOfSetsAreSeparateLists) {
  DataFreeDataSource source;
  source.SetMRSets({Hobbies()});
  source.SetVariableSets({Named("demography")});
  source.SetMRSets({});
  EXPECT_THAT(source.GetMRSets(), IsEmpty());
  EXPECT_THAT(NamesOf(source.GetVariableSets()), ElementsAre("demography"));
}

TEST(VariableSets, AreUnchangedAfterTheirMembersAreDeleted) {
  DataFreeDataSource source;
  source.MakeVariable(ORVX_Variable(kRead, "read"), nullptr);
  source.SetMRSets({Hobbies()});
  source.DeleteVariables(0, 0);
  EXPECT_THAT(source.GetMRSets(), ElementsAre(Is(Hobbies())));
}

TEST(VariableSets, DoNotChangeTheDirtyFlag) {
  DataFreeDataSource source;
  source.SetMRSets({Hobbies()});
  source.SetVariableSets({Named("demography")});
  EXPECT_FALSE(source.IsDirty());
}

TEST(VariableSets, AreCopiedWithTheDictionaryAndThenIndependent) {
  DataFreeDataSource source;
  source.SetMRSets({Hobbies(), Named("$other")});
  source.SetVariableSets({Named("demography")});
  DataFreeDataSource copy;
  copy.SetMRSets({Named("$before")});

  copy.CopyDictionary(&source);
  source.SetMRSets({});
  source.SetVariableSets({});

  EXPECT_THAT(NamesOf(copy.GetMRSets()), ElementsAre("hobbies", "$other"));
  EXPECT_THAT(copy.GetMRSets()[0], Is(Hobbies()));
  EXPECT_THAT(NamesOf(copy.GetVariableSets()), ElementsAre("demography"));
}

TEST(VariableSets, AreSelectedByTheNumberOfTheirList) {
  DataFreeDataSource source;
  source.SetMRSets({Hobbies()});
  source.SetVariableSets({Named("b"), Named("a")});

  const std::vector<VariableSet> plain = VariableSets(source, 0);
  ASSERT_EQ(plain.size(), 2U);
  EXPECT_EQ(plain[0].Impl().name, "b");
  EXPECT_EQ(plain[1].Impl().name, "a");
  const std::vector<VariableSet> multipleResponse = VariableSets(source, 1);
  ASSERT_EQ(multipleResponse.size(), 1U);
  EXPECT_THAT(multipleResponse[0].Impl(), Is(Hobbies()));
}

TEST(VariableSets, RejectAnyOtherNumber) {
  const DataFreeDataSource source;
  for (const VarSetsType which : {-1, 2}) {
    EXPECT_EQ(Refusal([&] { VariableSets(source, which); }),
              "VariableSets: no list of sets number " + std::to_string(which));
  }
}

// --- As text ---

TEST(VariableSetsText, HasOneLinePerSetWithTabs) {
  EXPECT_EQ(TextOf({Hobbies(), Named("plain")}),
            "hobbies\tHobbies\t1\t1\t1\t1\t17\t33\t4294967279\n"
            "plain\t\t\t0\t0\t0\n");
}

TEST(VariableSetsText, IsTheSameForAllThreeTypes) {
  for (const int type : {5, 7, 19}) {
    std::string text;
    MakeExtension(Wrapped({Hobbies()}), text, type);
    EXPECT_EQ(text, TextOf({Hobbies()}));
    ASSERT_EQ(ReadExtension(text, type).size(), 1U);
    EXPECT_THAT(ReadExtension(text, type)[0].Impl(), Is(Hobbies()));
  }
}

TEST(VariableSetsText, IsEmptyForNoSets) {
  EXPECT_EQ(TextOf(std::vector<VariableSetImpl>()), "");
  EXPECT_THAT(ReadExtension("", 7), IsEmpty());
}

TEST(VariableSetsText, IsAppendedToTheGivenText) {
  std::string text = "before";
  MakeExtension(Wrapped({Named("a")}), text, 7);
  EXPECT_EQ(text, "beforea\t\t\t0\t0\t0\n");
}

TEST(VariableSetsText, RoundTripsInTheSameOrder) {
  const std::vector<VariableSetImpl> sets = SetsIn(TextOf({Named("b"), Hobbies(), Named("a")}));
  EXPECT_THAT(sets, ElementsAre(Is(Named("b")), Is(Hobbies()), Is(Named("a"))));
}

TEST(VariableSetsText, RoundTripsEachFlagAndEachKind) {
  VariableSetImpl first = Named("first");
  first.firstFlag = true;
  first.kind = VariableSetImpl::kAnswers;
  VariableSetImpl second = Named("second");
  second.secondFlag = true;
  second.kind = std::numeric_limits<std::int32_t>::min();
  EXPECT_THAT(SetsIn(TextOf({first, second})), ElementsAre(Is(first), Is(second)));
}

TEST(VariableSetsText, EscapesAsLinearTsv) {
  VariableSetImpl awkward = Named("a\tb");
  awkward.label = "two\nlines";
  awkward.selectedValue = "back\\slash\\n\r";
  EXPECT_EQ(TextOf({awkward}), "a\\tb\ttwo\\nlines\tback\\\\slash\\\\n\\r\t0\t0\t0\n");
  EXPECT_THAT(SetsIn(TextOf({awkward})), ElementsAre(Is(awkward)));
}

TEST(VariableSetsText, RoundTripsAnyOtherBytes) {
  VariableSetImpl awkward = Named("zero\0byte"s);
  awkward.label = "\xC3\xA4\xFF";
  EXPECT_THAT(SetsIn(TextOf({awkward})), ElementsAre(Is(awkward)));
}

TEST(VariableSetsText, RoundTripsTheNullIdentifier) {
  VariableSetImpl set = Named("a");
  set.members = {LocallyUniqueID()};
  EXPECT_THAT(SetsIn(TextOf({set})), ElementsAre(Is(set)));
}

TEST(VariableSetsText, RejectsAnyOtherType) {
  for (const int type : {-1, 0, 6, 17}) {
    std::string text = "before";
    EXPECT_EQ(Refusal([&] { MakeExtension({}, text, type); }),
              "MakeExtension: extension type " + std::to_string(type) + " holds no sets");
    EXPECT_EQ(text, "before");
    EXPECT_EQ(Refusal([&] { ReadExtension("", type); }),
              "ReadExtension: extension type " + std::to_string(type) + " holds no sets");
  }
}

struct WrongText {
  const char* name;
  std::string text;
  std::string refusal;
};

void PrintTo(const WrongText& wrong, std::ostream* stream) {
  *stream << testing::PrintToString(wrong.text);
}

class WrongSetsText : public testing::TestWithParam<WrongText> {};

TEST_P(WrongSetsText, IsRejectedWithItsLineAndTheReason) {
  EXPECT_EQ(Refusal([] { ReadExtension(GetParam().text, 7); }), GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(
    VariableSetsText, WrongSetsText,
    testing::Values(
        WrongText{"NoFieldsButTheName", "a\n", "set on line 1: 1 fields, fewer than 6"},
        WrongText{"AnEmptyLine", "a\t\t\t0\t0\t0\n\n", "set on line 2: 1 fields, fewer than 6"},
        WrongText{"FiveFields", "a\t\t\t0\t0\n", "set on line 1: 5 fields, fewer than 6"},
        WrongText{"AKindThatIsNoNumber", "a\t\t\tx\t0\t0\n",
                  "set on line 1: \"x\" where a kind of set was expected"},
        WrongText{"AnEmptyKind", "a\t\t\t\t0\t0\n",
                  "set on line 1: \"\" where a kind of set was expected"},
        WrongText{"AKindWithMoreBehindIt", "a\t\t\t1x\t0\t0\n",
                  "set on line 1: \"1x\" where a kind of set was expected"},
        WrongText{"AKindOutOfRange", "a\t\t\t2147483648\t0\t0\n",
                  "set on line 1: \"2147483648\" where a kind of set was expected"},
        WrongText{"AKindWrittenInAnotherWay", "a\t\t\t01\t0\t0\n",
                  "set on line 1: \"01\" where a kind of set was expected"},
        WrongText{"AFirstFlagThatIsNone", "a\t\t\t0\t2\t0\n",
                  "set on line 1: \"2\" where 0 or 1 was expected"},
        WrongText{"ASecondFlagThatIsNone", "a\t\t\t0\t0\t\n",
                  "set on line 1: \"\" where 0 or 1 was expected"},
        WrongText{"AMemberThatIsNoIdentifier", "a\t\t\t0\t0\t0\t17\tage\n",
                  "set on line 1: \"age\" where an identifier was expected"},
        WrongText{"ANegativeMember", "a\t\t\t0\t0\t0\t-1\n",
                  "set on line 1: \"-1\" where an identifier was expected"},
        WrongText{"AMemberOutOfRange", "a\t\t\t0\t0\t0\t4294967296\n",
                  "set on line 1: \"4294967296\" where an identifier was expected"},
        WrongText{"AMemberWrittenInAnotherWay", "a\t\t\t0\t0\t0\t017\n",
                  "set on line 1: \"017\" where an identifier was expected"},
        WrongText{"AnUnknownEscape", "a\t\t\t0\t0\t0\nb\\q\t\t\t0\t0\t0\n",
                  "line 2: unknown escape \\q"},
        WrongText{"ABackslashAtTheEndOfALine", "a\t\t\t0\t0\t0\\\n",
                  "line 1: backslash at the end of a line"},
        WrongText{"ALastLineWithoutItsEnd", "a\t\t\t0\t0\t0\nb\t\t\t0\t0\t0",
                  "line 2: no line feed at the end"}),
    [](const auto& test) { return test.param.name; });

TEST(PutSet, ReplacesTheSetWithTheSameNameOrAppends) {
  std::vector<VariableSetImpl> sets = {Named("hobbies"), Named("x")};
  VariableSetImpl other = Hobbies();
  other.name = "Hobbies";
  EXPECT_TRUE(PutSet(sets, Hobbies()));
  EXPECT_TRUE(PutSet(sets, other));
  EXPECT_THAT(sets, ElementsAre(Is(Hobbies()), Is(Named("x")), Is(other)));
}

TEST(PutSet, DeletesTheSetWithTheSameNameIfTheSetHasNoMembers) {
  std::vector<VariableSetImpl> sets = {Hobbies(), Named("x")};
  EXPECT_TRUE(PutSet(sets, Named("hobbies")));
  EXPECT_FALSE(PutSet(sets, Named("hobbies")));
  EXPECT_THAT(sets, ElementsAre(Is(Named("x"))));
}

TEST(VariableSetsText, IsParsedOrRejectedAtEveryTruncation) {
  const std::string text = TextOf({Hobbies(), Named("plain")});
  const std::size_t firstLine = text.find('\n') + 1;
  for (std::size_t length = 1; length < text.size(); ++length) {
    const std::string cut = text.substr(0, length);
    if (length == firstLine) {
      EXPECT_THAT(SetsIn(cut), ElementsAre(Is(Hobbies())));
    } else {
      EXPECT_THAT(Refusal([&] { ReadExtension(cut, 7); }),
                  testing::EndsWith("no line feed at the end"));
    }
  }
}

}  // namespace
