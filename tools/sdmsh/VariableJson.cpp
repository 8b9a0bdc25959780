// Variables in JSON.

#include "VariableJson.h"

#include "OpenDataset.h"
#include "VariableWords.h"

#include <cmath>
#include <variant>

namespace sdmsh {
namespace {

Json Value(const DataValue& value) {
  return std::visit([](const auto& which) { return Json(which); }, value);
}

Json Labels(const ValueLabels& labels) {
  Json json = Json::array();
  for (const auto& [value, label] : labels) {
    json.push_back({{"value", Value(value)}, {"label", label}});
  }
  return json;
}

Json Missing(const MissingValues& missing) {
  Json values = Json::array();
  for (const DataValue& value : missing.values) values.push_back(Value(value));
  return values;
}

Json Format(const VariableFormat& format) {
  return {{"kind", FormatKindInWords(format.kind)},
          {"width", format.width},
          {"decimals", format.decimals}};
}

}  // namespace

Json IdentifierInJson(LocallyUniqueID id) {
  return id.IsNull() ? Json(nullptr) : Json(id.ToString());
}

Json NumberInJson(double number) {
  if (std::isfinite(number)) return number;
  if (std::isnan(number)) return nullptr;
  return number > 0 ? "Infinity" : "-Infinity";
}

Json VariableInJson(const ORVX_Variable& variable) {
  return {{"id", IdentifierInJson(variable.GetID())},
          {"name", variable.GetName()},
          {"label", variable.GetLabel()},
          {"type", variable.GetType()},
          {"format", Format(variable.GetFormat())},
          {"valueLabels", Labels(variable.GetValueLabels())},
          {"missingValues", Missing(variable.GetMissingValues())},
          {"measurementLevel", LevelInWords(variable.GetMeasurementLevel())},
          {"attributes", variable.GetAttributes()}};
}

Json VariablesInJson(const std::vector<ORVX_Variable>& variables) {
  Json json = Json::array();
  for (const ORVX_Variable& variable : variables) json.push_back(VariableInJson(variable));
  return json;
}

}  // namespace sdmsh
