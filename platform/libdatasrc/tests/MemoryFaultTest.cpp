// Each allocation of an operation fails in turn. The operation must throw and change nothing, or
// succeed.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <tests/support/FullMemory.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"

namespace {

using support::FailsWithMemoryFor;

LocallyUniqueID Serial(unsigned int serial) {
  return LocallyUniqueID(1, serial);
}

// Inserts enough variables to fill the blocks, so that the next edit must allocate.
void Fill(ORVX_DataSource& source) {
  for (unsigned int i = 0; i < 512; ++i) {
    source.MakeVariable(ORVX_Variable(Serial(i), std::to_string(i)), nullptr);
  }
}

struct Edit {
  const char* name;
  std::function<void(ORVX_DataSource&)> apply;
};

void PrintTo(const Edit& edit, std::ostream* out) {
  *out << edit.name;
}

void SplitBy(ORVX_DataSource& source, const std::vector<int>& indices, bool separate) {
  source.SetSplit(static_cast<unsigned int>(indices.size()), indices.data(), separate);
}

// A set with texts longer than the small-string buffer.
VariableSetImpl Set(const std::string& name) {
  VariableSetImpl set;
  set.name = name + ", a name that is too long to stand inside a string object";
  set.members = {Serial(1), Serial(2)};
  return set;
}

std::vector<std::string> NamesOf(const std::vector<VariableSetImpl>& sets) {
  std::vector<std::string> names;
  for (const VariableSetImpl& set : sets) names.push_back(set.name);
  return names;
}

DatasourceAttributes Attributes(const std::string& value) {
  DatasourceAttributes attributes;
  attributes.Set("first", {value + ", a text that is too long to stand inside a string object"});
  attributes.Set("second", {value + ", another that is too long to stand inside a string object"});
  attributes.Set("dashboard.x", {"y"});
  return attributes;
}

ORVX_DataSource::Extension MakeExtension(const std::string& bytes, int type = 0) {
  return ORVX_DataSource::Extension(RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, 1, static_cast<long>(bytes.size()), bytes.data())));
}

const VariableSetImpl kOldSet = Set("old");
const VariableSetImpl kNewSet = Set("another, with a longer name");
const DatasourceAttributes kOldAttributes = Attributes("old");
const DatasourceAttributes kNewAttributes = Attributes("new");
const ORVX_DataSource::Extension kNewExtension = MakeExtension("new", 1);

const ORVX_Variable kShared(Serial(1000), "shared");

class MemoryFault : public testing::TestWithParam<Edit> {};

TEST_P(MemoryFault, LeavesTheDictionaryUnchanged) {
  int failures = 0;
  for (long allocations = 0;; ++allocations) {
    DataFreeDataSource source;
    Fill(source);
    source.SetWeightVar(7);
    SplitBy(source, {7}, true);
    source.SetLabel("a label that is too long to stand inside a string object");
    source.SetMRSets({kOldSet, kOldSet});
    source.SetVariableSets({kOldSet, kOldSet});
    source.SetAttributes(kOldAttributes);
    source.SetExtension(MakeExtension("old"));
    if (!FailsWithMemoryFor(allocations, [&] { GetParam().apply(source); })) break;
    ++failures;
    ASSERT_EQ(source.ColumnCount(), 512);
    for (unsigned int i = 0; i < 512; ++i) {
      ASSERT_EQ(source.GetVariable(static_cast<int>(i)).GetName(), std::to_string(i));
      ASSERT_EQ(source.FindVarIndex(Serial(i)), static_cast<int>(i));
    }
    ASSERT_EQ(source.FindVarIndex(Serial(1000)), -1);
    ASSERT_EQ(source.GetWeightVarIndex(), 7);
    ASSERT_EQ(source.GetNSplitVars(), 1U);
    ASSERT_EQ(source.GetSplitVarIndex(0), 7);
    ASSERT_TRUE(source.GetSplitqSeparate());
    ASSERT_STREQ(source.GetLabel(), "a label that is too long to stand inside a string object");
    ASSERT_STREQ(source.GetFileSpec(), "");
    ASSERT_EQ(NamesOf(source.GetMRSets()), NamesOf({kOldSet, kOldSet}));
    ASSERT_EQ(NamesOf(source.GetVariableSets()), NamesOf({kOldSet, kOldSet}));
    ASSERT_EQ(source.GetAttributes(), kOldAttributes);
    ASSERT_EQ(ORVX_DataSource::Extension(source, 0).Impl()->GetBytes(), "old");
    ASSERT_EQ(ORVX_DataSource::Extension(source, 1).Impl()->GetLength(), 0);
  }
  EXPECT_GT(failures, 0);
}

