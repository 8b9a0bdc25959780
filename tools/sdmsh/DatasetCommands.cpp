// Opening, closing and looking at datasets.

#include "Arguments.h"
#include "Cloning.h"
#include "CommandError.h"
#include "Commands.h"
#include "Interrupt.h"
#include "LockWords.h"
#include "Shell.h"
#include "Variables.h"
#include "Writing.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <memory>
#include <utility>

namespace sdmsh {
namespace {

DatasetFacts FactsOf(OpenDataset& dataset, const CallerLocks& locks) {
  const SvrDMDataset& handle = dataset.Handle();
  const LocallyUniqueID id = dataset.ID();
  return {.dataset = dataset.Name(),
          .id = id,
          .file = handle.GetFileName(),
          .suppressedFile = handle.SuppressedFileName(),
          .hasDataSource = handle.HasDataSource(),
          .dictionary = std::nullopt,
          .isClone = std::nullopt,
          .hasBootstrap = handle.GetBootstrapSpecs() != nullptr,
          .caseSequence = handle.GetCaseSequence(),
          .readersCount = handle.ReadersCount(),
          .writersCount = handle.WritersCount(),
          .windowFront = handle.WindowFront(),
          .windowMinimized = handle.WindowMinimized(),
          .windowHidden = handle.WindowHidden(),
          .hasPassword = !handle.GetPassword().empty(),
          .passwordMangled = dataset.Item()->PasswordMangled(),
          .holders = locks.Holders(dataset),
          .waiters = locks.Waiters(dataset),
          .observers = dataset.Observers(),
          .client = dataset.Client()};
}

struct Added {
  LocallyUniqueID id;
  DatasetOpened::Size size;  // as the filter hook has left it
};

Added Add(Shell& shell, std::unique_ptr<ORVX_DataSource> source, const std::string& file,
          bool quiet) {
  const LocallyUniqueID id = shell.Registry().Add(std::move(source), file, quiet);
  shell.NoteNew(id);
  const SvrDMInputDataSource reader(shell.Registry(), id, /*tryOnly=*/false);
  return {id, {reader->ColumnCount(), reader->RowCount()}};
}

MirrorComparison::Side SideOf(const ORVX_DataSource& dictionary) {
  return {DictionaryFactsOf(dictionary), VariablesOf(dictionary), DigestOf(dictionary)};
}

// What a command that opens a dataset says of it last.
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
  shell.Say(DatasetOpened{caller.Name(), wanted.name, added.id, file, added.size, wanted.quiet});
}

void AddEmpty(Shell& shell, Caller& caller, Arguments& arguments) {
  const NewDataset wanted = TakeNewDataset(shell, arguments);

  LocallyUniqueID id;
  caller.Do([&] { id = shell.Registry().AddEmpty(wanted.quiet); });
  shell.NoteNew(id);
  shell.Adopt(id, wanted.name);
  shell.Say(DatasetOpened{caller.Name(), wanted.name, id, "", std::nullopt, wanted.quiet});
}

void CloneDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.Expect("as");
  const NewDataset wanted = TakeNewDataset(shell, arguments);

  Added added{};
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    SourceOf(writer, *dataset);  // refuses where there is none
    added = Add(shell, CloneSource(writer), /*file=*/"", wanted.quiet);
  });
  shell.Adopt(added.id, wanted.name);
  shell.Say(DatasetOpened{caller.Name(), wanted.name, added.id, "", added.size, wanted.quiet,
                          dataset->Name()});
}

void CloseDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  const CallerLocks& locks = shell.Locks();
  if (shell.IsClosed(*dataset)) {
    throw CommandError(dataset->Name() + " (" + dataset->ID().ToString() +
                       ") is closed already; it lives on while " +
                       HeldInWords(locks.Holders(*dataset), {}));
  }
  DatasetClosed closed{caller.Name(), dataset->Name(), locks.Holders(*dataset),
                       locks.Waiters(*dataset)};
  caller.Do([&] { shell.Close(*dataset); });
  shell.Say(std::move(closed));
}

void ListDatasets(Shell& shell, Caller&, Arguments& arguments) {
  arguments.End();
  DatasetList list;
  for (const DatasetPtr& dataset : shell.Datasets()) {
    list.datasets.push_back(FactsOf(*dataset, shell.Locks()));
  }
  shell.Say(std::move(list));
}

void ShowDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  DatasetFacts facts = FactsOf(*dataset, shell.Locks());
  shell.Locks().TryRead(caller, dataset, [&](SvrDMInputDataSource& reader) {
    facts.isClone = dynamic_cast<const SvrDMCloneDataSource*>(*reader) != nullptr;
    if (*reader != nullptr) facts.dictionary = DictionaryFactsOf(**reader);
  });
  shell.Say(std::move(facts));
}

void ShowVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  VariableTable table{dataset->Name(), {}};
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    if (*reader == nullptr) return;
    DictionaryFacts facts = DictionaryFactsOf(**reader);
    table.variables = VariablesOf(**reader);
    table.weight = std::move(facts.weight);
    table.filter = std::move(facts.filter);
    table.split = std::move(facts.split);
  });
  shell.Say(std::move(table));
}

void ShowMirror(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  std::optional<MirrorComparison> comparison;
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    const DataFreeDataSource empty;  // as which observers are told of a dataset without a source
    const ORVX_DataSource* const source = *reader == nullptr ? &empty : *reader;
    comparison = {dataset->Name(), SideOf(*source), SideOf(dataset->Interpreter().Mirror())};
  });
  shell.Say(std::move(*comparison));
}

}  // namespace sdmsh
