// Events as JSON, one object per line.

#include "BootstrapWords.h"
#include "DictionaryWords.h"
#include "OpenDataset.h"
#include "Printer.h"
#include "VariableWords.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <ostream>
#include <string>

namespace sdmsh {
namespace {

// Members stay in the order in which they are given: a person reads these lines too.
using Json = nlohmann::ordered_json;

Json Identifier(LocallyUniqueID id) {
  return id.IsNull() ? Json(nullptr) : Json(InWords(id));
}

const char* ModeWord(LockMode mode) {
  return mode == LockMode::Read ? "read" : "write";
}

Json Holdings(const std::vector<Holding>& holdings) {
  Json json = Json::array();
  for (const Holding& holding : holdings) {
    json.push_back({{"role", holding.role}, {"mode", ModeWord(holding.mode)}});
  }
  return json;
}

Json Value(const DataValue& value) {
  return std::visit([](const auto& which) { return Json(which); }, value);
}

Json Format(const VariableFormat& format) {
  return FormatInWords(format);
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
  Json json = {{"values", values}};
  if (missing.range) json["range"] = {missing.range->first, missing.range->second};
  return json;
}

Json Variable(const ORVX_Variable& variable) {
  return {{"id", Identifier(variable.GetID())},
          {"name", variable.GetName()},
          {"label", variable.GetLabel()},
          {"type", variable.GetType()},
          {"printFormat", Format(variable.GetPrintFormat())},
          {"writeFormat", Format(variable.GetWriteFormat())},
          {"valueLabels", Labels(variable.GetValueLabels())},
          {"missingValues", Missing(variable.GetMissingValues())},
          {"measurementLevel", LevelInWords(variable.GetMeasurementLevel())},
          {"role", RoleInWords(variable.GetRole())},
          {"alignment", AlignmentInWords(variable.GetAlignment())},
          {"displayWidth", variable.GetDisplayWidth()},
          {"attributes", variable.GetAttributes()}};
}

Json Variables(const std::vector<ORVX_Variable>& variables) {
  Json json = Json::array();
  for (const ORVX_Variable& variable : variables) json.push_back(Variable(variable));
  return json;
}

Json Identifiers(const std::vector<NamedVariable>& variables) {
  Json json = Json::array();
  for (const NamedVariable& variable : variables) json.push_back(Identifier(variable.id));
  return json;
}

// Null for a variable that is not there.
Json Name(const NamedVariable& variable) {
  return variable.name.empty() ? Json(nullptr) : Json(variable.name);
}

Json Names(const std::vector<NamedVariable>& variables) {
  Json json = Json::array();
  for (const NamedVariable& variable : variables) json.push_back(Name(variable));
  return json;
}

Json Sets(const std::vector<NamedSet>& sets) {
  Json json = Json::array();
  for (const auto& [set, members] : sets) {
    json.push_back({{"name", set.name},
                    {"label", set.label},
                    {"kind", SetKindInWords(set.kind)},
                    {"countedValue", set.countedValue},
                    {"labelFromVariable", set.labelFromVariable},
                    {"categoriesFromCountedValue", set.categoriesFromCountedValue},
                    {"members", Identifiers(members)},
                    {"names", Names(members)}});
  }
  return json;
}

Json Trends(const TimeSeries& trends) {
  return {{"dateVariables", Identifiers(trends.dateVariables)},
          {"periodicity", trends.periodicity},
          {"firstCase", trends.firstCase},
          {"lastCase", trends.lastCase},
          {"names", Names(trends.dateVariables)}};
}

Json SplitMembers(const Split& split) {
  return {{"variables", Identifiers(split.variables)},
          {"separate", split.separate},
          {"names", Names(split.variables)}};
}

Json Use(const NamedVariable& variable) {
  return {{"variable", Identifier(variable.id)}, {"name", Name(variable)}};
}

// Any bytes: two hexadecimal digits for each.
std::string Hexadecimal(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    digits += "0123456789abcdef"[number >> 4];
    digits += "0123456789abcdef"[number & 0xF];
  }
  return digits;
}

Json ExtensionMembers(const Block& block) {
  return {{"type", block->GetType()},
          {"version", block->GetVersion()},
          {"bytes", Hexadecimal(block->GetBytes())}};
}

// Null while unknown.
Json RowCount(long long rowCount) {
  return rowCount < 0 ? Json(nullptr) : Json(rowCount);
}

Json Dictionary(const DictionaryFacts& facts) {
  return {{"label", facts.label},
          {"variableCount", facts.variableCount},
          {"rowCount", RowCount(facts.rowCount)},
          {"fileSpec", facts.fileSpec},
          {"rowsPerImputation", facts.rowsPerImputation},
          {"weight", Use(facts.weight)},
          {"filter", Use(facts.filter)},
          {"split", SplitMembers(facts.split)},
          {"trends", Trends(facts.trends)},
          {"responseSets", Sets(facts.responseSets)},
          {"variableSets", Sets(facts.variableSets)},
          {"extension", ExtensionMembers(facts.extension)},
          {"attributes", facts.attributes.All()},
          {"modified", facts.modified}};
}

// ---------------------------------------------------------------------------------------------
// Changes: the message's name and arguments, then what the shell knows besides.

struct ChangeMembers {
  Json operator()(const VariablesInserted& inserted) const {
    Json json = {{"message", "InsertVarsMsg"},
                 {"variables", Variables(inserted.variables)},
                 {"anchor", Identifier(inserted.anchor)}};
    if (!inserted.anchor.IsNull()) json["anchorName"] = inserted.anchorName;
    return json;
  }

