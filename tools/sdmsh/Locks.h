// Locks: the callers of the shell, each with its own thread, and the locks that they hold and wait
// for. Commands run one after another, so that the output depends only on the commands and not on
// the speed of the threads.
//
// A caller waits for a lock on its own thread. The library's lock monitor reports which threads
// wait, and which threads outside the shell hold a lock. After a command, the shell continues as
// soon as each caller that asked for a lock has the lock or is blocked by a holder.

#ifndef SDMSH_LOCKS_H_
#define SDMSH_LOCKS_H_

#include "OpenDataset.h"

#include <ServerDataManager/LockReport.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <ServerDataManager/ThreadSafety.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace sdmsh {

class Shell;

// How long the shell waits for an event that should happen immediately, before the command fails.
using Bound = std::chrono::milliseconds;

using LockMode = LockReport::Mode;
using ReaderPtr = std::shared_ptr<SvrDMInputDataSource>;

// A caller with its thread. The destructor waits until the running job ends.
//
// Threads: one at a time, the shell's thread or the thread of a caller that the shell waits for.
class Caller {
 public:
  // The lock monitor stores `label`, up to 31 bytes, for the thread.
  Caller(std::string name, std::string label);

  const std::string& Name() const { return name_; }
  const std::string& Label() const { return label_; }

  // Runs `work` on the caller's thread and waits until it ends. If the caller's thread has a job,
  // runs `work` on the current thread. Throws what `work` throws.
  void Do(const std::function<void()>& work);

  // Starts a job on the caller's thread and does not wait for it. The thread must have no job.
  void Start(std::function<void()> job);
  // Waits until the job ends. Throws what the job threw.
  void Finish();
  // Whether the job has ended; true if there is none.
  bool HasFinished() const;

 private:
  void Run(const std::stop_token& stop);

  const std::string name_;
  const std::string label_;
  bool isBusy_ = false;  // true from Start to Finish
  mutable sdm_internal::Mutex mutex_;
  std::condition_variable_any changed_;
  std::function<void()> job_ SDM_GUARDED_BY(mutex_);  // null after it has ended
  // What the job threw; null if it did not throw.
  std::exception_ptr failure_ SDM_GUARDED_BY(mutex_);
  std::jthread thread_;  // must be the last member: the thread uses the other members
};

// A lock on a dataset that a caller holds or waits for.
struct Hold {
  Caller& caller;
  DatasetPtr dataset;
  LockMode mode;
  // Set by the caller's thread when it has acquired the lock. A SvrDMWriteableDataSource for a
  // write lock.
  ReaderPtr handle = nullptr;
  bool isAcquired = false;

  SvrDMWriteableDataSource& Writer() const {
    return static_cast<SvrDMWriteableDataSource&>(*handle);
  }
};

// A caller, or a thread outside the shell, that holds a lock or waits for it. An empty name means
// that the handle of a held lock no longer exists, so nobody can release the lock.
struct LockUser {
  std::string name;
  LockMode mode;
};

struct LockState {
  // First threads outside the shell and handles that no longer exist, then callers in the order in
  // which they acquired the lock.
  std::vector<LockUser> holders;
  std::vector<LockUser> waiters;  // in the order in which they asked for the lock

  bool IsFree() const { return holders.empty() && waiters.empty(); }
  // A text such as "held by tables (reading); waiting: recode (to write)"; "free" in place of the
  // holders if nobody holds the lock.
  std::string ToText() const;
  // A text such as ", held by tables (reading), behind recode (to write)"; empty if the lock is
  // free.
  std::string BlockersText() const;
  // Adds the members "holders" and "waiters", each an array of {"caller", "mode"}.
  void AddTo(Json& json) const;
};

// The registry lock, or the notification mutex of a dataset. The library holds these mutexes only
// during an operation. So the shell finds such a mutex in use only if a thread outside the shell
// runs an operation, or is stuck in an operation.
struct MutexState {
  LockReport::Lock lock;
  std::string dataset;  // its name; empty for the registry lock
  LockState users;
};

// An operation that is refused throws CommandError and changes nothing. An operation also throws
// CommandError if a caller still waits after `bound` although no known holder blocks it. Then a
// thread outside the shell must have acquired the lock before the lock monitor started.
//
// Threads: as for Caller. Only one object may exist at a time: the constructor starts the lock
// monitor, and the destructor stops it.
class CallerLocks {
 public:
  // Borrows the registry and the shell. Prints events with the shell.
  CallerLocks(const ServerDataManager& registry, Shell& shell, Bound bound);
  CallerLocks(const CallerLocks&) = delete;
  CallerLocks& operator=(const CallerLocks&) = delete;
  ~CallerLocks();

  // The caller with this name, created by the first call.
  Caller& CallerNamed(const std::string& name);

