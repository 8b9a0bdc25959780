// Makes each allocation of an operation of libdatasrc fail in turn. The operation must succeed, or
// throw and change nothing. A few operations that throw may leave a part of
// their result.

#include <gtest/gtest.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/HiddenVariables.h>
#include <libdatasrc/iDMY2Orvx.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/PassThroughIter.h>
#include <libdatasrc/SaveDelimited.h>
#include <libdatasrc/ValueText.h>
#include <tests/support/FullMemory.h>
#include <tests/support/OutOfMemory.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"
#include "Variables.h"

namespace {

using support::AllocationsOf;
using support::Changes;
using support::ExpectNoAllocations;
using support::ExpectSafeWithoutMemory;
using support::FailsWithMemoryFor;
using support::kLong;
using support::Operation;
using support::Returns;
using support::Trial;

const ORVX_Variable kShared(Serial(1000), "shared");

void Fill(ORVX_DataSource& source, unsigned int count) {
  for (unsigned int i = 0; i < count; ++i) {
    source.MakeVariable(ORVX_Variable(Serial(i), std::to_string(i)), nullptr);
  }
}

void SplitBy(ORVX_DataSource& source, const std::vector<int>& indices, bool separate) {
  source.SetSplit(static_cast<unsigned int>(indices.size()), indices.data(), separate);
}

VariableSetImpl Set(const std::string& name) {
  VariableSetImpl set;
  set.name = name + kLong;
  set.members = {Serial(1), Serial(2)};
  return set;
}

DatasourceAttributes Attributes(const std::string& value) {
  DatasourceAttributes attributes;
  attributes.Set("first", {value + kLong});
  attributes.Set("second", {value + kLong, value});
  attributes.Set("dashboard.x", {"y"});
  return attributes;
}

ORVX_DataSource::Extension MakeExtension(const std::string& bytes, int type = 0) {
  return ORVX_DataSource::Extension(RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, 1, static_cast<long>(bytes.size()), bytes.data())));
}

const VariableSetImpl kOldSet = Set("old");
const VariableSetImpl kNewSet = Set("another, with a longer name");
const DatasourceAttributes kNewAttributes = Attributes("new");
const ORVX_DataSource::Extension kNewExtension = MakeExtension("new", 1);

// --- States as text ---

void Print(const DataValue& value, std::ostream& out) {
  std::visit([&](const auto& either) { out << either; }, value);
}

std::string TextOf(const ORVX_Variable& variable) {
  std::ostringstream text;
  text << variable.GetID() << ' ' << variable.GetName() << ' ' << variable.GetLabel() << ' '
       << variable.GetType() << ' ' << variable.GetFormat().width << ' '
       << static_cast<int>(variable.GetMeasurementLevel());
  for (const auto& [value, label] : variable.GetValueLabels()) {
    Print(value, text << " [");
    text << '=' << label << ']';
  }
  for (const DataValue& value : variable.GetMissingValues().values) Print(value, text << " -");
  for (const auto& [name, values] : variable.GetAttributes()) {
    text << ' ' << name << ':' << values.size();
  }
  return text.str();
}

std::string TextOf(const std::vector<VariableSetImpl>& sets) {
  std::string text;
  for (const VariableSetImpl& set : sets) text += set.name + "; ";
  return text + "\n";
}

// Returns the names and labels of the variables. If a lookup by a variable's identifier finds
// another variable, also returns the position of the variable found.
std::string TextOfVariables(const ORVX_DataSource& source) {
  std::string text;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    const ORVX_Variable& variable = source.GetVariable(i);
    text.append(variable.GetName()).append(1, ' ').append(variable.GetLabel());
    const int found = source.FindVarIndex(variable.GetID());
    if (found != i) text += " found at " + std::to_string(found);
    text += '\n';
  }
  return text;
}

