// The commands that edit the variables of a dataset and the properties of its dictionary.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Variables.h"

#include <libdatasrc/MoveVariable.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DictionaryText.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <charconv>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

constexpr int kWidestString = 1'000'000;

// Takes a type: 0 for a number, otherwise the width of a string. `alternatives` is appended to the
// expected words in the error text.
int TakeType(Arguments& arguments, const char* alternatives = "") {
  const std::string expected =
      "numeric or string:WIDTH (1 to " + std::to_string(kWidestString) + ")" + alternatives;
  if (arguments.Accept("numeric")) return 0;
  std::string_view width = arguments.Peek(expected);
  constexpr std::string_view kString = "string:";
  if (!width.starts_with(kString)) arguments.Wrong(expected);
  width.remove_prefix(kString.size());
  int type = 0;
  const auto [end, error] = std::from_chars(width.begin(), width.end(), type);
  const bool isNumber = error == std::errc() && end == width.end();
  if (!isNumber || type < 1 || type > kWidestString) arguments.Wrong(expected);
  arguments.Take("");
  return type;
}

ORVX_Variable& VariableNamed(ORVX_DataSource& source, const std::string& name) {
  return source.GetVariable(PositionOf(source, name));
}

void SetSplit(ORVX_DataSource& source, const std::vector<int>& positions, bool separate) {
  source.SetSplit(static_cast<unsigned int>(positions.size()), positions.data(), separate);
}

// Takes "by VARIABLE" or "off", and calls `set` with the position of the variable, or with -1 for
// "off". For `does` see NumberPositionOf.
void SetUse(Call& call, const char* does, void (ORVX_DataSource::*set)(int)) {
  const bool off = call.TakeOneOf({"by", "off"}) == 1;
  const std::string name = off ? "" : call.Take("VARIABLE");
  ORVX_DataSource& source = call.Source();
  (source.*set)(off ? -1 : NumberPositionOf(source, name, does));
}

std::vector<LocallyUniqueID> IdentifiersOf(const ORVX_DataSource& source,
                                           const std::vector<std::string>& names) {
  std::vector<LocallyUniqueID> ids;
  for (const int position : PositionsOf(source, names)) {
    ids.push_back(source.GetVariable(position).GetID());
  }
  return ids;
}

// Returns `sets` after PutSet. Throws CommandError if there is no set to remove.
std::vector<VariableSetImpl> With(VariableSetImpl set, std::vector<VariableSetImpl> sets) {
  if (!PutSet(sets, set)) throw CommandError("there is no set " + DictionaryText::Quoted(set.name));
  return sets;
}

}  // namespace

void InsertVariable(Call& call) {
  const std::string name = call.Take("NAME");
  int type = 0;
  std::string label;
  std::optional<std::string> before;
  while (!call.AtEnd()) {
    if (call.Accept("before")) {
      before = call.Take("VARIABLE");
    } else if (call.Accept("label")) {
      label = call.Take("TEXT");
    } else {
      type = TakeType(call, ", before VARIABLE or label TEXT");
    }
  }
  ORVX_DataSource& source = call.Source();
  RefuseTakenName(source, name);
  const int position = before ? PositionOf(source, *before) : source.ColumnCount();
  ORVX_Variable variable(ORVX_Variable::NextID(), name, type);
  variable.SetLabel(label);
  source.InsertVariable(position, variable);
}

void DeleteVariables(Call& call) {
  std::vector<std::string> names = {"cases"};
  if (!call.Accept("cases")) {
    names = call.TakeRest("VARIABLE");
  } else if (!call.AtEnd()) {
    return DeleteCases(call);
  }
  ORVX_DataSource& source = call.Source();
  PositionsOf(source, names);  // throws for wrong names before any change
  for (const std::string& name : names) {
    const int position = PositionOf(source, name);
    source.DeleteVariables(position, position);
  }
}

