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
  unsigned int number = 0;  // rises with each lock that is asked for or acquired

  SvrDMWriteableDataSource& Writer() const {
    return static_cast<SvrDMWriteableDataSource&>(*handle);
  }
};

// Threads: the shell's. Work for the caller runs on the caller's thread while the shell waits;
// where that thread waits for a lock, the shell's own thread does it.
class Caller {
 public:
  explicit Caller(std::string name);

  const std::string& Name() const { return name_; }
  // The label of its thread in reports of the lock monitor: as much of the name as that keeps.
  std::string ThreadLabel() const { return name_.substr(0, 31); }

  // Runs `work` and waits for it. What it throws arrives as CommandError, but for std::bad_alloc.
  void Do(std::function<void()> work);

  // Asks for the lock on the caller's thread, and does not wait for it. A try throws into
  // FinishAcquiring what the library throws.
  void StartAcquiring(const DatasetPtr& dataset, LockMode mode, bool tryOnly = false);
  // Whether the thread has the lock, or failed to get it, before the time is up.
  bool FinishesWithin(Bound bound) { return worker_.FinishesWithin(bound); }
  // Whether it has asked for a lock and FinishAcquiring was not called since.
  bool IsAcquiring() const { return worker_.IsBusy(); }
  // The lock that it has asked for; as text, "the write lock on survey".
  const Hold& Asked() const { return coming_; }
  std::string AskedInWords() const;
  // Waits for the lock and adds it to the holds. Returns the hold.
  const Hold& FinishAcquiring();

  // The last lock acquired on the dataset, or the last write lock, or the lock of that handle; null
  // where there is none.
  const Hold* FindHold(const OpenDataset& dataset) const;
  const Hold* FindWriter(const OpenDataset& dataset) const;
  const Hold* FindHold(const void* handle) const;
  // In the order in which they were acquired.
  const std::vector<Hold>& Holds() const { return holds_; }

  // Releases the last lock acquired on the dataset. There is one. Where the notification pass
  // throws, the lock stays held.
  void Release(const OpenDataset& dataset);

 private:
  const std::string name_;
  std::vector<Hold> holds_;
  Hold coming_;    // the caller's thread's, until it has the lock
  Worker worker_;  // last: it ends before what it works on
};

}  // namespace sdmsh

#endif  // SDMSH_CALLER_H_
