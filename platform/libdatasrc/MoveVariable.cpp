#include <libdatasrc/MoveVariable.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <vector>

void MoveVariable(ORVX_DataSource& source, int from, int to) {
  static_cast<void>(source.GetVariable(to));  // throws for a wrong position before any change
  const ORVX_Variable variable = source.GetVariable(from);
  const LocallyUniqueID weight = source.GetWeightVariableID();
  const LocallyUniqueID filter = source.GetFilterVariableID();
  std::vector<LocallyUniqueID> split;
  for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) {
    split.push_back(source.GetSplitVarID(i));
  }
  const bool separate = source.GetSplitqSeparate();

  source.DeleteVariables(from, from);
  source.InsertVariable(to, variable);

  // The deletion removed the variable from weight, filter and split.
  source.SetWeightVar(source.FindVarIndex(weight));  // the position is -1 if there is no weight
  source.SetFilterVar(source.FindVarIndex(filter));
  std::vector<int> positions;
  for (const LocallyUniqueID id : split) positions.push_back(source.FindVarIndex(id));
  source.SetSplit(static_cast<unsigned int>(positions.size()), positions.data(), separate);
}