void MoveVariable(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const bool toPosition = call.TakeOneOf({"to", "before"}) == 0;
  int to = toPosition ? call.TakeNumber("POSITION") - 1 : 0;
  const std::string before = toPosition ? "" : call.Take("VARIABLE");
  ORVX_DataSource& source = call.Source();
  const int from = PositionOf(source, name);
  if (!toPosition) {
    to = PositionOf(source, before);
    if (from < to) --to;  // the position of `before` once the moved variable is taken out
  }
  if (to >= source.ColumnCount()) {
    throw CommandError("there are only " + std::to_string(source.ColumnCount()) + " positions");
  }
  ::MoveVariable(source, from, to);
}

void ReorderVariables(Call& call) {
  const std::vector<std::string> names = call.TakeRest("VARIABLE");
  ORVX_DataSource& source = call.Source();
  PositionsOf(source, names);  // throws for wrong names before any change
  for (int to = 0; const std::string& name : names) {
    ::MoveVariable(source, PositionOf(source, name), to++);
  }
  call.Writer().BulkVarMoves();
}

void RenameVariable(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const std::string newName = call.Take("NAME");
  ORVX_DataSource& source = call.Source();
  const int position = PositionOf(source, name);
  RefuseTakenName(source, newName);
  source.GetVariable(position).SetName(newName);
}

void LabelVariable(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const std::string label = call.Take("TEXT");
  VariableNamed(call.Source(), name).SetLabel(label);
}

void RetypeVariable(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const int type = TakeType(call);
  VariableNamed(call.Source(), name).SetType(type);
}

// ---------------------------------------------------------------------------------------------
// Values and their meaning

void LabelValues(Call& call) {
  const std::string name = call.Take("VARIABLE");
  std::vector<std::pair<std::string, std::string>> labels;
  if (!call.Accept("off")) {
    do {
      const std::string value = call.Take("VALUE");
      labels.emplace_back(value, call.Take("TEXT"));
    } while (!call.AtEnd());
  }
  ORVX_Variable& variable = VariableNamed(call.Source(), name);
  ValueLabels all;
  if (!labels.empty()) all = variable.GetValueLabels();
  for (const auto& [value, text] : labels) {
    const DataValue key = ValueFor(variable, value);
    if (text.empty()) {
      all.erase(key);
    } else {
      all[key] = text;
    }
  }
  variable.SetValueLabels(std::move(all));
}

void SetMissingValues(Call& call) {
  const std::string name = call.Take("VARIABLE");
  std::vector<std::string> values = call.TakeRest("\"off\" or VALUE");
  if (values == std::vector<std::string>{"off"}) values.clear();
  ORVX_Variable& variable = VariableNamed(call.Source(), name);
  MissingValues missing;
  for (const std::string& value : values) missing.values.push_back(ValueFor(variable, value));
  variable.SetMissingValues(std::move(missing));
}

void SetLevel(Call& call) {
  const std::string name = call.Take("VARIABLE");
  // The words are in the order of the enumerators.
  const auto level = static_cast<MeasurementLevel>(
      call.TakeOneOf({"unknown", "nominal", "ordinal", "interval", "ratio"}));
  VariableNamed(call.Source(), name).SetMeasurementLevel(level);
}

void SetFormat(Call& call) {
  const std::string name = call.Take("VARIABLE");
  VariableFormat format;
  // The words are in the order of the enumerators.
  format.kind =
      static_cast<VariableFormat::Kind>(call.TakeOneOf({"plain", "date", "time", "datetime"}));
  if (call.Accept("width")) format.width = call.TakeNumber("NUMBER");
  if (call.Accept("decimals")) format.decimals = call.TakeNumber("NUMBER", /*least=*/0);
  VariableNamed(call.Source(), name).SetFormat(format);
}

void SetRole(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const std::vector<const char*> roles = {"input", "target",     "both", "weight",
                                          "group", "identifier", "off"};
  const std::string role = roles[call.TakeOneOf(roles)];
  ORVX_Variable& variable = VariableNamed(call.Source(), name);
  VariableAttributes attributes = variable.GetAttributes();
  if (role == "off") {
    attributes.erase("role");
  } else {
    attributes["role"] = {role};
  }
  variable.SetAttributes(std::move(attributes));
}

