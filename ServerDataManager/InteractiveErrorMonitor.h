// InteractiveErrorMonitor: sends the errors and warnings of one dataset to a client.
//
//   InteractiveErrorMonitor monitor(dataset, proxy);
//   monitor.DoNotReportWarnings();
//   monitor.Report(ErrorText("Out of disk space.", ErrorText::kError));   // errors are still sent

#ifndef SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_
#define SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_

#include <ServerDataManager/ErrorMonitor.h>
#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

class PackageProxy;

// Every dataset item has an InteractiveErrorMonitor as a member. Reports of warnings can be
// switched off; errors are always reported.
//
// Threads: not safe; guarded by the write lock of the dataset.
class SDM_EXPORT InteractiveErrorMonitor : public ErrorMonitor {
 public:
  // Borrows `proxy` until it is replaced or this monitor is destroyed. With a null proxy, reports
  // are dropped. Warnings are initially reported.
  InteractiveErrorMonitor(LocallyUniqueID id, PackageProxy* proxy);

  // Does not delete the proxy.
  ~InteractiveErrorMonitor() override;

  // Sends `text` as one ReportedErrorMsg about the dataset, with command number 1000. Does nothing
  // if the proxy is null. Also does nothing if warnings are switched off and `text` is a warning
  // (any severity but 1). Ignores the return value of the proxy; its exceptions propagate.
  void Report(ErrorText text) override;

  // Later reports are about the dataset `id` and go to `proxy`, which is borrowed, as in the
  // constructor. Whether warnings are reported does not change.
  void InitializeErrorMonitor(LocallyUniqueID& id, PackageProxy* proxy);

  void ReportWarnings();
  void DoNotReportWarnings();
  bool GetReportWarnings() const;

 private:
  // The order of the fields is fixed: other binaries depend on it.
  PackageProxy* proxy_;
  LocallyUniqueID id_;
  bool reportWarnings_ = true;
};

#endif  // SERVERDATAMANAGER_INTERACTIVEERRORMONITOR_H_
