// Peers: other reader/writer locks, with which the benchmarks compare the library's lock. They are
// the locks of the standard library and POSIX and, if installed, of oneTBB, Boost and Abseil.

#ifndef BENCHMARKS_LOCKPEERS_H_
#define BENCHMARKS_LOCKPEERS_H_

#include <pthread.h>

#include <shared_mutex>
#include <type_traits>

#ifdef SDM_HAS_TBB
#include <oneapi/tbb/rw_mutex.h>
#include <oneapi/tbb/spin_rw_mutex.h>
#endif
#ifdef SDM_HAS_BOOST_THREAD
#include <boost/thread/shared_mutex.hpp>
#endif
#ifdef SDM_HAS_ABSEIL
#include <absl/synchronization/mutex.h>
#endif

// A peer whose lock has the operations of std::shared_mutex.
template <class Mutex>
struct LockOf {
  Mutex lock;
  void Read() { lock.lock_shared(); }
  void EndRead() { lock.unlock_shared(); }
  void Write() { lock.lock(); }
  void EndWrite() { lock.unlock(); }
};

// Each peer has the operations of LockOf. kName names the counter that reports the comparison.

struct Standard : LockOf<std::shared_mutex> {
  static constexpr const char* kName = "of_shared_mutex";
};

struct Posix {
  static constexpr const char* kName = "of_rwlock";
  pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
  void Read() { pthread_rwlock_rdlock(&lock); }
  void EndRead() { pthread_rwlock_unlock(&lock); }
  void Write() { pthread_rwlock_wrlock(&lock); }
  void EndWrite() { pthread_rwlock_unlock(&lock); }
};

#ifdef SDM_HAS_TBB
struct TbbSpin : LockOf<tbb::spin_rw_mutex> {
  static constexpr const char* kName = "of_tbb_spin_rw_mutex";
};
struct Tbb : LockOf<tbb::rw_mutex> {
  static constexpr const char* kName = "of_tbb_rw_mutex";
};
#endif

#ifdef SDM_HAS_BOOST_THREAD
struct Boost : LockOf<boost::shared_mutex> {
  static constexpr const char* kName = "of_boost_shared_mutex";
};
#endif

#ifdef SDM_HAS_ABSEIL
struct Abseil {
  static constexpr const char* kName = "of_absl_mutex";
  // Without this call, a debug build of Abseil, such as Debian's, spends most of its time on the
  // detection of deadlocks.
  Abseil() { absl::SetMutexDeadlockDetectionMode(absl::OnDeadlockCycle::kIgnore); }
  absl::Mutex lock;
  void Read() { lock.ReaderLock(); }
  void EndRead() { lock.ReaderUnlock(); }
  void Write() { lock.WriterLock(); }
  void EndWrite() { lock.WriterUnlock(); }
};
#endif

// Calls `visit` with the std::type_identity of each peer.
template <class Visit>
void ForEachLockPeer(Visit visit) {
  visit(std::type_identity<Standard>());
  visit(std::type_identity<Posix>());
#ifdef SDM_HAS_TBB
  visit(std::type_identity<TbbSpin>());
  visit(std::type_identity<Tbb>());
#endif
#ifdef SDM_HAS_BOOST_THREAD
  visit(std::type_identity<Boost>());
#endif
#ifdef SDM_HAS_ABSEIL
  visit(std::type_identity<Abseil>());
#endif
}

#endif  // BENCHMARKS_LOCKPEERS_H_