// The variables, the weight, filter and split, and all properties that allocate memory except the
// trends information.
std::string TextOf(const ORVX_DataSource& source) {
  std::ostringstream text;
  text << TextOfVariables(source) << "another found at " << source.FindVarIndex(kShared.GetID())
       << ", weight " << source.GetWeightVarIndex() << ", filter " << source.GetFilterVarIndex()
       << ", split";
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) text << ' ' << source.GetSplitVarID(i);
  text << ' ' << source.GetSplitqSeparate() << ", label "
       << (source.GetLabel() == nullptr ? "none" : source.GetLabel()) << ", file "
       << source.GetFileSpec() << '\n'
       << TextOf(source.GetMRSets()) << TextOf(source.GetVariableSets())
       << source.GetAttributes().MakeString();
  for (const int type : {0, 1}) {
    text << ORVX_DataSource::Extension(source, type).Impl()->GetBytes() << '\n';
  }
  return text.str();
}

// --- Edits of a dictionary ---

// Returns a source in which every block of variables is full, so that an insertion must allocate.
std::unique_ptr<DataFreeDataSource> FullSource() {
  auto source = std::make_unique<DataFreeDataSource>();
  Fill(*source, 512);
  source->SetWeightVar(7);
  SplitBy(*source, {7}, true);
  source->SetLabel(kLong.c_str());
  source->SetMRSets({kOldSet, kOldSet});
  source->SetVariableSets({kOldSet, kOldSet});
  source->SetAttributes(Attributes("old"));
  source->SetExtension(MakeExtension("old"));
  return source;
}

Operation Edit(const std::string& name, const std::function<void(ORVX_DataSource&)>& edit) {
  return Changes(name, FullSource, edit, [](const auto& source) { return TextOf(source); });
}

void CopyAnother(ORVX_DataSource& source) {
  DataFreeDataSource other;
  other.MakeVariable(kShared, nullptr);
  SplitBy(other, {0}, false);
  other.SetLabel((kLong + kLong).c_str());
  other.SetMRSets({kNewSet});
  other.SetVariableSets({kNewSet});
  other.SetAttributes(kNewAttributes);
  other.SetExtension(kNewExtension);
  source.CopyDictionary(&other);
}

TEST(MemoryFault, LeavesTheDictionaryUnchanged) {
  ExpectSafeWithoutMemory({
      Edit("InsertVariable", [](auto& s) { s.InsertVariable(100, kShared); }),
      Edit("MakeVariable", [](auto& s) { s.MakeVariable(kShared, nullptr); }),
      Edit("SetID",
           [](auto& s) {
             const ORVX_Variable holder = s.GetVariable(7);
             s.GetVariable(7).SetID(Serial(1000));
           }),
      Edit("changing a variable",
           [](auto& s) {
             const ORVX_Variable holder = s.GetVariable(7);
             s.GetVariable(7).SetLabel(kLong);
           }),
      Edit("SetLabel", [](auto& s) { s.SetLabel((kLong + kLong).c_str()); }),
      Edit("SetFileSpec", [](auto& s) { s.SetFileSpec(kLong.c_str()); }),
      Edit("SetSplit",
           [](auto& s) {
             SplitBy(s, {1, 2}, false);
           }),
      Edit("SetSplitOfAnySize",
           [](auto& s) {
             const std::vector<int> all(9, 1);
             s.SetSplitOfAnySize(9, all.data(), false);
           }),
      Edit("SetMRSets",
           [](auto& s) {
             s.SetMRSets({kNewSet, kNewSet});
           }),
      Edit("SetVariableSets",
           [](auto& s) {
             s.SetVariableSets({kNewSet, kNewSet});
           }),
      Edit("SetAttributes", [](auto& s) { s.SetAttributes(kNewAttributes); }),
      Edit("ClearDashboardInfo", ClearDashboardInfo),
      Edit("SetExtension", [](auto& s) { s.SetExtension(kNewExtension); }),
      Edit("CopyDictionary", CopyAnother),
  });
}

Operation EditOf(unsigned int count, const std::function<void(ORVX_DataSource&)>& edit) {
  return Changes(
      "an edit of " + std::to_string(count) + " variables",
      [=] {
        auto source = std::make_unique<DataFreeDataSource>();
        Fill(*source, count);
        return source;
      },
      edit, [](const auto& source) { return TextOf(source); });
}