  // If the lock is not free, prints that the caller waits, and returns. If a deadlock results,
  // prints the deadlock. Refused if the caller already waits, and if the lock will never be
  // released.
  // Threads: the shell's thread.
  void Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode);

  // Does not wait. If the lock is not free, prints that the try failed; after a failed try, no lock
  // on the dataset is ever released. Refused if the caller already waits. Also refused if the try
  // would fail while other callers wait for the lock, because those callers would then wait
  // forever.
  // Threads: the shell's thread.
  void TryWrite(Caller& caller, const DatasetPtr& dataset);

  // Releases the last lock that the caller acquired on the dataset, even while the caller waits for
  // another lock. Prints the messages that observers receive, and which callers get the lock.
  // Refused if the caller holds no lock on the dataset. If the notification pass throws, the lock
  // stays held. If the dataset's ChangeLog has failed, throws CommandError after the release.
  void Release(Caller& caller, DatasetPtr dataset);
  // Calls Release for each lock of the caller, the last acquired first. Stops if Release throws.
  void ReleaseAll(Caller& caller);

  // A handle of the last lock that the caller acquired on the dataset. If there is none, acquires a
  // read lock, which is released when the returned handle is deleted; returns null if the read lock
  // is not free.
  ReaderPtr TryRead(const Caller& caller, OpenDataset& dataset) const;
  // Like TryRead, but refused if the read lock is not free.
  ReaderPtr Read(const Caller& caller, OpenDataset& dataset) const;
  // The caller's writer. Refused if the caller does not hold the write lock or waits for a lock.
  SvrDMWriteableDataSource& Writer(const Caller& caller, const OpenDataset& dataset) const;
  // Notifies observers of the changes so far and keeps the lock. Refused like Writer. If the
  // dataset's ChangeLog has failed, throws CommandError after the pass.
  void Notify(const Caller& caller, const OpenDataset& dataset);

  // Reports are a millisecond apart, so make one report for many datasets.
  LockReport Report() const { return registry_.GetLockReport(); }
  LockState StateOf(const OpenDataset& dataset) const { return StateOf(dataset, Report()); }
  LockState StateOf(const OpenDataset& dataset, const LockReport& report) const;
  // The mutexes in use; with a dataset, only its notification mutex.
  std::vector<MutexState> MutexesOf(const OpenDataset* dataset, const LockReport& report) const;
  // The given open datasets, then the closed datasets on which callers hold or wait for locks.
  std::vector<DatasetPtr> WithClosed(std::vector<DatasetPtr> datasets) const;
  // The lock that the caller waits for; null if there is none.
  const Hold* Asked(const Caller& caller) const;
  // Of the locks that the caller has acquired, the last lock for which `matches` returns true; null
  // if there is none.
  const Hold* FindLast(const Caller& caller, const std::function<bool(const Hold&)>& matches) const;

  // Releases all locks, and then the locks that waiting callers acquire as a result. Stops at a
  // lock that cannot be released, because its notification pass fails; the remaining locks then
  // stay held. Calls `complain` for each caller that was waiting, and for each failure. Throws
  // std::bad_alloc if memory runs out.
  void CloseDown(const std::function<void(const std::string&)>& complain);
  // Records and prints which waiting callers have acquired their locks. Must be called before each
  // command, because the previous command may have failed before it called this function.
  void FinishAcquiring();

  // To be called after CloseDown. Returns whether a caller's thread still waits for a lock that
  // no caller can release. If so, this object must not be destroyed.
  bool IsStuck() const;

 private:
  using Place = std::list<Hold>::iterator;

  Place Start(Caller& caller, const DatasetPtr& dataset, LockMode mode, bool tryOnly = false);
  void Finish(Place asked);
  void RefuseWaiting(const Caller& caller) const;
  bool IsShownWaiting(const Hold& asked) const;
  bool IsBlocked(const Hold& asked, const LockReport& report) const;
  template <class Condition>
  bool ComesTrue(Condition condition) const;
  void Settle();
  void Say(const char* what, const char* verb, const Hold& hold, const LockState* state = nullptr,
           const std::string& more = "");
  void SayNotified(const Caller& caller, const OpenDataset& dataset, int passCountBefore);
  void SayDeadlocks();
  const Caller* CallerOf(const LockReport::Entry& entry) const;
  LockUser UserOf(const LockReport::Entry& entry) const;
  std::string NameOf(const LockReport::Lock& lock) const;

  const ServerDataManager& registry_;
  Shell& shell_;
  const Bound bound_;
  sdm_internal::Mutex incidentsMutex_;
  std::vector<LockIncident> incidents_ SDM_GUARDED_BY(incidentsMutex_);
  // Acquired locks and requested locks, mixed: the acquired locks in the order of acquiring, the
  // requested locks in the order of the requests.
  std::list<Hold> holds_;
  std::map<std::string, Caller> callers_;
};

}  // namespace sdmsh

#endif  // SDMSH_LOCKS_H_
