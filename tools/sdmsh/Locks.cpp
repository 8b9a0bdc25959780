// Implements callers, their threads and their locks, and the commands `read`, `write`, `try-write`,
// `release`, `tell` and `locks`.

#include "Locks.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Shell.h"

#include <ServerDataManager/LockMonitor.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace sdmsh {
namespace {

using Clock = std::chrono::steady_clock;
using sdm_internal::MutexLock;

bool Excludes(LockMode held, LockMode asked) {
  return held == LockMode::Write || asked == LockMode::Write;
}

bool IsOn(const LockReport::Entry& entry, const OpenDataset& dataset) {
  return entry.lock.kind == LockReport::Kind::Data && entry.lock.address == dataset.Item().get();
}

void RefuseUnfitMessages(const OpenDataset& dataset) {
  const std::string& failure = dataset.Changes().Failure();
  if (failure.empty()) return;
  throw CommandError("the change messages of " + dataset.Name() +
                     " do not fit together: " + failure);
}

// A text for each LockMode.
using ModeTexts = const char* [3];

constexpr ModeTexts kModeWords = {"read", "write", "exclusive"};
constexpr ModeTexts kHolding = {" (reading)", " (writing)", ""};
constexpr ModeTexts kWaiting = {" (to read)", " (to write)", ""};

const char* TextOf(LockMode mode, const ModeTexts& texts) {
  return texts[static_cast<std::size_t>(mode)];
}

// Returns a text such as "the write lock on survey".
std::string LockText(LockMode mode, const std::string& dataset) {
  return std::string("the ") + TextOf(mode, kModeWords) + " lock on " + dataset;
}
std::string LockText(const Hold& hold) {
  return LockText(hold.mode, hold.dataset->Name());
}

// Returns a text such as "tables (reading), recode (writing)".
std::string UsersText(const std::vector<LockUser>& users, const ModeTexts& purposes) {
  std::vector<std::string> words;
  for (const auto& [name, mode] : users) {
    words.push_back((name.empty() ? "nobody who could release it" : name) + TextOf(mode, purposes));
  }
  return Joined(words);
}

Json UserInJson(const LockUser& user) {
  return {{"caller", user.name}, {"mode", TextOf(user.mode, kModeWords)}};
}

}  // namespace

std::string LockState::ToText() const {
  return (holders.empty() ? "free" : "held by " + UsersText(holders, kHolding)) +
         (waiters.empty() ? "" : "; waiting: " + UsersText(waiters, kWaiting));
}

std::string LockState::BlockersText() const {
  return (holders.empty() ? "" : ", held by " + UsersText(holders, kHolding)) +
         (waiters.empty() ? "" : ", behind " + UsersText(waiters, kWaiting));
}

void LockState::AddTo(Json& json) const {
  json["holders"] = Json::array();
  json["waiters"] = Json::array();
  for (const LockUser& user : holders) json["holders"].push_back(UserInJson(user));
  for (const LockUser& user : waiters) json["waiters"].push_back(UserInJson(user));
}

// ---------------------------------------------------------------------------------------------
// Caller

Caller::Caller(std::string name, std::string label)
    : name_(std::move(name)),
      label_(std::move(label)),
      thread_([this](const std::stop_token& stop) { Run(stop); }) {
  Do([this] { LockMonitor::NameThread(label_.c_str()); });
}

void Caller::Do(const std::function<void()>& work) {
  if (isBusy_) return work();
  Start(work);
  Finish();
}

void Caller::Start(std::function<void()> job) {
  const MutexLock lock(mutex_);
  job_ = std::move(job);
  isBusy_ = true;
  changed_.notify_all();
}

void Caller::Finish() {
  MutexLock lock(mutex_);
  changed_.wait(lock.ForWaiting(), [this]() SDM_REQUIRES(mutex_) { return job_ == nullptr; });
  isBusy_ = false;
  if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
}

bool Caller::HasFinished() const {
  const MutexLock lock(mutex_);
  return job_ == nullptr;
}

