// ErrorMonitor: where code that works on a dataset reports errors and warnings.

#ifndef SERVERDATAMANAGER_ERRORMONITOR_H_
#define SERVERDATAMANAGER_ERRORMONITOR_H_

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>

// A sink for reports. The order of its virtual operations is fixed: other binaries call them by
// slot.
//
// Threads: one at a time. A dataset's monitor is for the thread that holds its write lock.
class SDM_EXPORT ErrorMonitor {
 public:
  virtual ~ErrorMonitor() = default;

  // Takes one report: any text, empty ones too, of any severity. The monitor may drop it; there is
  // no answer. What the concrete monitor throws passes on.
  virtual void Report(ErrorText text) = 0;
};

#endif  // SERVERDATAMANAGER_ERRORMONITOR_H_
