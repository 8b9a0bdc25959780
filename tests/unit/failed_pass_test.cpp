// Notification passes that run out of memory. The tests call Notify and catch its exception.
// Clients that follow the messages must miss no change.

#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <tests/support/Agreement.h>
#include <tests/support/Datasets.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/Messages.h>
#include <tests/unit/saved_files.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using support::kLong;
using support::Labelled;
using support::Said;
using support::Shortage;
using support::SourceWithRows;
using support::Typed;
using support::Var;

// A write to a dataset.
struct Case {
  std::string name;
  // Makes the source of the snapshot; null for a dataset that has not been through a notification
  // pass.
  std::function<std::unique_ptr<ORVX_DataSource>()> before;
  std::function<void(SvrDMWriteableDataSource&)> change;
};

// A client that knows the dataset only from messages. Its allocations never fail.
class Client : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    support::EndShortage();
    last = support::WhatIsSaidBy(writer->GetNotifications());
    ++passes;
    try {
      mirror.Apply(writer->GetNotifications());
    } catch (const MirrorError& refusal) {
      ADD_FAILURE() << refusal.what();
    }
  }

  DictionaryMirror mirror;
  std::vector<Said> last;
  int passes = 0;
};

void CopyOver(const ORVX_DataSource& from, ORVX_DataSource& to) {
  to.CopyDictionary(&from);
  to.SetDirty(from.IsDirty());
  if (auto* const source = dynamic_cast<SourceWithRows*>(&to)) source->rows = from.RowCount();
}

// A dataset with a client, and a writer that has called the `change` of a test case.
class ChangedDataset {
 public:
  explicit ChangedDataset(const Case& write) {
    if (write.before == nullptr) {
      id = registry.Add(*new SourceWithRows, "", /*quiet=*/true);
      registry.GetDataSet(id)->Register(client);
    } else {
      std::unique_ptr<ORVX_DataSource> source = write.before();
      CopyOver(*source, before);
      id = registry.Add(*source.release(), "", /*quiet=*/true);
      registry.GetDataSet(id)->Register(client);
      support::WriteNothing(registry, id);
    }
    client.passes = 0;
    writer = std::make_unique<SvrDMWriteableDataSource>(registry, id, false, nullptr);
    write.change(*writer);
  }

  bool NotifyFails(long count, Shortage shortage) {
    return support::FailsWithMemoryFor(
        count, [this] { writer->Notify(); }, shortage);
  }

  // Undoes the change of the dictionary.
  void Revert() {
    if (writer->GetDataSource() == nullptr) writer->SetDataSet(new SourceWithRows);
    CopyOver(before, *writer->GetDataSource());
  }

  std::string Differences() const {
    const ORVX_DataSource* const source = writer->GetDataSource();
    const ORVX_DataSource& mirror = client.mirror.Dictionary();
    if (source == nullptr) return support::DifferencesBetween(DataFreeDataSource(), mirror);
    std::string text = support::DifferencesBetween(*source, mirror);
    if (dynamic_cast<const SystemFileDataSource*>(source) == nullptr) return text;
    const std::string fileSpec = source->GetFileSpec();
    if (mirror.GetFileSpec() != fileSpec) text += "another file specification\n";
    if (registry.GetDataSet(id)->FileName() != fileSpec) text += "another file name\n";
    return text;
  }

  mutable ServerDataManager registry;
  LocallyUniqueID id;
  SourceWithRows before;
  Client client;
  std::unique_ptr<SvrDMWriteableDataSource> writer;
};

// --- The writes ---

DatasourceAttributes WithDashboard(DatasourceAttributes attributes) {
  attributes.Set("dashboard.layout", {kLong, kLong});
  return attributes;
}

std::unique_ptr<ORVX_DataSource> FullDictionaryWithDashboard() {
  auto source = support::FullDictionary();
  source->SetAttributes(WithDashboard(source->GetAttributes()));
  source->RowsPerImputation(5);
  return source;
}

