// Locks: the callers at the shell, each with a thread of its own, and the locks that they hold and
// wait for. Commands run one after another, so that what is printed depends on the commands alone
// and not on which thread is faster.
//
// A caller waits for a lock on its own thread. The library's lock monitor reports who waits, and
// who holds a lock outside the shell. After a command, the shell goes on once each waiting caller
// is blocked by a holder.

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

// How long the shell waits for what must happen at once, before it says that something is wrong.
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

// The locks of all callers, in the order in which they were acquired, and asked for.
struct LockLists {
  std::list<Hold> held;
  std::list<Hold> asked;
};

// Somebody who gives commands, with a thread for them.
//
// Threads: the shell's.
class Caller {
 public:
  // Borrows the lists.
  Caller(std::string name, const LockLists& locks);
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  // Waits for the job under way.
  ~Caller();

  const std::string& Name() const { return name_; }

  // Runs `work` on the caller's thread and waits for it; while that thread waits for a lock, runs
  // it on this one. Throws what `work` throws.
  void Do(std::function<void()> work);

  // Gives the caller's thread, which has no job, one and does not wait for it.
  void Start(std::function<void()> job);
  // Waits for the job. Throws what the job threw.
  void Finish();
  // Whether the job, if there is one, has ended.
  bool HasFinished();

  // Whether the thread's job is to acquire a lock, and Finish was not called since.
  bool IsAcquiring() const { return busy_; }
  // The lock that it acquires; as text, "the write lock on survey".
  const Hold& Asked() const;
  std::string AskedInWords() const;

  // The last lock acquired for which that is true; null for none.
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
  std::function<void()> job_;   // under the mutex, but for running it; null once it has ended
  std::exception_ptr failure_;  // under the mutex: what the job threw
  bool ending_ = false;         // under the mutex
  std::thread thread_;          // last: it uses the rest
};

// Each operation throws CommandError for what it refuses, before anything happens. It also throws
// where a caller that nothing blocks still waits after `bound`: then a lock must be held that was
// acquired before the shell started.
//
// Threads: the shell's. One object at a time: it switches the lock monitor on, and off at its end.
class CallerLocks {
 public:
  // Borrows both; says what happens.
  CallerLocks(const ServerDataManager& registry, Shell& shell, Bound bound);
  CallerLocks(const CallerLocks&) = delete;
  CallerLocks& operator=(const CallerLocks&) = delete;
  ~CallerLocks();

  // The caller of that name, made at the first call.
  Caller& CallerNamed(const std::string& name);

  // Where the lock is not free, says that the caller waits, and returns. Where that makes a
  // deadlock, says so. Refused where the lock will never be released.
  void Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode);

  // Does not wait: where the lock is not free, says so, and no lock on the dataset is ever released
  // again. Refused where somebody waits for the lock and would then wait forever.
  void TryWrite(Caller& caller, const DatasetPtr& dataset);

  // Releases the last lock that the caller acquired on the dataset, also while it waits for
  // another; says what observers are notified of, and who gets the lock. Refused where the caller
  // holds none. Where the notification pass throws, the lock stays held.
  void Release(Caller& caller, const DatasetPtr& dataset);
  // The same for everything that the caller holds, from the last to the first.
  void ReleaseAll(Caller& caller);

  // Notifies observers of what changed so far, without releasing. Refused where the caller does not
  // write.
  void Notify(Caller& caller, const DatasetPtr& dataset);

  // Runs `work` on the caller's thread under a lock that the caller holds, or under a read lock
  // acquired for the moment. Refused where that would have to wait.
  void Read(Caller& caller, const DatasetPtr& dataset,
            const std::function<void(SvrDMInputDataSource&)>& work);
  // The same; false, and nothing is run, where that would have to wait.
  bool TryRead(Caller& caller, const DatasetPtr& dataset,
               const std::function<void(SvrDMInputDataSource&)>& work);

  // In the order in which they acquired the lock, and in which they asked for it. Holders outside
  // the shell come first.
  std::vector<Holding> Holders(const OpenDataset& dataset) const;
  std::vector<Holding> Waiters(const OpenDataset& dataset) const;

  // Releases everything, so that those who wait get their locks and release them as well. Before
  // that, `complain` is called about each who waits; and about whatever goes wrong.
  void CloseDown(const std::function<void(const std::string&)>& complain);
  // Adds the locks that callers have got by now to what they hold, and says so. For the start of a
  // command: the one before may have failed on the way.
  void FinishAcquiring();

  // Whether some caller's thread waits for a lock that nobody here can release. This object cannot
  // be destroyed then.
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
  std::vector<LockIncident> incidents_;  // under incidentsMutex_
  LockLists locks_;
  std::map<std::string, Caller> callers_;
};

}  // namespace sdmsh

#endif  // SDMSH_LOCKS_H_
