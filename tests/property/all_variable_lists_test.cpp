// The comparison from every list of variables over a few identifiers to every other.

#include <tests/property/Followed.h>
#include <tests/support/Dictionary.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <string>
#include <vector>

namespace {

using Variables = std::vector<ORVX_Variable>;

constexpr std::size_t kIdentifiers = 5;

// Every subset of the identifiers in every order that begins with `list`.
void CollectFrom(const Variables& list, std::vector<Variables>& lists) {
  static const Variables all = support::Vars("A B C D E");
  static_assert(kIdentifiers == 5);
  lists.push_back(list);
  for (const ORVX_Variable& next : all) {
    bool present = false;
    for (const ORVX_Variable& variable : list) present |= variable.GetID() == next.GetID();
    if (present) continue;
    Variables longer = list;
    longer.push_back(next);
    CollectFrom(longer, lists);
  }
}

std::vector<Variables> AllLists() {
  std::vector<Variables> lists;
  CollectFrom({}, lists);
  return lists;
}

// Follows one dataset from list to list, and remembers which step it has made.
class Tour {
 public:
  // `lists` begins with the empty one. With `redefined`, each step finds all variables with another
  // definition, so that those that stay are modified too.
  Tour(const std::vector<Variables>& lists, bool redefined)
      : lists_(lists), redefined_(redefined), made_(lists.size() * lists.size()) {}

  // From each list to itself, and to every later one and back: every ordered pair. Stops where the
  // comparison goes wrong.
  void OverAllPairs() {
    for (std::size_t i = 0; i < lists_.size(); ++i) {
      if (!StepTo(i) || !StepTo(i)) return;
      for (std::size_t j = i + 1; j < lists_.size(); ++j) {
        if (!StepTo(j) || !StepTo(i)) return;
      }
    }
  }

  // How many different ordered pairs of lists it has compared.
  std::size_t Pairs() const {
    return static_cast<std::size_t>(std::count(made_.begin(), made_.end(), true));
  }

 private:
  // False, with a failure, where the comparison is wrong.
  bool StepTo(std::size_t next) {
    Variables variables = lists_[next];
    if (redefined_) Redefine(variables);
    support::Replace(followed_.Source(), variables);
    const std::string wrong = followed_.Update();
    EXPECT_EQ(wrong, "") << "from " << support::Names(lists_[present_]) << " to "
                         << support::Names(variables);
    made_[present_ * lists_.size() + next] = true;
    present_ = next;
    return wrong.empty();
  }

  // A new label each time, and a new type every other time.
  void Redefine(Variables& variables) {
    ++definition_;
    for (ORVX_Variable& variable : variables) {
      variable.SetLabel(definition_ % 2 == 0 ? "even" : "odd");
      variable.SetType(definition_ % 4 < 2 ? 0 : 8);
    }
  }

  const std::vector<Variables>& lists_;
  const bool redefined_;
  Followed followed_;
  std::size_t present_ = 0;
  int definition_ = 0;
  std::vector<bool> made_;
};

void ExpectAllPairsRight(bool redefined) {
  const std::vector<Variables> lists = AllLists();
  Tour tour(lists, redefined);

  tour.OverAllPairs();

  // The sum of 5! / k! for k from 0 to 5.
  EXPECT_EQ(lists.size(), 326U);
  EXPECT_EQ(tour.Pairs(), lists.size() * lists.size());
  std::cout << tour.Pairs() << " pairs of lists over " << kIdentifiers << " identifiers\n";
}

TEST(AllVariableLists, FromEachToEachTheMessagesAreThePlainOnesAndLeadThere) {
  ExpectAllPairsRight(/*redefined=*/false);
}

TEST(AllVariableLists, WithChangedDefinitionsTooTheMessagesAreThePlainOnesAndLeadThere) {
  ExpectAllPairsRight(/*redefined=*/true);
}

}  // namespace