// Changes everything that messages carry: deletes, inserts, moves and modifies variables, and
// changes the properties.
void ChangeEverything(SvrDMWriteableDataSource& writer) {
  auto& source = dynamic_cast<SourceWithRows&>(**writer);
  support::Replace(source, {Var("D"), Var("E"), Var("F"), Typed(Labelled(Var("A"), kLong), 24)});
  source.rows = 70;
  source.RowsPerImputation(0);
  source.SetWeightVar(0);
  source.SetFilterVar(1);
  support::SetSplit(source, {0, 3}, false);
  source.SetLabel(kLong.c_str());
  source.SetFileSpec(kLong.c_str());
  source.SetDirty(false);
  source.GetTrendsInfo()->timeVariables.assign(9, support::Id("A"));
  source.SetMRSets({support::SetOf(kLong, "D E F"), support::SetOf("n", "A")});
  source.SetVariableSets({support::SetOf(kLong, "D E F"), support::SetOf("s", "A")});
  support::SetExtension(source, 0, 1, kLong);
  support::SetAttribute(source, "a", {kLong, kLong});
}

Case Everything() {
  return {"everything", FullDictionaryWithDashboard, ChangeEverything};
}

// The first pass, which reports the whole dictionary.
Case FirstPass() {
  return {"first pass", nullptr,
          [](SvrDMWriteableDataSource& writer) { CopyOver(*support::FullDictionary(), **writer); }};
}

Case Bulk() {
  return {"in bulk", FullDictionaryWithDashboard, [](SvrDMWriteableDataSource& writer) {
            ChangeEverything(writer);
            writer.BulkVarMoves();
          }};
}

Case LostSource() {
  return {"lost source", FullDictionaryWithDashboard,
          [](SvrDMWriteableDataSource& writer) { writer.SetDataSet(nullptr); }};
}

// The file specification of a saved file becomes a longer name.
Case SavedFile() {
  static const TemporaryFolder folder;
  return {
      "saved file", [] { return SystemFileDataSource::Open(folder.Write("a.csv")); },
      [](SvrDMWriteableDataSource& writer) { writer->SetFileSpec(folder.Path(kLong).c_str()); }};
}

// A change of one variable also removes the dashboard attributes.
Case Dashboard() {
  return {"dashboard", FullDictionaryWithDashboard,
          [](SvrDMWriteableDataSource& writer) { writer->GetVariable(2).SetLabel(kLong); }};
}

// After the variable is deleted from the snapshot, snapshot and source are split by the same
// remaining variable. The next pass must still report the split.
Case DeletedSplitVariable() {
  return {"deleted split variable", FullDictionaryWithDashboard,
          [](SvrDMWriteableDataSource& writer) {
            writer->DeleteVariables(2, 2);
            writer->SetLabel(kLong.c_str());
          }};
}

// Moves a variable into a full block of variables.
Case LongMove() {
  constexpr int kCount = 300;
  return {"long move",
          [] {
            auto source = std::make_unique<SourceWithRows>();
            for (int i = 0; i < kCount; ++i) {
              source->MakeVariable(Var(std::string("long").append(std::to_string(i))), nullptr);
            }
            source->SetWeightVar(kCount - 1);
            return source;
          },
          [](SvrDMWriteableDataSource& writer) {
            const ORVX_Variable last = writer->GetVariable(kCount - 1);
            writer->DeleteVariables(kCount - 1, kCount - 1);
            writer->InsertVariable(0, last);
          }};
}

// Random changes of variables, weight, filter and split.
Case RandomVariables(unsigned int seed) {
  const auto fill = [](ORVX_DataSource& source, std::mt19937 random) {
    std::vector<ORVX_Variable> variables = support::Vars("A B C D E F G H");
    std::shuffle(variables.begin(), variables.end(), random);
    variables.resize(random() % 9);
    for (ORVX_Variable& variable : variables) {
      if (random() % 4 == 0) variable.SetLabel(kLong);
      if (random() % 8 == 0) variable.SetType(8);
    }
    support::Replace(source, variables);
    if (variables.empty()) return;
    const auto any = [&] { return static_cast<int>(random() % variables.size()); };
    source.SetWeightVar(any());
    source.SetFilterVar(any());
    support::SetSplit(source, {any(), any(), any()}, random() % 2 == 0);
  };
  return {"variables " + std::to_string(seed),
          [=] {
            auto source = std::make_unique<SourceWithRows>();
            fill(*source, std::mt19937(seed));
            return source;
          },
          [=](SvrDMWriteableDataSource& writer) { fill(**writer, std::mt19937(seed + 1)); }};
}