// ---------------------------------------------------------------------------------------------
// Properties

void SetWeight(Call& call) {
  SetUse(call, "weight cases", &ORVX_DataSource::SetWeightVar);
}

void SetFilter(Call& call) {
  SetUse(call, "select cases", &ORVX_DataSource::SetFilterVar);
}

void SplitFile(Call& call) {
  enum { kTogether, kSeparate, kOff };
  const std::size_t how = call.TakeOneOf({"together", "separate", "off"});
  std::vector<std::string> names;
  if (how != kOff) {
    call.Expect("by");
    names = call.TakeRest("VARIABLE");
  }
  ORVX_DataSource& source = call.Source();
  SetSplit(source, PositionsOf(source, names), how == kSeparate);
}

void SetTrends(Call& call) {
  ORVX_TrendsInfo trends;
  std::vector<std::string> names;
  enum { kPeriod, kBy };
  if (!call.Accept("off")) {
    do {
      const std::size_t what = call.TakeOneOf({"period", "by"});
      if (what == kPeriod) trends.seasonalPeriod = call.TakeNumber("NUMBER");
      if (what == kBy) names = call.TakeRest("VARIABLE");
    } while (!call.AtEnd());
  }
  ORVX_DataSource& source = call.Source();
  trends.timeVariables = IdentifiersOf(source, names);
  *source.GetTrendsInfo() = trends;
}

void SetResponseSet(Call& call) {
  VariableSetImpl set;
  set.name = call.Take("NAME");
  std::vector<std::string> names;
  enum { kIndicators, kAnswers, kOff };
  const std::size_t kind = call.TakeOneOf({"indicators", "answers", "off"});
  if (kind != kOff) {
    set.kind = kind == kIndicators ? VariableSetImpl::kIndicators : VariableSetImpl::kAnswers;
    if (kind == kIndicators) set.selectedValue = call.Take("VALUE");
    if (call.Accept("label")) set.label = call.Take("TEXT");
    call.Expect("of");
    names = call.TakeRest("VARIABLE");
  }
  ORVX_DataSource& source = call.Source();
  set.members = IdentifiersOf(source, names);
  source.SetMRSets(With(set, source.GetMRSets()));
}

void SetVariableSet(Call& call) {
  VariableSetImpl set;
  set.name = call.Take("NAME");
  std::vector<std::string> names;
  if (call.TakeOneOf({"of", "off"}) == 0) names = call.TakeRest("VARIABLE");
  ORVX_DataSource& source = call.Source();
  set.members = IdentifiersOf(source, names);
  source.SetVariableSets(With(set, source.GetVariableSets()));
}

void LabelDataset(Call& call) {
  const std::string label = call.Take("TEXT");
  call.Source().SetLabel(label.empty() ? nullptr : label.c_str());
}

void SetFileSpec(Call& call) {
  const std::string fileSpec = call.Take("FILE");
  call.Source().SetFileSpec(fileSpec.c_str());
}

void SetImputation(Call& call) {
  const int rows = call.Accept("off") ? 0 : call.TakeNumber("\"off\" or ROWS");
  call.Source().RowsPerImputation(rows);
}

void SetExtension(Call& call) {
  const std::string text = call.Take("TEXT");
  const auto block = DEMessages::TextBlock(DEMessages::kOwnExtension, text);
  call.Source().SetExtension(ORVX_DataSource::Extension(block));
}

void SetAttribute(Call& call) {
  const std::string name = call.Take("NAME");
  std::vector<std::string> values;
  if (!call.AtEnd()) values = call.TakeRest("VALUE");
  ORVX_DataSource& source = call.Source();
  DatasourceAttributes attributes = source.GetAttributes();
  attributes.Set(name, values);
  source.SetAttributes(attributes);
}

void MarkUnsaved(Call& call) {
  const bool unsaved = call.TakeOnOff();
  call.Source().SetDirty(unsaved);
}

}  // namespace sdmsh
