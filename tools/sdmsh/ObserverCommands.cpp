// Who is told what changes.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

namespace sdmsh {

void Observe(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  caller.Do([&] { dataset->Observe(caller.Name()); });
  shell.Say(Observing{caller.Name(), dataset->Name(), true});
}

void Unobserve(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  if (!dataset->IsObservedBy(caller.Name())) {
    throw CommandError(caller.Name() + " does not observe " + dataset->Name());
  }
  caller.Do([&] { dataset->Unobserve(caller.Name()); });
  shell.Say(Observing{caller.Name(), dataset->Name(), false});
}

void TellObservers(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  shell.Locks().Notify(caller, dataset);
}

}  // namespace sdmsh
