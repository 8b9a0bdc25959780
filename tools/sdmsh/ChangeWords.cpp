// Changes in words.

#include "ChangeWords.h"

#include "DictionaryWords.h"
#include "VariableWords.h"
#include "Words.h"

namespace sdmsh {
namespace {

std::string NamesInWords(const std::vector<ORVX_Variable>& variables) {
  std::vector<std::string> names;
  for (const ORVX_Variable& variable : variables) names.push_back(Quoted(variable.GetName()));
  if (names.empty()) return "no variable";
  return (names.size() == 1 ? "variable " : "variables ") + Joined(names);
}

struct ChangeInWords {
  std::string operator()(const VariablesInserted& inserted) const {
    const std::string where =
        inserted.anchor.IsNull() ? " at the end" : " before " + Quoted(inserted.anchorName);
    std::string words = NamesInWords(inserted.variables) + " inserted" + where;
    if (inserted.variables.size() == 1) {
      words += " (" + TypeInWords(inserted.variables.front().GetType()) + ")";
    }
    return words;
  }

  std::string operator()(const VariablesDeleted& deleted) const {
    return NamesInWords(deleted.variables) + " deleted";
  }

  // People count from 1.
  std::string operator()(const VariablesMoved& moved) const {
    std::vector<std::string> names;
    std::vector<std::string> positions;
    for (const std::string& name : moved.names) names.push_back(Quoted(name));
    for (const int position : moved.positions) positions.push_back(std::to_string(position + 1));
    const bool one = positions.size() == 1;
    return (one ? "variable " : "variables ") + Joined(names) + " moved from position" +
           (one ? " " : "s ") + Joined(positions) + " to " + std::to_string(moved.target + 1);
  }

  std::string operator()(const VariableModified& modified) const {
    std::string words = "variable " + Quoted(modified.before.GetName()) + " changed:";
    const char* separator = " ";
    for (const Difference& difference : Differences(modified.before, modified.after)) {
      words +=
          separator + std::string(difference.what) + " " + difference.from + " -> " + difference.to;
      separator = "; ";
    }
    return words;
  }

  std::string operator()(const UndoReset&) const {
    return "the data source was replaced: nothing before can be undone";
  }

  std::string operator()(const ImputationChanged& imputation) const {
    if (imputation.rowsPerImputation == 0) return "no longer a multiple imputation";
    return Counted(imputation.rowsPerImputation, "row", "rows") + " per imputation from now on";
  }

  std::string operator()(const FileSpecChanged& changed) const {
    if (changed.fileSpec.empty()) return "no longer saved as a file";
    return "saved as " + Quoted(changed.fileSpec) + " from now on";
  }

  std::string operator()(const LabelChanged& changed) const {
    if (changed.label.empty()) return "the dataset is no longer labelled";
    return "the dataset is labelled " + Quoted(changed.label) + " from now on";
  }

  std::string operator()(const WeightChanged& weight) const {
    if (weight.variable.id.IsNull()) return "no longer weighted";
    return "weighted by " + VariableInWords(weight.variable) + " from now on";
  }

  std::string operator()(const FilterChanged& filter) const {
    if (filter.variable.id.IsNull()) return "no longer filtered";
    return "filtered by " + VariableInWords(filter.variable) + " from now on";
  }

  std::string operator()(const TrendsChanged& changed) const {
    const std::string words = TimeSeriesInWords(changed.trends);
    return words == "none" ? "no longer a time series" : "a time series from now on: " + words;
  }

  std::string operator()(const SplitChanged& changed) const {
    if (changed.split.variables.empty()) return "no longer split";
    return "split by " + SplitInWords(changed.split);
  }

  std::string operator()(const SetsChanged& changed) const {
    const std::string words = " changed: " + SetSizesInWords(changed.sets);
    switch (changed.form) {
      case SetsChanged::Form::VariableSets:
        return "variable sets" + words;
      case SetsChanged::Form::ResponseSets:
        return "multiple-response sets" + words;
      case SetsChanged::Form::ResponseSetsExtended:
        return "multiple-response sets (extension 19)" + words;
    }
    return "sets" + words;
  }

  std::string operator()(const AttributesChanged& changed) const {
    return "attributes changed: " + AttributesInWords(changed.attributes.All());
  }

  std::string operator()(const ExtensionChanged& changed) const {
    return "extension of type " + std::to_string(changed.block->GetType()) +
           " changed: " + BlockInWords(changed.block);
  }

  std::string operator()(const ClientDataReset& reset) const {
    const std::string rows =
        reset.rowCount < 0 ? "an unknown number of rows" : Counted(reset.rowCount, "row", "rows");
    return "clients drop their cases: " + rows + " now";
  }

  std::string operator()(const ModifiedChanged& changed) const {
    return changed.modified ? "there are unsaved changes now" : "there are no unsaved changes now";
  }
};

}  // namespace

std::string InWords(const Change& change) {
  return std::visit(ChangeInWords(), change.what);
}

}  // namespace sdmsh
