// Annotations for Clang's thread-safety analysis (-Wthread-safety), which checks at compile time
// that fields are used under their locks and that locks are acquired in order. The annotations
// expand to nothing for other compilers. The analysis checks one function at a time, and does not
// check constructors and destructors.
//
//   mutable sdm_internal::Mutex mutex_;
//   int count_ SDM_GUARDED_BY(mutex_) = 0;
//
//   int Count() const {
//     const sdm_internal::MutexLock lock(mutex_);
//     return count_;
//   }

#ifndef SERVERDATAMANAGER_THREADSAFETY_H_
#define SERVERDATAMANAGER_THREADSAFETY_H_

#include <mutex>

#if defined(__clang__)
#define SDM_ANNOTATE(attribute) __attribute__((attribute))
#else
#define SDM_ANNOTATE(attribute)
#endif

// On a class: SDM_CAPABILITY marks a lock, SDM_SCOPED_CAPABILITY an object that holds a lock for a
// scope.
#define SDM_CAPABILITY(kind) SDM_ANNOTATE(capability(kind))
#define SDM_SCOPED_CAPABILITY SDM_ANNOTATE(scoped_lockable)

// On a field or variable: the lock that guards it. On a lock: the locks that are acquired after it.
#define SDM_GUARDED_BY(lock) SDM_ANNOTATE(guarded_by(lock))
#define SDM_ACQUIRED_BEFORE(...) SDM_ANNOTATE(acquired_before(__VA_ARGS__))

// On a function: its effect on the given locks; if none is given, on the object of the function.
// The first argument of the TRY annotations is the function's result if it acquired the lock.
#define SDM_ACQUIRE(...) SDM_ANNOTATE(acquire_capability(__VA_ARGS__))
#define SDM_ACQUIRE_SHARED(...) SDM_ANNOTATE(acquire_shared_capability(__VA_ARGS__))
#define SDM_TRY_ACQUIRE(...) SDM_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define SDM_TRY_ACQUIRE_SHARED(...) SDM_ANNOTATE(try_acquire_shared_capability(__VA_ARGS__))
#define SDM_RELEASE(...) SDM_ANNOTATE(release_capability(__VA_ARGS__))
#define SDM_RELEASE_GENERIC(...) SDM_ANNOTATE(release_generic_capability(__VA_ARGS__))
// REQUIRES: the caller must hold the given locks. EXCLUDES: the caller must not hold them.
#define SDM_REQUIRES(...) SDM_ANNOTATE(requires_capability(__VA_ARGS__))
#define SDM_EXCLUDES(...) SDM_ANNOTATE(locks_excluded(__VA_ARGS__))
// The given locks are held after the call, although the analysis has not seen them acquired.
#define SDM_ASSERT_HELD(...) SDM_ANNOTATE(assert_capability(__VA_ARGS__))
// The body of the function is not analysed.
#define SDM_UNCHECKED SDM_ANNOTATE(no_thread_safety_analysis)

namespace sdm_internal {

// A std::mutex with annotations, because some standard libraries do not annotate std::mutex. Hold a
// Mutex with a MutexLock. To release the Mutex for a part of that scope, call Unlock(), and call
// Lock() at the end of the part. Both functions are SDM_UNCHECKED, because the analysis does not
// see that locking mutex_ locks the Mutex.
//
// Threads: any.
class SDM_CAPABILITY("mutex") Mutex {
 public:
  void Lock() SDM_ACQUIRE() SDM_UNCHECKED { mutex_.lock(); }
  void Unlock() SDM_RELEASE() SDM_UNCHECKED { mutex_.unlock(); }

 private:
  friend class MutexLock;
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
//
// Threads: destroy the object on the thread that created it.
class SDM_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) SDM_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() SDM_RELEASE() {}

  // Pass the result to a condition variable to wait; the mutex is held again when the wait returns.
  std::unique_lock<std::mutex>& ForWaiting() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_THREADSAFETY_H_
