// Change: a change message, kept as a record together with the names that it knows only by
// identifier.

#ifndef SDMSH_CHANGE_H_
#define SDMSH_CHANGE_H_

#include "DictionaryFacts.h"

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>
#include <variant>
#include <vector>

namespace sdmsh {

// The arguments of the message of the same name, and what the dictionary was before it.

struct VariablesInserted {
  std::vector<ORVX_Variable> variables;
  LocallyUniqueID anchor;  // null: at the end
  std::string anchorName;  // of the variable that they now stand before
};

struct VariablesDeleted {
  std::vector<ORVX_Variable> variables;
};

struct VariablesMoved {
  std::vector<int> positions;  // from 0
  int target;                  // from 0
  std::vector<std::string> names;
};

struct VariableModified {
  ORVX_Variable before;
  ORVX_Variable after;
};

struct UndoReset {};

struct ImputationChanged {
  long long rowsPerImputation;
};

struct FileSpecChanged {
  std::string fileSpec;
  bool flag;
};

struct LabelChanged {
  std::string label;
};

struct WeightChanged {
  NamedVariable variable;
};

struct FilterChanged {
  NamedVariable variable;
};

struct TrendsChanged {
  TimeSeries trends;
};

struct SplitChanged {
  Split split;
};

// Sets, attributes and whatever else an extension holds come as the bytes of a block.

struct SetsChanged {
  // Response sets are told twice, in two forms of text.
  enum class Form { VariableSets, ResponseSets, ResponseSetsExtended };
  Form form;
  Block block;
  std::vector<NamedSet> sets;  // what the block says
};

struct AttributesChanged {
  Block block;
  DatasourceAttributes attributes;  // what the block says
};

struct ExtensionChanged {
  Block block;
};

struct ClientDataReset {
  long long rowCount;  // -1 while unknown
};

struct ModifiedChanged {
  bool modified;
};

struct Change {
  // What all messages carry.
  unsigned int leading;
  LocallyUniqueID datasetID;
  unsigned int caseSequence;
  std::variant<VariablesInserted, VariablesDeleted, VariablesMoved, VariableModified, UndoReset,
               ImputationChanged, FileSpecChanged, LabelChanged, WeightChanged, FilterChanged,
               TrendsChanged, SplitChanged, SetsChanged, AttributesChanged, ExtensionChanged,
               ClientDataReset, ModifiedChanged>
      what;
};

}  // namespace sdmsh

#endif  // SDMSH_CHANGE_H_
