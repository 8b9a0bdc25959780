// What the registry is asked and told beside its datasets.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

#include <ServerDataManager/serverdatamgr.h>

#include <algorithm>
#include <utility>

namespace sdmsh {
namespace {

// The file itself where a dataset has it, else that of the dataset so called.
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

void WatchRegistry(Shell& shell, Caller& caller, Arguments& arguments) {
  arguments.Expect("registry");
  arguments.End();
  caller.Do([&] { shell.Watch().Begin(caller.Name()); });
  shell.Say(Watching{caller.Name(), true});
}

void UnwatchRegistry(Shell& shell, Caller& caller, Arguments& arguments) {
  arguments.Expect("registry");
  arguments.End();
  if (!shell.Watch().IsWatchedBy(caller.Name())) {
    throw CommandError(caller.Name() + " does not watch the registry");
  }
  caller.Do([&] { shell.Watch().End(caller.Name()); });
  shell.Say(Watching{caller.Name(), false});
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
  shell.Say(Hiding{std::move(names)});
}

void AskWhetherTouched(Shell& shell, Caller& caller, Arguments& arguments) {
  const std::string fileOrDataset = arguments.Take("FILE or DATASET");
  arguments.End();
  FileTouched answer{FileMeant(shell, caller, fileOrDataset), false};
  caller.Do([&] { answer.touched = shell.Registry().SavFileExternallyChanged(answer.file); });
  shell.Say(std::move(answer));
}

}  // namespace sdmsh
