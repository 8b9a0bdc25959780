// Tests how the library compares random lists of variables.

#include <tests/property/Followed.h>
#include <tests/property/ForAll.h>
#include <tests/property/RandomDictionary.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 5000;

void GiveVariables(Followed& followed, const std::vector<RandomVariable>& list) {
  support::Replace(followed.Source(), VariablesOf(list));
}

void AssertRight(const std::string& wrong) {
  if (!wrong.empty()) RC_FAIL(wrong);
}

// Makes random edits of a dictionary with the operations that a writer has.
class RandomEdits {
 public:
  // With `repeatsIDs`, some edits give a variable the identifier of another variable.
  RandomEdits(Followed& followed, unsigned int seed, bool repeatsIDs = false)
      : followed_(followed), random_(seed), repeatsIDs_(repeatsIDs) {}

  void Fill(int count) {
    for (int i = 0; i < count; ++i) Source().MakeVariable(NewVariable(), nullptr);
  }

  void One() {
    const int count = Source().ColumnCount();
    if (count == 0) return Fill(1 + Below(300));
    const int position = Below(count);
    const int number = Below(600);
    switch (Below(12)) {
      case 0:
        return Fill(number / 2);
      case 1:
        return Source().GetVariable(position).SetLabel(NewText());
      case 2:
        return Source().GetVariable(position).SetType(number % 3);
      case 3:
        return Source().GetVariable(position).SetID(AnyID(number));
      case 4:
        Source().GetVariable(position) = ORVX_Variable(AnyID(number), NewText());
        return;
      case 5:
        return Source().InsertVariable(position, NewVariable());
      case 6:
        return Move(position, number % count);
      case 7:
        return Delete(position, 1 + number % 3);
      case 8:
        return Delete(position, 1 + number);
      case 9:
        return Shuffle(position, number);
      case 10:
        return repeatsIDs_ ? void() : UseSomeVariables(Source(), static_cast<unsigned int>(number));
      default:
        return ReplaceSource();
    }
  }

  // Gives each variable whose identifier occurs earlier a new identifier.
  void MakeIDsUnique() {
    for (int i = 0; i < Source().ColumnCount(); ++i) {
      ORVX_Variable& variable = Source().GetVariable(i);
      if (Source().FindVarIndex(variable.GetID()) != i) variable.SetID(ORVX_Variable::NextID());
    }
  }

  // HoldReference keeps a reference to a variable; EditThroughHeldReference changes the variable
  // through that reference.
  void HoldReference() {
    held_ = Source().ColumnCount() == 0 ? nullptr
                                        : &Source().GetVariable(Below(Source().ColumnCount()));
  }
  void EditThroughHeldReference() {
    if (held_ == nullptr) return;
    switch (Below(3)) {
      case 0:
        return held_->SetLabel(NewText());
      case 1:
        return held_->SetID(ORVX_Variable::NextID());
      default:
        *held_ = NewVariable();
    }
  }

  int Below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }

 private:
  ORVX_DataSource& Source() { return followed_.Source(); }

  std::string NewText() { return "text " + std::to_string(++texts_); }
  ORVX_Variable NewVariable() {
    return ORVX_Variable(ORVX_Variable::NextID(), NewText(), Below(3));
  }

  // Returns a new identifier. If repeatsIDs_ is set, returns the identifier of a variable of the
  // dictionary instead.
  LocallyUniqueID AnyID(int number) {
    if (!repeatsIDs_) return ORVX_Variable::NextID();
    return Source().GetVariable(number % Source().ColumnCount()).GetID();
  }

  void Move(int from, int to) {
    const ORVX_Variable moved = Source().GetVariable(from);
    Source().DeleteVariables(from, from);
    Source().InsertVariable(to, moved);
  }

  void Delete(int first, int count) {
    Source().DeleteVariables(first, std::min(first + count, Source().ColumnCount()) - 1);
  }

  void Shuffle(int first, int count) {
    std::vector<ORVX_Variable> variables = support::VariablesOf(Source());
    const auto from = variables.begin() + first;
    std::shuffle(from, from + std::min<std::ptrdiff_t>(count, variables.end() - from), random_);
    support::Replace(Source(), variables);
  }

  void ReplaceSource() {
    DataFreeDataSource before;
    before.CopyDictionary(&Source());
    followed_.ReplaceSource();
    Source().CopyDictionary(&before);
  }

  Followed& followed_;
  std::mt19937 random_;
  const bool repeatsIDs_;
  ORVX_Variable* held_ = nullptr;
  int texts_ = 0;
};

