// DictionaryDigest: what it includes and excludes, and that its cached parts are right.

#include <client/DictionaryDigest.h>
#include <client/DictionaryMessages.h>
#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/VariableListHash.h>
#include <tests/support/Dictionary.h>
#include <tests/support/FullDictionary.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using support::Dictionary;
using support::FullDictionary;
using support::Id;
using support::ManyVariables;
using support::SetAttribute;
using support::SetExtension;
using support::SetOf;
using support::SetSplit;
using support::SourceWithRows;
using support::Var;

// A variant of the full dictionary: `make` changes a new full dictionary into this variant.
struct State {
  std::string name;
  std::function<void(SourceWithRows&)> make;
};

// Returns variants of the full dictionary. Any two differ in something that messages carry.
std::vector<State> DifferentStates() {
  const auto set = [](std::function<void(VariableSetImpl&)> change) {
    VariableSetImpl changed = SetOf("s", "A B");
    change(changed);
    return changed;
  };
  const auto variable = [](std::function<void(ORVX_Variable&)> change) {
    return [change](SourceWithRows& source) { change(source.GetVariable(1)); };
  };
  const auto variableSet = [](const VariableSetImpl& one) {
    return [one](SourceWithRows& source) { source.SetVariableSets({one}); };
  };
  return {
      {"as it is", [](SourceWithRows&) {}},
      {"one variable less", [](SourceWithRows& s) { s.DeleteVariables(2, 2); }},
      {"no variables", [](SourceWithRows& s) { s.DeleteVariables(0, s.ColumnCount() - 1); }},
      {"one variable more", [](SourceWithRows& s) { s.MakeVariable(Var("E"), nullptr); }},
      {"another order",
       [](SourceWithRows& s) {
         const ORVX_Variable moved = s.GetVariable(3);
         s.DeleteVariables(3, 3);
         s.InsertVariable(2, moved);
       }},
      {"identifier", variable([](ORVX_Variable& v) { v.SetID(LocallyUniqueID(3, 3)); })},
      {"name", variable([](ORVX_Variable& v) { v.SetName("other"); })},
      {"label of a variable", variable([](ORVX_Variable& v) { v.SetLabel("other"); })},
      {"type", variable([](ORVX_Variable& v) { v.SetType(0); })},
      {"format", variable([](ORVX_Variable& v) {
         v.SetFormat({VariableFormat::Kind::Plain, 9, 2});
       })},
      {"value labels", variable([](ORVX_Variable& v) {
         v.SetValueLabels({{1.0, "other"}});
       })},
      {"missing values", variable([](ORVX_Variable& v) { v.SetMissingValues({{9.0}}); })},
      {"level", variable([](ORVX_Variable& v) { v.SetMeasurementLevel(MeasurementLevel::Ratio); })},
      {"attributes of a variable", variable([](ORVX_Variable& v) {
         v.SetAttributes({{"unit", {"kg"}}});
       })},
      {"weight", [](SourceWithRows& s) { s.SetWeightVar(1); }},
      {"no weight", [](SourceWithRows& s) { s.SetWeightVar(-1); }},
      {"filter", [](SourceWithRows& s) { s.SetFilterVar(1); }},
      {"no filter", [](SourceWithRows& s) { s.SetFilterVar(-1); }},
      {"split in another order",
       [](SourceWithRows& s) {
         SetSplit(s, {3, 2}, true);
       }},
      {"split by less", [](SourceWithRows& s) { SetSplit(s, {2}, true); }},
      {"no split", [](SourceWithRows& s) { SetSplit(s, {}, false); }},
      {"split together",
       [](SourceWithRows& s) {
         SetSplit(s, {2, 3}, false);
       }},
      {"label", [](SourceWithRows& s) { s.SetLabel("other"); }},
      {"no label", [](SourceWithRows& s) { s.SetLabel(nullptr); }},
      {"row count", [](SourceWithRows& s) { s.rows = 8; }},
      {"row count unknown", [](SourceWithRows& s) { s.rows = -1; }},
      {"clean", [](SourceWithRows& s) { s.SetDirty(false); }},
      {"time variables", [](SourceWithRows& s) { s.GetTrendsInfo()->timeVariables = {Id("B")}; }},
      {"seasonal period", [](SourceWithRows& s) { s.GetTrendsInfo()->seasonalPeriod = 4; }},
      {"no multiple-response sets", [](SourceWithRows& s) { s.SetMRSets({}); }},
      {"order of multiple-response sets",
       [](SourceWithRows& s) {
         s.SetMRSets({SetOf("n", "C"), SetOf("m", "A B")});
       }},
      {"the two kinds of sets exchanged",
       [](SourceWithRows& s) {
         s.SetMRSets({SetOf("s", "A B")});
         s.SetVariableSets({SetOf("m", "A B"), SetOf("n", "C")});
       }},
      {"no variable sets", [](SourceWithRows& s) { s.SetVariableSets({}); }},
      {"set kind", variableSet(set([](VariableSetImpl& s) { s.kind = 2; }))},
      {"set first flag", variableSet(set([](VariableSetImpl& s) { s.firstFlag = true; }))},
      {"set second flag", variableSet(set([](VariableSetImpl& s) { s.secondFlag = true; }))},
      {"set name", variableSet(set([](VariableSetImpl& s) { s.name = "other"; }))},
      {"set label", variableSet(set([](VariableSetImpl& s) { s.label = "other"; }))},
      {"set selected value", variableSet(set([](VariableSetImpl& s) { s.selectedValue = "2"; }))},
      {"set members", variableSet(set([](VariableSetImpl& s) {
         s.members = {Id("B"), Id("A")};
       }))},
      {"extension bytes", [](SourceWithRows& s) { SetExtension(s, 0, 1, "other"); }},
      {"extension version", [](SourceWithRows& s) { SetExtension(s, 0, 2, "bytes"); }},
      {"no extension", [](SourceWithRows& s) { SetExtension(s, 0, 1, ""); }},
      {"attribute name", [](SourceWithRows& s) { SetAttribute(s, "c", {"1"}); }},
      {"attribute values", [](SourceWithRows& s) { SetAttribute(s, "a", {"1"}); }},
      {"no attributes", [](SourceWithRows& s) { s.SetAttributes({}); }},
  };
}

