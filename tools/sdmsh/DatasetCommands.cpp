// The commands that open, close and show datasets, and the settings that need no lock.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Interrupt.h"
#include "Shell.h"
#include "Sources.h"
#include "Variables.h"

#include <client/DictionaryDigest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DictionaryText.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace sdmsh {
namespace {

using DictionaryText::Counted;
using DictionaryText::Quoted;

// ---------------------------------------------------------------------------------------------
// Opening

// The last arguments of every command that opens a dataset.
struct NewDataset {
  std::string name;
  bool quiet;
};

NewDataset TakeNewDataset(const Shell& shell, Arguments& arguments) {
  NewDataset dataset;
  dataset.name = arguments.Take("NAME");
  dataset.quiet = arguments.Accept("quiet");
  arguments.End();
  shell.RefuseName(dataset.name, nullptr);
  return dataset;
}

// A dataset that was just registered. The numbers are those after the filter hook has run.
struct Added {
  LocallyUniqueID id;
  int variables;
  long long cases;  // negative if unknown
};

Added Add(Shell& shell, std::unique_ptr<ORVX_DataSource> source, const std::string& file,
          bool quiet) {
  const LocallyUniqueID id = shell.Registry().Add(std::move(source), file, quiet);
  shell.NoteNew(id);
  const SvrDMInputDataSource reader(shell.Registry(), id, /*tryOnly=*/false);
  return {id, reader->ColumnCount(), reader->RowCount()};
}

std::string SizeInWords(const Added& added) {
  const std::string variables = Counted(added.variables, "variable");
  if (added.cases < 0) return variables + ", an unknown number of cases";
  return variables + ", " + Counted(added.cases, "case");
}

Json OpenedInJson(const Caller& caller, const NewDataset& dataset, LocallyUniqueID id,
                  const std::string& file) {
  return {{"event", "opened"},          {"role", caller.Name()}, {"dataset", dataset.name},
          {"id", IdentifierInJson(id)}, {"file", file},          {"quiet", dataset.quiet}};
}

// Prints that a dataset with a data source is open. `cloneOf` is the dataset of which it is a
// clone; empty if it is not a clone.
void SayOpened(Shell& shell, const NewDataset& dataset, const Added& added, const std::string& file,
               const std::string& cloneOf, const Caller& caller) {
  const auto json = [&] {
    Json members = OpenedInJson(caller, dataset, added.id, file);
    members["variables"] = added.variables;
    members["cases"] = RowCountInJson(added.cases);
    if (!cloneOf.empty()) members["cloneOf"] = cloneOf;
    return members;
  };
  shell.Say(dataset.name + " is open: " + SizeInWords(added) + ", " +
                (cloneOf.empty() ? "from " + file : "a clone of " + cloneOf) +
                (dataset.quiet ? " (quiet)" : ""),
            json);
}

// ---------------------------------------------------------------------------------------------
// Properties

struct Property {
  const char* name;
  std::string value;
  bool usual;          // whether it is shown even if its value is "none"
  bool isSent = true;  // whether a message carries each change of the property
};

std::string LabelOf(const ORVX_DataSource& dictionary) {
  const char* const label = dictionary.GetLabel();
  return label != nullptr ? label : "";
}

std::vector<Property> PropertiesOf(const ORVX_DataSource& dictionary) {
  using namespace DictionaryText;
  const bool usual = true;
  const bool rare = false;
  const long long cases = dictionary.RowCount();
  const long long rows = dictionary.RowsPerImputation();
  const auto name = [&](LocallyUniqueID id) { return DictionaryText::Name(&dictionary, id); };
  const auto sets = [&](VarSetsType which) {
    return DictionaryText::Sets(&dictionary, VariableSets(dictionary, which));
  };
  return {
      {"label", QuotedOrNone(LabelOf(dictionary)), usual},
      {"variables", std::to_string(dictionary.ColumnCount()), usual},
      {"cases", cases < 0 ? "unknown" : std::to_string(cases), usual},
      {"weight", name(dictionary.GetWeightVariableID()), usual},
      {"filter", name(dictionary.GetFilterVariableID()), usual},
      {"split",
       DictionaryText::Split(&dictionary, SplitOf(dictionary), dictionary.GetSplitqSeparate()),
       usual},
      {"imputation", rows == 0 ? "none" : Counted(rows, "row"), rare, /*isSent=*/false},
      {"trends", TimeSeries(&dictionary, *dictionary.GetTrendsInfo()), rare},
      {"response sets", sets(kMRSets), rare},
      {"variable sets", sets(kVariableSets), rare},
      {"extension", Bytes(ORVX_DataSource::Extension(dictionary, /*type=*/0).Impl()->GetBytes()),
       rare},
      {"attributes", Attributes(dictionary.GetAttributes().All()), rare},
      {"saved as", OrNone(dictionary.GetFileSpec()), usual, /*isSent=*/false},
      {"unsaved", dictionary.IsDirty() ? "yes" : "no", usual},
  };
}

// ---------------------------------------------------------------------------------------------
// Facts about a dataset

// The holders of a lock, and the callers that wait for it.
struct LockState {
  std::vector<Holding> holders;
  std::vector<Holding> waiters;

