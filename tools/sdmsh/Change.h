// Change: a change message, kept as a record together with the names that it knows only by
// identifier.

#ifndef SDMSH_CHANGE_H_
#define SDMSH_CHANGE_H_

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

struct Change {
  // What all messages carry.
  unsigned int leading;
  LocallyUniqueID datasetID;
  unsigned int caseSequence;
  std::variant<VariablesInserted, VariablesDeleted, VariablesMoved, VariableModified, UndoReset>
      what;
};

}  // namespace sdmsh

#endif  // SDMSH_CHANGE_H_