TEST(MemoryFault, DoesNotAffectDeletion) {
  DataFreeDataSource source;
  Fill(source);
  SplitBy(source, {0, 300, 511}, true);
  // Deletes whole blocks of the list, then part of a block, then the rest.
  for (const auto& [first, last] : {std::pair(100, 400), std::pair(5, 5), std::pair(0, 209)}) {
    EXPECT_FALSE(FailsWithMemoryFor(0, [&, f = first, l = last] { source.DeleteVariables(f, l); }));
  }
  EXPECT_EQ(source.ColumnCount(), 0);
  EXPECT_EQ(source.GetNSplitVars(), 0U);
}

// A variable is deleted from the first block, so that a copy replaces the block. The second block
// is split. All other blocks are kept.
TEST(MemoryFault, WhileMatchingASnapshotLeavesItUnchanged) {
  int failures = 0;
  for (long allocations = 0;; ++allocations) {
    DataFreeDataSource source;
    for (unsigned int i = 0; i < 2048; ++i) {
      source.MakeVariable(ORVX_Variable(Serial(i), std::to_string(i)), nullptr);
    }
    DataFreeDataSource snapshot;
    snapshot.MatchVariables(source);
    snapshot.SetWeightVar(3);
    source.DeleteVariables(3, 3);
    source.InsertVariable(300, ORVX_Variable(Serial(4000), "inserted"));
    source.GetVariable(2000).SetLabel("a label");

    const bool failed = FailsWithMemoryFor(allocations, [&] { snapshot.MatchVariables(source); });

    ASSERT_EQ(snapshot.ColumnCount(), 2048);
    ASSERT_EQ(snapshot.VariablesAreKnownToEqual(source), !failed);
    ASSERT_EQ(snapshot.GetWeightVarIndex(), failed ? 3 : -1);
    for (int i = 0; i < 2048; ++i) {
      const ORVX_Variable& variable = snapshot.GetVariable(i);
      ASSERT_EQ(snapshot.FindVarIndex(variable.GetID()), i);
      if (failed) {
        ASSERT_EQ(variable.GetName(), std::to_string(i));
        ASSERT_EQ(variable.GetLabel(), "");
      } else {
        ASSERT_TRUE(variable == source.GetVariable(i));
      }
    }
    if (!failed) break;
    ++failures;
  }
  EXPECT_GT(failures, 5);
}

TEST(MemoryFault, WhileABlockGrowsLeavesTheDictionaryUnchanged) {
  for (const unsigned int count : {0U, 16U, 64U, 256U}) {
    int failures = 0;
    for (long allocations = 0;; ++allocations, ++failures) {
      DataFreeDataSource source;
      for (unsigned int i = 0; i < count; ++i) {
        source.MakeVariable(ORVX_Variable(Serial(i), std::to_string(i)), nullptr);
      }
      const bool failed =
          FailsWithMemoryFor(allocations, [&] { source.InsertVariable(0, kShared); });
      const int first = failed ? 0 : 1;
      ASSERT_EQ(source.ColumnCount(), static_cast<int>(count) + first);
      for (unsigned int i = 0; i < count; ++i) {
        ASSERT_EQ(source.FindVarIndex(Serial(i)), static_cast<int>(i) + first);
      }
      if (!failed) break;
    }
    EXPECT_GT(failures, 0) << count;
  }
}

