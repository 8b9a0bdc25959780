#include <client/DictionaryJson.h>
#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/VariableSets.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/DictionaryText.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace {

using Json = nlohmann::ordered_json;

Json IdentifierInJson(LocallyUniqueID id) {
  return id.IsNull() ? Json(nullptr) : Json(id.ToString());
}

Json ValueInJson(const DataValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return *text;
  const double number = std::get<double>(value);
  if (std::isfinite(number)) return number;
  if (std::isnan(number)) return nullptr;
  return number > 0 ? "Infinity" : "-Infinity";
}

// Null if the number is negative, which means unknown.
Json RowCountInJson(long long rowCount) {
  return rowCount < 0 ? Json(nullptr) : Json(rowCount);
}

template <class List, class InJson>
Json Array(const List& list, InJson inJson) {
  Json json = Json::array();
  for (const auto& element : list) json.push_back(inJson(element));
  return json;
}

Json VariableInJson(const ORVX_Variable& variable) {
  const VariableFormat& format = variable.GetFormat();
  return {{"id", IdentifierInJson(variable.GetID())},
          {"name", variable.GetName()},
          {"label", variable.GetLabel()},
          {"type", variable.GetType()},
          {"format",
           {{"kind", DictionaryText::FormatKind(format.kind)},
            {"width", format.width},
            {"decimals", format.decimals}}},
          {"valueLabels",
           Array(variable.GetValueLabels(),
                 [](const auto& entry) {
                   return Json{{"value", ValueInJson(entry.first)}, {"label", entry.second}};
                 })},
          {"missingValues", Array(variable.GetMissingValues().values, ValueInJson)},
          {"measurementLevel", DictionaryText::Level(variable.GetMeasurementLevel())},
          {"attributes", variable.GetAttributes()}};
}

Json NameAt(const ORVX_DataSource& dictionary, int position) {
  if (position < 0 || position >= dictionary.ColumnCount()) return nullptr;
  return dictionary.GetVariable(position).GetName();
}

Json Name(const ORVX_DataSource& dictionary, LocallyUniqueID id) {
  return NameAt(dictionary, id.IsNull() ? -1 : dictionary.FindVarIndex(id));
}

Json Names(const ORVX_DataSource& dictionary, const std::vector<LocallyUniqueID>& ids) {
  return Array(ids, [&](LocallyUniqueID id) { return Name(dictionary, id); });
}

Json Use(const ORVX_DataSource& dictionary, LocallyUniqueID id) {
  return {{"variable", IdentifierInJson(id)}, {"name", Name(dictionary, id)}};
}

Json Split(const ORVX_DataSource& dictionary, const std::vector<LocallyUniqueID>& ids,
           bool separate) {
  return {{"variables", Array(ids, IdentifierInJson)},
          {"separate", separate},
          {"names", Names(dictionary, ids)}};
}

Json TimeSeries(const ORVX_DataSource& dictionary, const ORVX_TrendsInfo& trends) {
  return {{"timeVariables", Array(trends.timeVariables, IdentifierInJson)},
          {"seasonalPeriod", trends.seasonalPeriod},
          {"names", Names(dictionary, trends.timeVariables)}};
}

Json Sets(const ORVX_DataSource& dictionary, const std::vector<VariableSet>& sets) {
  return Array(sets, [&](const VariableSet& each) -> Json {
    const VariableSetImpl& set = each.Impl();
    return {{"name", set.name},
            {"label", set.label},
            {"kind", DictionaryText::SetKind(set.kind)},
            {"selectedValue", set.selectedValue},
            {"firstFlag", set.firstFlag},
            {"secondFlag", set.secondFlag},
            {"members", Array(set.members, IdentifierInJson)},
            {"names", Names(dictionary, set.members)}};
  });
}

std::string Hexadecimal(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    digits += "0123456789abcdef"[number >> 4];
    digits += "0123456789abcdef"[number & 0xF];
  }
  return digits;
}

Json Extension(const ORVX_ExtensionImpl& block) {
  return {{"type", block.GetType()},
          {"version", block.GetVersion()},
          {"bytes", Hexadecimal(block.GetBytes())}};
}

class ChangeRecorder final : public DEMessages::DataSetMsgVisitor {
 public:
  ChangeRecorder(const DEMessages::DataSetMsg& message, const ORVX_DataSource& before)
      : before_(before),
        json{{"leading", message.GetLeading()},
             {"datasetId", IdentifierInJson(message.GetDataSetID())},
             {"caseSequence", message.GetCaseSequence()},
             {"message", NameOf(message)}} {}

