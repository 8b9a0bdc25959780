// PlainDictionary: the variables of a dictionary as a vector of structs, for comparison in
// benchmarks. Unlike copies of an ORVX_Variable, copies of a struct share nothing.

#ifndef BENCHMARKS_PLAINDICTIONARY_H_
#define BENCHMARKS_PLAINDICTIONARY_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>
#include <vector>

struct PlainDefinition {
  explicit PlainDefinition(const ORVX_Variable& variable)
      : id(variable.GetID()),
        name(variable.GetName()),
        label(variable.GetLabel()),
        type(variable.GetType()),
        valueLabels(variable.GetValueLabels()) {}

  bool operator==(const PlainDefinition&) const = default;

  LocallyUniqueID id;
  std::string name;
  std::string label;
  int type;
  ValueLabels valueLabels;
};

inline std::vector<PlainDefinition> PlainDictionary(const ORVX_DataSource& source) {
  std::vector<PlainDefinition> dictionary;
  for (int i = 0; i < source.ColumnCount(); ++i) dictionary.emplace_back(source.GetVariable(i));
  return dictionary;
}

#endif  // BENCHMARKS_PLAINDICTIONARY_H_