TEST(MemoryFault, WhileABlockGrowsLeavesTheDictionaryUnchanged) {
  for (const unsigned int count : {0U, 16U, 64U, 256U}) {
    ExpectSafeWithoutMemory(
        {EditOf(count, [](auto& source) { source.InsertVariable(0, kShared); })});
  }
}

// With 16 variables, a dictionary has no index of identifiers; the edit creates the index. With 224
// variables, the index is full; the edit makes the index larger.
TEST(MemoryFault, WhileTheIndexGrowsLeavesTheDictionaryUnchanged) {
  for (const unsigned int count : {16U, 224U}) {
    ExpectSafeWithoutMemory({
        EditOf(count, [](auto& source) { source.GetVariable(7) = kShared; }),
        EditOf(count, [](auto& source) { source.GetVariable(7).SetID(Serial(1000)); }),
    });
  }
}

TEST(MemoryFault, WhileTheFirstPropertyIsSetLeavesTheDictionaryUnchanged) {
  ExpectSafeWithoutMemory({
      EditOf(1, [](auto& source) { source.SetLabel(kLong.c_str()); }),
      EditOf(1, [](auto& source) { source.SetMRSets({kNewSet}); }),
      EditOf(1, [](auto& source) { source.SetVariableSets({kNewSet}); }),
      EditOf(1, [](auto& source) { source.SetAttributes(kNewAttributes); }),
      EditOf(1, [](auto& source) { source.SetExtension(kNewExtension); }),
      EditOf(1, CopyAnother),
  });
}

TEST(DictionaryMemory, IsReusedWhenVariablesComeAndGo) {
  DataFreeDataSource source;
  const auto comeAndGo = [&] {
    Fill(source, 1024);
    source.DeleteVariables(0, 1023);
  };
  comeAndGo();
  const long allocations = AllocationsOf(comeAndGo);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(AllocationsOf(comeAndGo), allocations);
}

struct Followed {
  DataFreeDataSource source;
  DataFreeDataSource snapshot;
};

// Matches the snapshot with the source, edits the source, then matches the snapshot again. The
// deletion changes the first block of variables, the insertion splits the second block, and the new
// label changes the last block.
TEST(MemoryFault, WhileMatchingASnapshotLeavesItUnchanged) {
  ExpectSafeWithoutMemory({Changes(
      "MatchVariables",
      [] {
        auto followed = std::make_unique<Followed>();
        Fill(followed->source, 2048);
        followed->snapshot.MatchVariables(followed->source);
        followed->snapshot.SetWeightVar(3);
        followed->source.DeleteVariables(3, 3);
        followed->source.InsertVariable(300, ORVX_Variable(Serial(4000), "inserted"));
        followed->source.GetVariable(2000).SetLabel("a label");
        return followed;
      },
      [](auto& followed) { followed.snapshot.MatchVariables(followed.source); },
      [](auto& followed) {
        return TextOf(followed.source) + TextOf(followed.snapshot) +
               (followed.snapshot.VariablesAreKnownToEqual(followed.source) ? "equal" : "other");
      })});
}

// --- Values ---

// Two variables that share a record, so that an edit of one must copy the record.
struct SharedVariable {
  ORVX_Variable variable{Serial(1), "name"};
  ORVX_Variable other = variable;
};

Operation Setter(const std::string& name, const std::function<void(ORVX_Variable&)>& set) {
  return Changes(
      name, [] { return std::make_unique<SharedVariable>(); },
      [=](auto& shared) { set(shared.variable); },
      [](auto& shared) { return TextOf(shared.variable) + "\n" + TextOf(shared.other); });
}

