// Annotations for Clang's thread-safety analysis (-Wthread-safety), which checks while it compiles
// that a field is used under its lock and that locks are taken in their order. Other compilers see
// none of them. The analysis looks at one function at a time and at no constructor or destructor.
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

// A class: it is a lock, or it holds a lock for a scope.
#define SDM_CAPABILITY(kind) SDM_ANNOTATE(capability(kind))
#define SDM_SCOPED_CAPABILITY SDM_ANNOTATE(scoped_lockable)

// A field or variable: the lock that it is used under; for a lock, the locks that come after it.
#define SDM_GUARDED_BY(lock) SDM_ANNOTATE(guarded_by(lock))
#define SDM_ACQUIRED_BEFORE(...) SDM_ANNOTATE(acquired_before(__VA_ARGS__))

// A function: what it does to the locks named, or to its object where none is.
#define SDM_ACQUIRE(...) SDM_ANNOTATE(acquire_capability(__VA_ARGS__))
#define SDM_ACQUIRE_SHARED(...) SDM_ANNOTATE(acquire_shared_capability(__VA_ARGS__))
#define SDM_TRY_ACQUIRE(...) SDM_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define SDM_TRY_ACQUIRE_SHARED(...) SDM_ANNOTATE(try_acquire_shared_capability(__VA_ARGS__))
#define SDM_RELEASE(...) SDM_ANNOTATE(release_capability(__VA_ARGS__))
#define SDM_RELEASE_GENERIC(...) SDM_ANNOTATE(release_generic_capability(__VA_ARGS__))
// Its caller holds them, or does not.
#define SDM_REQUIRES(...) SDM_ANNOTATE(requires_capability(__VA_ARGS__))
#define SDM_EXCLUDES(...) SDM_ANNOTATE(locks_excluded(__VA_ARGS__))
// They are held after the call, although the analysis has not seen who acquired them.
#define SDM_ASSERT_HELD(...) SDM_ANNOTATE(assert_capability(__VA_ARGS__))
// Its body is not analysed.
#define SDM_UNCHECKED SDM_ANNOTATE(no_thread_safety_analysis)

namespace sdm_internal {

// std::mutex with annotations, which the standard library's own may lack.
class SDM_CAPABILITY("mutex") Mutex {
 private:
  friend class MutexLock;
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
class SDM_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) SDM_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() SDM_RELEASE() {}

  // For a condition variable to wait with: the mutex is held again when the wait returns.
  std::unique_lock<std::mutex>& ForWaiting() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_THREADSAFETY_H_
