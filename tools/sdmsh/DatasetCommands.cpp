// The commands that open, close and show datasets, and the settings that need no lock.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <client/DictionaryComparison.h>
#include <client/DictionaryDigest.h>
#include <client/DictionaryJson.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DictionaryText.h>
#include <ServerDataManager/CloneSource.h>
#include <ServerDataManager/serverdatamgr.h>

#include <memory>
#include <utility>

namespace sdmsh {
namespace {

using DictionaryComparison::PropertiesOf;
using DictionaryComparison::Property;
using DictionaryText::Counted;

// ---------------------------------------------------------------------------------------------
// Opening

// The last arguments of every command that opens a dataset.
struct NewDataset {
  std::string name;
  bool quiet;
};

// Throws CommandError if words remain, or if a dataset cannot have the name.
NewDataset TakeNewDataset(Call& call) {
  NewDataset dataset = {call.Take("NAME"), call.Accept("quiet")};
  call.End();
  call.shell.RefuseName(dataset.name, /*renamed=*/nullptr);
  return dataset;
}

// Opens a dataset over the source, which may be null, and prints the event. `file` is the data file
// of the source, or empty; `delimiter` is the delimiter of the file. If the call has a dataset, the
// source must be a clone of that dataset's source.
void Open(const Call& call, const NewDataset& wanted, std::unique_ptr<ORVX_DataSource> source,
          const std::string& file = "", char delimiter = '\0') {
  const bool isEmpty = source == nullptr;
  const std::string cloneOf = call.dataset == nullptr ? "" : call.dataset->Name();
  const DatasetPtr dataset = call.shell.Open(std::move(source), file, wanted.name, wanted.quiet);
  if (!file.empty()) dataset->SetDelimiter(file, delimiter);
  std::string words = wanted.name + " is open, without a data source";
  int variables = 0;  // counted after the filter hook has run
  long long cases = 0;
  if (!isEmpty) {
    const SvrDMInputDataSource reader(dataset->Item(), /*tryOnly=*/false);
    variables = reader->ColumnCount();
    cases = reader->RowCount();
    words = wanted.name + " is open: " + Counted(variables, "variable") + ", " +
            (cases < 0 ? "an unknown number of cases" : Counted(cases, "case")) +
            (cloneOf.empty() ? ", from " + file : ", a clone of " + cloneOf);
  }
  words += wanted.quiet ? " (quiet)" : "";
  call.shell.Out().Say(words, [&] {
    Json json = {{"event", "opened"},      {"caller", call.caller.Name()},
                 {"dataset", wanted.name}, {"id", IdentifierInJson(dataset->ID())},
                 {"file", file},           {"quiet", wanted.quiet}};
    if (isEmpty) return json;
    json["variables"] = variables;
    json["cases"] = RowCountInJson(cases);
    if (!cloneOf.empty()) json["cloneOf"] = cloneOf;
    return json;
  });
}

// ---------------------------------------------------------------------------------------------
// The state of a dataset

Json StateInJson(OpenDataset& dataset, const LockState& lock) {
  const SvrDMDataset& handle = dataset.Handle();
  Json json = {{"dataset", dataset.Name()},
               {"id", IdentifierInJson(dataset.ID())},
               {"file", handle.GetFileName()},
               {"suppressedFile", handle.SuppressedFileName()},
               {"hasDataSource", handle.HasDataSource()},
               {"hasBootstrap", handle.GetBootstrapSpecs() != nullptr},
               {"caseSequence", handle.GetCaseSequence()},
               {"readersCount", handle.ReadersCount()},
               {"writersCount", handle.WritersCount()},
               {"windowFront", handle.WindowFront()},
               {"windowMinimized", handle.WindowMinimized()},
               {"windowHidden", handle.WindowHidden()},
               {"hasPassword", !handle.GetPassword().empty()},
               {"passwordMangled", dataset.Item()->PasswordMangled()}};
  lock.AddTo(json);
  json["observers"] = dataset.Observers();
  json["client"] = TextOrNull(dataset.Client());
  return json;
}

std::string WindowText(const SvrDMDataset& handle) {
  std::vector<std::string> words;
  if (handle.WindowFront()) words.push_back("in front");
  if (handle.WindowMinimized()) words.push_back("minimized");
  if (handle.WindowHidden()) words.push_back("hidden");
  return words.empty() ? "open" : Joined(words);
}

std::string PasswordText(OpenDataset& dataset) {
  if (dataset.Handle().GetPassword().empty()) return "none";
  return dataset.Item()->PasswordMangled() ? "set, mangled" : "set";
}

std::string FileText(const SvrDMDataset& handle) {
  const std::string kept = handle.SuppressedFileName();
  return OrNone(handle.GetFileName()) + (kept.empty() ? "" : " (kept aside: " + kept + ")");
}

// The parts of the state of a dataset that need its lock. The members after `lock` are set only if
// the caller could read the dataset without waiting.
struct Contents {
  LockState lock;  // before the dataset was read
  bool isRead = false;
  bool isClone = false;
  std::vector<Property> properties;  // set only if the output is in words
  Json dictionary;                   // set only if the output is JSON
};

Contents ContentsOf(const Call& call, const CallerLocks& locks) {
  Contents contents;
  contents.lock = locks.StateOf(*call.dataset);
  const ReaderPtr reader = locks.TryRead(call.caller, *call.dataset);
  contents.isRead = reader != nullptr;
  const ORVX_DataSource* const source = contents.isRead ? **reader : nullptr;
  if (source == nullptr) return contents;
  contents.isClone = dynamic_cast<const SvrDMCloneDataSource*>(source) != nullptr;
  const bool json = call.shell.Out().IsJson();
  if (json) contents.dictionary = Json::parse(DictionaryJson::Properties(*source));
  if (!json) contents.properties = PropertiesOf(*source);
  return contents;
}

std::string SourceText(const SvrDMDataset& handle, const Contents& contents) {
  if (!handle.HasDataSource()) return "none";
  if (!contents.isRead) return "yes, but the lock is not free for reading";
  return contents.isClone ? "yes, a clone" : "yes";
}

// Returns one line for each property, such as "  weight         none". Omits properties that are
// not usual and whose value is "none".
std::string InLines(const std::vector<Property>& properties) {
  std::string lines;
  for (const Property& property : properties) {
    if (!property.isUsual && property.value == "none") continue;
    lines += "\n  " + Padded(property.name, 15) + OnOneLine(property.value);
  }
  return lines;
}

std::string DatasetText(OpenDataset& dataset, const Contents& contents, const Output& output) {
  const SvrDMDataset& handle = dataset.Handle();
  const bool hasBootstrap = handle.GetBootstrapSpecs() != nullptr;
  return output.Heading(dataset.Name()) +
         InLines({{"identifier", dataset.ID().ToString()},
                  {"file", FileText(handle)},
                  {"data source", SourceText(handle, contents)}}) +
         InLines(contents.properties) +
         InLines({{"case sequence", std::to_string(handle.GetCaseSequence())},
                  {"lock", contents.lock.ToText()},
                  {"readers", std::to_string(handle.ReadersCount())},
                  {"writers", std::to_string(handle.WritersCount())},
                  {"observers", OrNone(Joined(dataset.Observers()))},
                  {"client", OrNone(dataset.Client()), /*isUsual=*/false},
                  {"bootstrap", hasBootstrap ? "set" : "none", /*isUsual=*/false},
                  {"window", WindowText(handle)},
                  {"password", PasswordText(dataset)}});
}

Json DatasetInJson(OpenDataset& dataset, const Contents& contents) {
  Json json = StateInJson(dataset, contents.lock);
  json["isClone"] = contents.isRead ? Json(contents.isClone) : Json(nullptr);
  json["dictionary"] = contents.dictionary;
  return json;
}

// ---------------------------------------------------------------------------------------------
// Variables

// Returns a text such as " [weight, split 1]"; empty if the variable has no use.
std::string UsesInBrackets(const ORVX_DataSource& source, LocallyUniqueID id) {
  std::vector<std::string> uses;
  if (source.GetWeightVariableID() == id) uses.push_back("weight");
  if (source.GetFilterVariableID() == id) uses.push_back("filter");
  const std::vector<LocallyUniqueID> split = SplitOf(source);
  for (std::size_t i = 0; i < split.size(); ++i) {
    if (split[i] == id) uses.push_back("split " + std::to_string(i + 1));
  }
  return uses.empty() ? "" : " [" + Joined(uses) + "]";
}

std::string VariablesText(const ORVX_DataSource& source, const Output& output) {
  Table table({{.head = "", .right = true, .width = 4}, {}, {}, {.head = "", .width = 8}, {}});
  int number = 0;
  for (const ORVX_Variable& variable : VariablesOf(source)) {
    table.Add({std::to_string(++number), variable.GetName(),
               DictionaryText::Type(variable.GetType()),
               DictionaryText::Level(variable.GetMeasurementLevel()),
               variable.GetLabel() + UsesInBrackets(source, variable.GetID())});
  }
  return table.TakeText(output);
}

Json VariableTableInJson(const ORVX_DataSource& source) {
  Json split = Json::array();
  for (const LocallyUniqueID id : SplitOf(source)) split.push_back(IdentifierInJson(id));
  return {{"variables", Json::parse(DictionaryJson::Variables(source))},
          {"weight", IdentifierInJson(source.GetWeightVariableID())},
          {"filter", IdentifierInJson(source.GetFilterVariableID())},
          {"split", split}};
}

// Returns the data source, or an empty source if the dataset has none.
const ORVX_DataSource& SourceOrEmpty(const SvrDMInputDataSource& reader) {
  static const DataFreeDataSource empty;
  const ORVX_DataSource* const source = *reader;
  return source == nullptr ? empty : *source;
}

// ---------------------------------------------------------------------------------------------
// The mirror

std::string MirrorText(const std::string& dataset, const ORVX_DataSource& source,
                       const ORVX_DataSource& mirror, const Output& output) {
  const std::string differs = "<- differs";
  Table table({{}, {.head = dataset}, {.head = "mirror"}, {}});
  for (const auto& line : DictionaryComparison::Compare(source, mirror)) {
    const std::string remark = line.isSent ? "" : "; messages do not carry every change";
    table.Add({"  " + line.what, line.source, line.Differs() ? line.mirror : "the same",
               line.Differs() ? differs + remark : ""});
  }
  const std::string here = DigestOf(source).AsText();
  const std::string there = DigestOf(mirror).AsText();
  table.Add({"  digest", here, there, here == there ? "" : differs});
  return table.TakeText(output);
}

Json SideInJson(const ORVX_DataSource& dictionary) {
  Json json = Json::parse(DictionaryJson::Properties(dictionary));
  json["variables"] = Json::parse(DictionaryJson::Variables(dictionary));
  json["digest"] = DigestOf(dictionary).AsText();
  return json;
}

Json MirrorInJson(const Json& source, const Json& mirror) {
  Json differing = Json::array();
  for (const auto& [name, value] : source.items()) {
    if (mirror[name] != value) differing.push_back(name);
  }
  return {{"source", source}, {"mirror", mirror}, {"differing", differing}};
}

}  // namespace

void OpenFile(Call& call) {
  const std::string file = call.TakeFile();
  const ImportOptions options = call.TakeImportOptions();
  call.Expect("as");
  const NewDataset wanted = TakeNewDataset(call);
  auto source = call.OpenDataFile(file, options);
  const char delimiter = source->Report().delimiter;
  Open(call, wanted, std::move(source), file, delimiter);
}

void AddEmpty(Call& call) {
  Open(call, TakeNewDataset(call), nullptr);
}

void CloneDataset(Call& call) {
  call.Expect("as");
  const NewDataset wanted = TakeNewDataset(call);
  call.Source();  // refuses a dataset without a data source
  Open(call, wanted, CloneSource(call.Writer()));
}

void CloseDataset(Call& call) {
  call.End();
  const std::string name = call.dataset->Name();
  const LockState lock = call.shell.Locks().StateOf(*call.dataset);
  const std::string whileLocked = "; it lives on while " + lock.ToText();
  if (!call.shell.Close(call.dataset)) {
    throw CommandError(name + " (" + call.dataset->ID().ToString() + ") is closed already" +
                       whileLocked);
  }
  call.shell.Out().Say(name + " is closed" + (lock.IsFree() ? "" : whileLocked), [&] {
    Json json = {{"event", "closed"}, {"caller", call.caller.Name()}, {"dataset", name}};
    lock.AddTo(json);
    return json;
  });
}

void ListDatasets(Call& call) {
  call.End();
  const CallerLocks& locks = call.shell.Locks();
  const LockReport report = locks.Report();
  const std::vector<DatasetPtr>& datasets = call.shell.Datasets();
  const auto words = [&] {
    std::vector<std::string> lines;
    for (const DatasetPtr& dataset : datasets) {
      const std::string file = dataset->Handle().GetFileName();
      lines.push_back(dataset->Name() + " (" + dataset->ID().ToString() + "), file " +
                      OrNone(file.empty() ? dataset->Handle().SuppressedFileName() : file) + ", " +
                      locks.StateOf(*dataset, report).ToText());
    }
    return lines.empty() ? "no dataset is open" : Joined(lines, "\n");
  };
  call.shell.Out().Say(words, [&] {
    Json rows = Json::array();
    for (const DatasetPtr& dataset : datasets) {
      rows.push_back(StateInJson(*dataset, locks.StateOf(*dataset, report)));
    }
    return Json{{"event", "datasets"}, {"datasets", rows}};
  });
}

void ShowDataset(Call& call) {
  call.End();
  const Contents contents = ContentsOf(call, call.shell.Locks());
  call.Show(
      "dataset", [&] { return DatasetText(*call.dataset, contents, call.shell.Out()); },
      [&] { return DatasetInJson(*call.dataset, contents); });
}

void ShowVariables(Call& call) {
  const ORVX_DataSource& source = SourceOrEmpty(call.Reader());
  const auto words = [&] {
    const bool none = source.ColumnCount() == 0;
    return none ? call.dataset->Name() + " has no variables"
                : VariablesText(source, call.shell.Out());
  };
  call.Show("variables", words, [&] { return VariableTableInJson(source); });
}

void ShowMirror(Call& call) {
  const ORVX_DataSource& source = SourceOrEmpty(call.Reader());
  const ORVX_DataSource& mirror = call.dataset->Changes().Mirror();
  call.Show(
      "mirror", [&] { return MirrorText(call.dataset->Name(), source, mirror, call.shell.Out()); },
      [&] { return MirrorInJson(SideInJson(source), SideInJson(mirror)); });
}

// ---------------------------------------------------------------------------------------------
// Settings

void SetHandle(Call& call) {
  const std::string name = call.Take("NAME");
  call.End();
  call.shell.RefuseName(name, call.dataset.get());
  call.dataset->Handle().SetHandle(name);
}

void SetWindowState(Call& call) {
  enum { kFront, kMinimized, kHidden };
  const std::size_t mark = call.TakeOneOf({"front", "minimized", "hidden"});
  const bool on = call.TakeOnOff();
  call.End();
  SvrDMDataset& handle = call.dataset->Handle();
  if (mark == kFront) handle.WindowFront(on);
  if (mark == kMinimized) handle.WindowMinimized(on);
  if (mark == kHidden) handle.WindowHidden(on);
}

void SetPassword(Call& call) {
  const std::string password = call.Take("TEXT");
  const bool mangled = call.Accept("mangled");
  call.End();
  call.shell.Registry().Password(call.dataset->ID(), password, mangled);
}

void HideVariables(Call& call) {
  std::vector<std::string> names;
  if (!call.Accept("nothing")) names = call.TakeRest("\"nothing\" or NAME");
  call.End();
  if (std::ranges::find(names, "") != names.end()) {
    throw CommandError("no variable has an empty name");
  }
  call.shell.Hide(names);
  call.shell.Out().Say(
      "datasets opened from now on hide " + (names.empty() ? "no variables" : Joined(names)),
      [&]() -> Json {
        return {{"event", "hides"}, {"names", names}};
      });
}

}  // namespace sdmsh
