// Snapshots: a dictionary is repeatedly made equal to another dictionary.

#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

ORVX_Variable NumberedVariable(unsigned int serial) {
  return ORVX_Variable(LocallyUniqueID(1, serial), "v" + std::to_string(serial));
}

void Append(ORVX_DataSource& source, unsigned int first, unsigned int count) {
  for (unsigned int i = first; i < first + count; ++i)
    source.MakeVariable(NumberedVariable(i), nullptr);
}

std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source) {
  std::vector<ORVX_Variable> variables;
  for (int first = 0; first < source.ColumnCount();) {
    const ORVX_DataSource::Block block = source.BlockAt(first);
    EXPECT_EQ(block.first, first);
    EXPECT_FALSE(block.variables.empty());
    variables.insert(variables.end(), block.variables.begin(), block.variables.end());
    first += static_cast<int>(block.variables.size());
  }
  return variables;
}

// Compares lookups with linear searches of the list.
void ExpectConsistent(const ORVX_DataSource& source, unsigned int serials) {
  const std::vector<ORVX_Variable> variables = VariablesOf(source);
  ASSERT_EQ(variables.size(), static_cast<std::size_t>(source.ColumnCount()));
  std::map<unsigned int, int> firstPositions;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    const ORVX_Variable& variable = variables[static_cast<std::size_t>(i)];
    EXPECT_TRUE(variable == source.GetVariable(i));
    firstPositions.emplace(variable.GetID().Word(), i);
  }
  EXPECT_EQ(source.HasUniqueIDs(), firstPositions.size() == variables.size());
  for (unsigned int serial = 0; serial < serials; ++serial) {
    const LocallyUniqueID id(1, serial);
    const auto found = firstPositions.find(id.Word());
    const int position = found == firstPositions.end() ? -1 : found->second;
    EXPECT_EQ(source.FindVarIndex(id), position);
    EXPECT_EQ(source.ContainsVariable(id), position >= 0);
  }
}

class RandomEdits {
 public:
  // An edit appends or deletes fewer than `limit` variables.
  RandomEdits(unsigned int seed, unsigned int serials, int limit)
      : random_(seed), serials_(serials), limit_(limit) {}

  void Edit(ORVX_DataSource& source) {
    const int count = source.ColumnCount();
    const int position = count == 0 ? 0 : Below(count);
    const int number = Below(limit_);
    const auto serial = static_cast<unsigned int>(Below(static_cast<int>(serials_)));
    switch (count == 0 ? 0 : Below(7)) {
      case 0:
        return Append(source, serial, static_cast<unsigned int>(number));
      case 1:
        return source.InsertVariable(position, NumberedVariable(serial));
      case 2:
        return source.DeleteVariables(position, std::min(position + number, count - 1));
      case 3:
        return source.GetVariable(position).SetLabel(std::to_string(++labels_));
      case 4:
        return source.GetVariable(position).SetID(LocallyUniqueID(1, serial));
      case 5:
        source.GetVariable(position) = NumberedVariable(serial);
        return;
      default:
        return source.DeleteVariables(position, position);
    }
  }

  int Below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }

 private:
  std::mt19937 random_;
  unsigned int serials_;
  int limit_;
  int labels_ = 0;
};

// Edits a source at random and matches a snapshot to it, repeatedly. The identifiers come from
// `serials` numbers: the fewer numbers, the more often an identifier repeats.
void MatchAfterRandomEdits(unsigned int seed, unsigned int serials, int limit) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomEdits edits(seed, serials, limit);
  DataFreeDataSource source;
  DataFreeDataSource snapshot;
  for (int turn = 0; turn < 12; ++turn) {
    for (int edit = edits.Below(6); edit > 0; --edit) edits.Edit(source);
    if (edits.Below(8) == 0) edits.Edit(snapshot);
    snapshot.MatchVariables(source);
    EXPECT_TRUE(snapshot.VariablesAreKnownToEqual(source));
    EXPECT_TRUE(VariablesOf(snapshot) == VariablesOf(source));
    ExpectConsistent(snapshot, serials);
    ExpectConsistent(source, serials);
    if (testing::Test::HasFailure()) return;
  }
}

TEST(Snapshot, EqualsItsSourceAfterAnyEdits) {
  for (unsigned int seed = 0; seed < 40; ++seed) {
    MatchAfterRandomEdits(seed, 2000, 300);
    if (HasFailure()) return;
  }
}

