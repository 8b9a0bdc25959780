// sfGuard: holds an sfMutex for a scope.
//
//   sfGuard guard(mutex, 1);   // 1 is the only lock type

#ifndef LIBSFTHREAD_SFGUARD_H_
#define LIBSFTHREAD_SFGUARD_H_

#include <libsfthread/sfMutex.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>

// Threads: destroy the guard on the thread that created it.
class SDM_EXPORT SDM_SCOPED_CAPABILITY sfGuard {
 public:
  // Locks `mutex`, which must outlive the guard, until the guard is destroyed. `lockType` must be
  // 1; for any other number, throws std::invalid_argument and does not touch the mutex.
  sfGuard(sfMutex& mutex, int lockType) SDM_ACQUIRE(mutex);
  sfGuard(const sfGuard&) = delete;
  sfGuard& operator=(const sfGuard&) = delete;
  ~sfGuard() SDM_RELEASE();

 private:
  sfMutex& mutex_;
};

#endif  // LIBSFTHREAD_SFGUARD_H_
