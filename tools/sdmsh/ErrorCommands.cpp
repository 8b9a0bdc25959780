// Reports on a dataset, and the client that gets them.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Writing.h"

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>

namespace sdmsh {
namespace {

// Any severity but that of an error is one.
constexpr std::int8_t kWarning = 2;

}  // namespace

void BindClient(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool ends = arguments.Accept("off");
  arguments.End();
  const std::string client = ends ? "" : caller.Name();
  Write(caller, *dataset, [&](SvrDMWriteableDataSource&) { dataset->BindClient(client); });
  shell.Say(ClientBound{dataset->Name(), client});
}

void ReportError(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool isError = arguments.TakeOneOf({"error", "warning"}) == 0;
  const std::string text = arguments.Take("TEXT");
  arguments.End();
  const ErrorText report(text, isError ? ErrorText::kError : kWarning);
  Write(caller, *dataset,
        [&](SvrDMWriteableDataSource& writer) { writer.GetErrorMonitor().Report(report); });
  const std::vector<Reported> received = dataset->TakeReported();
  for (const Reported& reported : received) shell.Say(reported);
  if (received.empty()) shell.Say(NotReported{dataset->Name(), dataset->Client()});
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