void Caller::Run(const std::stop_token& stop) {
  const InterruptsHeld held;  // only the shell's thread receives SIGINT
  MutexLock lock(mutex_);
  const auto hasJob = [this]() SDM_REQUIRES(mutex_) { return job_ != nullptr; };
  while (changed_.wait(lock.ForWaiting(), stop, hasJob)) {
    const std::function<void()>* const job = &job_;  // job_ does not change while it runs
    std::exception_ptr failure;
    mutex_.Unlock();
    try {
      (*job)();
    } catch (...) {
      failure = std::current_exception();
    }
    mutex_.Lock();
    failure_ = std::move(failure);
    job_ = nullptr;
    changed_.notify_all();
  }
}

// ---------------------------------------------------------------------------------------------
// Acquiring

CallerLocks::CallerLocks(const ServerDataManager& registry, Shell& shell, Bound bound)
    : registry_(registry), shell_(shell), bound_(bound) {
  LockMonitor::SetHandler([this](const LockIncident& incident) {
    const MutexLock lock(incidentsMutex_);
    incidents_.push_back(incident);
  });
  LockMonitor::Start();
}

CallerLocks::~CallerLocks() {
  callers_.clear();
  holds_.clear();
  LockMonitor::Stop();
  LockMonitor::SetHandler(nullptr);
}

Caller& CallerLocks::CallerNamed(const std::string& name) {
  const auto known = callers_.find(name);
  if (known != callers_.end()) return known->second;
  const std::string label = "caller " + std::to_string(callers_.size() + 1);
  return callers_.try_emplace(name, name, label).first->second;
}

void CallerLocks::Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode) {
  RefuseWaiting(caller);
  const LockState before = StateOf(*dataset);
  const bool isHeldForGood = std::ranges::any_of(before.holders, [&](const LockUser& holder) {
    return holder.name.empty() && Excludes(holder.mode, mode);
  });
  if (isHeldForGood) {
    throw CommandError(caller.Name() + " would wait forever for " +
                       LockText(mode, dataset->Name()) + before.BlockersText());
  }
  const Place asked = Start(caller, dataset, mode);
  ComesTrue([&] { return caller.HasFinished() || IsShownWaiting(*asked); });
  if (caller.HasFinished()) {
    Finish(asked);
    return Say("acquired", "acquires", *asked);
  }
  Say("waits", "waits for", *asked, &before);
  SayDeadlocks();
  Settle();
}

void CallerLocks::TryWrite(Caller& caller, const DatasetPtr& dataset) {
  RefuseWaiting(caller);
  const LockState before = StateOf(*dataset);
  if (!before.holders.empty() && !before.waiters.empty()) {
    throw CommandError("try-write would fail, and " + UsersText(before.waiters, kWaiting) +
                       " would wait forever for " + dataset->Name());
  }
  const Hold wanted{caller, dataset, LockMode::Write};
  try {
    Finish(Start(caller, dataset, LockMode::Write, /*tryOnly=*/true));
  } catch (int) {  // the handle throws an int if the lock is not free
    if (before.holders.empty()) throw;
    return Say("tryFailed", "does not acquire", wanted, &before,
               "; from here on no lock on " + dataset->Name() + " is ever released");
  }
  Say("acquired", "acquires", wanted);
}

// Starts a job that acquires the lock on the caller's thread.
CallerLocks::Place CallerLocks::Start(Caller& caller, const DatasetPtr& dataset, LockMode mode,
                                      bool tryOnly) {
  std::list<Hold> fresh;
  Hold& asked = fresh.emplace_back(Hold{caller, dataset, mode});
  // The job must not call ObserverOf, which changes a map: the job of a waiting caller runs while
  // other commands run.
  SvrDMDataSetObserver* const originator = &dataset->ObserverOf(caller.Name());
  caller.Start([&asked, tryOnly, originator] {
    SvrDMItemPtr& item = asked.dataset->Item();
    if (asked.mode == LockMode::Read) {
      asked.handle = std::make_shared<SvrDMInputDataSource>(item, tryOnly);
    } else {
      asked.handle = std::make_shared<SvrDMWriteableDataSource>(item, tryOnly, originator);
    }
  });
  holds_.splice(holds_.end(), fresh);
  return std::prev(holds_.end());
}

// Waits until the caller's thread has acquired the lock. If the thread failed, throws its
// exception.
void CallerLocks::Finish(Place asked) {
  try {
    asked->caller.Finish();
  } catch (...) {
    holds_.erase(asked);
    throw;
  }
  asked->isAcquired = true;
  holds_.splice(holds_.end(), holds_, asked);
}

