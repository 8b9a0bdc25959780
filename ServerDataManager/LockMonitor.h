// LockMonitor: records who holds and who waits for the locks of datasets and registries, finds
// deadlocks as they arise, and notices long waits. Off until it is started.
//
//   LockMonitor::SetHandler([](const LockIncident& incident) { Log(incident.Text()); },
//                           std::chrono::seconds(30));
//   LockMonitor::Start();
//   LockMonitor::NameThread("importer");
//   SvrDMWriteableDataSource writer(id, /*tryOnly=*/false, nullptr, "monthly import");
//
// It watches three kinds of locks: a dataset's reader/writer lock, its notification mutex, and the
// registry lock. It observes only: waits last as long as they do without it, and nothing is thrown
// into them.
//
// A deadlock is a cycle of threads each of which waits for a lock that the next holds, across
// datasets and kinds of locks. It is found when the last of them begins to wait, on that thread. A
// thread that waits for what it holds itself is a cycle of one. A lock counts as held by the thread
// that acquired it; where another thread is about to release it, a reported deadlock may still
// resolve. Waits with a time limit (TryRead, TryWrite) are not recorded.
//
// Reports show a wait once the handler has returned from what it was told of it.
//
// A long wait is noticed when it ends, or before that when another thread begins to wait or a
// report is made. The library has no thread of its own: an application that wants to know sooner
// asks for a report now and then.
//
// Cost: off, one relaxed load for each acquire and release, and no memory. On, each thread keeps a
// small table of what it holds, and writes it without an atomic operation on shared memory; making
// a report pauses the tables while they are copied.

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

  // Switches the monitor on or off for the process. Locks acquired while it was off are not in its
  // reports. Start may throw std::bad_alloc.
  static void Start();
  static void Stop();
  static bool IsOn();

  using Handler = std::function<void(const LockIncident&)>;

  // Installs the handler of the process; an empty one removes it. Each deadlock is reported once,
  // each wait longer than `longWait` (zero: none) once. The handler runs on a thread that is about
  // to wait, has waited, or makes a report, and may run on several at once; that thread holds
  // whatever locks it holds, so the handler must neither use datasets or registries nor wait for
  // another thread. What it throws is swallowed.
  static void SetHandler(Handler handler,
                         std::chrono::milliseconds longWait = std::chrono::milliseconds::zero());

  // Gives the calling thread a label, of which 31 bytes are kept; null or empty for none. Does
  // nothing while the monitor is off.
  static void NameThread(const char* label);
};

#endif  // SERVERDATAMANAGER_LOCKMONITOR_H_