  void Visit(const InsertVarsMsg& message) override {
    Add({{"variables", Array(message.GetVariables(), VariableInJson)},
         {"anchor", IdentifierInJson(message.GetAnchor())}});
    if (!message.GetAnchor().IsNull()) json["anchorName"] = Name(before_, message.GetAnchor());
  }
  void Visit(const DeleteVarsMsg& message) override {
    Add({{"variables", Array(message.GetVariables(), VariableInJson)}});
  }
  void Visit(const MoveVarsMsg& message) override {
    const std::vector<int>& positions = message.GetPositions();
    Add({{"positions", positions},
         {"target", message.GetTarget()},
         {"names", Array(positions, [this](int each) { return NameAt(before_, each); })}});
  }
  void Visit(const ModifyVarMsg& message) override {
    const ORVX_Variable& after = message.GetVariable();
    const int position = before_.FindVarIndex(after.GetID());
    const ORVX_Variable before = position < 0 ? ORVX_Variable() : before_.GetVariable(position);
    const auto differences = DictionaryText::Differences(before, after);
    Add({{"variable", VariableInJson(after)},
         {"before", VariableInJson(before)},
         {"changed", Array(differences, [](const auto& each) { return each.what; })}});
  }
  void Visit(const ResetUndoMsg&) override {}
  void Visit(const ImputationInfoMsg& message) override {
    Add({{"rowsPerImputation", message.RowsPerImputation()}});
  }
  void Visit(const FileSpecChangeMsg& message) override {
    Add({{"fileSpec", message.GetFileSpec()}, {"flag", message.GetFlag()}});
  }
  void Visit(const FileLabelChangeMsg& message) override { Add({{"label", message.GetLabel()}}); }
  void Visit(const WeightVarMsg& message) override { Add(Use(before_, message.GetVariableID())); }
  void Visit(const FilterVarMsg& message) override { Add(Use(before_, message.GetVariableID())); }
  void Visit(const TrendsInfoMsg& message) override {
    Add(TimeSeries(before_, message.GetTrendsInfo()));
  }
  void Visit(const SplitFileMsg& message) override {
    Add(Split(before_, message.GetVariableIDs(), message.GetSeparate()));
  }
  void Visit(const ExtensionsMsg& message) override {
    const ORVX_ExtensionImpl& block = *message.GetExtension();
    Add(Extension(block));
    switch (block.GetType()) {
      case DEMessages::kVariableSetsText:
      case DEMessages::kMRSetsText:
      case DEMessages::kMRSetsSecondText:
        json["sets"] = Sets(before_, ReadExtension(block.GetBytes(), block.GetType()));
        break;
      case DEMessages::kAttributesText:
        json["attributes"] = DatasourceAttributes::Read(block.GetBytes()).All();
        break;
      default:
        break;
    }
  }
  void Visit(const ResetClientDataMsg& message) override {
    Add({{"rowCount", RowCountInJson(message.GetRowCount())}});
  }
  void Visit(const DataSetModifiedMsg& message) override {
    Add({{"modified", message.GetModified()}});
  }

 private:
  // The name of the class, without its namespace.
  static std::string NameOf(const DEMessages::DataSetMsg& message) {
    const std::string signature = message.VSConcreteSignature();
    return signature.substr(signature.rfind(':') + 1);
  }

  void Add(const Json& arguments) { json.update(arguments); }

  const ORVX_DataSource& before_;

 public:
  Json json;
};

std::string Text(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string DictionaryJson::Variables(const ORVX_DataSource& dictionary) {
  Json variables = Json::array();
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    variables.push_back(VariableInJson(dictionary.GetVariable(position)));
  }
  return Text(variables);
}

std::string DictionaryJson::Properties(const ORVX_DataSource& dictionary) {
  const char* const label = dictionary.GetLabel();
  std::vector<LocallyUniqueID> split;
  for (unsigned int i = 0; i < dictionary.GetNSplitVars(); ++i) {
    split.push_back(dictionary.GetSplitVarID(i));
  }
  return Text({{"label", label != nullptr ? label : ""},
               {"variableCount", dictionary.ColumnCount()},
               {"rowCount", RowCountInJson(dictionary.RowCount())},
               {"fileSpec", dictionary.GetFileSpec()},
               {"rowsPerImputation", dictionary.RowsPerImputation()},
               {"weight", Use(dictionary, dictionary.GetWeightVariableID())},
               {"filter", Use(dictionary, dictionary.GetFilterVariableID())},
               {"split", Split(dictionary, split, dictionary.GetSplitqSeparate())},
               {"trends", TimeSeries(dictionary, *dictionary.GetTrendsInfo())},
               {"responseSets", Sets(dictionary, VariableSets(dictionary, kMRSets))},
               {"variableSets", Sets(dictionary, VariableSets(dictionary, kVariableSets))},
               {"extension", Extension(*ORVX_DataSource::Extension(dictionary, /*type=*/0).Impl())},
               {"attributes", dictionary.GetAttributes().All()},
               {"modified", dictionary.IsDirty()}});
}

std::string DictionaryJson::Change(const DEMessages::DataSetMsg& message,
                                   const ORVX_DataSource& before) {
  ChangeRecorder recorder(message, before);
  message.Accept(recorder);
  return Text(recorder.json);
}
