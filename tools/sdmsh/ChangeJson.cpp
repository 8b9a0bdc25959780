// Changes in JSON.

#include "ChangeJson.h"

#include "DictionaryJson.h"
#include "VariableJson.h"
#include "VariableWords.h"

#include <variant>

namespace sdmsh {
namespace {

struct MessageMembers {
  Json operator()(const VariablesInserted& inserted) const {
    Json json = {{"message", "InsertVarsMsg"},
                 {"variables", VariablesInJson(inserted.variables)},
                 {"anchor", IdentifierInJson(inserted.anchor)}};
    if (!inserted.anchor.IsNull()) json["anchorName"] = inserted.anchorName;
    return json;
  }

  Json operator()(const VariablesDeleted& deleted) const {
    return {{"message", "DeleteVarsMsg"}, {"variables", VariablesInJson(deleted.variables)}};
  }

  Json operator()(const VariablesMoved& moved) const {
    return {{"message", "MoveVarsMsg"},
            {"positions", moved.positions},
            {"target", moved.target},
            {"names", moved.names}};
  }

  Json operator()(const VariableModified& modified) const {
    Json changed = Json::array();
    for (const Difference& difference : Differences(modified.before, modified.after)) {
      changed.push_back(difference.what);
    }
    return {{"message", "ModifyVarMsg"},
            {"variable", VariableInJson(modified.after)},
            {"before", VariableInJson(modified.before)},
            {"changed", changed}};
  }

  Json operator()(const UndoReset&) const { return {{"message", "ResetUndoMsg"}}; }

  Json operator()(const ImputationChanged& imputation) const {
    return {{"message", "ImputationInfoMsg"}, {"rowsPerImputation", imputation.rowsPerImputation}};
  }

  Json operator()(const FileSpecChanged& changed) const {
    return {
        {"message", "FileSpecChangeMsg"}, {"fileSpec", changed.fileSpec}, {"flag", changed.flag}};
  }

  Json operator()(const LabelChanged& changed) const {
    return {{"message", "FileLabelChangeMsg"}, {"label", changed.label}};
  }

  Json operator()(const WeightChanged& weight) const {
    return Message("WeightVarMsg", UseInJson(weight.variable));
  }
  Json operator()(const FilterChanged& filter) const {
    return Message("FilterVarMsg", UseInJson(filter.variable));
  }

  Json operator()(const TrendsChanged& changed) const {
    return Message("TrendsInfoMsg", TimeSeriesInJson(changed.trends));
  }

  Json operator()(const SplitChanged& changed) const {
    return Message("SplitFileMsg", SplitInJson(changed.split));
  }

  Json operator()(const SetsChanged& changed) const {
    Json json = Extension(changed.block);
    json["sets"] = SetsInJson(changed.sets);
    return json;
  }

  Json operator()(const AttributesChanged& changed) const {
    Json json = Extension(changed.block);
    json["attributes"] = changed.attributes.All();
    return json;
  }

  Json operator()(const ExtensionChanged& changed) const { return Extension(changed.block); }

  Json operator()(const ClientDataReset& reset) const {
    return {{"message", "ResetClientDataMsg"}, {"rowCount", RowCountInJson(reset.rowCount)}};
  }

  Json operator()(const ModifiedChanged& changed) const {
    return {{"message", "DataSetModifiedMsg"}, {"modified", changed.modified}};
  }

 private:
  static Json Message(const char* name, const Json& members) {
    Json json = {{"message", name}};
    json.update(members);
    return json;
  }

  static Json Extension(const Block& block) {
    return Message("ExtensionsMsg", ExtensionInJson(block));
  }
};

}  // namespace

Json ChangeInJson(const Change& change) {
  Json json = {{"leading", change.leading},
               {"datasetId", IdentifierInJson(change.datasetID)},
               {"caseSequence", change.caseSequence}};
  json.update(std::visit(MessageMembers(), change.what));
  return json;
}

}  // namespace sdmsh
