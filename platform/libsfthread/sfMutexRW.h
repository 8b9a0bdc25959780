// sfMutexRW: a reader/writer lock. Readers never wait forever for a waiting writer.

#ifndef LIBSFTHREAD_SFMUTEXRW_H_
#define LIBSFTHREAD_SFMUTEXRW_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>
#include <atomic>
#include <chrono>
#include <condition_variable>

// The lock counts reads but does not know which threads hold them. Guarantees, and their tests (in
// tests/):
//
//   A write excludes reads and other writes.        MutexRWFairness.ReadersSeeOnlyCompleteWrites
//   Any thread may release a read or a write.       MutexRW.AnotherThreadMayReleaseARead, ..AWrite
//   Writers are served in order.                    MutexRW.WaitingWritersAreServedInOrder
//   A reader waits for at most one writer.          MutexRW.AReleasingWriterAdmitsAllWaitingReaders
//   A waiting writer never blocks a reader forever. MutexRWBehindAWriter, all tests
//   This includes nested reads, reads on helper
//   threads and reads that other threads release.
//   Reads under 1.28 s do not starve a writer.      MutexRWFairness.AWriterIsAdmittedWhile...
//   Locking and unlocking allocate nothing.         MutexRWMemory
//   A held lock may be destroyed.                   MutexRWLifetime.MayBeDestroyedWhileHeld
//   All of this combined.                           MutexRWModel, MutexRWStress
//
// While a writer waits for reads to be released, new reads are blocked for at most 80 ms, then
// admitted for 20 ms, then blocked for at most 160 ms, then admitted for 40 ms, and so on until the
// writer is admitted. The times double up to 1.28 s and 320 ms. During the first 80 ms, a thread
// that already reads is not blocked if it has read no other sfMutexRW in the meantime.
//
// The public functions are SDM_UNCHECKED, because the analysis does not see that a change of state_
// acquires or releases the lock.
//
// Threads: any. The lock must not be destroyed while a thread waits for it.
class SDM_EXPORT SDM_CAPABILITY("mutex") sfMutexRW {
 public:
  // Wait for the lock. A thread that itself holds a conflicting read or write waits until another
  // thread releases that read or write.
  void readLock() SDM_ACQUIRE_SHARED() SDM_UNCHECKED;
  void writeLock() SDM_ACQUIRE() SDM_UNCHECKED;
  // Never wait. tryReadLock fails if readLock() would wait, tryWriteLock if the lock is not free.
  bool tryReadLock() SDM_TRY_ACQUIRE_SHARED(true) SDM_UNCHECKED;
  bool tryWriteLock() SDM_TRY_ACQUIRE(true) SDM_UNCHECKED;
  // Releases the write lock or one of the read locks, whichever thread acquired it. Does nothing if
  // the lock is free.
  void unlock() noexcept SDM_RELEASE_GENERIC() SDM_UNCHECKED;

 private:
  bool HasWaitingWriter() const SDM_REQUIRES(mutex_) { return writersQueued_ != writersAdmitted_; }
  bool MayRead(bool nested) SDM_REQUIRES(mutex_);
  void Release(unsigned held) SDM_REQUIRES(mutex_);
  // The slow paths of readLock, tryReadLock and unlock. Not inlined, because they would slow down
  // the fast paths.
  [[gnu::noinline]] SDM_HIDDEN void WaitToRead() SDM_EXCLUDES(mutex_);
  [[gnu::noinline]] SDM_HIDDEN bool TryToKeepRead(bool nested) SDM_EXCLUDES(mutex_);
  [[gnu::noinline]] SDM_HIDDEN void UnlockFrom(unsigned state) noexcept SDM_EXCLUDES(mutex_);

  std::atomic<unsigned> state_ = 0;
  sdm_internal::Mutex mutex_;
  std::condition_variable readers_, writers_;
  unsigned waitingReaders_ SDM_GUARDED_BY(mutex_) = 0, readersTurn_ SDM_GUARDED_BY(mutex_) = 0;
  std::size_t writersQueued_ SDM_GUARDED_BY(mutex_) = 0, writersAdmitted_
                                                         SDM_GUARDED_BY(mutex_) = 0;
  std::chrono::milliseconds closedFor_ SDM_GUARDED_BY(mutex_){};
  std::chrono::steady_clock::time_point opening_ SDM_GUARDED_BY(mutex_){};
};

#endif  // LIBSFTHREAD_SFMUTEXRW_H_
