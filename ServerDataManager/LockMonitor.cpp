// The records of the lock monitor: one table per thread. A table is written only by its own thread,
// except while the tables are paused.
//
// To write, a thread sets `busy` in its table, then checks that the tables are not paused. To pause
// the tables, a thread sets kPaused, then waits until no table is busy; it may then read and write
// all tables. A thread that writes needs no memory barrier between setting `busy` and the check,
// because the pausing thread makes every thread of the process run a barrier (membarrier). If the
// kernel has no membarrier, kFences makes every thread that writes run its own barrier.

#include <ServerDataManager/LockMonitor.h>

#include <linux/membarrier.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/ThreadSafety.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <span>
#include <thread>
#include <vector>

namespace sdm_internal {

std::atomic<bool> lockMonitorIsOn{false};

namespace {

using Clock = std::chrono::steady_clock;
using Label = std::array<char, 32>;

// Stands for "never" as a bound for waits, and does not overflow in sums.
constexpr auto kEver = std::chrono::hours(24 * 365 * 100);

// Limits how often reports can pause the other threads. Without a limit, a thread that waits to
// write its table can miss the moments between the pauses, and wait through thousands of reports.
constexpr auto kTimeBetweenReports = std::chrono::milliseconds(1);

constexpr auto kTimeBetweenTicks = std::chrono::milliseconds(10);

// Reads the coarse clock, which takes about 7 ns, a fifth of the time of the steady clock.
Clock::time_point Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return Clock::time_point(std::chrono::seconds(now.tv_sec) +
                           std::chrono::nanoseconds(now.tv_nsec));
}

// Truncates the text to at most 31 bytes, but not within a UTF-8 character.
Label LabelOf(const char* text) {
  Label label{};
  if (text == nullptr) return label;
  std::size_t size = strnlen(text, label.size());
  if (size == label.size()) {
    do --size;
    while (size > 0 && (text[size] & 0xC0) == 0x80);
  }
  std::memcpy(label.data(), text, size);
  return label;
}

struct ThreadName {
  unsigned int number = 0;
  Label label{};
};

struct Record {
  LockRequest lock{};
  const void* handle = nullptr;
  Clock::time_point since;
  Label label{};
};

// The locks that a thread holds, the newest last.
class Holds {
 public:
  Record* begin() { return records_.data(); }
  Record* end() { return records_.data() + count_; }
  const Record* begin() const { return records_.data(); }
  const Record* end() const { return records_.data() + count_; }
  std::size_t Count() const { return count_; }

  bool HasRoom() const { return count_ < records_.size(); }
  // May throw std::bad_alloc.
  void MakeRoom() { records_.resize(2 * count_ + 16); }
  // Adds a record and returns it. Requires HasRoom(). The caller sets all fields of the record.
  Record& Add() { return records_[count_++]; }

  void Remove(Record& hold) {
    std::move(&hold + 1, end(), &hold);
    --count_;
  }
  void RemoveNewest() { --count_; }
  void RemoveLock(const void* address) {
    const auto isOfLock = [=](const Record& hold) { return hold.lock.address == address; };
    count_ = static_cast<std::size_t>(std::remove_if(begin(), end(), isOfLock) - begin());
  }
  void Clear() { count_ = 0; }

 private:
  std::vector<Record> records_;  // the first count_ records are in use
  std::size_t count_ = 0;
};

bool IsOf(const Record& record, LockReport::Kind kind, const void* address) {
  return record.lock.kind == kind && record.lock.address == address;
}

bool Excludes(const Record& hold, const Record& wait) {
  return IsOf(hold, wait.lock.kind, wait.lock.address) &&
         (hold.lock.mode != LockReport::Mode::Read || wait.lock.mode != LockReport::Mode::Read);
}

struct ThreadLocks;

// Never destroyed: threads may still acquire locks while the process exits.
struct Monitor {
  Mutex pauseMutex;
  std::vector<std::unique_ptr<ThreadLocks>> threads SDM_GUARDED_BY(pauseMutex);
  unsigned int lastNumber SDM_GUARDED_BY(pauseMutex) = 0;
  std::shared_ptr<const LockMonitor::Handler> handler SDM_GUARDED_BY(pauseMutex);
  Clock::duration longWait SDM_GUARDED_BY(pauseMutex) = kEver;
  bool isWatched SDM_GUARDED_BY(pauseMutex) = false;  // whether the thread of Watch runs
  std::condition_variable watchMustWake;

