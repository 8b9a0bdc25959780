// Events as JSON, one object per line.

#include "BootstrapJson.h"
#include "ChangeJson.h"
#include "DictionaryJson.h"
#include "Interrupt.h"
#include "Json.h"
#include "LockJson.h"
#include "Printer.h"
#include "VariableJson.h"

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace sdmsh {
namespace {

// The members of each event. The first is its name.

Json Members(const ScriptLine& line) {
  return {{"event", "command"}, {"line", line.line}, {"role", line.role}, {"words", line.words}};
}

Json Members(const DatasetOpened& opened) {
  Json json = {{"event", "opened"},         {"role", opened.role},
               {"dataset", opened.dataset}, {"id", IdentifierInJson(opened.id)},
               {"file", opened.file},       {"quiet", opened.quiet}};
  if (opened.size) {
    json["variables"] = opened.size->variables;
    json["cases"] = RowCountInJson(opened.size->cases);
  }
  if (!opened.cloneOf.empty()) json["cloneOf"] = opened.cloneOf;
  return json;
}

Json Members(const DatasetClosed& closed) {
  return {{"event", "closed"},
          {"role", closed.role},
          {"dataset", closed.dataset},
          {"holders", HoldingsInJson(closed.holders)},
          {"waiters", HoldingsInJson(closed.waiters)}};
}

// Null for nobody.
Json Client(const std::string& role) {
  return role.empty() ? Json(nullptr) : Json(role);
}

Json Facts(const DatasetFacts& facts) {
  return {{"dataset", facts.dataset},
          {"id", IdentifierInJson(facts.id)},
          {"file", facts.file},
          {"suppressedFile", facts.suppressedFile},
          {"hasDataSource", facts.hasDataSource},
          {"hasBootstrap", facts.hasBootstrap},
          {"caseSequence", facts.caseSequence},
          {"readersCount", facts.readersCount},
          {"writersCount", facts.writersCount},
          {"windowFront", facts.windowFront},
          {"windowMinimized", facts.windowMinimized},
          {"windowHidden", facts.windowHidden},
          {"hasPassword", facts.hasPassword},
          {"passwordMangled", facts.passwordMangled},
          {"holders", HoldingsInJson(facts.holders)},
          {"waiters", HoldingsInJson(facts.waiters)},
          {"observers", facts.observers},
          {"client", Client(facts.client)}};
}

Json Members(const DatasetFacts& facts) {
  Json json = {{"event", "dataset"}};
  json.update(Facts(facts));
  json["isClone"] = facts.isClone ? Json(*facts.isClone) : Json(nullptr);
  json["dictionary"] = facts.dictionary ? DictionaryInJson(*facts.dictionary) : Json(nullptr);
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
          {"variables", VariablesInJson(table.variables)},
          {"weight", IdentifierInJson(table.weight.id)},
          {"filter", IdentifierInJson(table.filter.id)},
          {"split", IdentifiersInJson(table.split.variables)}};
}

Json Side(const MirrorComparison::Side& side) {
  Json json = DictionaryInJson(side.facts);
  json["variables"] = VariablesInJson(side.variables);
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

Json Cell(const DataValue& value) {
  if (const double* const number = std::get_if<double>(&value)) return NumberInJson(*number);
  return std::get<std::string>(value);
}

Json Members(const CaseTable& table) {
  Json names = Json::array();
  for (const ORVX_Variable& variable : table.variables) names.push_back(variable.GetName());
  Json rows = Json::array();
  for (const std::vector<DataValue>& values : table.rows) {
    GiveUpIfInterrupted();
    Json row = Json::array();
    for (const DataValue& value : values) row.push_back(Cell(value));
    rows.push_back(std::move(row));
  }
  return {{"event", "cases"},   {"dataset", table.dataset}, {"hasDataSource", table.hasDataSource},
          {"from", table.from}, {"variables", names},       {"rows", rows},
          {"more", table.more}};
}

Json Members(const LockEvent& event) {
  Json json = {{"event", "lock"}};
  json.update(LockInJson(event));
  return json;
}

Json Members(const Deadlock& deadlock) {
  Json json = {{"event", "deadlock"}};
  json.update(DeadlockInJson(deadlock));
  return json;
}

Json Members(const LockTable& table) {
  Json json = {{"event", "locks"}};
  json.update(LocksInJson(table));
  return json;
}

Json Members(const Observing& observing) {
  return {{"event", observing.begins ? "observes" : "observesNoLonger"},
          {"role", observing.role},
          {"dataset", observing.dataset}};
}

Json Members(const Told& told) {
  Json json = {{"event", "told"}, {"role", told.role}, {"dataset", told.dataset}};
  json.update(ChangeInJson(told.change));
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
               {"id", IdentifierInJson(told.id)},
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
          {"datasetId", IdentifierInJson(reported.datasetID)},
          {"kind", reported.isError ? "error" : "warning"},
          {"severity", reported.severity},
          {"text", reported.text}};
}

Json Members(const NotReported& notReported) {
  return {{"event", "notReported"},
          {"role", Client(notReported.role)},
          {"dataset", notReported.dataset}};
}

Json Members(const BootstrapShown& shown) {
  return {
      {"event", "bootstrap"}, {"dataset", shown.dataset}, {"specs", BootstrapInJson(shown.specs)}};
}

Json Members(const BootstrapChanged& changed) {
  Json json = {{"event", "bootstrapChanged"},
               {"role", changed.role},
               {"dataset", changed.dataset},
               {"specs", BootstrapInJson(changed.specs)}};
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

Json Members(const BootstrapChecked& checked) {
  Json json = {{"event", "bootstrapChecked"},
               {"dataset", checked.dataset},
               {"file", checked.file},
               {"fileSize", checked.size}};
  json.update(CheckInJson(checked.check));
  return json;
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

  bool ReachesItsReader() const override { return out_.good(); }

 private:
  std::ostream& out_;
};

}  // namespace

std::unique_ptr<Printer> MakeJsonPrinter(std::ostream& out) {
  return std::make_unique<JsonPrinter>(out);
}

}  // namespace sdmsh
