// ErrorMonitor: interface for reporting errors and warnings about a dataset.

#ifndef SERVERDATAMANAGER_ERRORMONITOR_H_
#define SERVERDATAMANAGER_ERRORMONITOR_H_

#include <ServerDataManager/ErrorText.h>
#include <ServerDataManager/Export.h>

// The order of the virtual functions is fixed: other binaries call them by slot.
//
// Threads: one at a time. The monitor of a dataset belongs to the thread that holds the dataset's
// write lock.
class SDM_EXPORT ErrorMonitor {
 public:
  virtual ~ErrorMonitor() = default;

  // Reports a text of any severity; the text may be empty. The monitor may drop the report.
  // Exceptions of the derived class propagate.
  virtual void Report(ErrorText text) = 0;
};

#endif  // SERVERDATAMANAGER_ERRORMONITOR_H_