const Hold* CallerLocks::Asked(const Caller& caller) const {
  const auto asked = std::ranges::find_if(
      holds_, [&](const Hold& hold) { return &hold.caller == &caller && !hold.isAcquired; });
  return asked == holds_.end() ? nullptr : &*asked;
}

void CallerLocks::RefuseWaiting(const Caller& caller) const {
  const Hold* const asked = Asked(caller);
  if (asked == nullptr) return;
  const std::string dataset = asked->dataset->Name();
  LockState blockers = StateOf(*asked->dataset);
  // Only callers that asked before this caller are ahead.
  blockers.waiters.erase(std::ranges::find(blockers.waiters, caller.Name(), &LockUser::name),
                         blockers.waiters.end());
  std::erase_if(blockers.waiters,
                [&](const LockUser& ahead) { return !Excludes(ahead.mode, asked->mode); });
  std::vector<std::string> ways;
  for (const Hold& hold : holds_) {
    if (!hold.isAcquired || hold.dataset != asked->dataset) continue;
    ways.push_back(CommandText(hold.caller.Name(), {"release", dataset}));
  }
  for (const LockUser& ahead : blockers.waiters) {
    ways.push_back(CommandText(ahead.name, {"release", dataset}));
  }
  throw CommandError(caller.Name() + " waits for " + LockText(*asked) + blockers.BlockersText() +
                     (ways.empty() ? "" : "; it goes on after " + Joined(ways, " and ")) +
                     "; `@NAME COMMAND` gives a command as another caller");
}

// ---------------------------------------------------------------------------------------------
// Waiting

// Waits until the condition is true. Spins, because the wait should be short. Returns false if the
// condition is still false after `bound_`.
template <class Condition>
bool CallerLocks::ComesTrue(Condition condition) const {
  const auto end = Clock::now() + bound_;
  while (!condition()) {
    GiveUpIfInterrupted();
    if (Clock::now() >= end) return false;
    std::this_thread::yield();
  }
  return true;
}

bool CallerLocks::IsShownWaiting(const Hold& asked) const {
  return std::ranges::any_of(Report().waits, [&](const LockReport::Entry& wait) {
    return CallerOf(wait) == &asked.caller && IsOn(wait, *asked.dataset);
  });
}

bool CallerLocks::IsBlocked(const Hold& asked, const LockReport& report) const {
  return std::ranges::any_of(StateOf(*asked.dataset, report).holders, [&](const LockUser& holder) {
    return Excludes(holder.mode, asked.mode);
  });
}

// Waits until each waiting caller has acquired its lock or is blocked by a holder, then prints
// which callers got a lock.
void CallerLocks::Settle() {
  Place unsettled;
  const auto mayWait = [](const Hold& hold) {
    return !hold.isAcquired && !hold.caller.HasFinished();
  };
  const bool settled = ComesTrue([&] {
    const LockReport report = std::ranges::any_of(holds_, mayWait) ? Report() : LockReport();
    unsettled = std::ranges::find_if(
        holds_, [&](const Hold& hold) { return mayWait(hold) && !IsBlocked(hold, report); });
    return unsettled == holds_.end();
  });
  if (settled) return FinishAcquiring();
  throw CommandError(unsettled->caller.Name() + " should have " + LockText(*unsettled) +
                     " by now: something outside this shell must hold it");
}

void CallerLocks::FinishAcquiring() {
  for (Place hold = holds_.begin(); hold != holds_.end();) {
    const Place next = std::next(hold);
    if (!hold->isAcquired && hold->caller.HasFinished()) {
      try {
        Finish(hold);
        Say("acquired", "acquires", *hold);
      } catch (const std::bad_alloc&) {
        // The thread ran out of memory before it could wait. The command that asked for the lock
        // has already failed.
      }
    }
    hold = next;
  }
}

// Prints what the caller does with a lock. If `state` is not null, also prints its holders and
// waiters.
void CallerLocks::Say(const char* what, const char* verb, const Hold& hold, const LockState* state,
                      const std::string& more) {
  const std::string& caller = hold.caller.Name();
  const auto words = [&] {
    return caller + " " + verb + " " + LockText(hold) +
           (state == nullptr ? "" : state->BlockersText()) + more;
  };
  shell_.Out().Say(words, [&] {
    Json json = {{"event", "lock"},
                 {"what", what},
                 {"caller", caller},
                 {"dataset", hold.dataset->Name()},
                 {"mode", TextOf(hold.mode, kModeWords)}};
    if (state != nullptr) state->AddTo(json);
    return json;
  });
}