TEST(Snapshot, EqualsASourceWithRepeatedIdentifiers) {
  for (unsigned int seed = 0; seed < 40; ++seed) {
    MatchAfterRandomEdits(seed, 60, 300);
    if (HasFailure()) return;
  }
}

// Most of these lists stay near 16 variables. A list that outgrows 16 variables gets an index of
// its identifiers.
TEST(Snapshot, EqualsASmallSourceAfterAnyEdits) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    MatchAfterRandomEdits(seed, seed % 2 == 0 ? 300 : 20, 9);
    if (HasFailure()) return;
  }
}

TEST(Snapshot, IsNoLongerKnownToEqualItsSourceAfterAnyChange) {
  DataFreeDataSource source;
  Append(source, 0, 600);
  ORVX_Variable& held = source.GetVariable(300);
  const std::vector<void (*)(ORVX_DataSource&, ORVX_Variable&)> changes = {
      [](ORVX_DataSource&, ORVX_Variable& variable) { variable.SetLabel("a label"); },
      [](ORVX_DataSource&, ORVX_Variable& variable) { variable.SetType(8); },
      [](ORVX_DataSource&, ORVX_Variable& variable) {
        ORVX_Variable other = variable;
        other.SetLabel("another label");
        variable = other;
      },
      [](ORVX_DataSource&, ORVX_Variable& variable) { variable.SetID(LocallyUniqueID(1, 900)); },
      [](ORVX_DataSource&, ORVX_Variable& variable) { variable = NumberedVariable(901); },
      [](ORVX_DataSource& changed, ORVX_Variable&) { changed.DeleteVariables(599, 599); },
      [](ORVX_DataSource& changed, ORVX_Variable&) {
        changed.InsertVariable(0, NumberedVariable(902));
      },
  };
  DataFreeDataSource snapshot;
  for (const auto change : changes) {
    snapshot.MatchVariables(source);
    ASSERT_TRUE(snapshot.VariablesAreKnownToEqual(source));
    change(source, held);
    EXPECT_FALSE(snapshot.VariablesAreKnownToEqual(source));
    EXPECT_FALSE(VariablesOf(snapshot) == VariablesOf(source));
  }
}

TEST(Snapshot, SharesTheStampsOfUnchangedBlocks) {
  DataFreeDataSource source;
  Append(source, 0, 1000);
  DataFreeDataSource snapshot;
  snapshot.MatchVariables(source);
  source.GetVariable(999).SetLabel("changed");

  EXPECT_NE(source.BlockAt(0).stamp, 0U);
  EXPECT_EQ(source.BlockAt(0).stamp, snapshot.BlockAt(0).stamp);
  EXPECT_EQ(source.BlockAt(999).stamp, 0U);
  EXPECT_NE(snapshot.BlockAt(999).stamp, 0U);
}

TEST(Snapshot, DropsTheUsesOfDeletedVariables) {
  DataFreeDataSource source;
  Append(source, 0, 4);
  DataFreeDataSource snapshot;
  snapshot.MatchVariables(source);
  snapshot.SetWeightVar(0);
  snapshot.SetFilterVar(1);
  const int split[] = {0, 2};
  snapshot.SetSplit(2, split, true);

  source.DeleteVariables(0, 0);
  snapshot.MatchVariables(source);

  EXPECT_EQ(snapshot.GetWeightVarIndex(), -1);
  EXPECT_EQ(snapshot.GetFilterVarIndex(), 0);
  EXPECT_EQ(snapshot.GetNSplitVars(), 1U);
  EXPECT_EQ(snapshot.GetSplitVarID(0), LocallyUniqueID(1, 2));
  snapshot.DropUses(LocallyUniqueID(1, 2));
  EXPECT_EQ(snapshot.GetNSplitVars(), 0U);
  EXPECT_FALSE(snapshot.GetSplitqSeparate());
}

TEST(Snapshot, MatchingItselfChangesNothing) {
  DataFreeDataSource source;
  Append(source, 0, 3);
  source.MatchVariables(source);
  EXPECT_EQ(source.ColumnCount(), 3);
}

TEST(Block, BlockAtAPositionOutsideTheDictionaryThrows) {
  DataFreeDataSource source;
  EXPECT_THROW(source.BlockAt(0), std::out_of_range);
  Append(source, 0, 3);
  EXPECT_THROW(source.BlockAt(3), std::out_of_range);
  EXPECT_THROW(source.BlockAt(-1), std::out_of_range);
}

}  // namespace
