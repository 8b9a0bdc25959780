// The commands for observers of changes, for observers of the registry, and for reports of errors.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Shell.h"
#include "Variables.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>

namespace sdmsh {
namespace {

// Every severity except that of an error is a warning.
constexpr std::int8_t kWarning = 2;

}  // namespace

void Observe(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  caller.Do([&] { dataset->Observe(caller.Name()); });
  shell.Say(caller.Name() + " observes " + dataset->Name(), [&]() -> Json {
    return {{"event", "observes"}, {"role", caller.Name()}, {"dataset", dataset->Name()}};
  });
}

void Unobserve(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  if (!dataset->IsObservedBy(caller.Name())) {
    throw CommandError(caller.Name() + " does not observe " + dataset->Name());
  }
  caller.Do([&] { dataset->Unobserve(caller.Name()); });
  shell.Say(caller.Name() + " no longer observes " + dataset->Name(), [&]() -> Json {
    return {{"event", "observesNoLonger"}, {"role", caller.Name()}, {"dataset", dataset->Name()}};
  });
}

void TellObservers(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  arguments.End();
  shell.Locks().Notify(caller, dataset);
}

void WatchRegistry(Shell& shell, Caller& caller, Arguments& arguments) {
  arguments.Expect("registry");
  arguments.End();
  caller.Do([&] { shell.Watch().Begin(caller.Name()); });
  shell.Say(caller.Name() + " watches the registry", [&]() -> Json {
    return {{"event", "watches"}, {"role", caller.Name()}};
  });
}

void UnwatchRegistry(Shell& shell, Caller& caller, Arguments& arguments) {
  arguments.Expect("registry");
  arguments.End();
  if (!shell.Watch().IsWatchedBy(caller.Name())) {
    throw CommandError(caller.Name() + " does not watch the registry");
  }
  caller.Do([&] { shell.Watch().End(caller.Name()); });
  shell.Say(caller.Name() + " no longer watches the registry", [&]() -> Json {
    return {{"event", "watchesNoLonger"}, {"role", caller.Name()}};
  });
}

void BindClient(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool ends = arguments.Accept("off");
  arguments.End();
  const std::string client = ends ? "" : caller.Name();
  Write(caller, *dataset, [&](SvrDMWriteableDataSource&) { dataset->BindClient(client); });
  shell.Say(
      ends ? dataset->Name() + " has no client" : client + " is the client of " + dataset->Name(),
      [&]() -> Json {
        return {{"event", "client"}, {"role", TextOrNull(client)}, {"dataset", dataset->Name()}};
      });
}

void ReportError(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool isError = arguments.TakeOneOf({"error", "warning"}) == 0;
  const std::string text = arguments.Take("TEXT");
  arguments.End();
  const int countBefore = dataset->ReportCount();
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    writer.GetErrorMonitor().Report(ErrorText(text, isError ? ErrorText::kError : kWarning));
  });
  if (dataset->ReportCount() > countBefore) return shell.Out().SayNotices();
  const std::string client = dataset->Client();
  shell.Say(client.empty() ? "  not reported: " + dataset->Name() + " has no client"
                           : "  not reported: warnings on " + dataset->Name() + " are off",
            [&]() -> Json {
              return {{"event", "notReported"},
                      {"role", TextOrNull(client)},
                      {"dataset", dataset->Name()}};
            });
}

void SwitchWarnings(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool on = arguments.TakeOnOff();
  arguments.End();
  Write(caller, *dataset, [&](SvrDMWriteableDataSource& writer) {
    InteractiveErrorMonitor& monitor = writer.GetErrorMonitor();
    if (on) {
      monitor.ReportWarnings();
    } else {
      monitor.DoNotReportWarnings();
    }
  });
}

}  // namespace sdmsh