TEST(MemoryFault, LeavesAVariableUnchanged) {
  ExpectSafeWithoutMemory({
      Returns(
          "ORVX_Variable", [] { return ORVX_Variable(Serial(1), kLong); },
          [](const ORVX_Variable& variable) { return TextOf(variable); }),
      Setter("SetID", [](auto& v) { v.SetID(Serial(2)); }),
      Setter("SetName", [](auto& v) { v.SetName(kLong); }),
      Setter("SetLabel", [](auto& v) { v.SetLabel(kLong); }),
      Setter("SetType", [](auto& v) { v.SetType(8); }),
      Setter("SetFormat",
             [](auto& v) {
               v.SetFormat({VariableFormat::Kind::Plain, 12, 0});
             }),
      Setter("SetValueLabels",
             [](auto& v) {
               v.SetValueLabels({{1.0, kLong}, {kLong, "two"}});
             }),
      Setter("SetMissingValues",
             [](auto& v) {
               v.SetMissingValues({{9.0, kLong}});
             }),
      Setter("SetMeasurementLevel",
             [](auto& v) { v.SetMeasurementLevel(MeasurementLevel::Ratio); }),
      Setter("SetAttributes",
             [](auto& v) {
               v.SetAttributes({{"unit", {kLong, "g"}}});
             }),
  });
}

std::vector<VariableSet> TwoSets() {
  return {VariableSet(kOldSet), VariableSet(kNewSet)};
}

std::string TextOf(const std::vector<VariableSet>& sets) {
  std::string text;
  for (const VariableSet& set : sets) text += set.Impl().name + "; ";
  return text;
}

// Appends two sets to a text. After a failure, the text may end with a part of the sets.
Operation AppendingSets(int type) {
  std::string whole = kLong;
  MakeExtension(TwoSets(), whole, type);
  std::vector<std::string> parts;
  for (std::size_t size = kLong.size(); size <= whole.size(); ++size) {
    parts.push_back(whole.substr(0, size));
  }
  const auto prepare = [=] {
    const auto text = std::make_shared<std::string>(kLong);
    const auto sets = std::make_shared<std::vector<VariableSet>>(TwoSets());
    return Trial{[=] { MakeExtension(*sets, *text, type); }, [=] { return *text; },
                 [=] { *text = kLong; }};
  };
  return {"MakeExtension " + std::to_string(type), prepare, parts};
}

TEST(MemoryFault, LeavesSetsAttributesAndExtensionsUnchanged) {
  const std::shared_ptr<const ORVX_DataSource> source = FullSource();
  const std::string attributes = kNewAttributes.MakeString();
  std::string sets;
  MakeExtension(TwoSets(), sets, 7);
  const auto textOfSets = [](const std::vector<VariableSet>& read) { return TextOf(read); };
  ExpectSafeWithoutMemory({
      Changes(
          "DatasourceAttributes::Set",
          [] { return std::make_unique<DatasourceAttributes>(Attributes("old")); },
          [](auto& changed) {
            changed.Set("a new name, " + kLong, {kLong, kLong});
          },
          [](const auto& changed) { return changed.MakeString(); }),
      Returns("DatasourceAttributes::MakeString", [] { return kNewAttributes.MakeString(); }),
      Returns(
          "DatasourceAttributes::Read", [=] { return DatasourceAttributes::Read(attributes); },
          [](const DatasourceAttributes& read) { return read.MakeString(); }),
      Returns(
          "VariableSets", [=] { return VariableSets(*source, kMRSets); }, textOfSets),
      AppendingSets(5),
      AppendingSets(7),
      AppendingSets(19),
      Returns(
          "ReadExtension", [=] { return ReadExtension(sets, 7); }, textOfSets),
      Returns(
          "ORVX_ExtensionImpl",
          [] {
            return std::make_unique<ORVX_ExtensionImpl>(0, 1, static_cast<long>(kLong.size()),
                                                        kLong.data());
          },
          [](const auto& block) { return std::string(block->GetBytes()); }),
      Returns(
          "an absent extension", [=] { return ORVX_DataSource::Extension(*source, 99); },
          [](const auto& extension) { return std::to_string(extension.Impl()->GetType()); }),
      Returns(
          "DataFileError", [] { return DataFileError(kLong, 1, 2, kLong); },
          [](const DataFileError& error) { return std::string(error.what()); }),
  });
}

// --- Cases ---

std::string CountRows(ObsIterator& rows) {
  int count = 0;
  while (rows.Next()) ++count;
  return std::to_string(count);
}

