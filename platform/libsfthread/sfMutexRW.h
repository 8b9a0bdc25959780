// sfMutexRW: a lock for many readers or one writer. No reader waits forever for a waiting writer.
//
//   lock.readLock();     // beside other readers
//   lock.unlock();

#ifndef LIBSFTHREAD_SFMUTEXRW_H_
#define LIBSFTHREAD_SFMUTEXRW_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>
#include <atomic>
#include <chrono>
#include <condition_variable>

// Free, held by any number of reads, or held by one write. It counts reads and does not know which
// thread has which. Its promises, each with its test (in tests/):
//
//   A write has the lock alone.                     MutexRWFairness.ReadersSeeWholeWritesOnly
//   Any thread may end a read or a write.           MutexRW.AnotherThreadMayEndARead, ..AWrite
//   Writers go first come, first served.            MutexRW.WaitingWritersGoFirstComeFirstServed
//   A reader lets one writer pass at most.          MutexRW.AReleasingWriterLetsInAllWaitingReaders
//   A writer that only waits stops no reader for    MutexRWBehindAWriter, all tests
//   good, whoever reads, nests, helps or ends.
//   Overlapping reads, each under 1.28 s, keep no   MutexRWFairness.AWriterGetsInWhile...
//   writer out.
//   Taking and ending a lock needs no memory.       MutexRWMemory
//   It may be destroyed while it is held.           MutexRWLifetime.MayEndWhileHeld
//   All of this at once.                            MutexRWModel, MutexRWStress
// While a writer waits for reads to end, new reads wait behind it, but for 80 ms at most. Then the
// lock is open to them for 20 ms, closed for up to 160, open for 40, and so on up to 1.28 s, until
// the writer gets in. A thread that already reads gets in at once the first time.
// Threads: any. The lock must not be destroyed while a thread waits for it.
class SDM_EXPORT SDM_CAPABILITY("mutex") sfMutexRW {
 public:
  // Wait until the lock is held. A thread that holds a conflicting lock itself waits forever.
  void readLock() SDM_ACQUIRE_SHARED() SDM_UNCHECKED;
  void writeLock() SDM_ACQUIRE() SDM_UNCHECKED;
  // Never wait. A read fails where readLock() would wait, a write unless the lock is free.
  bool tryReadLock() SDM_TRY_ACQUIRE_SHARED(true) SDM_UNCHECKED;
  bool tryWriteLock() SDM_TRY_ACQUIRE(true) SDM_UNCHECKED;
  // Ends the write, or one read, whoever took it. Does nothing where nothing is held.
  void unlock() noexcept SDM_RELEASE_GENERIC() SDM_UNCHECKED;

 private:
  bool AWriterWaits() const SDM_REQUIRES(mutex_) { return writersAsked_ != writersAdmitted_; }
  bool MayRead(bool nested) SDM_REQUIRES(mutex_);
  void End(unsigned held) SDM_REQUIRES(mutex_);

  std::atomic<unsigned> state_ = 0;
  sdm_internal::Mutex mutex_;
  std::condition_variable readers_, writers_;
  unsigned waitingReaders_ SDM_GUARDED_BY(mutex_) = 0, readersTurn_ SDM_GUARDED_BY(mutex_) = 0;
  unsigned long writersAsked_ SDM_GUARDED_BY(mutex_) = 0;
  unsigned long writersAdmitted_ SDM_GUARDED_BY(mutex_) = 0;
  std::chrono::milliseconds closedFor_ SDM_GUARDED_BY(mutex_){};
  std::chrono::steady_clock::time_point opening_ SDM_GUARDED_BY(mutex_){};
};

#endif  // LIBSFTHREAD_SFMUTEXRW_H_