std::unique_ptr<SourceWithRows> Made(const State& state) {
  auto source = FullDictionary();
  state.make(*source);
  return source;
}

TEST(DictionaryDigest, DiffersIfAnythingInMessagesDiffers) {
  const std::vector<State> states = DifferentStates();
  for (std::size_t i = 0; i < states.size(); ++i) {
    for (std::size_t j = 0; j < states.size(); ++j) {
      EXPECT_EQ(DigestOf(*Made(states[i])) == DigestOf(*Made(states[j])), i == j)
          << states[i].name << " and " << states[j].name;
    }
  }
}

TEST(DictionaryDigest, EqualsTheDigestOfTheMirror) {
  for (const State& state : DifferentStates()) {
    const auto source = Made(state);
    DictionaryMirror mirror;
    for (const auto& message : DictionaryMessages(*source, LocallyUniqueID(0, 1), 3)) {
      mirror.Apply(*message);
    }
    EXPECT_EQ(DigestOf(mirror.Dictionary()), DigestOf(*source)) << state.name;
  }
}

// The digest of a dictionary whose variables equal the variables of `source`, but have no cached
// hashes.
DictionaryDigest DigestOfNewVariables(const ORVX_DataSource& source) {
  DataFreeDataSource other;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    ORVX_Variable variable = source.GetVariable(i);
    variable.SetLabel(variable.GetLabel());  // an edited copy shares no cached hash
    other.MakeVariable(variable, nullptr);
  }
  return DigestOf(other);
}

TEST(DictionaryDigest, IsRightAfterEveryEdit) {
  constexpr int kRounds = 300;
  std::mt19937 random(20);
  const auto source = ManyVariables(600);
  DataFreeDataSource snapshot;
  const auto anyPosition = [&] {
    return static_cast<int>(random() % static_cast<unsigned long>(source->ColumnCount()));
  };
  for (int round = 0; round < kRounds; ++round) {
    const int position = anyPosition();
    ORVX_Variable& variable = source->GetVariable(position);
    const auto edit = static_cast<unsigned int>(random() % 7);
    const auto number = static_cast<unsigned int>(round);
    if (edit == 0) variable.SetLabel(std::to_string(round));
    if (edit == 1) variable.SetID(LocallyUniqueID(3, number));
    if (edit == 2) variable = ORVX_Variable(LocallyUniqueID(4, number), "assigned");
    if (edit == 3) source->InsertVariable(position, ORVX_Variable(LocallyUniqueID(5, number), "i"));
    if (edit == 4) source->DeleteVariables(position, position);
    if (edit == 5) snapshot.MatchVariables(*source);
    if (edit == 6 && round % 20 == 0) source->CopyDictionary(&snapshot);
    if (source->ColumnCount() < 2) source->CopyDictionary(ManyVariables(600).get());

    ASSERT_EQ(DigestOf(*source), DigestOfNewVariables(*source)) << round << ", edit " << edit;
    if (edit == 5) {
      ASSERT_EQ(DigestOf(snapshot), DigestOf(*source)) << round;
    }
  }
}

