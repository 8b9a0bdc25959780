// CallerLocks: acquires and releases the locks of datasets for all callers, one command after
// another, so that what is printed depends on the commands alone and not on which thread is faster.
//
// A caller waits for a lock on its own thread. The library's lock monitor reports who holds and who
// waits. After a command, the shell goes on once each waiting caller is blocked by a holder.

#ifndef SDMSH_CALLERLOCKS_H_
#define SDMSH_CALLERLOCKS_H_

#include "Caller.h"
#include "OpenDataset.h"

#include <ServerDataManager/LockReport.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class ServerDataManager;

namespace sdmsh {

// Each operation throws CommandError for what it refuses, before anything happens. It also throws
// where a caller that nothing blocks still waits after `bound`: then a lock must be held that was
// acquired before the shell started.
//
// Threads: the shell's. One object at a time: it switches the lock monitor on, and off at its end.
class CallerLocks {
 public:
  // `say` is called with what happens.
  CallerLocks(const ServerDataManager& registry, std::function<void(const Event&)> say,
              Bound bound);
  CallerLocks(const CallerLocks&) = delete;
  CallerLocks& operator=(const CallerLocks&) = delete;
  ~CallerLocks();

  // The caller of that name, made at the first call.
  Caller& CallerNamed(const std::string& role);

  // Where the lock is not free, says that the caller waits, and returns. Where that makes a
  // deadlock, says so. Refused where the lock will never be released.
  void Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode);

  // Does not wait: where the lock is not free, says so, and no lock on the dataset is ever released
  // again. Refused where somebody waits for the lock and would then wait forever.
  void TryWrite(Caller& caller, const DatasetPtr& dataset);

  // Releases the last lock that the caller acquired on the dataset, also while it waits for
  // another; says what observers are notified of, and who gets the lock. Refused where the caller
  // holds none.
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

  // Throws CommandError where the caller waits for a lock.
  void RefuseWaiting(const Caller& caller) const;

  // In the order in which they acquired the lock, and in which they asked for it.
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
  bool IsStuck() const { return !waiting_.empty(); }

 private:
  void RefuseLockHeldForGood(const Caller& caller, const OpenDataset& dataset, LockMode mode) const;
  bool IsFree(const OpenDataset& dataset, LockMode mode) const;
  bool IsBlocked(const Caller& caller, const LockReport& report) const;
  bool WaitsOrHasFinished(Caller& caller) const;
  void SayThatItWaits(const Caller& caller, std::vector<Holding> before);
  void SayDeadlocks();
  void Settle();
  void NotifyObservers(NotTold notTold, OpenDataset& dataset, int passCountBefore);
  std::string RoleOf(const LockReport::Entry& hold) const;
  std::string NameOf(const LockReport::Lock& lock) const;
  Holding HoldingOf(const LockReport::Entry& hold) const;
  Caller* SomebodyWhoHolds();
  LockEvent Happened(LockEvent::What what, const Caller& caller, const OpenDataset& dataset,
                     LockMode mode) const;

  const ServerDataManager& registry_;
  const std::function<void(const Event&)> say_;
  const Bound bound_;
  std::mutex incidentsMutex_;
  std::vector<LockIncident> incidents_;  // under incidentsMutex_
  std::map<std::string, std::unique_ptr<Caller>> callers_;
  std::vector<Caller*> waiting_;  // in the order in which they asked
};

}  // namespace sdmsh

#endif  // SDMSH_CALLERLOCKS_H_