void CallerLocks::SayDeadlocks() {
  std::vector<LockIncident> incidents;
  {
    const MutexLock lock(incidentsMutex_);
    incidents.swap(incidents_);
  }
  for (const LockIncident& incident : incidents) {
    const auto words = [&] {
      std::string text = "deadlock: ";
      for (const auto& [wait, blocker] : incident.steps) {
        text += UserOf(wait).name + " waits for " + LockText(wait.mode, NameOf(wait.lock)) +
                LockState{{UserOf(blocker)}, {}}.BlockersText() + "; ";
      }
      const std::string last = UserOf(incident.steps.front().wait).name;
      return text + CommandText(last, {"release"}) + " ends it";
    };
    shell_.Out().Say(words, [&]() -> Json {
      Json steps = Json::array();
      for (const auto& [wait, blocker] : incident.steps) {
        steps.push_back(UserInJson(UserOf(wait)));
        steps.back()["dataset"] = NameOf(wait.lock);
        steps.back()["holder"] = UserInJson(UserOf(blocker));
      }
      return {{"event", "deadlock"}, {"steps", steps}};
    });
  }
}

// ---------------------------------------------------------------------------------------------
// Releasing

void CallerLocks::Release(Caller& caller, DatasetPtr dataset) {
  const auto last = std::find_if(holds_.rbegin(), holds_.rend(), [&](const Hold& hold) {
    return hold.isAcquired && &hold.caller == &caller && hold.dataset == dataset;
  });
  if (last == holds_.rend()) {
    throw CommandError(caller.Name() + " holds no lock on " + dataset->Name());
  }
  const int passCountBefore = dataset->Changes().PassCount();
  caller.Do([&hold = *last] {
    // If the pass fails in Notify, the lock stays held. In the handle's destructor, the failure
    // would end the process.
    if (hold.mode == LockMode::Write) hold.Writer().Notify();
    hold.handle.reset();
  });
  Say("released", "releases", *last);
  holds_.erase(std::prev(last.base()));
  SayNotified(caller, *dataset, passCountBefore);
  Settle();
  RefuseUnfitMessages(*dataset);
}

void CallerLocks::ReleaseAll(Caller& caller) {
  while (const Hold* const hold = FindLast(caller, [](const Hold&) { return true; })) {
    Release(caller, hold->dataset);
  }
}

void CallerLocks::Notify(const Caller& caller, const OpenDataset& dataset) {
  const int passCountBefore = dataset.Changes().PassCount();
  Writer(caller, dataset).Notify();
  SayNotified(caller, dataset, passCountBefore);
  RefuseUnfitMessages(dataset);
}

// Prints the messages that observers received from the pass on the caller's thread. If the caller
// observes the dataset, also prints that it was not notified of its own changes.
void CallerLocks::SayNotified(const Caller& caller, const OpenDataset& dataset,
                              int passCountBefore) {
  shell_.Out().SayNotices();
  if (dataset.Changes().PassCount() == passCountBefore) return;
  if (!dataset.IsObservedBy(caller.Name())) return;
  shell_.Out().Say(
      [&] { return "  " + caller.Name() + ": not notified of its own changes"; },
      [&]() -> Json {
        return {{"event", "notNotified"}, {"caller", caller.Name()}, {"dataset", dataset.Name()}};
      });
}

void CallerLocks::CloseDown(const std::function<void(const std::string&)>& complain) {
  const auto attempt = [&](const auto& work) {
    try {
      work();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      complain(ExceptionText());
    }
  };
  attempt([this] { Settle(); });  // the last command may have failed before it called Settle
  for (const auto& [name, caller] : callers_) {
    const Hold* const asked = Asked(caller);
    if (asked != nullptr) complain(name + " still waits for " + LockText(*asked));
  }
  const auto isHolder = [this](const auto& each) {
    return FindLast(each.second, [](const Hold&) { return true; }) != nullptr;
  };
  // Ends when no lock was released: either none is left, or the release failed.
  for (std::size_t count = holds_.size() + 1; holds_.size() < count;) {
    count = holds_.size();
    const auto holder = std::ranges::find_if(callers_, isHolder);
    if (holder != callers_.end()) attempt([&] { ReleaseAll(holder->second); });
  }
}