// Makes an iterator and counts its rows.
Operation Iterates(const std::string& name, const ORVX_DataSource& source, std::vector<OBS>& area) {
  return Returns(name, [&] {
    return CountRows(*std::unique_ptr<ObsIterator>(source.MakeIterator(area.data())));
  });
}

std::string TextOfRows(const ORVX_DataSource& source) {
  std::string text = TextOf(source);
  for (const std::string& row : Rows(source)) text += row + "\n";
  return text;
}

template <class Source>
std::string TextOfCases(const std::unique_ptr<Source>& source) {
  return TextOfRows(*source);
}

// --- Editing cases ---

// A source and a copy that share the columns, so that an edit must copy the columns it changes.
struct SharedCases {
  SharedCases() {
    source.InsertVariable(0, ORVX_Variable(Serial(0), "number"), {1, 2, 3});
    source.InsertVariable(1, ORVX_Variable(Serial(1), "text", 200), {kLong, "b", "c"});
    source.InsertVariable(2, ORVX_Variable(Serial(2), "retyped"), {1.0000000000000002e-100, 2, 3});
    source.GetVariable(2).SetType(40);
    copy = MemoryDataSource::CopyOf(source);
  }

  MemoryDataSource source;
  std::unique_ptr<MemoryDataSource> copy;
};

Operation EditOfCases(const std::string& name, const std::function<void(MemoryDataSource&)>& edit) {
  return Changes(
      name, [] { return std::make_unique<SharedCases>(); },
      [=](auto& cases) { edit(cases.source); },
      [](auto& cases) { return TextOfRows(cases.source) + TextOfRows(*cases.copy); });
}

TEST(MemoryFault, LeavesCasesUnchanged) {
  const std::vector<DataValue> values = {4.0, kLong + kLong, kLong.substr(0, 40)};
  ExpectSafeWithoutMemory({
      EditOfCases("SetValue of a number", [](auto& s) { s.SetValue(1, 0, 7.0); }),
      EditOfCases("SetValue of a string", [](auto& s) { s.SetValue(1, 1, kLong); }),
      EditOfCases("SetValue of another type", [](auto& s) { s.SetValue(1, 2, "seven"); }),
      EditOfCases("SetColumn of numbers",
                  [](auto& s) {
                    s.SetColumn(0, {4, 5, 6});
                  }),
      EditOfCases("SetColumn of strings",
                  [](auto& s) {
                    s.SetColumn(1, {"d", kLong, "e"});
                  }),
      EditOfCases("SetCase", [=](auto& s) { s.SetCase(1, values); }),
      EditOfCases("AppendCase", [=](auto& s) { s.AppendCase(values); }),
      EditOfCases("InsertCases",
                  [=](auto& s) {
                    s.InsertCases(1, std::vector<std::vector<DataValue>>{values, values});
                  }),
      EditOfCases("InsertMissingCases", [](auto& s) { s.InsertMissingCases(2, 100); }),
      EditOfCases("DeleteCases", [](auto& s) { s.DeleteCases(0, 1); }),
      EditOfCases("Retype to a string", [](auto& s) { s.Retype(0, 30); }),
      EditOfCases("Retype to a number", [](auto& s) { s.Retype(1, 0); }),
      EditOfCases("InsertVariable with numbers",
                  [](auto& s) {
                    s.InsertVariable(1, kShared, {7, 8, 9});
                  }),
      EditOfCases("InsertVariable with strings",
                  [](auto& s) {
                    s.InsertVariable(1, ORVX_Variable(Serial(1000), "new", 100), {kLong, "", ""});
                  }),
      Changes(
          "SetColumn of the first cases",
          [] {
            auto source = std::make_unique<MemoryDataSource>();
            source->MakeVariable(kShared, nullptr);
            return source;
          },
          [](auto& source) {
            source.SetColumn(0, {4, 5, 6});
          },
          [](auto& source) { return TextOfRows(source); }),
  });
}