  Json operator()(const VariablesDeleted& deleted) const {
    return {{"message", "DeleteVarsMsg"}, {"variables", Variables(deleted.variables)}};
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
            {"variable", Variable(modified.after)},
            {"before", Variable(modified.before)},
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
    return Message("WeightVarMsg", Use(weight.variable));
  }
  Json operator()(const FilterChanged& filter) const {
    return Message("FilterVarMsg", Use(filter.variable));
  }

  Json operator()(const TrendsChanged& changed) const {
    return Message("TrendsInfoMsg", Trends(changed.trends));
  }

  Json operator()(const SplitChanged& changed) const {
    return Message("SplitFileMsg", SplitMembers(changed.split));
  }

  Json operator()(const SetsChanged& changed) const {
    Json json = Extension(changed.block);
    json["sets"] = Sets(changed.sets);
    return json;
  }

  Json operator()(const AttributesChanged& changed) const {
    Json json = Extension(changed.block);
    json["attributes"] = changed.attributes.All();
    return json;
  }

  Json operator()(const ExtensionChanged& changed) const { return Extension(changed.block); }

  Json operator()(const ClientDataReset& reset) const {
    return {{"message", "ResetClientDataMsg"}, {"rowCount", RowCount(reset.rowCount)}};
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
    return Message("ExtensionsMsg", ExtensionMembers(block));
  }
};

// ---------------------------------------------------------------------------------------------
// Events: their members. The first is the event's name.

Json Members(const ScriptLine& line) {
  return {{"event", "command"}, {"line", line.line}, {"role", line.role}, {"words", line.words}};
}

Json Members(const DatasetOpened& opened) {
  Json json = {{"event", "opened"},           {"role", opened.role}, {"dataset", opened.dataset},
               {"id", Identifier(opened.id)}, {"file", opened.file}, {"quiet", opened.quiet}};
  if (opened.size) {
    json["variables"] = opened.size->variables;
    json["cases"] = RowCount(opened.size->cases);
  }
  if (!opened.cloneOf.empty()) json["cloneOf"] = opened.cloneOf;
  return json;
}

Json Members(const DatasetClosed& closed) {
  return {{"event", "closed"},
          {"role", closed.role},
          {"dataset", closed.dataset},
          {"holders", Holdings(closed.holders)},
          {"waiters", Holdings(closed.waiters)}};
}

// Null for nobody.
Json Client(const std::string& role) {
  return role.empty() ? Json(nullptr) : Json(role);
}

Json Facts(const DatasetFacts& facts) {
  return {{"dataset", facts.dataset},
          {"id", Identifier(facts.id)},
          {"file", facts.file},
          {"suppressedFile", facts.suppressedFile},
          {"hasDataSource", facts.hasDataSource},
          {"caseSequence", facts.caseSequence},
          {"readersCount", facts.readersCount},
          {"writersCount", facts.writersCount},
          {"windowFront", facts.windowFront},
          {"windowMinimized", facts.windowMinimized},
          {"windowHidden", facts.windowHidden},
          {"hasPassword", facts.hasPassword},
          {"passwordMangled", facts.passwordMangled},
          {"holders", Holdings(facts.holders)},
          {"waiters", Holdings(facts.waiters)},
          {"observers", facts.observers},
          {"client", Client(facts.client)}};
}

Json Members(const DatasetFacts& facts) {
  Json json = {{"event", "dataset"}};
  json.update(Facts(facts));
  json["dictionary"] = facts.dictionary ? Dictionary(*facts.dictionary) : Json(nullptr);
  return json;
}

Json Members(const DatasetList& list) {
  Json datasets = Json::array();
  for (const DatasetFacts& facts : list.datasets) datasets.push_back(Facts(facts));
  return {{"event", "datasets"}, {"datasets", datasets}};
}

Json Members(const VariableTable& table) {
  return {{"event", "variables"},
          {"dataset", table.dataset},
          {"variables", Variables(table.variables)},
          {"weight", Identifier(table.weight.id)},
          {"filter", Identifier(table.filter.id)},
          {"split", Identifiers(table.split.variables)}};
}

Json Side(const MirrorComparison::Side& side) {
  Json json = Dictionary(side.facts);
  json["variables"] = Variables(side.variables);
  json["digest"] = side.digest.AsText();
  return json;
}

Json Members(const MirrorComparison& both) {
  const Json source = Side(both.source);
  const Json mirror = Side(both.mirror);
  Json differing = Json::array();
  for (const auto& [name, value] : source.items()) {
    if (mirror[name] != value) differing.push_back(name);
  }
  return {{"event", "mirror"},
          {"dataset", both.dataset},
          {"source", source},
          {"mirror", mirror},
          {"differing", differing}};
}

const char* LockWord(LockEvent::What what) {
  switch (what) {
    case LockEvent::What::Taken:
      return "taken";
    case LockEvent::What::Waits:
      return "waits";
    case LockEvent::What::LetIn:
      return "letIn";
    case LockEvent::What::Released:
      return "released";
    case LockEvent::What::TryFailed:
      return "tryFailed";
  }
  return "unknown";
}

// What JSON has no number for comes as a string.
Json Number(double number) {
  if (std::isfinite(number)) return number;
  if (std::isnan(number)) return "NaN";
  return number > 0 ? "Infinity" : "-Infinity";
}

// Null where it is missing.
Json Cell(const CaseValue& value) {
  if (!value) return nullptr;
  if (const double* const number = std::get_if<double>(&*value)) return Number(*number);
  return std::get<std::string>(*value);
}

Json Members(const CaseTable& table) {
  Json names = Json::array();
  for (const ORVX_Variable& variable : table.variables) names.push_back(variable.GetName());
  Json rows = Json::array();
  for (const std::vector<CaseValue>& values : table.rows) {
    Json row = Json::array();
    for (const CaseValue& value : values) row.push_back(Cell(value));
    rows.push_back(std::move(row));
  }
  return {{"event", "cases"},   {"dataset", table.dataset}, {"hasDataSource", table.hasDataSource},
          {"from", table.from}, {"variables", names},       {"rows", rows},
          {"more", table.more}};
}

Json Members(const LockEvent& event) {
  Json json = {{"event", "lock"},
               {"what", LockWord(event.what)},
               {"role", event.role},
               {"dataset", event.dataset},
               {"mode", ModeWord(event.mode)}};
  if (event.what == LockEvent::What::Waits || event.what == LockEvent::What::TryFailed) {
    json["holders"] = Holdings(event.holders);
    json["waiters"] = Holdings(event.waiters);
  }
  return json;
}

Json Members(const Observing& observing) {
  return {{"event", observing.begins ? "observes" : "observesNoLonger"},
          {"role", observing.role},
          {"dataset", observing.dataset}};
}

Json Members(const Told& told) {
  Json json = {{"event", "told"},
               {"role", told.role},
               {"dataset", told.dataset},
               {"leading", told.change.leading},
               {"datasetId", Identifier(told.change.datasetID)},
               {"caseSequence", told.change.caseSequence}};
  json.update(std::visit(ChangeMembers(), told.change.what));
  return json;
}

Json Members(const NotTold& notTold) {
  return {{"event", "notTold"}, {"role", notTold.role}, {"dataset", notTold.dataset}};
}

Json Members(const Watching& watching) {
  return {{"event", watching.begins ? "watches" : "watchesNoLonger"}, {"role", watching.role}};
}

Json Members(const RegistryTold& told) {
  const auto* const created = std::get_if<DatasetCreated>(&told.what);
  Json json = {{"event", created != nullptr ? "created" : "deleted"},
               {"role", told.role},
               {"id", Identifier(told.id)},
               {"handle", told.handle}};
  if (created != nullptr) json["file"] = created->file;
  return json;
}

Json Members(const Hiding& hiding) {
  return {{"event", "hides"}, {"names", hiding.names}};
}

Json Members(const FileTouched& answer) {
  return {{"event", "touched"}, {"file", answer.file}, {"touched", answer.touched}};
}

Json Members(const ClientBound& bound) {
  return {{"event", "client"}, {"role", Client(bound.role)}, {"dataset", bound.dataset}};
}

Json Members(const Reported& reported) {
  return {{"event", "reported"},
          {"role", reported.role},
          {"dataset", reported.dataset},
          {"datasetId", Identifier(reported.datasetID)},
          {"kind", reported.isError ? "error" : "warning"},
          {"severity", reported.severity},
          {"text", reported.text}};
}

Json Members(const NotReported& notReported) {
  return {{"event", "notReported"},
          {"role", Client(notReported.role)},
          {"dataset", notReported.dataset}};
}

// The word of an enumerator, or its number where it has none.
Json WordOrNumber(const char* word, std::int32_t number) {
  return word != nullptr ? Json(word) : Json(number);
}

// Null for none.
Json Specs(const std::optional<SvrBootstrapSpecs>& specs) {
  if (!specs) return nullptr;
  Json caseStats = Json::array();
  for (const auto& [value, number] : specs->CaseStats()) {
    caseStats.push_back(Json::array({Number(value), number}));
  }
  const auto method = specs->GetSamplingMethod();
  const auto interval = specs->GetCIType();
  return {{"method", WordOrNumber(SamplingMethodInWords(method), method)},
          {"strata", specs->GetStrataVarList()},
          {"dependents", specs->GetDependVarList()},
          {"inputs", specs->GetInputVarList()},
          {"predicted", specs->GetPredictedVarList()},
          {"residuals", specs->GetResidualVarList()},
          {"splitEnds", specs->SplitEnds()},
          {"caseStats", caseStats},
          {"level", Number(specs->GetCILevelPct())},
          {"interval", WordOrNumber(IntervalInWords(interval), interval)},
          {"samples", specs->GetNSamples()},
          {"userMissingExcluded", specs->GetExcludeUserMiss()}};
}

Json Members(const BootstrapShown& shown) {
  return {{"event", "bootstrap"}, {"dataset", shown.dataset}, {"specs", Specs(shown.specs)}};
}

Json Members(const BootstrapChanged& changed) {
  Json json = {{"event", "bootstrapChanged"},
               {"role", changed.role},
               {"dataset", changed.dataset},
               {"specs", Specs(changed.specs)}};
  if (!changed.file.empty()) json["file"] = changed.file;
  return json;
}

Json Members(const BootstrapWritten& written) {
  return {{"event", "bootstrapWritten"},
          {"role", written.role},
          {"dataset", written.dataset},
          {"file", written.file},
          {"size", written.size}};
}

const char* FindingWord(SvrBootstrapSpecsSerializer::Check::Finding finding) {
  using Finding = SvrBootstrapSpecsSerializer::Check::Finding;
  switch (finding) {
    case Finding::Whole:
      return "whole";
    case Finding::Truncated:
      return "truncated";
    case Finding::UnknownVersion:
      return "unknownVersion";
    case Finding::ListTooLong:
      return "listTooLong";
  }
  return "unknown";
}

Json Members(const BootstrapChecked& checked) {
  const SvrBootstrapSpecsSerializer::Check& check = checked.check;
  const bool native = check.byteOrder == SvrBootstrapSpecsSerializer::Check::ByteOrder::Native;
  return {{"event", "bootstrapChecked"},
          {"dataset", checked.dataset},
          {"file", checked.file},
          {"fileSize", checked.size},
          {"finding", FindingWord(check.finding)},
          {"byteOrder", native ? "native" : "swapped"},
          {"size", check.size},
          {"offset", check.offset}};
}

Json Help(const CommandHelp& command) {
  return {{"command", command.name},
          {"arguments", command.arguments},
          {"help", command.help},
          {"more", command.more}};
}

Json Members(const CommandHelp& command) {
  Json json = {{"event", "help"}};
  json.update(Help(command));
  return json;
}

Json Members(const HelpTable& table) {
  Json commands = Json::array();
  for (const HelpTable::Subject& subject : table.subjects) {
    for (const CommandHelp& command : subject.commands) {
      Json row = Help(command);
      row["subject"] = subject.title;
      commands.push_back(std::move(row));
    }
  }
  return {{"event", "help"}, {"commands", commands}};
}

Json Members(const Failure& failure) {
  Json json = {{"event", "error"}, {"text", failure.text}};
  if (!failure.file.empty()) json["file"] = failure.file;
  if (failure.line > 0) json["line"] = failure.line;
  return json;
}

// ---------------------------------------------------------------------------------------------

class JsonPrinter final : public Printer {
 public:
  explicit JsonPrinter(std::ostream& out) : out_(out) {}

  void Print(const Event& event) override {
    const auto* const line = std::get_if<ScriptLine>(&event);
    if (line != nullptr && line->words.empty()) return;  // a comment is for people
    const Json json = std::visit([](const auto& which) { return Members(which); }, event);
    // Bytes that are not UTF-8, from a script or a file name, must not spoil the line.
    out_ << json.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
  }

 private:
  std::ostream& out_;
};

}  // namespace

std::unique_ptr<Printer> MakeJsonPrinter(std::ostream& out) {
  return std::make_unique<JsonPrinter>(out);
}

}  // namespace sdmsh
