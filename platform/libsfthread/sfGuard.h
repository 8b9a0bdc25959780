// sfGuard: holds an sfMutex for a scope.
//
//   sfGuard guard(mutex, 1);

#ifndef LIBSFTHREAD_SFGUARD_H_
#define LIBSFTHREAD_SFGUARD_H_

#include <libsfthread/sfMutex.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>

// Threads: made and destroyed on one thread.
class SDM_EXPORT SDM_SCOPED_CAPABILITY sfGuard {
 public:
  // Takes `mutex`, which must outlive the guard. `lockType` 1 holds it until the guard is
  // destroyed; any other number throws std::invalid_argument that names it, and the mutex is not
  // touched.
  sfGuard(sfMutex& mutex, int lockType) SDM_ACQUIRE(mutex);
  sfGuard(const sfGuard&) = delete;
  sfGuard& operator=(const sfGuard&) = delete;
  ~sfGuard() SDM_RELEASE();

 private:
  sfMutex& mutex_;
};

#endif  // LIBSFTHREAD_SFGUARD_H_