bool CallerLocks::IsStuck() const {
  return std::ranges::any_of(holds_, [](const Hold& hold) { return !hold.isAcquired; });
}

// ---------------------------------------------------------------------------------------------
// Reading and writing

ReaderPtr CallerLocks::TryRead(const Caller& caller, OpenDataset& dataset) const {
  const Hold* const last =
      FindLast(caller, [&](const Hold& hold) { return hold.dataset.get() == &dataset; });
  if (last != nullptr) return last->handle;
  if (!StateOf(dataset).waiters.empty()) return nullptr;
  using Try = std::optional<SvrDMInputDataSource>;  // make_shared<Try> would move the reader
  const std::shared_ptr<Try> tried(
      new Try(SvrDMInputDataSource::TryRead(dataset.Item(), Bound::zero())));
  return *tried ? ReaderPtr(tried, &**tried) : nullptr;
}

ReaderPtr CallerLocks::Read(const Caller& caller, OpenDataset& dataset) const {
  if (ReaderPtr reader = TryRead(caller, dataset)) return reader;
  RefuseWaiting(caller);
  throw CommandError(caller.Name() + " would have to wait for " +
                     LockText(LockMode::Read, dataset.Name()) + StateOf(dataset).BlockersText());
}

SvrDMWriteableDataSource& CallerLocks::Writer(const Caller& caller,
                                              const OpenDataset& dataset) const {
  const Hold* const last = FindLast(caller, [&](const Hold& hold) {
    return hold.dataset.get() == &dataset && hold.mode == LockMode::Write;
  });
  if (last == nullptr) {
    throw CommandError(caller.Name() + " does not hold the write lock on " + dataset.Name() + "; " +
                       CommandText(caller.Name(), {"write", dataset.Name()}) + " acquires it");
  }
  RefuseWaiting(caller);
  return last->Writer();
}

// ---------------------------------------------------------------------------------------------
// Holders and waiters

// A lock that a caller's thread has acquired counts as held even before FinishAcquiring.
LockState CallerLocks::StateOf(const OpenDataset& dataset, const LockReport& report) const {
  LockState state;
  // Adds the locks of threads outside the shell, and the locks that stayed held without a handle.
  for (const LockReport::Entry& held : report.holds) {
    const bool isOutside = held.handle == nullptr || CallerOf(held) == nullptr;
    if (isOutside && IsOn(held, dataset)) state.holders.push_back(UserOf(held));
  }
  for (const Hold& hold : holds_) {
    if (hold.dataset.get() != &dataset) continue;
    const bool isHeld = hold.isAcquired || (hold.caller.HasFinished() && hold.handle != nullptr);
    (isHeld ? state.holders : state.waiters).push_back({hold.caller.Name(), hold.mode});
  }
  return state;
}

std::vector<MutexState> CallerLocks::MutexesOf(const OpenDataset* dataset,
                                               const LockReport& report) const {
  std::vector<MutexState> mutexes;
  const auto add = [&](const LockReport::Entry& entry, std::vector<LockUser> LockState::*users) {
    const bool isMutex = entry.lock.kind != LockReport::Kind::Data;
    if (!isMutex || (dataset != nullptr && entry.lock.dataset != dataset->ID())) return;
    auto mutex = std::ranges::find(mutexes, entry.lock, &MutexState::lock);
    if (mutex == mutexes.end()) {
      const bool isRegistry = entry.lock.kind == LockReport::Kind::Registry;
      mutex = mutexes.insert(mutex, {entry.lock, isRegistry ? "" : NameOf(entry.lock), {}});
    }
    (mutex->users.*users).push_back(UserOf(entry));
  };
  for (const LockReport::Entry& hold : report.holds) add(hold, &LockState::holders);
  for (const LockReport::Entry& wait : report.waits) add(wait, &LockState::waiters);
  return mutexes;
}

