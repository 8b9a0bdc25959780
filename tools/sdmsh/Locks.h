// Locks: the callers of the shell, each with its own thread, and the locks that they hold and wait
// for. Commands run one after another, so that the output depends only on the commands and not on
// the speed of the threads.
//
// A caller waits for a lock on its own thread. The library's lock monitor reports which threads
// wait, and which threads outside the shell hold a lock. After a command, the shell continues as
// soon as a holder blocks each waiting caller.

#ifndef SDMSH_LOCKS_H_
#define SDMSH_LOCKS_H_

#include "Holding.h"
#include "OpenDataset.h"

#include <ServerDataManager/LockReport.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class ServerDataManager;

namespace sdmsh {

class Caller;
class Shell;

// How long the shell waits for an event that should happen immediately, before it fails.
using Bound = std::chrono::milliseconds;

// A lock on a dataset that a caller holds or waits for.
struct Hold {
  Caller& caller;
  DatasetPtr dataset;
  LockMode mode;
  // Null while the caller waits; a SvrDMWriteableDataSource for a write lock.
  std::unique_ptr<SvrDMInputDataSource> handle = nullptr;

  SvrDMWriteableDataSource& Writer() const {
    return static_cast<SvrDMWriteableDataSource&>(*handle);
  }
};

// The locks of all callers: `held` in the order in which they were acquired, and `asked` (not
// acquired yet) in the order in which callers asked for them.
struct LockLists {
  std::list<Hold> held;
  std::list<Hold> asked;
};

// A caller with its thread.
//
// Threads: the shell's thread.
class Caller {
 public:
  // Borrows the lists.
  Caller(std::string name, const LockLists& locks);
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  // Waits until the running job ends.
  ~Caller();

  const std::string& Name() const { return name_; }

  // Runs `work` on the caller's thread and waits until it ends. If the caller's thread is waiting
  // for a lock, runs `work` on the shell's thread. Throws what `work` throws.
  void Do(std::function<void()> work);

  // Starts a job on the caller's thread and does not wait for it. The thread must have no job.
  void Start(std::function<void()> job);
  // Waits until the job ends. Throws what the job threw.
  void Finish();
  // Whether the job has ended; true if there is none.
  bool HasFinished();

  // Whether a job to acquire a lock was started, and Finish was not called since.
  bool IsAcquiring() const { return busy_; }
  // The lock that the caller is acquiring; as text, "the write lock on survey". Requires
  // IsAcquiring().
  const Hold& Asked() const;
  std::string AskedInWords() const;

  // The last lock acquired by this caller for which `matches` returns true; null if there is none.
  template <class Matches>
  const Hold* FindLast(Matches matches) const {
    const auto last = std::find_if(locks_.held.rbegin(), locks_.held.rend(), [&](const Hold& hold) {
      return &hold.caller == this && matches(hold);
    });
    return last == locks_.held.rend() ? nullptr : &*last;
  }
  const Hold* FindHold(const OpenDataset& dataset) const;
  const Hold* FindWriter(const OpenDataset& dataset) const;

 private:
  void Run();
  void End();

  const std::string name_;
  const LockLists& locks_;
  bool busy_ = false;  // Start was called, Finish was not
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> job_;   // guarded by mutex_, except while it runs; null after it has ended
  std::exception_ptr failure_;  // guarded by mutex_; what the job threw, null if it did not throw
  bool ending_ = false;         // guarded by mutex_
  std::thread thread_;          // must be the last member: the thread uses the others
};

// Each operation throws CommandError before it changes anything if it is refused. It also throws
// CommandError if a caller still waits after `bound` although no known holder blocks it: then its
// lock was acquired outside the shell before the lock monitor started.
//
// Threads: the shell's thread. One object at a time: the constructor starts the lock monitor, and
// the destructor stops it.
class CallerLocks {
 public:
  // Borrows the registry and the shell, to which it prints events.
  CallerLocks(const ServerDataManager& registry, Shell& shell, Bound bound);
  CallerLocks(const CallerLocks&) = delete;
  CallerLocks& operator=(const CallerLocks&) = delete;
  ~CallerLocks();

  // The caller with this name, created by the first call.
  Caller& CallerNamed(const std::string& name);