  std::atomic<bool> complete{true};

  Mutex reportMutex SDM_ACQUIRED_BEFORE(pauseMutex);
  std::size_t lastReportSize SDM_GUARDED_BY(reportMutex) = 0;
  Clock::time_point nextReport SDM_GUARDED_BY(reportMutex);
  // claims[h] is the number of ScopeRecords that wait for or hold a lock with the hash h.
  std::array<std::atomic<unsigned int>, 256> claims{};
};

Monitor& TheMonitor();

// The table of one thread: the locks that it holds and waits for. Never deleted, because a lock may
// stay held after its thread has ended. Once the thread has ended and its locks are released,
// another thread may reuse the table.
struct ThreadLocks {
  std::atomic<bool> busy{false};
  // The value of `tick` in the newest record that RecordHold made.
  std::atomic<Clock::time_point> lastTick{};
  // False once the thread has ended.
  bool hasThread SDM_GUARDED_BY(TheMonitor().pauseMutex) = true;
  // The table's thread may access the fields below while `busy` is set (Edit). Any thread may
  // access them while it pauses the tables (Pause). Thread-safety annotations cannot express this.
  Holds holds;
  Record wait{};
  bool isWaiting = false;
  bool waitIsTimed = false;         // whether the wait has a time limit
  bool waitIsShown = false;         // whether reports include the wait
  bool waitIsReported = false;      // whether the wait was reported as a long wait
  bool deadlockIsReported = false;  // whether the wait is part of a reported deadlock
  ThreadName name;
  bool isVisited = false;  // used by the search for a deadlock
};

Monitor& TheMonitor() {
  static Monitor& monitor = *new Monitor;
  return monitor;
}

// ---------------------------------------------------------------------------------------------
// The table of this thread

// Every recording of a lock first reads ownTable, and threadEnds if ownTable is null. So these
// variables are in the static TLS block, where access needs neither a function call nor an
// allocation.
#define SDM_STATIC_TLS __attribute__((tls_model("initial-exec"))) thread_local
SDM_STATIC_TLS ThreadLocks* ownTable = nullptr;
SDM_STATIC_TLS bool threadEnds = false;
SDM_STATIC_TLS Label ownLabel{};  // set by NameThread, also before the thread has a table

// Flags in `gate`: the tables are paused (kPaused); a writing thread must run a memory barrier
// (kFences); `tick` is out of date (kTickIsOld). A thread checks the flags before each write to its
// table; if no flag is set, the thread writes immediately.
constexpr unsigned int kPaused = 1, kFences = 2, kTickIsOld = 4;
constinit std::atomic<unsigned int> gate{kFences | kTickIsOld};

// The time of the last tick. RecordHold uses it, because loading `tick` takes much less time than
// reading a clock. The thread of Watch updates `tick` every 10 ms, as long as other threads use it.
constinit std::atomic<Clock::time_point> tick{};

void RestartTicks() {
  const MutexLock lock(TheMonitor().pauseMutex);
  tick.store(Now(), std::memory_order_relaxed);
  gate.fetch_and(~kTickIsOld, std::memory_order_release);
  TheMonitor().watchMustWake.notify_one();
}

// Permits the calling thread to write to its own table, for a scope. Converts to false, and permits
// nothing, if a flag of `gate` is set.
class TryEdit {
 public:
  explicit TryEdit(ThreadLocks& table) : table_(table), mayWrite_(Begin()) {}
  TryEdit(const TryEdit&) = delete;
  TryEdit& operator=(const TryEdit&) = delete;
  ~TryEdit() { table_.busy.store(false, std::memory_order_release); }

