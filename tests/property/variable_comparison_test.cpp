// The comparison of random lists of variables.

#include <tests/property/Followed.h>
#include <tests/property/ForAll.h>
#include <tests/property/RandomDictionary.h>

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

TEST(VariableComparison, FromAnyDictionaryToAnyOtherAllFollowersAgree) {
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

TEST(VariableComparison, ThroughAnyDictionariesComparedOrReplacedAllFollowersAgree) {
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

TEST(VariableComparison, IdentifiersThatStandSeveralTimesConvergeInThePlainSteps) {
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
