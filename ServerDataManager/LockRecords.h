// What the lock monitor is told by items and registries. Internal: see LockMonitor.h.
//
//   RecordHold(lock, who);            // a lock that was acquired without waiting
//   lock.unlock() ...                 // ForgetHold(lock, handle) before it
//
//   WaitRecord wait(lock, who);       // looks for a deadlock
//   mutex.readLock();                 // blocks
//   wait.Acquired();                  // the wait becomes a hold
//
// Nothing here throws: where memory does not suffice for a record it is left out, and reports say
// that they are incomplete.

#ifndef SERVERDATAMANAGER_LOCKRECORDS_H_
#define SERVERDATAMANAGER_LOCKRECORDS_H_

#include <ServerDataManager/LockReport.h>

#include <atomic>
#include <optional>
#include <utility>

class ServerDataManager;

namespace sdm_internal {

// Whether the monitor is on.
extern std::atomic<bool> lockMonitorIsOn;
inline bool LocksAreMonitored() {
  return lockMonitorIsOn.load(std::memory_order_relaxed);
}

// The lock that is asked for: `address` is the item's or the registry's.
struct LockRequest {
  LockReport::Kind kind;
  LockReport::Mode mode;
  LocallyUniqueID dataset;
  const void* address;
  const ServerDataManager* registry;
};

// The handle that asks; both null where there is none. The label is copied.
struct LockHolder {
  const void* handle = nullptr;
  const char* label = nullptr;
};

// The calling thread has acquired the lock.
void RecordHold(const LockRequest& lock, LockHolder who) noexcept;

// The lock that `handle` acquired, on whichever thread, is about to be released. With a null
// handle, the last such hold without a handle, the calling thread's first.
void ForgetHold(LockReport::Kind kind, const void* address, const void* handle) noexcept;

// The handle goes and its lock stays held.
void ForgetHandle(LockReport::Kind kind, const void* address, const void* handle) noexcept;

// A wait of the calling thread, recorded until Acquired or for as long as this object lives.
class WaitRecord {
 public:
  // Looks for a deadlock and for long waits of others, and calls the handler.
  WaitRecord(const LockRequest& lock, LockHolder who) noexcept;
  WaitRecord(const WaitRecord&) = delete;
  WaitRecord& operator=(const WaitRecord&) = delete;
  ~WaitRecord();

  // The lock is held: the wait ends, and is recorded as a hold.
  void Acquired() noexcept;

 private:
  bool waiting_;
};

// The record of a lock that a thread holds for a scope and that cannot be tried: the registry lock,
// which is recursive, and the notification mutex. Made before the lock is acquired. Where nobody
// else holds or wants the lock, nothing is looked for and no other thread is disturbed.
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

// `Guard`, which holds a lock for a scope, with the record of that.
template <class Guard>
class MonitoredGuard {
 public:
  template <class... Arguments>
  explicit MonitoredGuard(const LockRequest& lock, Arguments&&... arguments) {
    record_.emplace(lock);
    guard_.emplace(std::forward<Arguments>(arguments)...);
    record_->Acquired();
  }
  MonitoredGuard(const MonitoredGuard&) = delete;
  MonitoredGuard& operator=(const MonitoredGuard&) = delete;
  // The record goes first: a thread never appears to hold what it has released.
  ~MonitoredGuard() { record_.reset(); }

 private:
  std::optional<Guard> guard_;
  std::optional<ScopeRecord> record_;
};

// As ServerDataManager::GetLockReport.
LockReport ReportLocksOf(const ServerDataManager* registry);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_LOCKRECORDS_H_