TEST(MemoryFault, WhileCopyingCasesLeaksNothing) {
  const SharedCases cases;
  const FilteredDataSource filtered(cases.copy.get());
  ExpectSafeWithoutMemory({
      Returns(
          "MemoryDataSource", [] { return std::make_unique<MemoryDataSource>(); },
          [](const auto& source) { return TextOfRows(*source); }),
      Returns(
          "CopyOf", [&] { return MemoryDataSource::CopyOf(cases.source); },
          [](const auto& source) { return TextOfRows(*source); }),
      Returns(
          "CopyOf another class", [&] { return MemoryDataSource::CopyOf(filtered); },
          [](const auto& source) { return TextOfRows(*source); }),
      Returns(
          "GetValue", [&] { return cases.source.GetValue(0, 1); },
          [](const DataValue& value) { return std::get<std::string>(value); }),
  });
}

// The names and contents of all files in a folder.
std::string TextOf(const Folder& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
    std::ifstream file(entry.path());
    files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
  }
  std::string text;
  for (const auto& [name, bytes] : files) text.append(name).append("\n").append(bytes);
  return text;
}

TEST(MemoryFault, WhileSavingLeavesTheOldFiles) {
  SharedCases cases;
  cases.source.SetLabel(kLong.c_str());
  cases.source.GetVariable(0).SetValueLabels({{1.0, kLong}});
  cases.source.SetAttributes(Attributes("saved"));
  ExpectSafeWithoutMemory({Changes(
      "SaveDelimited",
      [] {
        auto folder = std::make_unique<Folder>();
        folder->Write("data.csv", "a,b\n1,2\n");
        folder->Write("data.schema.json", R"({"fields": [{"name": "a", "title": "A"}]})");
        return folder;
      },
      [&](const Folder& folder) { SaveDelimited(cases.source, folder.Path("data.csv")); },
      [](const Folder& folder) { return TextOf(folder); })});
}

// The texts of the numbers in the first row are longer than the small-string buffer.
constexpr const char* kLongNumbers = "a,b\n1.0000000000000002e-100,1.0000000000000002e-101\n7,8\n";

// Converts a row of two numbers to text. A failure may leave the first number converted.
struct ProjectedRow {
  explicit ProjectedRow(const ORVX_DataSource& file) {
    DataFreeDataSource to;
    to.CopyDictionary(&file);
    for (const int i : {0, 1}) to.GetVariable(i).SetType(24);
    projector = std::make_unique<ObsProjector>(file, to);
    std::fill_n(row[0].text, sizeof row, '-');
  }

  std::unique_ptr<ObsProjector> projector;
  OBS from[2] = {{1.0000000000000002e-100}, {1.0000000000000002e-101}};
  OBS row[6];
};

TEST(MemoryFault, WhileReadingCasesLeaksNothing) {
  const Folder folder;
  const std::string path = folder.Write("data.csv", "a,b\n1,\"x\"\n2,y\n");
  folder.Write("data.schema.json", R"({"title": ")" + kLong +
                                       R"(",
                   "fields": [{"name": "a", "categories": [{"value": 1, "label": "one"}]}]})");
  const auto file = SystemFileDataSource::Open(path);
  const LocallyUniqueID selector = file->GetVariable(0).GetID();
  const FilteredDataSource all(file.get());
  const FilteredDataSource selected(file.get(), selector);
  const DataFreeDataSource none(file.get());
  std::vector<OBS> area(2);

  ExpectSafeWithoutMemory({
      // The identifiers are not compared, because each call makes new identifiers.
      Returns(
          "SystemFileDataSource::Open", [=] { return SystemFileDataSource::Open(path); },
          [](const auto& source) { return source->GetLabel() + Rows(*source).at(1); }),
      Returns(
          "DataFreeDataSource", [] { return std::make_unique<DataFreeDataSource>(); },
          [](const auto& source) { return TextOf(*source); }),
      Returns(
          "FilteredDataSource", [&] { return std::make_unique<FilteredDataSource>(file.get()); },
          [](const auto& source) { return TextOfCases(source); }),
      Returns(
          "FilteredDataSource with a selector",
          [&] { return std::make_unique<FilteredDataSource>(file.get(), selector); },
          [](const auto& source) { return TextOfCases(source); }),
      Returns("HiddenVariables, and an addition that fails",
              [&] {
                HiddenVariables hidden({"a"});
                const int count = hidden.FilterDataSource(file.get())->ColumnCount();
                hidden.EndAddition(/*isAdded=*/false);
                return std::to_string(count);
              }),
      Iterates("iterator without cases", none, area),
      Iterates("iterator of a file", *file, area),
      Iterates("iterator of all cases", all, area),
      Iterates("iterator of selected cases", selected, area),
      Returns(
          "ObsProjector", [&] { return std::make_unique<ObsProjector>(*file, all); },
          [](const auto& made) { return std::to_string(made->GetToAreaSize()); }),
      Returns("PassThroughIter",
              [&] {
                PassThroughIter rows(&all, area.data(), std::make_unique<ObsProjector>(*file, all));
                return CountRows(rows);
              }),
      Returns("CaseReader",
              [&] {
                std::size_t count = 0;
                for (CaseReader cases(*file); cases.Next();) count += cases.Values().size();
                return std::to_string(count);
              }),
      Returns(
          "copy of ImportReport", [&] { return ImportReport(file->Report()); },
          [](const ImportReport& report) { return report.Text(); }),
      Returns("ImportReport::Text", [&] { return file->Report().Text(); }),
      Returns("FormatValue", [] { return FormatValue({VariableFormat::Kind::DateTime}, 86401); }),
  });
}

