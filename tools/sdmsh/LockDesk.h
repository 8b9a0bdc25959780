// LockDesk: takes and releases the locks of datasets for all callers, one command after another, so
// that what happens depends on the commands alone and not on which thread is faster.
//
// It keeps a ledger of the locks. The ledger tells beforehand whether a caller must wait, and which
// waiting callers a release lets in; the desk returns to its own caller only when that has
// happened.

#ifndef SDMSH_LOCKDESK_H_
#define SDMSH_LOCKDESK_H_

#include "Caller.h"
#include "LockLedger.h"
#include "OpenDataset.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace sdmsh {

// What each operation refuses, it refuses with CommandError before anything happens. CommandError
// also tells, after `bound`, that a lock did not behave as the ledger says: somebody outside the
// shell must hold it.
//
// Threads: the shell's.
class LockDesk {
 public:
  // `say` is called with what happens.
  LockDesk(std::function<void(const Event&)> say, Bound bound);

  // The caller of that name, made at the first call.
  Caller& CallerNamed(const std::string& role);

  // Where the caller must wait for the lock, says so and does not wait for it. Refused where it, or
  // somebody, would wait for ever.
  void Take(Caller& caller, const DatasetPtr& dataset, LockMode mode);

  // Does not wait: where the lock is not free, says so, and no lock on the dataset is ever released
  // again. Refused where somebody waits for the lock and would then do so for ever.
  void TryWrite(Caller& caller, const DatasetPtr& dataset);

  // Lets go of the last lock that the caller took on the dataset; tells what observers are told,
  // and who gets in. Refused where it holds none.
  void Release(Caller& caller, const DatasetPtr& dataset);
  // The same for everything that the caller holds, from the last to the first.
  void ReleaseAll(Caller& caller);

  // Tells observers what changed so far, without letting go. Refused where the caller does not
  // write.
  void Tell(Caller& caller, const DatasetPtr& dataset);

  // Runs `work` on the caller's thread under a lock that the caller holds, or under a read lock
  // taken for the moment. Refused where that would have to wait.
  void Read(Caller& caller, const DatasetPtr& dataset,
            const std::function<void(SvrDMInputDataSource&)>& work);
  // The same; false, and nothing is run, where that would have to wait.
  bool TryRead(Caller& caller, const DatasetPtr& dataset,
               const std::function<void(SvrDMInputDataSource&)>& work);

  // Where the caller waits for a lock, throws CommandError to say so.
  void RefuseWaiting(const Caller& caller) const;

  // Has everybody let go of everything, so that those who wait get in and let go as well. Before
  // that, `complain` is called about each who waits; and about whatever goes wrong.
  void CloseDown(const std::function<void(const std::string&)>& complain);
  // Whether some caller's thread waits for a lock that nobody here can release. The desk cannot be
  // destroyed then.
  bool IsStuck() const;

  const LockLedger& Ledger() const { return ledger_; }

 private:
  void RefuseEndlessWait(const Caller& caller, const OpenDataset& dataset, LockMode mode) const;
  void TakeAtOnce(Caller& caller, const DatasetPtr& dataset, LockMode mode, bool tryOnly);
  void WaitInLine(Caller& caller, const DatasetPtr& dataset, LockMode mode);
  void FailToWrite(Caller& caller, const DatasetPtr& dataset);
  void TellObservers(const Caller& caller, OpenDataset& dataset, int passCountBefore);
  void LetIn(const Holding& next, OpenDataset& dataset);
  void ExpectTheLock(Caller& caller, const OpenDataset& dataset, LockMode mode);
  Caller* SomebodyWhoCanRelease();
  LockEvent Happened(LockEvent::What what, const Caller& caller, const OpenDataset& dataset,
                     LockMode mode) const;

  const std::function<void(const Event&)> say_;
  const Bound bound_;
  LockLedger ledger_;
  std::map<std::string, std::unique_ptr<Caller>> callers_;
};

}  // namespace sdmsh

#endif  // SDMSH_LOCKDESK_H_
