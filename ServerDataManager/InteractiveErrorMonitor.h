// InteractiveErrorMonitor: sends the reports on one dataset to its client package.
//
//   InteractiveErrorMonitor monitor(dataset, proxy);
//   monitor.DoNotReportWarnings();
//   monitor.Report(ErrorText("Out of disk space.", ErrorText::kError));   // goes out all the same

#ifndef SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_
#define SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_

#include <ServerDataManager/ErrorMonitor.h>
#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

class PackageProxy;

// Every dataset item holds one by value. Whether warnings go out is the only switch; errors always
// do.
//
// Threads: not safe; used under the locking of the dataset item that holds it.
class SDM_EXPORT InteractiveErrorMonitor : public ErrorMonitor {
 public:
  // Borrows `proxy` until it is replaced or the monitor dies. A null proxy makes a monitor that
  // swallows every report. Warnings are reported.
  InteractiveErrorMonitor(LocallyUniqueID id, PackageProxy* proxy);

  // Leaves the proxy alone.
  ~InteractiveErrorMonitor() override;

  // Sends `text` as one ReportedErrorMsg on behalf of the dataset, with the command number 1000.
  // Does nothing where the proxy is null, nor for a warning (any severity but 1) while warnings are
  // not reported. What the proxy returns is not looked at; what it throws passes on.
  void Report(ErrorText text) override;

  // Replaces the dataset and the proxy, which is borrowed as above. Whether warnings are reported
  // stays as it is.
  void InitializeErrorMonitor(LocallyUniqueID& id, PackageProxy* proxy);

  void ReportWarnings();
  void DoNotReportWarnings();
  bool GetReportWarnings() const;

 private:
  // In this order: other binaries depend on it.
  PackageProxy* proxy_;
  LocallyUniqueID id_;
  bool reportWarnings_ = true;
};

#endif  // SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_