void CopyAnother(ORVX_DataSource& source) {
  DataFreeDataSource other;
  other.MakeVariable(ORVX_Variable(Serial(1000), "x"), nullptr);
  SplitBy(other, {0}, false);
  other.SetLabel("another label that is too long to stand inside a string object");
  other.SetMRSets({kNewSet});
  other.SetVariableSets({kNewSet});
  other.SetAttributes(kNewAttributes);
  other.SetExtension(kNewExtension);
  source.CopyDictionary(&other);
}

constexpr const char* kLongName = "a name that is too long to stand inside a string object";

INSTANTIATE_TEST_SUITE_P(
    DataSource, MemoryFault,
    testing::Values(
        Edit{"Insert", [](ORVX_DataSource& s) { s.InsertVariable(100, kShared); }},
        Edit{"Append", [](ORVX_DataSource& s) { s.MakeVariable(kShared, nullptr); }},
        Edit{"SetLabel", [](ORVX_DataSource& s) { s.SetLabel(kLongName); }},
        Edit{"SetFileSpec", [](ORVX_DataSource& s) { s.SetFileSpec(kLongName); }},
        Edit{"SetID",
             [](ORVX_DataSource& s) {
               const ORVX_Variable holder = s.GetVariable(7);
               s.GetVariable(7).SetID(Serial(1000));
             }},
        Edit{"CopyDictionary", CopyAnother},
        Edit{"SetSplit",
             [](ORVX_DataSource& s) {
               SplitBy(s, {1, 2}, false);
             }},
        Edit{"SetMRSets",
             [](ORVX_DataSource& s) {
               s.SetMRSets({kNewSet, kNewSet});
             }},
        Edit{"SetVariableSets",
             [](ORVX_DataSource& s) {
               s.SetVariableSets({kNewSet, kNewSet});
             }},
        Edit{"SetAttributes", [](ORVX_DataSource& s) { s.SetAttributes(kNewAttributes); }},
        Edit{"ClearDashboardInfo", ClearDashboardInfo},
        Edit{"SetExtension", [](ORVX_DataSource& s) { s.SetExtension(kNewExtension); }}),
    [](const auto& each) { return each.param.name; });

TEST(MemoryFault, WhileOpeningAFileLeaksNothing) {
  const Folder folder;
  const std::string path = folder.Write("data.csv", "a,b\n1,\"x\"\n2,y\n");
  folder.Write("data.schema.json",
               R"({"title": "A title that is too long for the string object itself",
                   "fields": [{"name": "a", "categories": [{"value": 1, "label": "one"}]}]})");
  long failures = 0;
  while (FailsWithMemoryFor(failures, [&] { SystemFileDataSource::Open(path); })) ++failures;

  EXPECT_GT(failures, 10);
}

// Iterates over `source`, with each allocation failing in turn, until it succeeds. Returns the
// number of failures.
long FailuresToIterate(const ORVX_DataSource& source) {
  std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
  long failures = 0;
  const auto iterate = [&] {
    const std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));
    while (rows->Next()) {
    }
  };
  while (FailsWithMemoryFor(failures, iterate)) ++failures;
  return failures;
}

TEST(MemoryFault, WhileFilteringCasesLeaksNothing) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,x\n2,y\n"));
  const long failuresOfTheFile = FailuresToIterate(*file);

  EXPECT_GT(FailuresToIterate(FilteredDataSource(file.get())), failuresOfTheFile);
  EXPECT_GT(FailuresToIterate(FilteredDataSource(file.get(), file->GetVariable(0).GetID())),
            failuresOfTheFile);
}

// The text of the number is longer than the small-string buffer.
TEST(MemoryFault, WhileConvertingANumberToTextAllowsReadingTheNextRow) {
  const Folder folder;
  const auto file =
      SystemFileDataSource::Open(folder.Write("data.csv", "a\n1.0000000000000002e-100\n7\n"));
  FilteredDataSource source(file.get());
  source.GetVariable(0).SetType(24);
  std::vector<OBS> area(3);
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));

  EXPECT_TRUE(FailsWithMemoryFor(0, [&] { rows->Next(); }));
  ASSERT_FALSE(FailsWithMemoryFor(0, [&] { rows->Next(); }));
  EXPECT_EQ(std::string(area[0].text, 2), "7 ");
}

}  // namespace
