// Random dictionaries for RapidCheck.

#ifndef TESTS_PROPERTY_RANDOMDICTIONARY_H_
#define TESTS_PROPERTY_RANDOMDICTIONARY_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <rapidcheck.h>
#include <tests/support/Dictionary.h>
#include <tests/support/Messages.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

// One of kVariables variables, with one of ten definitions. Both fields are numbers, so that
// RapidCheck can shrink a failing case.
struct RandomVariable {
  static constexpr int kVariables = 24;

  int number = 0;      // identifies the variable; counts from 0
  int definition = 0;  // 0 to 9, see Variable()

  ORVX_Variable Variable() const {
    // GCC 12 would warn of an overlapping copy in "v" + std::to_string(number).
    const std::string name = std::string("v").append(std::to_string(number));
    ORVX_Variable variable = support::Var(name, definition / 2 % 3 * 8);
    if (definition % 2 == 1) variable.SetLabel("labelled");
    if (definition / 6 == 1) variable.SetName("other");
    return variable;
  }
};

inline std::ostream& operator<<(std::ostream& stream, const RandomVariable& variable) {
  return stream << support::AsText(variable.Variable());
}

// Generates a variable. Most variables have definition 0, so a variable in two dictionaries usually
// has the same definition.
inline rc::Gen<RandomVariable> AnyVariable() {
  return rc::gen::build<RandomVariable>(
      rc::gen::set(&RandomVariable::number, rc::gen::inRange(0, RandomVariable::kVariables)),
      rc::gen::set(
          &RandomVariable::definition,
          rc::gen::weightedOneOf<int>({{3, rc::gen::just(0)}, {1, rc::gen::inRange(0, 10)}})));
}

// Generates a list with identifiers in any order, possibly repeated.
inline rc::Gen<std::vector<RandomVariable>> AnyList() {
  return rc::gen::container<std::vector<RandomVariable>>(AnyVariable());
}

// Generates a list in which no identifier repeats.
inline rc::Gen<std::vector<RandomVariable>> AnyDictionary() {
  return rc::gen::map(AnyList(), [](std::vector<RandomVariable> list) {
    std::vector<bool> seen(RandomVariable::kVariables);
    std::erase_if(list, [&](const RandomVariable& variable) {
      const auto number = static_cast<std::size_t>(variable.number);
      const bool again = seen[number];
      seen[number] = true;
      return again;
    });
    return list;
  });
}

inline std::vector<ORVX_Variable> VariablesOf(const std::vector<RandomVariable>& list) {
  std::vector<ORVX_Variable> variables;
  for (const RandomVariable& one : list) variables.push_back(one.Variable());
  return variables;
}

// Sets or clears the weight, the filter and the split of `source`. `choice` may be any number; it
// selects the variables.
inline void UseSomeVariables(ORVX_DataSource& source, unsigned int choice) {
  const int count = source.ColumnCount();
  if (count == 0) return;
  const auto pick = [&](unsigned int number) {
    return static_cast<int>((choice / (number + 1) + number) % static_cast<unsigned int>(count));
  };
  source.SetWeightVar(choice % 2 == 0 ? -1 : pick(0));
  source.SetFilterVar(choice % 3 == 0 ? -1 : pick(1));
  const int splits[] = {pick(2), pick(3)};
  source.SetSplit(splits[0] == splits[1] ? 1 : choice % 3, splits, choice % 5 == 0);
}

#endif  // TESTS_PROPERTY_RANDOMDICTIONARY_H_