  std::string InWords() const { return HeldInWords(holders, waiters); }
};

LockState LockOf(const OpenDataset& dataset, const CallerLocks& locks) {
  return {locks.Holders(dataset), locks.Waiters(dataset)};
}

Json FactsInJson(OpenDataset& dataset, const LockState& lock) {
  const SvrDMDataset& handle = dataset.Handle();
  return {{"dataset", dataset.Name()},
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
          {"passwordMangled", dataset.Item()->PasswordMangled()},
          {"holders", HoldingsInJson(lock.holders)},
          {"waiters", HoldingsInJson(lock.waiters)},
          {"observers", dataset.Observers()},
          {"client", TextOrNull(dataset.Client())}};
}

std::string WindowInWords(const SvrDMDataset& handle) {
  std::vector<std::string> words;
  if (handle.WindowFront()) words.push_back("in front");
  if (handle.WindowMinimized()) words.push_back("minimized");
  if (handle.WindowHidden()) words.push_back("hidden");
  return words.empty() ? "open" : Joined(words);
}

std::string PasswordInWords(OpenDataset& dataset) {
  if (dataset.Handle().GetPassword().empty()) return "none";
  return dataset.Item()->PasswordMangled() ? "set, mangled" : "set";
}

std::string FileInWords(const SvrDMDataset& handle) {
  const std::string kept = handle.SuppressedFileName();
  return OrNone(handle.GetFileName()) + (kept.empty() ? "" : " (kept aside: " + kept + ")");
}

// The facts about a dataset that need its lock. Those after `lock` are set only if the caller could
// read the dataset without waiting.
struct Contents {
  LockState lock;  // as it was before the dataset was read
  bool isRead = false;
  bool isClone = false;
  std::vector<Property> properties;  // set only if the output is in words
  Json dictionary;                   // set only if the output is JSON
};

Contents ContentsOf(Shell& shell, Caller& caller, const DatasetPtr& dataset) {
  Contents contents;
  contents.lock = LockOf(*dataset, shell.Locks());
  contents.isRead = shell.Locks().TryRead(caller, dataset, [&](SvrDMInputDataSource& reader) {
    contents.isClone = dynamic_cast<const SvrDMCloneDataSource*>(*reader) != nullptr;
    if (*reader == nullptr) return;
    if (shell.Out().IsJson()) contents.dictionary = DictionaryInJson(**reader);
    if (!shell.Out().IsJson()) contents.properties = PropertiesOf(**reader);
  });
  return contents;
}

std::string SourceInWords(const SvrDMDataset& handle, const Contents& contents) {
  if (!handle.HasDataSource()) return "none";
  if (!contents.isRead) return "yes, but the lock is not free for reading";
  return contents.isClone ? "yes, a clone" : "yes";
}

// "  weight         none"
std::string Fact(const std::string& name, const std::string& value) {
  return "\n  " + Padded(name, 15) + OnOneLine(value);
}

std::string DatasetInWords(OpenDataset& dataset, const Contents& contents, const Output& output) {
  const SvrDMDataset& handle = dataset.Handle();
  std::string words = output.Heading(dataset.Name());
  words += Fact("identifier", dataset.ID().ToString()) + Fact("file", FileInWords(handle)) +
           Fact("data source", SourceInWords(handle, contents));
  for (const Property& property : contents.properties) {
    if (property.usual || property.value != "none") words += Fact(property.name, property.value);
  }
  words += Fact("case sequence", std::to_string(handle.GetCaseSequence())) +
           Fact("lock", contents.lock.InWords()) +
           Fact("readers", std::to_string(handle.ReadersCount())) +
           Fact("writers", std::to_string(handle.WritersCount())) +
           Fact("observers", OrNone(Joined(dataset.Observers())));
  if (!dataset.Client().empty()) words += Fact("client", dataset.Client());
  if (handle.GetBootstrapSpecs() != nullptr) words += Fact("bootstrap", "set");
  return words + Fact("window", WindowInWords(handle)) + Fact("password", PasswordInWords(dataset));
}

Json DatasetInJson(OpenDataset& dataset, const Contents& contents) {
  Json json = {{"event", "dataset"}};
  json.update(FactsInJson(dataset, contents.lock));
  json["isClone"] = contents.isRead ? Json(contents.isClone) : Json(nullptr);
  json["dictionary"] = contents.dictionary;
  return json;
}

// ---------------------------------------------------------------------------------------------
// Variables

// " [weight, split 1]"; empty if the variable has no use.
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

std::string VariablesInWords(const ORVX_DataSource& source, const Output& output) {
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

Json VariableTableInJson(const std::string& dataset, const ORVX_DataSource& source) {
  return {{"event", "variables"},
          {"dataset", dataset},
          {"variables", VariablesInJson(VariablesOf(source))},
          {"weight", IdentifierInJson(source.GetWeightVariableID())},
          {"filter", IdentifierInJson(source.GetFilterVariableID())},
          {"split", IdentifiersInJson(SplitOf(source))}};
}

// Calls `work` with the data source, or with an empty source if the dataset has none.
void ReadSource(Shell& shell, Caller& caller, const DatasetPtr& dataset,
                const std::function<void(const ORVX_DataSource&)>& work) {
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    const DataFreeDataSource empty;
    const ORVX_DataSource* const source = *reader;
    work(source == nullptr ? empty : *source);
  });
}