  // If the lock is not free, prints that the caller waits, and returns. Prints a deadlock that
  // results. Refused if the caller already waits, and if the lock will never be released.
  void Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode);

  // Does not wait. If the lock is not free, prints that; after that, no lock on the dataset is ever
  // released. Refused if the caller already waits, and if the attempt would fail while callers wait
  // for the lock, which would then wait forever.
  void TryWrite(Caller& caller, const DatasetPtr& dataset);

  // Releases the last lock that the caller acquired on the dataset, even while the caller waits for
  // another lock. Prints the messages to observers, and which callers get the lock. Refused if the
  // caller holds no lock on the dataset. If the notification pass throws, the lock stays held.
  void Release(Caller& caller, const DatasetPtr& dataset);
  // Releases all locks of the caller in the same way, the last acquired first.
  void ReleaseAll(Caller& caller);

  // Notifies observers of the changes so far and keeps the lock. Refused if the caller does not
  // hold the write lock, and if it waits for a lock.
  void Notify(Caller& caller, const DatasetPtr& dataset);

  // Runs `work` on the caller's thread under the last lock that the caller acquired on the dataset,
  // or else under a temporary read lock. Refused if that lock is not free.
  void Read(Caller& caller, const DatasetPtr& dataset,
            const std::function<void(SvrDMInputDataSource&)>& work);
  // Like Read, but returns false without running `work` if the read lock is not free.
  bool TryRead(Caller& caller, const DatasetPtr& dataset,
               const std::function<void(SvrDMInputDataSource&)>& work);

  // Runs `work` on the caller's thread with the caller's writer. Refused if the caller does not
  // hold the write lock, and if it waits for a lock.
  void Write(Caller& caller, const OpenDataset& dataset,
             const std::function<void(SvrDMWriteableDataSource&)>& work);

  // Holders in the order in which they acquired the lock, those outside the shell first; waiters in
  // the order in which they asked for it.
  std::vector<Holding> Holders(const OpenDataset& dataset) const;
  std::vector<Holding> Waiters(const OpenDataset& dataset) const;

  // Releases all locks, and then the locks that waiting callers get in turn. Calls `complain` first
  // for each waiting caller, and later for each failure.
  void CloseDown(const std::function<void(const std::string&)>& complain);
  // Moves the locks that waiting callers have acquired to the held locks, and prints that. To be
  // called before each command, because the previous command may have failed before it did so.
  void FinishAcquiring();

  // After CloseDown: whether a caller's thread still waits for a lock, which no caller can release.
  // This object must not be destroyed then.
  bool IsStuck() const { return !locks_.asked.empty(); }

 private:
  using Place = std::list<Hold>::iterator;

  Place Start(Caller& caller, const DatasetPtr& dataset, LockMode mode, bool tryOnly = false);
  void Finish(Place asked);
  void FinishWaiting(Place asked);
  void RefuseWaiting(const Caller& caller) const;
  void RefuseLockHeldForGood(const Hold& wanted) const;
  std::vector<LockReport::Entry> HoldsOutside(const OpenDataset& dataset) const;
  bool IsShownWaiting(const Hold& asked) const;
  bool IsBlocked(const Hold& asked) const;
  template <class Condition>
  bool ComesTrue(Condition condition) const;
  void Settle();
  void SayNotified(const Caller& caller, const OpenDataset& dataset, int passCountBefore);
  void SayDeadlocks();
  std::string DeadlockInWords(const std::vector<LockIncident::Step>& steps) const;
  Json DeadlockInJson(const std::vector<LockIncident::Step>& steps) const;
  Caller* FirstHolder() const;
  const Caller* CallerOf(const LockReport::Entry& entry) const;
  Holding HoldingOf(const LockReport::Entry& entry) const;
  std::string NameOf(const LockReport::Lock& lock) const;

  const ServerDataManager& registry_;
  Shell& shell_;
  const Bound bound_;
  std::mutex incidentsMutex_;
  std::vector<LockIncident> incidents_;  // guarded by incidentsMutex_
  LockLists locks_;
  std::map<std::string, Caller> callers_;
};

}  // namespace sdmsh

#endif  // SDMSH_LOCKS_H_
