// The commands for observers of changes, for observers of the registry, and for reports of errors.
// Also implements RegistryObserver.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace sdmsh {
namespace {

// Every severity but ErrorText::kError means a warning.
constexpr std::int8_t kWarning = 2;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Observers of the registry

RegistryObserver::RegistryObserver(ServerDataManager& registry, Output& output, std::string caller)
    : registry_(registry), output_(output), caller_(std::move(caller)) {
  registry_.Register(*this);
}

RegistryObserver::~RegistryObserver() {
  registry_.Unregister(*this);
}

// Must not throw: after an exception the dataset would stay registered, but the command that added
// it would not get its identifier.
void RegistryObserver::DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) {
  output_.Notice([&] { return ToText(id) + " created, file " + OrNone(fileName); },
                 [&] {
                   Json json = InJson("created", id);
                   json["file"] = fileName;
                   return json;
                 });
}

void RegistryObserver::DataSetDeleted(const LocallyUniqueID& id) {
  output_.Notice([&] { return ToText(id) + " deleted"; }, [&] { return InJson("deleted", id); });
}

std::string RegistryObserver::ToText(LocallyUniqueID id) const {
  const std::string handle = HandleOf(id);
  return "  " + caller_ + ": dataset " + id.ToString() +
         (handle.empty() ? "" : " (" + handle + ")");
}

Json RegistryObserver::InJson(const char* event, LocallyUniqueID id) const {
  return {{"event", event},
          {"caller", caller_},
          {"id", IdentifierInJson(id)},
          {"handle", HandleOf(id)}};
}

// The handle name is empty for a dataset that was just opened, and for a dataset that was closed
// before a notification pass sent its creation notice. Searches the list of datasets, because the
// registry throws if a closed dataset is looked up.
std::string RegistryObserver::HandleOf(LocallyUniqueID id) const {
  for (const SvrDMDataset& dataset : registry_.GetAllDatasets()) {
    if (dataset.GetDataSetID() == id) return dataset.GetHandle();
  }
  return "";
}

// ---------------------------------------------------------------------------------------------
// Commands

void Observe(Call& call) {
  call.End();
  call.dataset->Observe(call.caller.Name());
  call.Say("observes", call.caller.Name() + " observes " + call.dataset->Name());
}

void Unobserve(Call& call) {
  call.End();
  const std::string& caller = call.caller.Name();
  if (!call.dataset->IsObservedBy(caller)) {
    throw CommandError(caller + " does not observe " + call.dataset->Name());
  }
  call.dataset->Unobserve(caller);
  call.Say("observesNoLonger", caller + " no longer observes " + call.dataset->Name());
}

void WatchRegistry(Call& call) {
  call.Expect("registry");
  call.End();
  const std::string& caller = call.caller.Name();
  ServerDataManager& registry = call.shell.Registry();
  const auto [watch, isNew] =
      call.shell.Watches().try_emplace(caller, registry, call.shell.Out(), caller);
  if (!isNew) registry.Register(watch->second);  // the observer is now notified last
  call.Say("watches", caller + " watches the registry");
}

void UnwatchRegistry(Call& call) {
  call.Expect("registry");
  call.End();
  const std::string& caller = call.caller.Name();
  if (call.shell.Watches().erase(caller) == 0) {
    throw CommandError(caller + " does not watch the registry");
  }
  call.Say("watchesNoLonger", caller + " no longer watches the registry");
}

void BindClient(Call& call) {
  const std::string client = call.Accept("off") ? "" : call.caller.Name();
  call.Writer();  // the write lock is necessary
  const std::string dataset = call.dataset->Name();
  call.dataset->BindClient(client);
  call.Say("client",
           client.empty() ? dataset + " has no client" : client + " is the client of " + dataset,
           {{"caller", TextOrNull(client)}});
}

void ReportError(Call& call) {
  const bool isError = call.TakeOneOf({"error", "warning"}) == 0;
  const std::string text = call.Take("TEXT");
  SvrDMWriteableDataSource& writer = call.Writer();
  const int countBefore = call.dataset->ReportCount();
  writer.GetErrorMonitor().Report(ErrorText(text, isError ? ErrorText::kError : kWarning));
  if (call.dataset->ReportCount() > countBefore) return;
  const std::string client = call.dataset->Client();
  const std::string dataset = call.dataset->Name();
  call.Say("notReported",
           client.empty() ? "  not reported: " + dataset + " has no client"
                          : "  not reported: warnings on " + dataset + " are off",
           {{"caller", TextOrNull(client)}});
}

void SwitchWarnings(Call& call) {
  const bool on = call.TakeOnOff();
  InteractiveErrorMonitor& monitor = call.Writer().GetErrorMonitor();
  if (on) {
    monitor.ReportWarnings();
  } else {
    monitor.DoNotReportWarnings();
  }
}

}  // namespace sdmsh
