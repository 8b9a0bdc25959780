// LockReport: the holders and waiters of the locks of a registry and its datasets, at one moment.
//
//   LockMonitor::Start();
//   ...
//   std::cout << registry.GetLockReport().Text();
//
//   dataset 0:0
//     charts (thread 2) reads as "weighted means" for 0.2 s
//     importer (thread 1) waits to write for 1.3 s

#ifndef SERVERDATAMANAGER_LOCKREPORT_H_
#define SERVERDATAMANAGER_LOCKREPORT_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <chrono>
#include <string>
#include <vector>

// A plain value, which does not change when threads later acquire or release locks.
//
// Threads: one object belongs to one thread at a time.
struct LockReport {
  enum class Kind {
    Data,          // a dataset's reader/writer lock
    Notification,  // a dataset's notification mutex
    Registry,      // the registry lock
  };
  enum class Mode { Read, Write, Exclusive };  // Read, Write for Data; Exclusive for other kinds

  // One lock, identified by `kind` and `address`: two datasets may have the same identifier, and
  // both locks of a dataset have the same address.
  struct Lock {
    Kind kind = Kind::Data;
    LocallyUniqueID dataset;  // null for the registry lock
    const void* address = nullptr;

    bool operator==(const Lock& other) const {
      return kind == other.kind && address == other.address;
    }
  };

  // Threads are numbered from 1, in the order of their first record. `label` is set by
  // LockMonitor::NameThread; empty for none.
  struct Thread {
    unsigned int number = 0;
    std::string label;
  };

  // A thread that holds or waits for a lock. The holder is the thread that acquired the lock, even
  // if another thread releases it. `handle` is the address of the handle, null if there is none;
  // `label` is the label of the handle, empty for none.
  struct Entry {
    Lock lock;
    Mode mode = Mode::Read;
    Thread thread;
    const void* handle = nullptr;
    std::string label;
    // When the thread began to hold or wait, accurate to about 10 ms. If the thread of the library
    // (LockMonitor.h) cannot run because all processors are busy, a hold may appear older than it
    // is.
    std::chrono::steady_clock::time_point since;
  };

  // A thread that holds one lock and waits for another appears in both lists.
  std::vector<Entry> holds;  // the locks of one thread are in the order of acquisition
  std::vector<Entry> waits;
  std::chrono::steady_clock::time_point taken;  // when the report was made
  // False if the monitor is off, or has run out of memory since it was switched on.
  bool complete = true;

  // The text has one line per lock, followed by one indented line per holder and waiter of that
  // lock. If the report is incomplete, the last line says so.
  SDM_EXPORT std::string Text() const;
};

// A deadlock or a long wait, which LockMonitor passes to its handler.
struct LockIncident {
  enum class Kind {
    Deadlock,  // the threads of `steps` wait for each other: forever, unless another thread
               // releases one of the locks
    LongWait,  // the wait of the only step is longer than `longWait` of SetHandler
  };
  // `wait.thread` waits for `wait.lock`, which `blocker.thread` holds. In a deadlock, the blocker
  // of each step waits in the next step, and the blocker of the last step waits in the first; a
  // thread that waits for itself is a deadlock of one step. The blocker of a long wait is another
  // thread that holds the lock; `blocker.thread.number` is 0 if there is none.
  struct Step {
    LockReport::Entry wait;
    LockReport::Entry blocker;
  };

  Kind kind = Kind::Deadlock;
  std::vector<Step> steps;
  std::chrono::steady_clock::time_point noticed;  // when the incident was detected

  // One line of text: which thread waits for which lock, and which thread holds that lock.
  SDM_EXPORT std::string Text() const;
};

#endif  // SERVERDATAMANAGER_LOCKREPORT_H_