// ---------------------------------------------------------------------------------------------
// The mirror

constexpr const char* kDiffers = "<- differs";

void CompareProperties(const ORVX_DataSource& source, const ORVX_DataSource& mirror, Table& table) {
  const std::vector<Property> mirrored = PropertiesOf(mirror);
  std::size_t i = 0;
  for (const auto& [name, value, usual, isSent] : PropertiesOf(source)) {
    const std::string& other = mirrored[i++].value;
    if (value != other) {
      const std::string remark = isSent ? "" : "; messages do not carry every change";
      table.Add({std::string("  ") + name, value, other, kDiffers + remark});
    } else if (usual || value != "none") {
      table.Add({std::string("  ") + name, value, "the same", ""});
    }
  }
}

// Adds the variables that only one side has, and those that the sides define differently.
void CompareVariables(const ORVX_DataSource& source, const ORVX_DataSource& mirror, Table& table) {
  for (const ORVX_Variable& variable : VariablesOf(source)) {
    const std::string name = "  " + Quoted(variable.GetName());
    const int position = mirror.FindVarIndex(variable.GetID());
    if (position < 0) {
      table.Add({name, "present", "missing", kDiffers});
      continue;
    }
    for (const auto& [what, here, there] :
         DictionaryText::Differences(variable, mirror.GetVariable(position))) {
      table.Add({name + " " + what, here, there, kDiffers});
    }
  }
  for (const ORVX_Variable& variable : VariablesOf(mirror)) {
    if (source.FindVarIndex(variable.GetID()) >= 0) continue;
    table.Add({"  " + Quoted(variable.GetName()), "missing", "present", kDiffers});
  }
}

std::vector<LocallyUniqueID> IdentifiersOf(const ORVX_DataSource& source) {
  std::vector<LocallyUniqueID> ids;
  for (const ORVX_Variable& variable : VariablesOf(source)) ids.push_back(variable.GetID());
  return ids;
}

// Compares the order only if both sides have the same variables.
void CompareOrder(const ORVX_DataSource& source, const ORVX_DataSource& mirror, Table& table) {
  const std::vector<LocallyUniqueID> here = IdentifiersOf(source);
  const std::vector<LocallyUniqueID> there = IdentifiersOf(mirror);
  if (here == there || !std::is_permutation(here.begin(), here.end(), there.begin(), there.end())) {
    return;
  }
  table.Add({"  order", DictionaryText::Names(&source, here), DictionaryText::Names(&mirror, there),
             kDiffers});
}

