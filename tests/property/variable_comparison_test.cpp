// The comparison of random lists of variables.

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
  RandomEdits(Followed& followed, unsigned int seed) : followed_(followed), random_(seed) {}

  void Fill(int count) {
    for (int i = 0; i < count; ++i) Source().MakeVariable(NewVariable(), nullptr);
  }

  void One() {
    const int count = Source().ColumnCount();
    switch (count == 0 ? 0 : Below(11)) {
      case 0:
        return Fill(1 + Below(300));
      case 1:
        return Source().GetVariable(Below(count)).SetLabel(NewText());
      case 2:
        return Source().GetVariable(Below(count)).SetType(Below(3));
      case 3:
        return Source().GetVariable(Below(count)).SetID(ORVX_Variable::NextID());
      case 4:
        return Source().InsertVariable(Below(count + 1), NewVariable());
      case 5:
        return Move(Below(count), Below(count));
      case 6:
        return Delete(Below(count), 1 + Below(3));
      case 7:
        return Delete(Below(count), 1 + Below(400));
      case 8:
        return Shuffle(Below(count), Below(600));
      case 9:
        return UseSomeVariables(Source(), static_cast<unsigned int>(random_()));
      default:
        return ReplaceSource();
    }
  }

  // Changes a variable through a reference obtained before the last pass, if the reference is still
  // valid.
  void HoldReference() {
    held_ = Source().ColumnCount() == 0 ? nullptr
                                        : &Source().GetVariable(Below(Source().ColumnCount()));
  }
  void EditThroughHeldReference() {
    if (held_ != nullptr) held_->SetLabel(NewText());
  }

  int Below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }

 private:
  ORVX_DataSource& Source() { return followed_.Source(); }

  std::string NewText() { return "text " + std::to_string(++texts_); }
  ORVX_Variable NewVariable() {
    return ORVX_Variable(ORVX_Variable::NextID(), NewText(), Below(3));
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
  ORVX_Variable* held_ = nullptr;
  int texts_ = 0;
};

// Large enough that a dictionary has many blocks, some of which do not change.
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

TEST(VariableComparison, AVariableChangedThroughAReferenceFromBeforeThePassIsFound) {
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

TEST(VariableComparison, DuplicateIdentifiersConvergeLikeThePlainAlgorithm) {
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