  explicit operator bool() const { return mayWrite_; }

 protected:
  // Marks the table busy. Returns false if a flag of `gate` is set.
  bool Begin() {
    table_.busy.store(true, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    return gate.load(std::memory_order_acquire) == 0;
  }

  ThreadLocks& table_;

 private:
  const bool mayWrite_;
};

// Permits the calling thread to write to its own table, for a scope.
class Edit : TryEdit {
 public:
  explicit Edit(ThreadLocks& table) : TryEdit(table) {
    if (!*this) WaitToWrite();
  }

 private:
  [[gnu::noinline]] void WaitToWrite() {
    do {
      std::atomic_thread_fence(std::memory_order_seq_cst);
      const unsigned int flags = gate.load(std::memory_order_acquire);
      if ((flags & ~kFences) == 0) return;
      table_.busy.store(false, std::memory_order_release);
      if ((flags & kPaused) != 0) {
        WaitOutPause();
      } else {
        RestartTicks();
      }
    } while (!Begin());
  }

  // Spins at first, because a pause takes about a microsecond unless the pausing thread is
  // preempted. Then blocks until the pausing thread releases pauseMutex.
  static void WaitOutPause() {
    for (int spins = 0; spins < 2000; ++spins) {
      if ((gate.load(std::memory_order_relaxed) & kPaused) == 0) return;
    }
    const MutexLock pauseIsOver(TheMonitor().pauseMutex);
  }
};

// For a scope, blocks every thread that begins to write to its table. The pausing thread may read
// and write all tables.
class SDM_SCOPED_CAPABILITY Pause {
 public:
  Pause() SDM_ACQUIRE(TheMonitor().pauseMutex) : lock_(TheMonitor().pauseMutex) {
    if ((gate.fetch_or(kPaused) & kFences) != 0) {
      std::atomic_thread_fence(std::memory_order_seq_cst);
    } else {
      syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
    }
    for (const auto& table : TheMonitor().threads) {
      while (table->busy.load(std::memory_order_acquire)) std::this_thread::yield();
    }
  }
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  ~Pause() SDM_RELEASE() { gate.fetch_and(~kPaused, std::memory_order_release); }

