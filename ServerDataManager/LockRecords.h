// The calls by which items and registries report to the lock monitor. Internal: see LockMonitor.h.
//
//   RecordHold(item, mode, who);         // after acquiring without waiting
//   RemoveHold(kind, address, handle);   // before releasing
//
//   WaitRecord wait(lock, who);       // looks for a deadlock
//   mutex.readLock();                 // blocks
//   wait.Acquired();                  // the wait becomes a hold
//
// Recording never throws: if memory runs out, the record is omitted and reports are marked
// incomplete.

#ifndef SERVERDATAMANAGER_LOCKRECORDS_H_
#define SERVERDATAMANAGER_LOCKRECORDS_H_

#include <ServerDataManager/LockReport.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <utility>

class ServerDataManager;
class SvrDMItem;

namespace sdm_internal {

extern std::atomic<bool> lockMonitorIsOn;
inline bool LocksAreMonitored() {
  return lockMonitorIsOn.load(std::memory_order_relaxed);
}

// A lock, and how it is acquired. `address` is the address of the lock's item or registry.
struct LockRequest {
  LockReport::Kind kind;
  LockReport::Mode mode;
  LocallyUniqueID dataset;
  const void* address;
  const ServerDataManager* registry;
};

// The handle that acquires the lock, and its label, which is copied; both may be null.
struct LockHolder {
  const void* handle = nullptr;
  const char* label = nullptr;
};

// Records that the calling thread has acquired the reader/writer lock of `item`.
void RecordHold(const SvrDMItem& item, LockReport::Mode mode, LockHolder who) noexcept;

// Removes the record of the lock that `handle` acquired; any thread may have acquired it. Call
// RemoveHold before releasing the lock. With a null `handle`, removes the newest record of this
// lock that has no handle: a record of the calling thread or, if there is none, of another thread.
void RemoveHold(LockReport::Kind kind, const void* address, const void* handle) noexcept;

// Removes `handle` from the record of the lock that the handle acquired. Call ClearHandle if the
// handle is destroyed while the lock stays held.
void ClearHandle(LockReport::Kind kind, const void* address, const void* handle) noexcept;

// Removes all records of the locks of an item. Call RemoveLock before destroying an item whose lock
// stays held: otherwise a later item at the same address would appear locked.
void RemoveLock(const void* address) noexcept;

// A wait of the calling thread, recorded until Acquired is called or this object is destroyed.
class WaitRecord {
 public:
  // Records the wait. Unless the wait has a time limit (`isTimed`), searches for deadlocks and
  // calls the handler for each.
  WaitRecord(const LockRequest& lock, LockHolder who, bool isTimed = false) noexcept;
  WaitRecord(const WaitRecord&) = delete;
  WaitRecord& operator=(const WaitRecord&) = delete;
  ~WaitRecord();

  // Replaces the record of the wait with a record of the held lock.
  void Acquired() noexcept;

 private:
  bool waiting_;
};

// Records a lock that is held for a scope and never acquired by a try: the registry lock or the
// notification mutex. Only the first of nested acquisitions of the registry lock is recorded.
// Construct a ScopeRecord before acquiring the lock, and call Acquired after acquiring it.
// Without contention, the constructor neither searches for deadlocks nor pauses other threads.
class ScopeRecord {
 public:
  explicit ScopeRecord(const LockRequest& lock) noexcept;
  ScopeRecord(const ScopeRecord&) = delete;
  ScopeRecord& operator=(const ScopeRecord&) = delete;
  ~ScopeRecord();

  void Acquired() noexcept;

 private:
  enum class State { Unrecorded, Waiting, Held };
  const LockRequest lock_;
  State state_ = State::Unrecorded;
};

// Holds a lock for a scope with a `Guard`, and records the lock.
template <class Guard>
class MonitoredGuard {
 public:
  template <class... Arguments>
  explicit MonitoredGuard(const LockRequest& lock, Arguments&&... arguments)
      : record_(std::in_place, lock), guard_(std::forward<Arguments>(arguments)...) {
    record_->Acquired();
  }
  MonitoredGuard(const MonitoredGuard&) = delete;
  MonitoredGuard& operator=(const MonitoredGuard&) = delete;
  // Removes the record first, so that no thread appears to hold a lock that it has released.
  ~MonitoredGuard() { record_.reset(); }

 private:
  std::optional<ScopeRecord> record_;
  Guard guard_;
};

// Calls the handler for each wait longer than `bound` that was not reported before. Returns the
// time at which the next wait may become longer than `bound`.
std::chrono::steady_clock::time_point ReportLongWaits(
    std::chrono::steady_clock::duration bound) noexcept;

// See ServerDataManager::GetLockReport.
LockReport ReportLocksOf(const ServerDataManager* registry);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_LOCKRECORDS_H_
