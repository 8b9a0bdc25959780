// sfMutex: a plain lock. Take it through sfGuard where it is held for a scope.

#ifndef LIBSFTHREAD_SFMUTEX_H_
#define LIBSFTHREAD_SFMUTEX_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>
#include <mutex>

// Held by one thread at a time and not recursive: a thread that takes it twice waits for itself.
// The thread that took it releases it, and it is free when it is destroyed.
//
// Threads: any.
class SDM_EXPORT SDM_CAPABILITY("mutex") sfMutex {
 public:
  sfMutex() = default;
  sfMutex(const sfMutex&) = delete;
  sfMutex& operator=(const sfMutex&) = delete;

  // Waits until it is free, then holds it.
  void lock() SDM_ACQUIRE() SDM_UNCHECKED;
  // False, without waiting, where another thread holds it. Not for the thread that holds it.
  bool tryLock() SDM_TRY_ACQUIRE(true) SDM_UNCHECKED;
  void unlock() SDM_RELEASE() SDM_UNCHECKED;

 private:
  // Not annotated itself, so what is done to it is unchecked.
  std::mutex mutex_;
};

#endif  // LIBSFTHREAD_SFMUTEX_H_
