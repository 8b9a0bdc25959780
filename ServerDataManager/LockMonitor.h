// LockMonitor: records the holders and waiters of the locks of datasets and registries, and reports
// deadlocks and long waits. Initially off.
//
//   LockMonitor::SetHandler([](const LockIncident& incident) { Log(incident.Text()); },
//                           std::chrono::seconds(30));
//   LockMonitor::Start();
//   LockMonitor::NameThread("importer");
//   SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, nullptr, "monthly import");
//
// The monitor records three kinds of locks: the reader/writer lock and the notification mutex of a
// dataset, and the registry lock. It only observes: it never ends a wait, and recording a lock
// never throws.
//
// A deadlock is a cycle of threads: each thread waits for a lock that the next thread holds. The
// locks may be of different datasets and kinds. A thread that waits for a lock that it holds itself
// is a cycle of one thread. The thread that completes the cycle detects the deadlock when it begins
// to wait. If several threads hold the lock for which it waits, the wait may complete several
// cycles; at most one cycle through each of these holders is reported. The thread that acquired a
// lock counts as its holder, although another thread may release the lock; so a reported deadlock
// may still resolve. A wait with a time limit (TryRead, TryWrite) ends by itself, so it is never
// part of a deadlock.
//
// If the handler is called when a wait begins, reports show the wait only after the handler has
// returned.
//
// A thread of the library reports a long wait a few milliseconds after the wait has become too
// long. The thread also keeps a clock, from which reports take the time of locks acquired without
// waiting: as long as locks are acquired, the thread updates this clock every 10 ms. The first call
// of Start starts the thread, which sleeps most of the time and runs until the process ends.
//
// While the monitor is off, it costs one relaxed atomic load per acquire and release, and
// allocates nothing for locks. While it is on, each thread records its locks in a small table of
// its own; recording a reader/writer lock that is free writes to no shared memory. A report copies
// all tables; meanwhile, a thread that has to write its table waits. To limit these waits, reports
// are at least a millisecond apart: GetLockReport waits if necessary.
//
// With the monitor on, creating and destroying a reader handle takes 1.2 to 1.3 times as long as
// with the monitor off.

#ifndef SERVERDATAMANAGER_LOCKMONITOR_H_
#define SERVERDATAMANAGER_LOCKMONITOR_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LockReport.h>

#include <chrono>
#include <functional>

// Threads: any, for all operations.
class SDM_EXPORT LockMonitor {
 public:
  LockMonitor() = delete;

  // Switch the monitor on or off for the process. Locks acquired while it is off are never
  // reported. Start may throw std::bad_alloc or, if no thread can be started, std::system_error;
  // then the monitor stays off.
  static void Start();
  static void Stop();
  static bool IsOn();

  using Handler = std::function<void(const LockIncident&)>;

  // Installs the handler of the process; an empty function removes it. The handler is called once
  // for each deadlock and once for each wait longer than `longWait` (zero or less: never). For a
  // deadlock, it is called on the thread that is about to wait; for a long wait, on the thread of
  // the library. Several threads may call the handler concurrently. The calling thread may hold
  // locks, so the handler must not use datasets or registries, nor wait for another thread.
  // Exceptions of the handler are ignored. Calls of the previous handler may still be in progress
  // when SetHandler returns. SetHandler may throw std::bad_alloc; then nothing has changed.
  static void SetHandler(Handler handler,
                         std::chrono::milliseconds longWait = std::chrono::milliseconds::zero());

  // Sets the label of the calling thread, truncated to at most 31 bytes of whole UTF-8 characters;
  // a null or empty `label` removes the label. May be called before Start.
  static void NameThread(const char* label);
};

#endif  // SERVERDATAMANAGER_LOCKMONITOR_H_