// Most of the dictionaries have many blocks of variables. Some of the blocks do not change.
TEST(VariableComparison, AllFollowersAgreeForSmallChangesOfLargeDictionaries) {
  ForAll(kRuns / 100, [] {
    Followed followed;
    RandomEdits edits(followed, *rc::gen::arbitrary<unsigned int>());
    edits.Fill(edits.Below(1500));
    for (int pass = 0; pass < 8; ++pass) {
      if (edits.Below(6) == 0) followed.BulkVarMoves();
      AssertRight(followed.Update());
      for (int edit = edits.Below(5); edit > 0; --edit) edits.One();
    }
  });
}

// Identifiers are repeated in some passes and unique in others.
TEST(VariableComparison, MessagesMatchThePlainComparisonIfALargeDictionaryRepeatsIdentifiers) {
  ForAll(kRuns / 100, [] {
    Followed followed;
    RandomEdits edits(followed, *rc::gen::arbitrary<unsigned int>(), /*repeatsIDs=*/true);
    edits.Fill(edits.Below(1500));
    for (int pass = 0; pass < 8; ++pass) {
      AssertRight(followed.Update(/*mirrored=*/false));
      for (int edit = edits.Below(4); edit > 0; --edit) edits.One();
      if (edits.Below(3) == 0) edits.MakeIDsUnique();
    }
  });
}

TEST(VariableComparison, FindsAChangeMadeThroughAnOldReference) {
  ForAll(kRuns / 100, [] {
    Followed followed;
    RandomEdits edits(followed, *rc::gen::arbitrary<unsigned int>());
    edits.Fill(1 + edits.Below(1500));
    edits.HoldReference();
    for (int pass = 0; pass < 3; ++pass) {
      AssertRight(followed.Update());
      edits.EditThroughHeldReference();
    }
    AssertRight(followed.Update());
  });
}

TEST(VariableComparison, AllFollowersAgreeForAnyPairOfDictionaries) {
  ForAll(kRuns, [] {
    const auto first = *AnyDictionary();
    const auto second = *AnyDictionary();
    const auto firstUses = *rc::gen::arbitrary<unsigned int>();
    const auto secondUses = *rc::gen::arbitrary<unsigned int>();
    const bool anotherSource = *rc::gen::arbitrary<bool>();
    Followed followed;

    GiveVariables(followed, first);
    UseSomeVariables(followed.Source(), firstUses);
    AssertRight(followed.Update());
    if (anotherSource) followed.ReplaceSource();
    GiveVariables(followed, second);
    UseSomeVariables(followed.Source(), secondUses);
    AssertRight(followed.Update());
  });
}

TEST(VariableComparison, AllFollowersAgreeForAnySequenceOfWrites) {
  ForAll(kRuns / 5, [] {
    const auto dictionaries =
        *rc::gen::container<std::vector<std::vector<RandomVariable>>>(8, AnyDictionary());
    const auto inBulk = *rc::gen::container<std::vector<bool>>(8, rc::gen::arbitrary<bool>());
    Followed followed;

    for (std::size_t i = 0; i < dictionaries.size(); ++i) {
      GiveVariables(followed, dictionaries[i]);
      if (inBulk[i]) followed.BulkVarMoves();
      AssertRight(followed.Update());
    }
  });
}

TEST(VariableComparison, MessagesMatchThePlainComparisonIfIdentifiersRepeat) {
  ForAll(kRuns, [] {
    const auto first = *AnyList();
    const auto second = *AnyList();
    Followed followed;

    GiveVariables(followed, first);
    AssertRight(followed.Update(/*mirrored=*/false));
    GiveVariables(followed, second);
    AssertRight(followed.Update(/*mirrored=*/false));
  });
}

}  // namespace