std::string MirrorInWords(const std::string& dataset, const ORVX_DataSource& source,
                          const ORVX_DataSource& mirror, const Output& output) {
  Table table({{}, {.head = dataset}, {.head = "mirror"}, {}});
  CompareProperties(source, mirror, table);
  CompareVariables(source, mirror, table);
  CompareOrder(source, mirror, table);
  const std::string here = DigestOf(source).AsText();
  const std::string there = DigestOf(mirror).AsText();
  table.Add({"  digest", here, there, here == there ? "" : kDiffers});
  return table.TakeText(output);
}

Json SideInJson(const ORVX_DataSource& dictionary) {
  Json json = DictionaryInJson(dictionary);
  json["variables"] = VariablesInJson(VariablesOf(dictionary));
  json["digest"] = DigestOf(dictionary).AsText();
  return json;
}

Json MirrorInJson(const std::string& dataset, const Json& source, const Json& mirror) {
  Json differing = Json::array();
  for (const auto& [name, value] : source.items()) {
    if (mirror[name] != value) differing.push_back(name);
  }
  return {{"event", "mirror"},
          {"dataset", dataset},
          {"source", source},
          {"mirror", mirror},
          {"differing", differing}};
}

// ---------------------------------------------------------------------------------------------
// Files

// Returns the file name if a dataset has a file with this name, otherwise the file name of the
// dataset with this name.
std::string FileMeant(const Shell& shell, const Caller& caller, const std::string& fileOrDataset) {
  for (const DatasetPtr& dataset : shell.Datasets()) {
    const std::string file = dataset->Handle().GetFileName();
    if (!file.empty() && SameName(file, fileOrDataset)) return file;
  }
  const DatasetPtr dataset = shell.Find(caller, fileOrDataset);
  const std::string file = dataset->Handle().GetFileName();
  if (file.empty()) throw CommandError(dataset->Name() + " has no file");
  return file;
}

}  // namespace

void OpenFile(Shell& shell, Caller& caller, Arguments& arguments) {
  const std::string file = arguments.TakeFile();
  arguments.Expect("as");
  const NewDataset wanted = TakeNewDataset(shell, arguments);

  Added added{};
  caller.Do([&] {
    added = Add(shell, SystemFileDataSource::Open(file, GiveUpIfInterrupted), file, wanted.quiet);
  });
  shell.Adopt(added.id, wanted.name);
  SayOpened(shell, wanted, added, file, "", caller);
}

void AddEmpty(Shell& shell, Caller& caller, Arguments& arguments) {
  const NewDataset wanted = TakeNewDataset(shell, arguments);

  LocallyUniqueID id;
  caller.Do([&] { id = shell.Registry().AddEmpty(wanted.quiet); });
  shell.NoteNew(id);
  shell.Adopt(id, wanted.name);
  shell.Say(wanted.name + " is open, without a data source" + (wanted.quiet ? " (quiet)" : ""),
            [&] { return OpenedInJson(caller, wanted, id, ""); });
}

void CloneDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.Expect("as");
  const NewDataset wanted = TakeNewDataset(shell, arguments);

  Added added{};
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    SourceOf(writer, *dataset);  // refuses a dataset without a data source
    added = Add(shell, CloneSource(writer), /*file=*/"", wanted.quiet);
  });
  shell.Adopt(added.id, wanted.name);
  SayOpened(shell, wanted, added, "", dataset->Name(), caller);
}

void CloseDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  const std::string name = dataset->Name();
  const std::vector<Holding> holders = shell.Locks().Holders(*dataset);
  const std::vector<Holding> waiters = shell.Locks().Waiters(*dataset);
  if (shell.IsClosed(*dataset)) {
    throw CommandError(name + " (" + dataset->ID().ToString() +
                       ") is closed already; it lives on while " + HeldInWords(holders, {}));
  }
  std::string words = name + " is closed";
  if (!holders.empty()) words += "; it lives on while held by " + HoldersInWords(holders);
  if (!waiters.empty()) words += "; waiting: " + WaitersInWords(waiters);
  caller.Do([&] { shell.Close(*dataset); });
  shell.Say(words, [&]() -> Json {
    return {{"event", "closed"},
            {"role", caller.Name()},
            {"dataset", name},
            {"holders", HoldingsInJson(holders)},
            {"waiters", HoldingsInJson(waiters)}};
  });
}

