// Taking and releasing locks.

#include "Arguments.h"
#include "Commands.h"
#include "Shell.h"

namespace sdmsh {
namespace {

DatasetPtr TakeOnlyDataset(Shell& shell, const Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  return dataset;
}

}  // namespace

void TakeReadLock(Shell& shell, Caller& caller, Arguments& arguments) {
  shell.Locks().Acquire(caller, TakeOnlyDataset(shell, caller, arguments), LockMode::Read);
}

void TakeWriteLock(Shell& shell, Caller& caller, Arguments& arguments) {
  shell.Locks().Acquire(caller, TakeOnlyDataset(shell, caller, arguments), LockMode::Write);
}

void TryWriteLock(Shell& shell, Caller& caller, Arguments& arguments) {
  shell.Locks().TryWrite(caller, TakeOnlyDataset(shell, caller, arguments));
}

void ReleaseLocks(Shell& shell, Caller& caller, Arguments& arguments) {
  if (!arguments.AtEnd()) {
    shell.Locks().Release(caller, TakeOnlyDataset(shell, caller, arguments));
  } else {
    shell.Locks().ReleaseAll(caller);
  }
}

void ShowLocks(Shell& shell, Caller& caller, Arguments& arguments) {
  const bool all = arguments.AtEnd();
  const std::vector<DatasetPtr> datasets =
      all ? shell.Datasets() : std::vector<DatasetPtr>{TakeOnlyDataset(shell, caller, arguments)};
  LockTable table;
  for (const DatasetPtr& dataset : datasets) {
    LockTable::Row row{dataset->Name(), dataset->ID(), shell.Locks().Holders(*dataset),
                       shell.Locks().Waiters(*dataset)};
    if (!all || !row.holders.empty() || !row.waiters.empty()) table.rows.push_back(std::move(row));
  }
  shell.Say(table);
}

}  // namespace sdmsh
