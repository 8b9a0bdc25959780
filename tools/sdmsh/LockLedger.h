// LockLedger: who holds and who waits for the reader/writer lock of each dataset, kept beside the
// locks themselves. It knows their rules, so it tells before a lock is asked for whether the caller
// will have to wait, and after a release who gets in.
//
//   LockLedger ledger;
//   ledger.Ask(survey, "tables", LockMode::Read);           // true: has it
//   ledger.Ask(survey, "recode", LockMode::Write);          // false: waits
//   ledger.Release(survey, "tables");                       // recode, writing: gets in
//
// The rules: readers share the lock, a writer has it alone. A reader waits while a writer holds the
// lock; for one that only waits, it waits no longer than a moment, which is not written down. A
// writer that releases lets in every reader that waits at that moment, otherwise the next writer;
// the last reader lets in the next writer. Writers go first come, first served.

#ifndef SDMSH_LOCKLEDGER_H_
#define SDMSH_LOCKLEDGER_H_

#include "Event.h"

#include <ServerDataManager/LocallyUniqueID.h>

#include <map>
#include <string>
#include <vector>

namespace sdmsh {

// A plain value: copy it to try what would happen.
//
// Threads: not safe; one thread at a time.
class LockLedger {
 public:
  // Whether a role that asked now would have to wait.
  bool MustWait(LocallyUniqueID dataset, LockMode mode) const;

  // The role asks for the lock and waits until it has it. True where it has it at once. A role that
  // waits cannot ask.
  bool Ask(LocallyUniqueID dataset, const std::string& role, LockMode mode);

  // Ends the last lock that the role took on the dataset. Returns who gets in, in the order of
  // asking.
  std::vector<Holding> Release(LocallyUniqueID dataset, const std::string& role);

  // From here on no release ends a lock on this dataset: what a failed try for the write lock does.
  // A lock whose role has released it stays held, by a role with an empty name.
  void HoldForGood(LocallyUniqueID dataset);

  // In the order in which they got in, and in which they asked.
  std::vector<Holding> Holders(LocallyUniqueID dataset) const;
  std::vector<Holding> Waiters(LocallyUniqueID dataset) const;

  // Who would get the lock before a role that asked now and had to wait: for a reader nobody, as
  // all readers get in together.
  std::vector<Holding> InFront(LocallyUniqueID dataset, LockMode mode) const;

  bool IsWaiting(const std::string& role) const;

  // Whether all who wait get in once everybody who can lets go of everything. False where roles
  // wait for each other.
  bool AllGetIn() const;

 private:
  struct Lock {
    std::vector<Holding> held;
    std::vector<Holding> waiting;
    bool forGood = false;

    bool MustWait(LockMode mode) const;
    std::vector<Holding> Release(const std::string& role);
    std::vector<Holding> AdmitAfter(LockMode released);
  };

  const Lock& LockOf(LocallyUniqueID dataset) const;
  bool ReleaseOne();

  std::map<LocallyUniqueID, Lock> locks_;
};

}  // namespace sdmsh

#endif  // SDMSH_LOCKLEDGER_H_