TEST(DictionaryDigest, IsRightAfterAWriteThroughAHeldReference) {
  const auto source = ManyVariables(300);
  ORVX_Variable& held = source->GetVariable(150);
  const ORVX_Variable copy = held;
  const DictionaryDigest before = DigestOf(*source);
  held.SetName("other");
  EXPECT_NE(DigestOf(*source), before);
  EXPECT_EQ(DigestOf(*source), DigestOfNewVariables(*source));
  held = copy;
  EXPECT_EQ(DigestOf(*source), before);
}

// The readers fill the cache of hashes concurrently. The thread sanitizer would detect a race.
TEST(DictionaryDigest, MayBeComputedByConcurrentReaders) {
  const auto source = ManyVariables(1000);
  const DictionaryDigest expected = DigestOf(*ManyVariables(1000));
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] { EXPECT_EQ(DigestOf(*source), expected); });
  }
  for (std::thread& reader : readers) reader.join();
}

TEST(VariableListHash, IsTheSameForAnyCutIntoParts) {
  std::mt19937_64 random(4);
  std::vector<VariableHash> variables(1000);
  for (VariableHash& hash : variables) hash = {random(), random()};
  VariableListHash whole;
  for (const VariableHash& hash : variables) whole.Append(hash);

  for (int round = 0; round < 50; ++round) {
    VariableListHash joined;
    for (std::size_t first = 0; first < variables.size();) {
      const std::size_t end = std::min<std::size_t>(first + random() % 700, variables.size());
      VariableListHash part;
      for (std::size_t i = first; i < end; ++i) part.Append(variables[i]);
      joined.Append(part);
      first = end;
    }
    ASSERT_EQ(joined, whole) << round;
  }
}

// The expected numbers were computed with integers of arbitrary precision, modulo 2^61 - 1:
//   First() = high[0] * 37^2 + high[1] * 37 + high[2]
//   Second() = low[0] * 43^2 + low[1] * 43 + low[2]
TEST(VariableListHash, IsAPolynomialWithTheHashesAsCoefficients) {
  VariableListHash hash;
  hash.Append(VariableHash{0xffffffffffffffff, 0x0123456789abcdef});
  hash.Append(VariableHash{0x1fffffffffffffff, 0xfedcba9876543210});
  hash.Append(VariableHash{12345678901234567, 1});
  EXPECT_EQ(hash.Count(), 3U);
  EXPECT_EQ(hash.First(), 12345678901244150U);
  EXPECT_EQ(hash.Second(), 491913175298919808U);
}

TEST(DictionaryDigest, OfEqualDictionariesIsEqual) {
  EXPECT_EQ(DigestOf(*FullDictionary()), DigestOf(*FullDictionary()));
  const auto copy = std::make_unique<SourceWithRows>();
  copy->CopyDictionary(FullDictionary().get());
  copy->rows = 7;
  copy->SetDirty(true);
  EXPECT_EQ(DigestOf(*copy), DigestOf(*FullDictionary()));
}

TEST(DictionaryDigest, IgnoresDifferencesThatMessagesDoNotReport) {
  const auto without = Dictionary("A");
  const auto with = Dictionary("A");
  with->SetLabel("");
  SetExtension(*with, 0, 9, "");
  SetAttribute(*without, "a", {"1"});
  SetAttribute(*without, "b", {"2"});
  SetAttribute(*with, "b", {"2"});
  SetAttribute(*with, "a", {"1"});
  EXPECT_EQ(DigestOf(*with), DigestOf(*without));
}

TEST(DictionaryDigest, ExcludesPropertiesThatMessagesCarryOnlyInPartOrNotAtAll) {
  const auto plain = FullDictionary();
  const auto other = FullDictionary();
  const auto parent = Dictionary("Z");
  other->RowsPerImputation(5);
  other->SetFileSpec("/data/survey.tsv");
  other->SetParentSource(parent.get());
  SetExtension(*other, 3, 1, "bytes");
  EXPECT_EQ(DigestOf(*other), DigestOf(*plain));
}

// This digest is frozen: different versions of the library exchange digests.
TEST(DictionaryDigest, OfThisDictionaryNeverChanges) {
  DataFreeDataSource source;
  EXPECT_EQ(DigestOf(source).AsText(), "de9148823a663d5357da763b26e40ac2");
  source.MakeVariable(ORVX_Variable(LocallyUniqueID(1, 7), "age"), nullptr);
  source.SetLabel("National survey");
  source.SetWeightVar(0);
  EXPECT_EQ(DigestOf(source).AsText(), "d161ee6e7534c17bf4f5b96870834c6d");
}

TEST(DictionaryDigest, AsTextHasThirtyTwoDigits) {
  EXPECT_EQ((DictionaryDigest{0x0123456789abcdef, 0xf}).AsText(),
            "0123456789abcdef000000000000000f");
}

}  // namespace
