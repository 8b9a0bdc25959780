// Names for identifiers.

#include "DictionaryFacts.h"

#include <libdatasrc/ORVX_DataSource.h>

namespace sdmsh {

NamedVariable Named(const ORVX_DataSource& dictionary, LocallyUniqueID id) {
  const int position = id.IsNull() ? -1 : dictionary.FindVarIndex(id);
  return {id, position < 0 ? std::string() : dictionary.GetVariable(position).GetName()};
}

std::vector<NamedVariable> Named(const ORVX_DataSource& dictionary,
                                 const std::vector<LocallyUniqueID>& ids) {
  std::vector<NamedVariable> variables;
  for (const LocallyUniqueID id : ids) variables.push_back(Named(dictionary, id));
  return variables;
}

TimeSeries Named(const ORVX_DataSource& dictionary, const ORVX_TrendsInfo& trends) {
  return {Named(dictionary, trends.dateVariables), trends.periodicity, trends.firstCase,
          trends.lastCase};
}

std::vector<NamedSet> Named(const ORVX_DataSource& dictionary,
                            const std::vector<VariableSet>& sets) {
  std::vector<NamedSet> named;
  for (const VariableSet& set : sets) {
    named.push_back({set.Impl(), Named(dictionary, set.Impl().members)});
  }
  return named;
}

}  // namespace sdmsh
