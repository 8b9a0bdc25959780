// A vendor's reader/writer lock. Unlike the bundled lock, it has no annotations for the compiler's
// analysis of locks, and its layout differs.

#ifndef LIBSFTHREAD_SFMUTEXRW_H_
#define LIBSFTHREAD_SFMUTEXRW_H_

#include <condition_variable>
#include <mutex>

class sfMutexRW {
 public:
  void readLock();
  void writeLock();
  bool tryReadLock();
  bool tryWriteLock();
  void unlock();

 private:
  bool MayRead() const { return !isWritten_; }
  bool MayWrite() const { return !isWritten_ && readers_ == 0; }

  std::mutex mutex_;
  std::condition_variable changed_;
  long readers_ = 0;
  bool isWritten_ = false;
};

// The number of calls of readLock and writeLock.
long vendorLockCalls();

#endif  // LIBSFTHREAD_SFMUTEXRW_H_
