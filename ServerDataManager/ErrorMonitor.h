// ErrorMonitor: where code that works on a dataset reports errors and warnings.

#ifndef SERVERDATAMANAGER_ERRORMONITOR_H_
#define SERVERDATAMANAGER_ERRORMONITOR_H_

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>

// A sink for reports. Callers outside see it as this interface only; the order of its virtual
// operations is fixed.
//
// Threads: see the concrete monitor.
class SDM_EXPORT ErrorMonitor {
 public:
  virtual ~ErrorMonitor() = default;

  // Takes one report. What becomes of it is the concrete monitor's business.
  virtual void Report(ErrorText text) = 0;
};

#endif  // SERVERDATAMANAGER_ERRORMONITOR_H_
