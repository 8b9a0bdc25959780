// sfGuard: holds an sfMutex for a scope.
//
//   sfGuard guard(mutex, 1);

#ifndef LIBSFTHREAD_SFGUARD_H_
#define LIBSFTHREAD_SFGUARD_H_

#include <libsfthread/sfMutex.h>
#include <ServerDataManager/Export.h>

// Threads: made and destroyed on one thread.
class SDM_EXPORT sfGuard {
 public:
  // Takes `mutex`, which must outlive the guard. `lockType` 1 holds it until the guard is
  // destroyed; any other number throws std::invalid_argument that names it, and the mutex is not
  // touched.
  sfGuard(sfMutex& mutex, int lockType);
  sfGuard(const sfGuard&) = delete;
  sfGuard& operator=(const sfGuard&) = delete;
  ~sfGuard();

 private:
  sfMutex& mutex_;
};

#endif  // LIBSFTHREAD_SFGUARD_H_