 private:
  const MutexLock lock_;
};

// Frees the table of an ending thread for reuse.
struct TableReturn {
  ~TableReturn() {
    threadEnds = true;
    const MutexLock lock(TheMonitor().pauseMutex);
    ownTable->hasThread = false;
    ownTable = nullptr;
  }
};

ThreadLocks* NewTable() {
  const MutexLock lock(TheMonitor().pauseMutex);
  auto& threads = TheMonitor().threads;
  const auto unused = std::find_if(threads.begin(), threads.end(),
                                   [](const auto& table) SDM_REQUIRES(TheMonitor().pauseMutex) {
                                     return !table->hasThread && table->holds.Count() == 0;
                                   });
  ThreadLocks& table =
      unused != threads.end() ? **unused : *threads.emplace_back(std::make_unique<ThreadLocks>());
  if (!table.holds.HasRoom()) table.holds.MakeRoom();
  table.hasThread = true;
  table.name = {++TheMonitor().lastNumber, ownLabel};
  return &table;
}

[[gnu::noinline]] ThreadLocks* MakeOwnTable() noexcept {
  if (threadEnds) return nullptr;
  try {
    ownTable = NewTable();
    thread_local TableReturn atThreadEnd;
    static_cast<void>(atThreadEnd);
  } catch (...) {
    TheMonitor().complete = false;
  }
  return ownTable;
}

// Returns the calling thread's table; null if memory runs out, or after the table was freed at
// thread exit.
inline ThreadLocks* OwnTable() noexcept {
  return ownTable != nullptr ? ownTable : MakeOwnTable();
}

// Adds a hold, whose fields the caller sets. Returns null if memory runs out.
Record* NewHold(ThreadLocks& table) noexcept {
  try {
    if (!table.holds.HasRoom()) table.holds.MakeRoom();
    return &table.holds.Add();
  } catch (...) {
    TheMonitor().complete = false;
    return nullptr;
  }
}

bool IsHoldOf(const Record& hold, LockReport::Kind kind, const void* address, const void* handle) {
  return IsOf(hold, kind, address) && hold.handle == handle;
}

Record* FindHold(ThreadLocks& table, LockReport::Kind kind, const void* address,
                 const void* handle) {
  for (Record* hold = table.holds.end(); hold != table.holds.begin();) {
    if (IsHoldOf(*--hold, kind, address, handle)) return hold;
  }
  return nullptr;
}

// Finds the record of a held lock, and calls `change` with the record's table and the record; does
// nothing if there is no record. Searches the calling thread's table first, then all tables,
// because any thread may have acquired the lock.
template <class Change>
void ChangeHold(LockReport::Kind kind, const void* address, const void* handle,
                Change change) noexcept {
  if (ThreadLocks* const table = OwnTable()) {
    const Edit edit(*table);
    if (Record* const hold = FindHold(*table, kind, address, handle)) {
      return change(*table, *hold);
    }
  }
  const Pause pause;
  for (const auto& table : TheMonitor().threads) {
    if (Record* const hold = FindHold(*table, kind, address, handle)) {
      return change(*table, *hold);
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Incidents: found while the tables are paused, passed to the handler after the pause.

// A copy of a record, with the name of its thread. The thread's number is 0 if there is no record.
struct NamedRecord {
  ThreadName thread;
  Record record{};
};

struct Step {
  NamedRecord wait;
  NamedRecord blocker;
};

struct Incidents {
  std::vector<std::vector<Step>> deadlocks;  // the steps of each are in reverse order
  std::vector<Step> longWaits;               // each step is an incident of its own
  Clock::time_point noticed = Now();
};

// Whether `from` is `target`, or the thread of `from` waits, directly or through other waiting
// threads, for a lock that the thread of `target` holds. If so, appends the waits from `from` to
// `target` to `steps`, the last wait first, and marks these waits (deadlockIsReported).
bool Reaches(ThreadLocks& from, const ThreadLocks& target, std::vector<Step>& steps)
    SDM_REQUIRES(TheMonitor().pauseMutex) {
  if (&from == &target) return true;
  if (!from.isWaiting || from.waitIsTimed || from.isVisited) return false;
  from.isVisited = true;
  for (const auto& holder : TheMonitor().threads) {
    for (const Record& hold : holder->holds) {
      if (!Excludes(hold, from.wait) || !Reaches(*holder, target, steps)) continue;
      steps.push_back({{from.name, from.wait}, {holder->name, hold}});
      from.deadlockIsReported = true;
      return true;
    }
  }
  return false;
}

// Searches for deadlocks that include the wait of `table`: at most one for each thread that holds
// the lock for which `table` waits. Does nothing if another thread has found such a deadlock since
// the wait was recorded.
void FindDeadlocks(ThreadLocks& table, Incidents& incidents) noexcept
    SDM_REQUIRES(TheMonitor().pauseMutex) {
  if (table.deadlockIsReported) return;
  try {
    for (const auto& holder : TheMonitor().threads) {
      const auto hold = std::ranges::find_if(
          holder->holds, [&](const Record& each) { return Excludes(each, table.wait); });
      if (hold == holder->holds.end()) continue;
      for (const auto& other : TheMonitor().threads) other->isVisited = false;
      std::vector<Step> steps;
      if (!Reaches(*holder, table, steps)) continue;
      steps.push_back({{table.name, table.wait}, {holder->name, *hold}});
      incidents.deadlocks.push_back(std::move(steps));
      table.deadlockIsReported = true;
    }
  } catch (...) {
    TheMonitor().complete = false;
  }
}

NamedRecord BlockerOf(const ThreadLocks& table) SDM_REQUIRES(TheMonitor().pauseMutex) {
  for (const auto& holder : TheMonitor().threads) {
    for (const Record& hold : holder->holds) {
      if (holder.get() != &table && Excludes(hold, table.wait)) return {holder->name, hold};
    }
  }
  return {};
}

// Collects the waits longer than `bound` that were not reported. Returns the time at which the next
// wait may become too long.
Clock::time_point FindLongWaits(Clock::duration bound, Incidents& incidents) noexcept
    SDM_REQUIRES(TheMonitor().pauseMutex) {
  Clock::time_point next = incidents.noticed + bound;
  try {
    for (const auto& table : TheMonitor().threads) {
      if (!table->isWaiting || table->waitIsReported) continue;
      if (incidents.noticed <= table->wait.since + bound) {
        next = std::min(next, table->wait.since + bound);
        continue;
      }
      incidents.longWaits.push_back({{table->name, table->wait}, BlockerOf(*table)});
      table->waitIsReported = true;
    }
  } catch (...) {
    TheMonitor().complete = false;
  }
  return next;
}

LockReport::Entry EntryOf(const NamedRecord& copy) {
  const Record& record = copy.record;
  LockReport::Entry entry;
  entry.lock = {record.lock.kind, record.lock.dataset, record.lock.address};
  entry.mode = record.lock.mode;
  entry.thread = {copy.thread.number, copy.thread.label.data()};
  entry.handle = record.handle;
  entry.label = record.label.data();
  entry.since = record.since;
  return entry;
}

void CallHandler(const LockMonitor::Handler& handler, LockIncident::Kind kind,
                 std::span<const Step> steps, Clock::time_point noticed) noexcept {
  LockIncident incident{kind, {}, noticed};
  try {
    for (const Step& step : steps) {
      incident.steps.push_back({EntryOf(step.wait), EntryOf(step.blocker)});
    }
  } catch (...) {
    TheMonitor().complete = false;
    return;
  }
  try {
    handler(incident);
  } catch (...) {
    // Ignored: see LockMonitor::SetHandler.
  }
}

// Calls the handler for each incident. The tables must not be paused.
void Report(Incidents& incidents) noexcept {
  if (incidents.deadlocks.empty() && incidents.longWaits.empty()) return;
  std::shared_ptr<const LockMonitor::Handler> handler;
  {
    const MutexLock lock(TheMonitor().pauseMutex);
    handler = TheMonitor().handler;
  }
  if (handler == nullptr || !*handler) return;
  for (std::vector<Step>& deadlock : incidents.deadlocks) {
    std::reverse(deadlock.begin(), deadlock.end());
    CallHandler(*handler, LockIncident::Kind::Deadlock, deadlock, incidents.noticed);
  }
  for (const Step& step : incidents.longWaits) {
    CallHandler(*handler, LockIncident::Kind::LongWait, {&step, 1}, incidents.noticed);
  }
}

// Searches for deadlocks that include the wait of `table`, and calls the handler for each.
void ReportDeadlocks(ThreadLocks& table) noexcept {
  Incidents incidents;
  {
    const Pause pause;
    FindDeadlocks(table, incidents);
  }
  Report(incidents);
}

void SetWait(ThreadLocks& table, const Record& wait, bool isTimed = false) {
  table.wait = wait;
  table.isWaiting = true;
  table.waitIsTimed = isTimed;
  table.waitIsShown = false;
  table.waitIsReported = false;
  table.deadlockIsReported = false;
}

void ShowWait(ThreadLocks& table) {
  const Edit edit(table);
  table.waitIsShown = true;
}

bool BeginWait(const LockRequest& lock, LockHolder who, bool isTimed) noexcept {
  ThreadLocks* const table = OwnTable();
  if (table == nullptr) return false;
  {
    const Edit edit(*table);
    SetWait(*table, {lock, who.handle, Now(), LabelOf(who.label)}, isTimed);
  }
  if (!isTimed) ReportDeadlocks(*table);
  ShowWait(*table);
  return true;
}

void EndWait(bool acquired) noexcept {
  ThreadLocks& table = *ownTable;
  const Edit edit(table);
  table.isWaiting = false;
  if (!acquired) return;
  table.wait.since = Now();
  if (Record* const hold = NewHold(table)) *hold = table.wait;
}

void CopyRecords(std::vector<NamedRecord>& holds, std::vector<NamedRecord>& waits)
    SDM_REQUIRES(TheMonitor().pauseMutex) {
  for (const auto& table : TheMonitor().threads) {
    for (const Record& hold : table->holds) holds.push_back({table->name, hold});
    if (table->isWaiting && table->waitIsShown) waits.push_back({table->name, table->wait});
  }
}

std::atomic<unsigned int>& ClaimsOn(const LockRequest& lock) {
  auto& claims = TheMonitor().claims;
  const auto bits = reinterpret_cast<std::uintptr_t>(lock.address);
  return claims[(bits / 64 ^ bits / 65536 ^ static_cast<std::uintptr_t>(lock.kind)) %
                claims.size()];
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Records

namespace {

// Sets the fields one by one: building a record on the stack and copying it takes twice as long.
inline void SetHold(ThreadLocks& table, Record& hold, const SvrDMItem& item, LockReport::Mode mode,
                    const void* handle) {
  const Clock::time_point now = tick.load(std::memory_order_relaxed);
  table.lastTick.store(now, std::memory_order_relaxed);
  hold.lock.kind = LockReport::Kind::Data;
  hold.lock.mode = mode;
  hold.lock.dataset = item.ID();
  hold.lock.address = &item;
  hold.lock.registry = item.Manager();
  hold.handle = handle;
  hold.since = now;
  hold.label[0] = 0;
}

[[gnu::noinline]] void RecordAnyHold(const SvrDMItem& item, LockReport::Mode mode,
                                     LockHolder who) noexcept {
  ThreadLocks* const table = OwnTable();
  if (table == nullptr) return;
  const Edit edit(*table);
  Record* const hold = NewHold(*table);
  if (hold == nullptr) return;
  SetHold(*table, *hold, item, mode, who.handle);
  hold->label = LabelOf(who.label);
}

[[gnu::noinline]] void RemoveAnyHold(LockReport::Kind kind, const void* address,
                                     const void* handle) noexcept {
  ChangeHold(kind, address, handle,
             [](ThreadLocks& table, Record& hold) { table.holds.Remove(hold); });
}

}  // namespace

// RecordHold and RemoveHold do the common case themselves, without calling another function, and
// leave all other cases to RecordAnyHold and RemoveAnyHold.
void RecordHold(const SvrDMItem& item, LockReport::Mode mode, LockHolder who) noexcept {
  if (ThreadLocks* const table = ownTable; table != nullptr && who.label == nullptr) {
    const TryEdit edit(*table);
    if (edit && table->holds.HasRoom()) {
      return SetHold(*table, table->holds.Add(), item, mode, who.handle);
    }
  }
  RecordAnyHold(item, mode, who);
}

void RemoveHold(LockReport::Kind kind, const void* address, const void* handle) noexcept {
  if (ThreadLocks* const table = ownTable; table != nullptr) {
    const TryEdit edit(*table);
    if (edit && table->holds.Count() > 0 &&
        IsHoldOf(*(table->holds.end() - 1), kind, address, handle)) {
      return table->holds.RemoveNewest();
    }
  }
  RemoveAnyHold(kind, address, handle);
}

void ClearHandle(LockReport::Kind kind, const void* address, const void* handle) noexcept {
  ChangeHold(kind, address, handle, [](ThreadLocks&, Record& hold) { hold.handle = nullptr; });
}

void RemoveLock(const void* address) noexcept {
  const Pause pause;
  for (const auto& table : TheMonitor().threads) {
    table->holds.RemoveLock(address);
  }
}

WaitRecord::WaitRecord(const LockRequest& lock, LockHolder who, bool isTimed) noexcept
    : waiting_(BeginWait(lock, who, isTimed)) {}

WaitRecord::~WaitRecord() {
  if (waiting_) EndWait(/*acquired=*/false);
}

void WaitRecord::Acquired() noexcept {
  if (std::exchange(waiting_, false)) EndWait(/*acquired=*/true);
}

ScopeRecord::ScopeRecord(const LockRequest& lock) noexcept : lock_(lock) {
  if (!LocksAreMonitored()) return;
  ThreadLocks* const table = OwnTable();
  if (table == nullptr) return;
  const Record wait{lock, nullptr, Now(), Label{}};
  {
    const Edit edit(*table);
    const bool isRecursive = lock.kind == LockReport::Kind::Registry &&
                             FindHold(*table, lock.kind, lock.address, nullptr) != nullptr;
    if (isRecursive) return;
    SetWait(*table, wait);
  }
  state_ = State::Waiting;
  // Claims the lock after recording the wait, so that a thread that sees the claim also sees the
  // wait.
  if (ClaimsOn(lock).fetch_add(1) > 0) ReportDeadlocks(*table);
  ShowWait(*table);
}

void ScopeRecord::Acquired() noexcept {
  if (state_ == State::Unrecorded) return;
  EndWait(/*acquired=*/true);
  state_ = State::Held;
}

ScopeRecord::~ScopeRecord() {
  if (state_ == State::Unrecorded) return;
  if (state_ == State::Waiting) {
    EndWait(/*acquired=*/false);
  } else {
    RemoveHold(lock_.kind, lock_.address, nullptr);
  }
  ClaimsOn(lock_).fetch_sub(1);
}

LockReport ReportLocksOf(const ServerDataManager* registry) {
  std::vector<NamedRecord> holds;
  std::vector<NamedRecord> waits;
  LockReport report;
  {
    const MutexLock turn(TheMonitor().reportMutex);
    std::this_thread::sleep_until(TheMonitor().nextReport);
    // The capacity is based on the last report, so that copying rarely allocates while the tables
    // are paused.
    holds.reserve(TheMonitor().lastReportSize + 16);
    waits.reserve(TheMonitor().lastReportSize + 16);
    const Pause pause;
    // While the monitor is off, the records are out of date.
    report.complete = LocksAreMonitored();
    if (report.complete) {
      CopyRecords(holds, waits);
      TheMonitor().lastReportSize = std::max(holds.size(), waits.size());
    }
    report.taken = Now();
    TheMonitor().nextReport = Clock::now() + kTimeBetweenReports;
  }
  report.complete = report.complete && TheMonitor().complete.load(std::memory_order_relaxed);
  const auto addEntries = [registry](const std::vector<NamedRecord>& copies, auto& entries) {
    for (const NamedRecord& copy : copies) {
      if (copy.record.lock.registry == registry) entries.push_back(EntryOf(copy));
    }
  };
  addEntries(holds, report.holds);
  addEntries(waits, report.waits);
  // A wait for a mutex without a holder is about to succeed, so it is omitted.
  std::erase_if(report.waits, [&](const LockReport::Entry& wait) {
    return wait.mode == LockReport::Mode::Exclusive &&
           std::none_of(report.holds.begin(), report.holds.end(),
                        [&](const LockReport::Entry& hold) { return hold.lock == wait.lock; });
  });
  return report;
}

Clock::time_point ReportLongWaits(Clock::duration bound) noexcept {
  Incidents incidents;
  Clock::time_point next;
  {
    const Pause pause;
    next = FindLongWaits(bound, incidents);
  }
  Report(incidents);
  return next;
}

namespace {

// Updates `tick`; if no thread has used the last tick, sets kTickIsOld, which ends the ticks until
// a thread needs one (RestartTicks).
void Tick() SDM_REQUIRES(TheMonitor().pauseMutex) {
  const Clock::time_point last = tick.load(std::memory_order_relaxed);
  const bool isUsed = std::ranges::any_of(TheMonitor().threads, [&](const auto& table) {
    return table->lastTick.load(std::memory_order_relaxed) == last;
  });
  if (!isUsed) gate.fetch_or(kTickIsOld);
  tick.store(Now(), std::memory_order_relaxed);
}

bool TickIsOld() {
  return (gate.load(std::memory_order_relaxed) & kTickIsOld) != 0;
}

// Calls Tick every 10 ms while ticks are used, and reports each wait when it becomes too long. Runs
// on a thread of its own until the process ends, and sleeps in between.
[[noreturn]] void Watch() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);  // signals go to the threads of the application
  pthread_setname_np(pthread_self(), "sdm-locks");
  Clock::duration bound = kEver;
  Clock::time_point nextSearch = Clock::now() + bound;
  for (;;) {
    {
      MutexLock lock(TheMonitor().pauseMutex);
      if (!TickIsOld()) Tick();
      const bool ticks = !TickIsOld();
      const auto nextTick = ticks ? Clock::now() + kTimeBetweenTicks : Clock::time_point::max();
      TheMonitor().watchMustWake.wait_until(lock.ForWaiting(), std::min(nextSearch, nextTick),
                                            [&]() SDM_REQUIRES(TheMonitor().pauseMutex) {
                                              return TheMonitor().longWait != bound ||
                                                     (!ticks && !TickIsOld());
                                            });
      if (TheMonitor().longWait == bound && Clock::now() < nextSearch) continue;
      bound = TheMonitor().longWait;
    }
    const auto next = LocksAreMonitored() ? ReportLongWaits(bound) : Clock::now() + bound;
    // Searches 5 ms after the time at which a wait may become too long: waits are timed with the
    // coarse clock, which may be a few milliseconds behind Clock.
    nextSearch = std::max(next, Clock::now()) + std::chrono::milliseconds(5);
  }
}

}  // namespace

}  // namespace sdm_internal

// ---------------------------------------------------------------------------------------------
// LockMonitor

using namespace sdm_internal;

void LockMonitor::Start() {
  const Pause pause;
  if (IsOn()) return;
  if (!TheMonitor().isWatched) {
    std::thread(Watch).detach();
    TheMonitor().isWatched = true;
  }
  const bool hasBarrier =
      syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
  if (hasBarrier) gate.fetch_and(~kFences);
  TheMonitor().complete = true;
  // Locks recorded before the monitor was switched off may have been released since.
  for (const auto& table : TheMonitor().threads) table->holds.Clear();
  lockMonitorIsOn.store(true, std::memory_order_relaxed);
}

void LockMonitor::Stop() {
  lockMonitorIsOn.store(false, std::memory_order_relaxed);
}

bool LockMonitor::IsOn() {
  return LocksAreMonitored();
}

void LockMonitor::SetHandler(Handler handler, std::chrono::milliseconds longWait) {
  const bool hasBound = longWait > longWait.zero() && longWait < kEver;
  auto shared = std::make_shared<const Handler>(std::move(handler));
  Monitor& monitor = TheMonitor();
  const MutexLock lock(monitor.pauseMutex);
  monitor.handler.swap(shared);
  monitor.longWait = hasBound ? longWait : kEver;
  monitor.watchMustWake.notify_one();
}

void LockMonitor::NameThread(const char* label) {
  ownLabel = LabelOf(label);
  if (ownTable == nullptr) return;
  const Edit edit(*ownTable);
  ownTable->name.label = ownLabel;
}