std::vector<DatasetPtr> CallerLocks::WithClosed(std::vector<DatasetPtr> datasets) const {
  for (const Hold& hold : holds_) {
    const bool isListed = std::ranges::find(datasets, hold.dataset) != datasets.end();
    if (!isListed) datasets.push_back(hold.dataset);
  }
  return datasets;
}

const Hold* CallerLocks::FindLast(const Caller& caller,
                                  const std::function<bool(const Hold&)>& matches) const {
  const auto last = std::find_if(holds_.rbegin(), holds_.rend(), [&](const Hold& hold) {
    return hold.isAcquired && &hold.caller == &caller && matches(hold);
  });
  return last == holds_.rend() ? nullptr : &*last;
}

const Caller* CallerLocks::CallerOf(const LockReport::Entry& entry) const {
  const auto caller = std::ranges::find_if(
      callers_, [&](const auto& each) { return each.second.Label() == entry.thread.label; });
  return caller == callers_.end() ? nullptr : &caller->second;
}

LockUser CallerLocks::UserOf(const LockReport::Entry& entry) const {
  if (entry.mode != LockMode::Exclusive && entry.handle == nullptr) return {"", entry.mode};
  const Caller* const caller = CallerOf(entry);
  return {caller != nullptr ? caller->Name() : "thread " + std::to_string(entry.thread.number),
          entry.mode};
}

std::string CallerLocks::NameOf(const LockReport::Lock& lock) const {
  const auto hold = std::ranges::find_if(
      holds_, [&](const Hold& each) { return each.dataset->Item().get() == lock.address; });
  if (hold != holds_.end()) return hold->dataset->Name();
  for (const DatasetPtr& open : shell_.Datasets()) {
    if (open->ID() == lock.dataset) return open->Name();
  }
  return lock.dataset.ToString();
}

// ---------------------------------------------------------------------------------------------
// Commands

void TakeReadLock(Call& call) {
  call.End();
  call.shell.Locks().Acquire(call.caller, call.dataset, LockMode::Read);
}

void TakeWriteLock(Call& call) {
  call.End();
  call.shell.Locks().Acquire(call.caller, call.dataset, LockMode::Write);
}

void TryWriteLock(Call& call) {
  call.End();
  call.shell.Locks().TryWrite(call.caller, call.dataset);
}

void ReleaseLocks(Call& call) {
  call.End();
  CallerLocks& locks = call.shell.Locks();
  if (call.dataset == nullptr) return locks.ReleaseAll(call.caller);
  locks.Release(call.caller, call.dataset);
}

void NotifyObservers(Call& call) {
  call.End();
  call.shell.Locks().Notify(call.caller, *call.dataset);
}

void ShowLocks(Call& call) {
  call.End();
  const CallerLocks& locks = call.shell.Locks();
  const LockReport report = locks.Report();
  std::vector<DatasetPtr> datasets{call.dataset};
  if (call.dataset == nullptr) {
    datasets = locks.WithClosed(call.shell.Datasets());
    std::erase_if(datasets,
                  [&](const DatasetPtr& each) { return locks.StateOf(*each, report).IsFree(); });
  }
  const std::vector<MutexState> mutexes = locks.MutexesOf(call.dataset.get(), report);
  const auto words = [&] {
    std::vector<std::string> lines;
    for (const DatasetPtr& each : datasets) {
      lines.push_back(each->Name() + " (" + each->ID().ToString() +
                      "): " + locks.StateOf(*each, report).ToText());
    }
    for (const auto& [lock, dataset, users] : mutexes) {
      lines.push_back(
          (dataset.empty() ? "the registry lock" : "the notification mutex of " + dataset) + ": " +
          users.ToText());
    }
    return lines.empty() ? "no lock is held" : Joined(lines, "\n");
  };
  call.shell.Out().Say(words, [&] {
    Json rows = Json::array();
    for (const DatasetPtr& each : datasets) {
      rows.push_back({{"dataset", each->Name()}, {"id", each->ID().ToString()}});
      locks.StateOf(*each, report).AddTo(rows.back());
    }
    Json mutexRows = Json::array();
    for (const auto& [lock, dataset, users] : mutexes) {
      mutexRows.push_back({{"dataset", TextOrNull(dataset)}});
      users.AddTo(mutexRows.back());
    }
    return Json{{"event", "locks"}, {"datasets", rows}, {"mutexes", mutexRows}};
  });
}

}  // namespace sdmsh
