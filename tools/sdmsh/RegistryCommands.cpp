// What the registry is asked and told beside its datasets.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

namespace sdmsh {

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

}  // namespace sdmsh