void ListDatasets(Shell& shell, Caller&, Arguments& arguments) {
  arguments.End();
  std::string words;
  Json datasets = Json::array();
  for (const DatasetPtr& dataset : shell.Datasets()) {
    const SvrDMDataset& handle = dataset->Handle();
    const std::string file = handle.GetFileName();
    words += (words.empty() ? "" : "\n") + dataset->Name() + " (" + dataset->ID().ToString() +
             "), file " + OrNone(file.empty() ? handle.SuppressedFileName() : file) + ", " +
             LockOf(*dataset, shell.Locks()).InWords();
    if (shell.Out().IsJson())
      datasets.push_back(FactsInJson(*dataset, LockOf(*dataset, shell.Locks())));
  }
  if (words.empty()) words = "no dataset is open";
  shell.Say(words, [&]() -> Json { return {{"event", "datasets"}, {"datasets", datasets}}; });
}

void ShowDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  const Contents contents = ContentsOf(shell, caller, dataset);
  shell.Say([&] { return DatasetInWords(*dataset, contents, shell.Out()); },
            [&] { return DatasetInJson(*dataset, contents); });
}

void ShowVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  ReadSource(shell, caller, dataset, [&](const ORVX_DataSource& source) {
    shell.Say(
        [&] {
          const bool none = source.ColumnCount() == 0;
          return none ? dataset->Name() + " has no variables"
                      : VariablesInWords(source, shell.Out());
        },
        [&] { return VariableTableInJson(dataset->Name(), source); });
  });
}

void ShowMirror(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  const ORVX_DataSource& mirror = dataset->Interpreter().Mirror();
  ReadSource(shell, caller, dataset, [&](const ORVX_DataSource& source) {
    shell.Say(
        [&] { return MirrorInWords(dataset->Name(), source, mirror, shell.Out()); },
        [&] { return MirrorInJson(dataset->Name(), SideInJson(source), SideInJson(mirror)); });
  });
}

// ---------------------------------------------------------------------------------------------
// Settings

void SetHandle(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("NAME");
  arguments.End();
  shell.RefuseName(name, dataset.get());
  caller.Do([&] { dataset->Handle().SetHandle(name); });
}

void SetFileName(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string file = arguments.Take("FILE");
  arguments.End();
  caller.Do([&] { dataset->Handle().SetFileName(file); });
}

void SetWindowState(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  enum { kFront, kMinimized, kHidden };
  const std::size_t mark = arguments.TakeOneOf({"front", "minimized", "hidden"});
  const bool on = arguments.TakeOnOff();
  arguments.End();
  caller.Do([&] {
    SvrDMDataset& handle = dataset->Handle();
    if (mark == kFront) handle.WindowFront(on);
    if (mark == kMinimized) handle.WindowMinimized(on);
    if (mark == kHidden) handle.WindowHidden(on);
  });
}

void SetPassword(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string password = arguments.Take("TEXT");
  const bool mangled = arguments.Accept("mangled");
  arguments.End();
  caller.Do([&] { shell.Registry().Password(dataset->ID(), password, mangled); });
}

void HideVariables(Shell& shell, Caller&, Arguments& arguments) {
  std::vector<std::string> names;
  if (arguments.Accept("nothing")) {
    arguments.End();
  } else {
    names = arguments.TakeRest("\"nothing\" or NAME");
    if (std::find(names.begin(), names.end(), "") != names.end()) {
      throw CommandError("no variable has an empty name");
    }
  }
  shell.Hide(names);
  shell.Say("datasets opened from now on hide " + (names.empty() ? "no variables" : Joined(names)),
            [&]() -> Json {
              return {{"event", "hides"}, {"names", names}};
            });
}

void AskWhetherTouched(Shell& shell, Caller& caller, Arguments& arguments) {
  const std::string fileOrDataset = arguments.Take("FILE or DATASET");
  arguments.End();
  const std::string file = FileMeant(shell, caller, fileOrDataset);
  bool touched = false;
  caller.Do([&] { touched = shell.Registry().SavFileExternallyChanged(file); });
  shell.Say(file + (touched ? " was" : " was not") + " changed by another program", [&]() -> Json {
    return {{"event", "touched"}, {"file", file}, {"touched", touched}};
  });
}

}  // namespace sdmsh
