// From data sources to records.

#include "DictionaryFacts.h"

#include <libdatasrc/ORVX_DataSource.h>

namespace sdmsh {
namespace {

Split SplitOf(const ORVX_DataSource& dictionary) {
  Split split{{}, dictionary.GetSplitqSeparate()};
  for (unsigned int i = 0; i < dictionary.GetNSplitVars(); ++i) {
    split.variables.push_back(Named(dictionary, dictionary.GetSplitVarID(i)));
  }
  return split;
}

}  // namespace

DictionaryFacts DictionaryFactsOf(const ORVX_DataSource& dictionary) {
  const char* const label = dictionary.GetLabel();
  return {.variableCount = dictionary.ColumnCount(),
          .rowCount = dictionary.RowCount(),
          .label = label != nullptr ? label : "",
          .fileSpec = dictionary.GetFileSpec(),
          .rowsPerImputation = dictionary.RowsPerImputation(),
          .weight = Named(dictionary, dictionary.GetWeightVariableID()),
          .filter = Named(dictionary, dictionary.GetFilterVariableID()),
          .split = SplitOf(dictionary),
          .trends = Named(dictionary, *dictionary.GetTrendsInfo()),
          .responseSets = Named(dictionary, VariableSets(dictionary, kMRSets)),
          .variableSets = Named(dictionary, VariableSets(dictionary, kVariableSets)),
          .extension = ORVX_DataSource::Extension(dictionary, /*type=*/0).Impl(),
          .attributes = dictionary.GetAttributes(),
          .modified = dictionary.IsDirty()};
}

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
  return {Named(dictionary, trends.timeVariables), trends.seasonalPeriod};
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
