// Caller: one role at the shell, with a thread of its own and the locks that it holds.

#ifndef SDMSH_CALLER_H_
#define SDMSH_CALLER_H_

#include "Event.h"
#include "OpenDataset.h"
#include "Worker.h"

#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sdmsh {

// How long the shell waits for what must happen at once, before it says that something is wrong.
using Bound = std::chrono::milliseconds;

// A lock held on a dataset.
struct Hold {
  DatasetPtr dataset;
  LockMode mode;
  std::unique_ptr<SvrDMInputDataSource> handle;  // a SvrDMWriteableDataSource where it writes

  SvrDMWriteableDataSource& Writer() const {
    return static_cast<SvrDMWriteableDataSource&>(*handle);
  }
};

// Threads: the shell's. What Do is given runs on the caller's thread, while the shell waits.
class Caller {
 public:
  explicit Caller(std::string name) : name_(std::move(name)) {}

  const std::string& Name() const { return name_; }

  // Runs `work` on the caller's thread and waits for it. What it throws arrives as CommandError,
  // but for std::bad_alloc. Not for a caller that waits for a lock.
  void Do(std::function<void()> work);

  // Asks for the lock on the caller's thread, and does not wait for it. A try throws into
  // FinishTaking what the library throws.
  void StartTaking(const DatasetPtr& dataset, LockMode mode, bool tryOnly = false);
  // Whether the thread sleeps, waiting for the lock, before the time is up.
  bool MustWaitWithin(Bound bound) { return worker_.SleepsWithin(bound); }
  // Whether the thread has got the lock, or failed to, before the time is up.
  bool CanFinishTakingWithin(Bound bound) { return worker_.FinishesWithin(bound); }
  // Whether it has asked for a lock and FinishTaking was not called since.
  bool IsTaking() const { return worker_.IsBusy(); }
  // "the write lock on survey": the lock that it has asked for.
  std::string AskedInWords() const;
  // Waits for the lock and notes it among the holds. Returns the hold.
  const Hold& FinishTaking();

  // The last lock taken on the dataset, or the last write lock; null where there is none.
  const Hold* FindHold(const OpenDataset& dataset) const;
  const Hold* FindWriter(const OpenDataset& dataset) const;
  // In the order in which they were taken.
  const std::vector<Hold>& Holds() const { return holds_; }

  // Lets go of the last lock taken on the dataset, on the caller's thread. There is one.
  void Release(const OpenDataset& dataset);

 private:
  const std::string name_;
  std::vector<Hold> holds_;
  Hold coming_;    // the caller's thread's, until it has the lock
  Worker worker_;  // last: it ends before what it works on
};

}  // namespace sdmsh

#endif  // SDMSH_CALLER_H_
