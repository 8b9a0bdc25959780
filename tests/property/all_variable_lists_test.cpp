// Tests the comparison of every list of variables over a few identifiers with every other list.

#include <tests/property/Followed.h>
#include <tests/support/Dictionary.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace {

// Set by the build: 6, or 5 with a sanitizer, which makes the tests slow.
constexpr std::size_t kIdentifiers = ALL_VARIABLE_LISTS_IDENTIFIERS;
static_assert(kIdentifiers <= 6);

// A build without a sanitizer compares every pair of lists. A build with a sanitizer must run each
// path through the code, but not each pair, so it compares a random third of the lists: a ninth of
// the pairs.
constexpr bool kAll = kIdentifiers == 6;

// A list, as the numbers of its identifiers in order.
using List = std::vector<std::size_t>;

// Appends to `lists` every ordered subset of the identifiers that starts with `list`.
void CollectFrom(const List& list, std::vector<List>& lists) {
  lists.push_back(list);
  for (std::size_t next = 0; next < kIdentifiers; ++next) {
    if (std::find(list.begin(), list.end(), next) != list.end()) continue;
    List longer = list;
    longer.push_back(next);
    CollectFrom(longer, lists);
  }
}

std::vector<List> AllLists() {
  std::vector<List> lists;
  CollectFrom({}, lists);
  return lists;
}

// Keeps a third of the lists: the empty list, which is the first, and a random choice of the
// others.
[[maybe_unused]] void KeepAThird(std::vector<List>& lists) {
  const unsigned int seed = std::random_device()();
  std::cout << "seed " << seed << "\n";
  std::shuffle(lists.begin() + 1, lists.end(), std::mt19937(seed));
  lists.resize(lists.size() / 3);
}

// Returns the number of lists over n identifiers: the sum of n! / k! for k from 0 to n.
constexpr std::size_t NumberOfLists(std::size_t n) {
  return n == 0 ? 1 : 1 + n * NumberOfLists(n - 1);
}
static_assert(NumberOfLists(6) == 1957);

// The variables A to F in several definitions.
class Definitions {
 public:
  static constexpr std::size_t kCount = 4;

  // Each definition differs from the next definition in the label, and sometimes also in the type.
  Definitions() {
    const std::vector<ORVX_Variable> plain = support::Vars("A B C D E F");
    for (std::size_t definition = 0; definition < kCount; ++definition) {
      for (ORVX_Variable variable : plain) {
        variable.SetLabel(definition % 2 == 0 ? "even" : "odd");
        variable.SetType(definition < 2 ? 0 : 8);
        variables_[definition].push_back(variable);
      }
    }
  }

  const ORVX_Variable& Of(std::size_t identifier, std::size_t definition) const {
    return variables_[definition][identifier];
  }

 private:
  std::array<std::vector<ORVX_Variable>, kCount> variables_;
};

// Changes the variables of one dataset from list to list, and records which pairs of lists were
// compared. In each list, A is the weight, B is the filter, and C and D are the split, if present.
class Tour {
 public:
  // `lists` starts with the empty list. If `redefined`, every step also changes the definition of
  // every variable.
  Tour(const std::vector<List>& lists, bool redefined)
      : lists_(lists), redefined_(redefined), made_(lists.size() * lists.size()) {}

  // Steps from each list to itself, then to every later list and back. So every ordered pair is
  // compared. Stops at the first wrong comparison.
  void OverAllPairs() {
    for (std::size_t i = 0; i < lists_.size(); ++i) {
      if (!StepTo(i) || !StepTo(i)) return;
      for (std::size_t j = i + 1; j < lists_.size(); ++j) {
        if (!StepTo(j) || !StepTo(i)) return;
      }
    }
  }

  // The number of different ordered pairs compared.
  std::size_t Pairs() const {
    return static_cast<std::size_t>(std::count(made_.begin(), made_.end(), true));
  }

 private:
  // Changes the variables to list number `next`. If the comparison is wrong, reports a failure and
  // returns false.
  bool StepTo(std::size_t next) {
    if (redefined_) definition_ = (definition_ + 1) % Definitions::kCount;
    Arrange(followed_.Source(), lists_[next]);
    const std::string wrong = followed_.Update();
    made_[present_ * lists_.size() + next] = true;
    if (!wrong.empty()) {
      ADD_FAILURE() << "from " << Names(lists_[present_]) << " to " << Names(lists_[next]) << ":\n"
                    << wrong;
    }
    present_ = next;
    return wrong.empty();
  }

  void Arrange(ORVX_DataSource& source, const List& list) const {
    source.DeleteVariables(0, source.ColumnCount() - 1);
    int position[6] = {-1, -1, -1, -1, -1, -1};
    for (const std::size_t identifier : list) {
      position[identifier] = source.ColumnCount();
      source.MakeVariable(definitions_.Of(identifier, definition_), nullptr);
    }
    source.SetWeightVar(position[0]);
    source.SetFilterVar(position[1]);
    int split[2];
    unsigned int splitCount = 0;
    for (const int splitting : {position[2], position[3]}) {
      if (splitting >= 0) split[splitCount++] = splitting;
    }
    source.SetSplit(splitCount, split, /*separate=*/true);
  }

  static std::string Names(const List& list) {
    std::string names;
    for (const std::size_t identifier : list) names += "ABCDEF"[identifier];
    return names.empty() ? "nothing" : names;
  }

  const std::vector<List>& lists_;
  const bool redefined_;
  const Definitions definitions_;
  Followed followed_;
  std::size_t present_ = 0;
  std::size_t definition_ = 0;
  std::vector<bool> made_;
};

void ExpectAllPairsRight(bool redefined) {
  std::vector<List> lists = AllLists();
  EXPECT_EQ(lists.size(), NumberOfLists(kIdentifiers));
  if (!kAll) KeepAThird(lists);
  Tour tour(lists, redefined);

  tour.OverAllPairs();

  EXPECT_EQ(tour.Pairs(), lists.size() * lists.size());
  std::cout << tour.Pairs() << " pairs of lists over " << kIdentifiers << " identifiers\n";
}

TEST(AllVariableLists, MessagesMatchThePlainComparisonForEveryPair) {
  ExpectAllPairsRight(/*redefined=*/false);
}

TEST(AllVariableLists, MessagesMatchThePlainComparisonIfDefinitionsAlsoChange) {
  ExpectAllPairsRight(/*redefined=*/true);
}

}  // namespace