TEST(MemoryFault, WhileConvertingARowLeavesOnlyWholeValues) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", kLongNumbers));
  const auto text = [](const ProjectedRow& row) {
    return std::string(row.row[0].text, sizeof row.row);
  };
  ProjectedRow whole(*file);
  const std::string before = text(whole);
  whole.projector->Project(whole.from, whole.row);
  const std::string after = text(whole);

  ExpectSafeWithoutMemory({Changes(
      "Project", [&] { return std::make_unique<ProjectedRow>(*file); },
      [](auto& row) { row.projector->Project(row.from, row.row); }, text,
      {before, after.substr(0, 24) + before.substr(24)})});
}

TEST(MemoryFault, WhileConvertingANumberToTextAllowsReadingTheNextRow) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", kLongNumbers));
  FilteredDataSource source(file.get());
  source.GetVariable(0).SetType(24);
  std::vector<OBS> area(4);
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(area.data()));

  EXPECT_TRUE(FailsWithMemoryFor(0, [&] { rows->Next(); }));
  ASSERT_FALSE(FailsWithMemoryFor(0, [&] { rows->Next(); }));
  EXPECT_EQ(std::string(area[0].text, 2), "7 ");
}

// --- Operations that allocate nothing ---

TEST(MemoryFault, DoesNotAffectDeletion) {
  DataFreeDataSource source;
  Fill(source, 512);
  SplitBy(source, {0, 300, 511}, true);
  ExpectNoAllocations({
      {"whole blocks", [&] { source.DeleteVariables(100, 400); }},
      {"part of a block", [&] { source.DeleteVariables(5, 5); }},
      {"the rest", [&] { source.DeleteVariables(0, 209); }},
  });
  EXPECT_EQ(source.ColumnCount(), 0);
  EXPECT_EQ(source.GetNSplitVars(), 0U);
}

VariableHash HashOfIdentifier(const ORVX_Variable& variable) {
  return {variable.GetID().Word(), 1};
}

