// sfMutexRW: many readers or one writer, with a place in the line for both.
//
//   sfMutexRW lock;
//   lock.readLock();     // beside other readers
//   lock.readLock();     // again on this thread, also while a writer waits
//   lock.unlock();
//   lock.unlock();
//   if (lock.tryWriteLock()) lock.unlock();

#ifndef LIBSFTHREAD_SFMUTEXRW_H_
#define LIBSFTHREAD_SFMUTEXRW_H_

#include <ServerDataManager/Export.h>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

// The lock is held by any number of reads, or by one write, or free.
//
// Who gets in, and when
// - A new reader waits while a writer holds the lock or waits for it. So a waiting writer gets in
//   when the reads held at that time, and those nested in them, have ended, however many readers
//   come.
// - A thread that already reads may read again at once, also while a writer waits: it holds up the
//   writer in any case, and making it wait would stop both for ever.
// - A writer that releases lets in every reader that waits at that moment; the next writer follows
//   after them. So a reader waits for one writer at most, however many writers come.
// - Waiting writers go first come, first served. The lock passes straight to whom it is due: nobody
//   slips in between.
//
// Who releases
// - unlock() ends whichever lock is held, on any thread. A thread that reads is taken to end a read
//   of its own; a thread that does not ends one of somebody else's.
// - After such a foreign end it is open which of several threads still read, until all reads held
//   at that time have ended. A thread whose own reads may be among the ended ones, and that reads
//   again in that time while a writer waits, is held back for a moment and then let in where the
//   writer still cannot go: 10 milliseconds, and twice as long each time that a read so let in
//   meets another foreign end. So neither waits for ever.
// - A thread that reads and ends somebody else's read before its own counts as one that does not
//   read. It must not nest a further read: with a writer waiting it would wait for itself.
//
// What stops a thread for ever: writeLock() by a thread that reads or writes, and readLock() by a
// thread that writes, unless another thread ends what it holds. The tries fail instead.
//
// The lock may be destroyed while it is held, but not while a thread waits for it.
//
// Threads: any. One short internal mutex guards the state and is never held while waiting; no other
// lock is taken under it. Taking a read may have to remember one more thread than ever before, and
// then can throw std::bad_alloc and change nothing; writing and unlock() need no memory.
class SDM_EXPORT sfMutexRW {
 public:
  sfMutexRW() = default;
  sfMutexRW(const sfMutexRW&) = delete;
  sfMutexRW& operator=(const sfMutexRW&) = delete;

  // Wait until the lock is held for reading, or for writing.
  void readLock();
  void writeLock();

  // Never waits. False while a writer holds the lock, also this thread; and while a writer waits,
  // unless it is certain that this thread reads already.
  bool tryReadLock();
  // Never waits. False while anybody holds the lock, also this thread.
  bool tryWriteLock();

  // Ends the write, or one read. Does nothing where nothing is held.
  void unlock() noexcept;

 private:
  // Unlike std::thread::id never used again for a later thread: reads may outlive the thread.
  using ThreadNumber = std::uint64_t;

  // A thread and its reads. Sure reads were taken after the last read that was ended on another
  // thread, and are held; of the doubtful, older ones some may have been ended.
  struct Reader {
    ThreadNumber thread;
    unsigned sure = 0;
    unsigned doubtful = 0;
  };

  // A thread in line, on its own stack.
  struct Waiter {
    explicit Waiter(ThreadNumber number) : thread(number) {}
    const ThreadNumber thread;
    bool admitted = false;
    Waiter* next = nullptr;  // the writer in line behind this one
    std::condition_variable wake;
  };

  using Lock = std::unique_lock<std::mutex>;

  static ThreadNumber ThisThread();

  // All below: mutex_ is held.
  bool IsFree() const { return !writing_ && sureReads_ == 0 && doubtfulReads_ == 0; }
  bool IsOpenToReaders() const { return !writing_ && firstWaitingWriter_ == nullptr; }
  Reader* Find(ThreadNumber thread);
  bool ReadsForSure(ThreadNumber thread);
  bool MayStillRead(ThreadNumber thread);
  void AddRead(ThreadNumber thread);
  void WaitToRead(Lock& lock, ThreadNumber thread);
  void WaitOutDoubt(Lock& lock, Waiter& waiter);
  void WaitToWrite(Lock& lock);
  void EndWrite();
  void EndRead(ThreadNumber thread);
  void EndReadOf(Reader& reader);
  void EndDoubtfulReadOf(Reader& reader);
  void EndReadOfUnknown();
  void Forget(Reader& reader);
  void ForgetDoubtfulReads();
  void AdmitWaitingReaders();
  void AdmitFirstWriter();
  static void Admit(Waiter& waiter);

  std::mutex mutex_;
  // under mutex_
  bool writing_ = false;
  unsigned sureReads_ = 0;      // the sum over readers_
  unsigned doubtfulReads_ = 0;  // still held; at most the sum over readers_
  std::vector<Reader> readers_;
  std::vector<Waiter*> waitingReaders_;
  Waiter* firstWaitingWriter_ = nullptr;  // the others follow it, in order of arrival
  Waiter* lastWaitingWriter_ = nullptr;
  // How long a thread that may still read is held back for the first waiting writer.
  std::chrono::milliseconds grace_ = kFirstGrace;
  bool admittedInDoubt_ = false;  // a reader, after that grace

  static constexpr std::chrono::milliseconds kFirstGrace{10};
};

#endif  // LIBSFTHREAD_SFMUTEXRW_H_