std::vector<Case> AllCases() {
  std::vector<Case> all = {Everything(),           FirstPass(), Bulk(),
                           LostSource(),           SavedFile(), Dashboard(),
                           DeletedSplitVariable(), LongMove()};
  for (unsigned int seed = 0; seed < 40; ++seed) all.push_back(RandomVariables(seed));
  return all;
}

// --- The failures ---

// Removes deletions without variables. If a bulk replacement failed after its deletion, the next
// pass may queue such an empty deletion, but must queue no other message twice.
std::vector<Said> WithoutEmptyDeletions(std::vector<Said> said) {
  std::erase_if(said, [](const Said& message) {
    return message.kind == Said::Kind::Delete && message.variables.empty();
  });
  return said;
}

std::vector<support::Expected> Exactly(const std::vector<Said>& said) {
  std::vector<support::Expected> expected;
  for (const Said& message : said) expected.push_back({message, /*definitionsToo=*/true});
  return expected;
}

// Lets each allocation of the pass fail in turn: first together with all later allocations, then
// alone. Calls `judge` after each failed pass. If only one allocation fails, the pass may still
// succeed: if StampedPass fails, StepwisePass repeats the comparison. A pass that succeeds must
// queue the correct messages. Returns the number of passes with a failed allocation.
long ForEachFailure(const Case& write, const std::function<void(ChangedDataset&)>& judge) {
  const auto fails = [&](long count, Shortage shortage) {
    SCOPED_TRACE(write.name + ", after " + std::to_string(count) + " allocations");
    ChangedDataset dataset(write);
    if (dataset.NotifyFails(count, shortage)) {
      EXPECT_EQ(dataset.client.passes, 0);
      judge(dataset);
      return true;
    }
    EXPECT_EQ(dataset.Differences(), "");
    return false;
  };
  long allocations = 0;
  while (fails(allocations, Shortage::Lasts)) ++allocations;
  for (long count = 0; count < allocations; ++count) fails(count, Shortage::Passes);
  return 2 * allocations;
}

TEST(FailedPass, IsCompletedByTheNextPass) {
  for (const Case& write : AllCases()) {
    ChangedDataset undisturbed(write);
    undisturbed.writer->Notify();

    ForEachFailure(write, [&](ChangedDataset& dataset) {
      dataset.writer->Notify();
      EXPECT_EQ(dataset.client.passes, 1);
      EXPECT_TRUE(support::AreSaid(WithoutEmptyDeletions(dataset.client.last),
                                   Exactly(undisturbed.client.last)));
      EXPECT_EQ(dataset.Differences(), "");
      if (dataset.writer->GetDataSource() != nullptr) {
        EXPECT_EQ((*dataset.writer)->GetAttributes(), (*undisturbed.writer)->GetAttributes());
      }

      dataset.writer->Notify();
      EXPECT_EQ(dataset.client.passes, 1) << "the snapshot still differs from the source";
    });
  }
}

// Revert makes the source equal to the old snapshot. If a failed pass queued a message but did not
// change the snapshot, the next pass would find no difference and not correct the queued message.
TEST(FailedPass, IsCorrectedByTheNextPassIfTheChangeWasReverted) {
  for (const Case& write : AllCases()) {
    ForEachFailure(write, [&](ChangedDataset& dataset) {
      dataset.Revert();
      dataset.writer->Notify();
      EXPECT_EQ(dataset.Differences(), "");
    });
  }
}

TEST(FailedPass, IsCompletedByTheReleaseOfTheWriter) {
  ForEachFailure(Everything(), [&](ChangedDataset& dataset) {
    auto* const source = dataset.writer->GetDataSource();
    dataset.writer.reset();
    EXPECT_EQ(support::DifferencesBetween(*source, dataset.client.mirror.Dictionary()), "");
  });
}

TEST(FailedPass, ContinuesStepByStepIfOnlyTheFirstAllocationFails) {
  ChangedDataset dataset(RandomVariables(1));
  EXPECT_FALSE(dataset.NotifyFails(0, Shortage::Passes));
  EXPECT_EQ(dataset.client.passes, 1);
}

TEST(FailedPass, TriesManyFailuresOfAFullChange) {
  EXPECT_GT(ForEachFailure(Everything(), [](ChangedDataset&) {}), 150);
}

}  // namespace