TEST(MemoryFault, DoesNotAffectOperationsThatAllocateNothing) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,x\n2,y\n"));
  const std::unique_ptr<DataFreeDataSource> source = FullSource();
  DataFreeDataSource without;  // has no properties
  DataFreeDataSource snapshot;
  snapshot.MatchVariables(*source);
  const ORVX_DataSource::Extension extension(*source, 0);
  DatasourceAttributes attributes = kNewAttributes;
  DatasourceAttributes::Values values = {kLong, kLong};
  // The first default variable allocates the record of all default variables.
  const ORVX_Variable empty;
  ORVX_Variable own(Serial(3), kLong);
  const FilteredDataSource all(file.get());
  const ObsProjector projector(*file, all);
  std::vector<OBS> area(2), projected(2);
  const std::unique_ptr<ObsIterator> rows(all.MakeIterator(area.data()));
  double date = 0;
  SharedCases cases;
  cases.copy.reset();  // the source no longer shares its columns

  ExpectNoAllocations({
      {"ORVX_Variable", [] { ORVX_Variable().GetName(); }},
      {"copying a variable", [&] { const ORVX_Variable copy(own); }},
      {"assigning a variable", [&] { ORVX_Variable() = own; }},
      {"comparing variables", [&] { static_cast<void>(own == kShared); }},
      {"changing an own record", [&] { own.SetType(8); }},
      {"NextID", [] { ORVX_Variable::NextID(); }},
      {"GetVariable", [&] { source->GetVariable(3); }},
      {"FindVarIndex", [&] { source->FindVarIndex(Serial(3)); }},
      {"ContainsVariable", [&] { source->ContainsVariable(Serial(3)); }},
      {"HasUniqueIDs", [&] { source->HasUniqueIDs(); }},
      {"BlockAt", [&] { source->BlockAt(300); }},
      {"HashOfVariables", [&] { source->HashOfVariables(HashOfIdentifier); }},
      {"VariablesAreKnownToEqual", [&] { snapshot.VariablesAreKnownToEqual(*source); }},
      {"matching an equal snapshot", [&] { snapshot.MatchVariables(*source); }},
      {"SetWeightVar", [&] { source->SetWeightVar(3); }},
      {"SetFilterVar", [&] { source->SetFilterVar(3); }},
      {"SetSplit to none", [&] { source->SetSplit(0, nullptr, false); }},
      {"DropUses", [&] { source->DropUses(Serial(3)); }},
      {"SetLabel to none", [&] { source->SetLabel(nullptr); }},
      {"SetLabel to none again", [&] { without.SetLabel(nullptr); }},
      {"GetLabel", [&] { without.GetLabel(); }},
      {"GetMRSets", [&] { without.GetMRSets(); }},
      {"GetVariableSets", [&] { without.GetVariableSets(); }},
      {"GetAttributes", [&] { without.GetAttributes(); }},
      {"SetDirty", [&] { source->SetDirty(true); }},
      {"RowsPerImputation", [&] { source->RowsPerImputation(3); }},
      {"GetTrendsInfo", [&] { source->GetTrendsInfo()->seasonalPeriod = 12; }},
      {"a present extension", [&] { ORVX_DataSource::Extension(*source, 0); }},
      {"comparing extensions", [&] { static_cast<void>(extension == kNewExtension); }},
      {"SetParentSource", [&] { source->SetParentSource(file.get()); }},
      {"NParents", [&] { source->NParents(); }},
      {"RowLayout", [&] { source->RowLayout(); }},
      {"GetObsAreaSize", [&] { file->GetObsAreaSize(); }},
      {"RowCount", [&] { all.RowCount(); }},
      {"IsLoaded", [&] { all.IsLoaded(); }},
      {"SetValue", [&] { cases.source.SetValue(1, 0, 5.0); }},
      {"ParseValue of a number", [&] { date = ParseValue({}, "-1.5e3").value(); }},
      {"ParseValue of a date",
       [&] {
         date = ParseValue({VariableFormat::Kind::DateTime}, "1970-01-02T00:00:01Z").value();
       }},
      {"FormatValue of a missing number",
       [] { FormatValue({VariableFormat::Kind::Date}, kMissingNumber); }},
      {"DeleteCases", [&] { cases.source.DeleteCases(0, 0); }},
      {"DropUnusedValues", [&] { cases.source.DropUnusedValues(); }},
      {"SetPasswordMangled", [&] { file->SetPasswordMangled(true); }},
      {"Set again", [&] { attributes.Set("first", std::move(values)); }},
      {"RemoveUnder", [&] { attributes.RemoveUnder("dashboard."); }},
      {"Next", [&] { rows->Next(); }},
      {"Project", [&] { projector.Project(area.data(), projected.data()); }},
      {"iDMY2Orvx", [&] { iDMY2Orvx(1, 2, 1996, 12, 0, 0, &date); }},
  });
}

}  // namespace
