// LockReport: who holds and who waits for the locks of a registry and its datasets, at one moment.
//
//   LockMonitor::Start();
//   ...
//   std::cout << registry.GetLockReport().Text();
//
//   dataset 0:0, data lock
//     read by "charts" for 0.2 s, as "weighted means"
//     "importer" waits to write for 1.3 s

#ifndef SERVERDATAMANAGER_LOCKREPORT_H_
#define SERVERDATAMANAGER_LOCKREPORT_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <chrono>
#include <string>
#include <vector>

// A plain value; it refers to nothing.
//
// Threads: one object belongs to one thread at a time.
struct LockReport {
  enum class Kind {
    Data,          // a dataset's reader/writer lock
    Notification,  // a dataset's notification mutex
    Registry,      // the registry lock
  };
  enum class Mode { Read, Write, Exclusive };  // Exclusive: the two locks that nobody shares

  // One lock. `address` tells locks apart, also where two datasets have one identifier.
  struct Lock {
    Kind kind = Kind::Data;
    LocallyUniqueID dataset;  // null for the registry lock
    const void* address = nullptr;

    bool operator==(const Lock& other) const {
      return kind == other.kind && address == other.address;
    }
  };

  // Threads are numbered from 1, in the order in which the monitor meets them. `label` is what
  // LockMonitor::NameThread said; empty for none.
  struct Thread {
    unsigned int number = 0;
    std::string label;
  };

  // A thread that holds or waits for a lock. A lock that is released on another thread is held by
  // the thread that acquired it. `handle` is the address of the handle, null where the lock was
  // acquired without one; `label` is the handle's, empty for none.
  struct Entry {
    Lock lock;
    Mode mode = Mode::Read;
    Thread thread;
    const void* handle = nullptr;
    std::string label;
    std::chrono::steady_clock::time_point since;  // to a few milliseconds
  };

  // Two datasets that wait for each other's locks appear in both lists.
  std::vector<Entry> holds;  // those of one thread in the order of acquiring
  std::vector<Entry> waits;
  std::chrono::steady_clock::time_point taken;
  // False where the monitor is off, or where memory did not suffice to record some holder.
  bool complete = true;

  // One line for each lock that is held or waited for, and below it one for each entry.
  SDM_EXPORT std::string Text() const;
};

// What the monitor tells the application's handler.
struct LockIncident {
  enum class Kind {
    Deadlock,  // the threads of `steps` wait for each other, and will for ever unless a lock is
               // released on another thread
    LongWait,  // the one step has lasted longer than the bound
  };
  // `wait.thread` waits for `wait.lock`, which `blocker.thread` holds. In a deadlock the blocker of
  // each step is the waiting thread of the next, and that of the last waits in the first; a thread
  // that waits for itself makes a deadlock of one step. The blocker of a long wait is one of those
  // who hold the lock; its thread number is 0 where nobody does by now.
  struct Step {
    LockReport::Entry wait;
    LockReport::Entry blocker;
  };

  Kind kind = Kind::Deadlock;
  std::vector<Step> steps;
  std::chrono::steady_clock::time_point noticed;

  // In one line: who waits for whom.
  SDM_EXPORT std::string Text() const;
};

#endif  // SERVERDATAMANAGER_LOCKREPORT_H_
