// sfMutex: a plain mutex. Use sfGuard to hold it for a scope.

#ifndef LIBSFTHREAD_SFMUTEX_H_
#define LIBSFTHREAD_SFMUTEX_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>
#include <mutex>

// Not recursive: a thread that locks it twice deadlocks. The thread that locked the mutex must
// unlock it. The mutex must be unlocked when it is destroyed.
//
// Threads: any.
class SDM_EXPORT SDM_CAPABILITY("mutex") sfMutex {
 public:
  sfMutex() = default;
  sfMutex(const sfMutex&) = delete;
  sfMutex& operator=(const sfMutex&) = delete;

  // Waits for the mutex, then holds it.
  void lock() SDM_ACQUIRE() SDM_UNCHECKED;
  // Returns false, without waiting, if another thread holds the mutex. The calling thread must not
  // hold it.
  bool tryLock() SDM_TRY_ACQUIRE(true) SDM_UNCHECKED;
  void unlock() SDM_RELEASE() SDM_UNCHECKED;

 private:
  // std::mutex is not annotated, so the analysis does not check its use.
  std::mutex mutex_;
};

#endif  // LIBSFTHREAD_SFMUTEX_H_
