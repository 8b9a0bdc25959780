// Opening, closing and looking at datasets.

#include "Arguments.h"
#include "Commands.h"
#include "Shell.h"

#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/serverdatamgr.h>

#include <utility>

namespace sdmsh {
namespace {

DatasetFacts FactsOf(OpenDataset& dataset, const LockLedger& ledger) {
  const SvrDMDataset& handle = dataset.Handle();
  const LocallyUniqueID id = dataset.ID();
  return {.dataset = dataset.Name(),
          .id = id,
          .file = handle.GetFileName(),
          .suppressedFile = dataset.Item()->SuppressedFileName(),
          .hasDataSource = handle.HasDataSource(),
          .caseSequence = handle.GetCaseSequence(),
          .readersCount = handle.ReadersCount(),
          .writersCount = handle.WritersCount(),
          .windowFront = handle.WindowFront(),
          .windowMinimized = handle.WindowMinimized(),
          .windowHidden = handle.WindowHidden(),
          .hasPassword = !handle.GetPassword().empty(),
          .passwordMangled = dataset.Item()->PasswordMangled(),
          .holders = ledger.Holders(id),
          .waiters = ledger.Waiters(id),
          .observers = dataset.Observers()};
}

}  // namespace

void OpenFile(Shell& shell, Caller& caller, Arguments& arguments) {
  const std::string file = arguments.Take("FILE");
  arguments.Expect("as");
  const std::string name = arguments.Take("NAME");
  const bool quiet = arguments.Accept("quiet");
  arguments.End();
  shell.RefuseName(name, nullptr);

  LocallyUniqueID id;
  DatasetOpened::Size size{};
  caller.Do([&] {
    auto source = SystemFileDataSource::Open(file);
    size = {source->ColumnCount(), source->RowCount()};
    id = shell.Registry().Add(*source, file, quiet);
    static_cast<void>(source.release());  // the dataset owns it now
  });
  shell.Adopt(id, name);
  shell.Say(DatasetOpened{caller.Name(), name, id, file, size, quiet});
}

void AddEmpty(Shell& shell, Caller& caller, Arguments& arguments) {
  const std::string name = arguments.Take("NAME");
  const bool quiet = arguments.Accept("quiet");
  arguments.End();
  shell.RefuseName(name, nullptr);

  LocallyUniqueID id;
  caller.Do([&] { id = shell.Registry().AddEmpty(quiet); });
  shell.Adopt(id, name);
  shell.Say(DatasetOpened{caller.Name(), name, id, "", std::nullopt, quiet});
}

void CloseDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  const LockLedger& ledger = shell.Locks().Ledger();
  DatasetClosed closed{caller.Name(), dataset->Name(), ledger.Holders(dataset->ID()),
                       ledger.Waiters(dataset->ID())};
  caller.Do([&] { shell.Close(*dataset); });
  shell.Say(std::move(closed));
}

void ListDatasets(Shell& shell, Caller&, Arguments& arguments) {
  arguments.End();
  DatasetList list;
  for (const DatasetPtr& dataset : shell.Datasets()) {
    list.datasets.push_back(FactsOf(*dataset, shell.Locks().Ledger()));
  }
  shell.Say(std::move(list));
}

void ShowDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  shell.Say(FactsOf(*dataset, shell.Locks().Ledger()));
}

void ShowVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  VariableTable table{dataset->Name(), {}};
  shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
    const ORVX_DataSource* const source = *reader;
    const int count = source == nullptr ? 0 : source->ColumnCount();
    for (int index = 0; index < count; ++index)
      table.variables.push_back(source->GetVariable(index));
  });
  shell.Say(std::move(table));
}

}  // namespace sdmsh
