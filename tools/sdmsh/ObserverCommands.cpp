// The commands for observers of changes, for observers of the registry, and for reports of errors.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <memory>
#include <utility>

namespace sdmsh {
namespace {

// Every severity but ErrorText::kError means a warning.
constexpr std::int8_t kWarning = 2;

// An observer of the registry for a caller. Borrows the registry and the output. Calls
// Output::Notice for each created or deleted dataset. Registers itself; the destructor unregisters
// it.
//
// Threads: one at a time; the shell waits while a caller's thread works.
class RegistryObserver final : public ServerDataManagerObserver {
 public:
  RegistryObserver(ServerDataManager& registry, Output& output, std::string caller)
      : registry_(registry), output_(output), caller_(std::move(caller)) {
    registry_.Register(*this);
  }
  ~RegistryObserver() override { registry_.Unregister(*this); }

  // Must not throw: after an exception the dataset would stay registered, but the command that
  // added the dataset would not get the identifier.
  void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) override {
    output_.Notice([&] { return ToText(id) + " created, file " + OrNone(fileName); },
                   [&] {
                     Json json = InJson("created", id);
                     json["file"] = fileName;
                     return json;
                   });
  }

  void DataSetDeleted(const LocallyUniqueID& id) override {
    output_.Notice([&] { return ToText(id) + " deleted"; }, [&] { return InJson("deleted", id); });
  }

 private:
  std::string ToText(LocallyUniqueID id) const {
    const std::string handle = HandleOf(id);
    return "  " + caller_ + ": dataset " + id.ToString() +
           (handle.empty() ? "" : " (" + handle + ")");
  }

  Json InJson(const char* event, LocallyUniqueID id) const {
    return {{"event", event},
            {"caller", caller_},
            {"id", IdentifierInJson(id)},
            {"handle", HandleOf(id)}};
  }

  // The handle name is empty for a dataset that was just opened, and for a dataset that was closed
  // before a notification pass sent its creation notice. Searches the list of datasets, because the
  // registry throws if a closed dataset is looked up.
  std::string HandleOf(LocallyUniqueID id) const {
    for (const SvrDMDataset& dataset : registry_.GetAllDatasets()) {
      if (dataset.GetDataSetID() == id) return dataset.GetHandle();
    }
    return "";
  }

  ServerDataManager& registry_;
  Output& output_;
  const std::string caller_;
};

}  // namespace

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
  // A caller that already watches gets a new observer, which is notified last.
  call.shell.Watches().insert_or_assign(
      caller, std::make_unique<RegistryObserver>(call.shell.Registry(), call.shell.Out(), caller));
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
