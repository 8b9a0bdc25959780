// The commands for observers of changes, for observers of the registry, and for reports of errors.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Shell.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace sdmsh {
namespace {

// Every severity except that of an error is a warning.
constexpr std::int8_t kWarning = 2;

Json EventInJson(const char* event, const Call& call) {
  Json json = {{"event", event}, {"role", call.caller.Name()}};
  if (call.dataset != nullptr) json["dataset"] = call.dataset->Name();
  return json;
}

}  // namespace

Action Observe(Call& call) {
  return [&call] {
    call.dataset->Observe(call.caller.Name());
    call.shell.Say(call.caller.Name() + " observes " + call.dataset->Name(),
                   [&] { return EventInJson("observes", call); });
  };
}

Action Unobserve(Call& call) {
  return [&call] {
    if (!call.dataset->IsObservedBy(call.caller.Name())) {
      throw CommandError(call.caller.Name() + " does not observe " + call.dataset->Name());
    }
    call.dataset->Unobserve(call.caller.Name());
    call.shell.Say(call.caller.Name() + " no longer observes " + call.dataset->Name(),
                   [&] { return EventInJson("observesNoLonger", call); });
  };
}

Action TellObservers(Call& call) {
  return [&call](CallerLocks& locks) { locks.Notify(call.caller, call.dataset); };
}

Action WatchRegistry(Call& call) {
  call.Expect("registry");
  return [&call] {
    call.shell.Watch().Begin(call.caller.Name());
    call.shell.Say(call.caller.Name() + " watches the registry",
                   [&] { return EventInJson("watches", call); });
  };
}

Action UnwatchRegistry(Call& call) {
  call.Expect("registry");
  return [&call] {
    if (!call.shell.Watch().IsWatchedBy(call.caller.Name())) {
      throw CommandError(call.caller.Name() + " does not watch the registry");
    }
    call.shell.Watch().End(call.caller.Name());
    call.shell.Say(call.caller.Name() + " no longer watches the registry",
                   [&] { return EventInJson("watchesNoLonger", call); });
  };
}

Action BindClient(Call& call) {
  const std::string client = call.Accept("off") ? "" : call.caller.Name();
  return [=, &call](SvrDMWriteableDataSource&) {
    const std::string dataset = call.dataset->Name();
    call.dataset->BindClient(client);
    call.shell.Say(
        client.empty() ? dataset + " has no client" : client + " is the client of " + dataset,
        [&]() -> Json {
          return {{"event", "client"}, {"role", TextOrNull(client)}, {"dataset", dataset}};
        });
  };
}

Action ReportError(Call& call) {
  const bool isError = call.TakeOneOf({"error", "warning"}) == 0;
  const std::string text = call.Take("TEXT");
  return [=, &call](SvrDMWriteableDataSource& writer) {
    const int countBefore = call.dataset->ReportCount();
    writer.GetErrorMonitor().Report(ErrorText(text, isError ? ErrorText::kError : kWarning));
    if (call.dataset->ReportCount() > countBefore) return;
    const std::string client = call.dataset->Client();
    const std::string dataset = call.dataset->Name();
    call.shell.Say(
        client.empty() ? "  not reported: " + dataset + " has no client"
                       : "  not reported: warnings on " + dataset + " are off",
        [&]() -> Json {
          return {{"event", "notReported"}, {"role", TextOrNull(client)}, {"dataset", dataset}};
        });
  };
}

Action SwitchWarnings(Call& call) {
  const bool on = call.TakeOnOff();
  return [=](SvrDMWriteableDataSource& writer) {
    InteractiveErrorMonitor& monitor = writer.GetErrorMonitor();
    if (on) {
      monitor.ReportWarnings();
    } else {
      monitor.DoNotReportWarnings();
    }
  };
}

}  // namespace sdmsh
