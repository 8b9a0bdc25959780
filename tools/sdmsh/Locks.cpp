// Implements callers, their threads and their locks, and the commands that acquire, release and
// show locks.

#include "Locks.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Interrupt.h"
#include "Shell.h"

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>

#include <iterator>
#include <utility>

namespace sdmsh {
namespace {

using Clock = std::chrono::steady_clock;

bool Excludes(const Hold& hold, const Hold& asked) {
  return hold.dataset == asked.dataset &&
         (hold.mode == LockMode::Write || asked.mode == LockMode::Write);
}

bool Excludes(const LockReport::Entry& hold, const Hold& asked) {
  return hold.mode == LockReport::Mode::Write || asked.mode == LockMode::Write;
}

bool IsOn(const LockReport::Entry& entry, const OpenDataset& dataset) {
  return entry.lock.kind == LockReport::Kind::Data && entry.lock.address == dataset.Item().get();
}

LockMode ModeOf(const LockReport::Entry& entry) {
  return entry.mode == LockReport::Mode::Read ? LockMode::Read : LockMode::Write;
}

// The caller's name, cut to the length that the lock monitor stores.
std::string LabelOf(const Caller& caller) {
  return caller.Name().substr(0, 31);
}

void RefuseUnfitMessages(const OpenDataset& dataset) {
  const std::string& failure = dataset.Interpreter().Failure();
  if (failure.empty()) return;
  throw CommandError("the change messages of " + dataset.Name() +
                     " do not fit together: " + failure);
}

Json LockInJson(const char* what, const Hold& hold) {
  return {{"event", "lock"},
          {"what", what},
          {"role", hold.caller.Name()},
          {"dataset", hold.dataset->Name()},
          {"mode", ModeWord(hold.mode)}};
}

std::string LockInWords(const char* verb, const Hold& hold) {
  return hold.caller.Name() + " " + verb + " " + LockInWords(hold.mode, hold.dataset->Name());
}

void Say(Shell& shell, const char* what, const char* verb, const Hold& hold) {
  shell.Say([&] { return LockInWords(verb, hold); }, [&] { return LockInJson(what, hold); });
}

// `holders` and `waiters` are the callers that block this one. `more` is the end of the words.
void SayRefused(Shell& shell, const char* what, const char* verb, const Hold& hold,
                const std::vector<Holding>& holders, const std::vector<Holding>& waiters,
                const std::string& more = "") {
  const auto json = [&] {
    Json members = LockInJson(what, hold);
    members["holders"] = HoldingsInJson(holders);
    members["waiters"] = HoldingsInJson(waiters);
    return members;
  };
  shell.Say([&] { return LockInWords(verb, hold) + InTheWay(holders, waiters) + more; }, json);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Caller

Caller::Caller(std::string name, const LockLists& locks)
    : name_(std::move(name)), locks_(locks), thread_([this] { Run(); }) {
  try {
    Do([this] { LockMonitor::NameThread(name_.c_str()); });
  } catch (...) {
    End();
    throw;
  }
}

Caller::~Caller() {
  End();
}

void Caller::End() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void Caller::Do(std::function<void()> work) {
  if (busy_) return work();
  Start(std::move(work));
  Finish();
}

void Caller::Start(std::function<void()> job) {
  {
    const std::lock_guard lock(mutex_);
    job_ = std::move(job);
  }
  busy_ = true;
  changed_.notify_all();
}

void Caller::Finish() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return job_ == nullptr; });
  busy_ = false;
  if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
}

bool Caller::HasFinished() {
  const std::lock_guard lock(mutex_);
  return job_ == nullptr;
}

void Caller::Run() {
  const InterruptsHeld held;  // only the shell's thread receives SIGINT
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return job_ != nullptr || ending_; });
    if (job_ == nullptr) return;
    lock.unlock();
    std::exception_ptr failure;
    try {
      job_();
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    failure_ = std::move(failure);
    job_ = nullptr;
    changed_.notify_all();
  }
}

const Hold& Caller::Asked() const {
  return *std::find_if(locks_.asked.begin(), locks_.asked.end(),
                       [this](const Hold& asked) { return &asked.caller == this; });
}

std::string Caller::AskedInWords() const {
  return LockInWords(Asked().mode, Asked().dataset->Name());
}

const Hold* Caller::FindHold(const OpenDataset& dataset) const {
  return FindLast([&](const Hold& hold) { return hold.dataset.get() == &dataset; });
}

const Hold* Caller::FindWriter(const OpenDataset& dataset) const {
  return FindLast([&](const Hold& hold) {
    return hold.dataset.get() == &dataset && hold.mode == LockMode::Write;
  });
}

// ---------------------------------------------------------------------------------------------
// Acquiring

CallerLocks::CallerLocks(const ServerDataManager& registry, Shell& shell, Bound bound)
    : registry_(registry), shell_(shell), bound_(bound) {
  LockMonitor::SetHandler([this](const LockIncident& incident) {
    const std::lock_guard lock(incidentsMutex_);
    incidents_.push_back(incident);
  });
  LockMonitor::Start();
}

CallerLocks::~CallerLocks() {
  callers_.clear();
  locks_ = {};
  LockMonitor::Stop();
  LockMonitor::SetHandler(nullptr);
}

Caller& CallerLocks::CallerNamed(const std::string& name) {
  return callers_.try_emplace(name, name, locks_).first->second;
}

void CallerLocks::Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode) {
  RefuseWaiting(caller);
  RefuseLockHeldForGood({caller, dataset, mode});
  const std::vector<Holding> before = Waiters(*dataset);
  const Place asked = Start(caller, dataset, mode);
  ComesTrue([&] { return caller.HasFinished() || IsShownWaiting(*asked); });
  if (caller.HasFinished()) {
    Finish(asked);
    return Say(shell_, "taken", "takes", *asked);
  }
  SayRefused(shell_, "waits", "waits for", *asked, Holders(*dataset), before);
  SayDeadlocks();
  Settle();
}

void CallerLocks::TryWrite(Caller& caller, const DatasetPtr& dataset) {
  RefuseWaiting(caller);
  const Hold wanted{caller, dataset, LockMode::Write};
  const std::vector<Holding> holders = Holders(*dataset);
  const std::vector<Holding> waiters = Waiters(*dataset);
  if (!holders.empty() && !waiters.empty()) {
    throw CommandError("try-write would fail, and " + WaitersInWords(waiters) +
                       " would wait forever for " + dataset->Name());
  }
  const Place asked = Start(caller, dataset, LockMode::Write, /*tryOnly=*/true);
  try {
    Finish(asked);
  } catch (int) {  // the handle throws an int if the lock is not free
    if (holders.empty()) throw;
    SayRefused(shell_, "tryFailed", "does not get", wanted, holders, waiters,
               "; from here on no lock on " + dataset->Name() + " is ever released");
    return;
  }
  Say(shell_, "taken", "takes", wanted);
}

// Starts a job that acquires the lock on the caller's thread.
CallerLocks::Place CallerLocks::Start(Caller& caller, const DatasetPtr& dataset, LockMode mode,
                                      bool tryOnly) {
  std::list<Hold> fresh;
  Hold& asked = fresh.emplace_back(Hold{caller, dataset, mode});
  // Looks the observer up on this thread: the caller's thread would do it while other threads run.
  SvrDMDataSetObserver* const originator = &dataset->ObserverOf(caller.Name());
  caller.Start([&asked, tryOnly, originator] {
    SvrDMItemPtr& item = asked.dataset->Item();
    if (asked.mode == LockMode::Read) {
      asked.handle = std::make_unique<SvrDMInputDataSource>(item, tryOnly);
    } else {
      asked.handle = std::make_unique<SvrDMWriteableDataSource>(item, tryOnly, originator);
    }
  });
  locks_.asked.splice(locks_.asked.end(), fresh);
  return std::prev(locks_.asked.end());
}

// Waits until the thread has acquired the lock, and adds it to the held locks. If the thread
// failed, throws its exception.
void CallerLocks::Finish(Place asked) {
  std::list<Hold> finished;
  finished.splice(finished.end(), locks_.asked, asked);
  asked->caller.Finish();
  locks_.held.splice(locks_.held.end(), finished);
}

void CallerLocks::RefuseLockHeldForGood(const Hold& wanted) const {
  for (const LockReport::Entry& hold : HoldsOutside(*wanted.dataset)) {
    if (hold.handle != nullptr || !Excludes(hold, wanted)) continue;
    throw CommandError(wanted.caller.Name() + " would wait forever for " +
                       LockInWords(wanted.mode, wanted.dataset->Name()) +
                       InTheWay(Holders(*wanted.dataset), {}));
  }
}

void CallerLocks::RefuseWaiting(const Caller& caller) const {
  if (!caller.IsAcquiring()) return;
  const DatasetPtr& dataset = caller.Asked().dataset;
  std::string ways;
  for (const Hold& hold : locks_.held) {
    if (hold.dataset != dataset) continue;
    ways += ways.empty() ? "; it goes on after " : " and ";
    ways += "`@" + hold.caller.Name() + " release " + dataset->Name() + "`";
  }
  throw CommandError(caller.Name() + " waits for " + caller.AskedInWords() +
                     InTheWay(Holders(*dataset), {}) + ways +
                     "; `@NAME COMMAND` gives a command as another caller");
}

// ---------------------------------------------------------------------------------------------
// Waiting

// Spins until the condition is true, because that should be immediate. Returns false if it is still
// false after bound_.
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
  const LockReport report = registry_.GetLockReport();
  return std::any_of(report.waits.begin(), report.waits.end(), [&](const LockReport::Entry& wait) {
    return wait.thread.label == LabelOf(asked.caller) && IsOn(wait, *asked.dataset);
  });
}

// Also counts callers whose thread has acquired the lock, but that are not in locks_.held yet.
bool CallerLocks::IsBlocked(const Hold& asked) const {
  const auto excludes = [&](const auto& hold) { return Excludes(hold, asked); };
  const auto hasAcquired = [&](const Hold& other) {
    return &other != &asked && other.caller.HasFinished() && excludes(other);
  };
  const std::vector<LockReport::Entry> outside = HoldsOutside(*asked.dataset);
  return std::any_of(locks_.held.begin(), locks_.held.end(), excludes) ||
         std::any_of(locks_.asked.begin(), locks_.asked.end(), hasAcquired) ||
         std::any_of(outside.begin(), outside.end(), excludes);
}

// Waits until each waiting caller has acquired its lock or is blocked by a holder, then prints
// which callers got a lock.
void CallerLocks::Settle() {
  Place unsettled;
  const auto isSettled = [this](const Hold& asked) {
    return asked.caller.HasFinished() || IsBlocked(asked);
  };
  const bool settled = ComesTrue([&] {
    unsettled = std::find_if_not(locks_.asked.begin(), locks_.asked.end(), isSettled);
    return unsettled == locks_.asked.end();
  });
  if (settled) return FinishAcquiring();
  throw CommandError(unsettled->caller.Name() + " should have " + unsettled->caller.AskedInWords() +
                     " by now: something outside this shell must hold it");
}

void CallerLocks::FinishAcquiring() {
  for (Place asked = locks_.asked.begin(); asked != locks_.asked.end();) {
    const Place next = std::next(asked);
    if (asked->caller.HasFinished()) FinishWaiting(asked);
    asked = next;
  }
}

void CallerLocks::FinishWaiting(Place asked) {
  try {
    Finish(asked);
  } catch (const std::bad_alloc&) {
    return;  // it failed before the thread waited, and the command that asked has failed too
  }
  Say(shell_, "letIn", "gets", *asked);
}

void CallerLocks::SayDeadlocks() {
  std::vector<LockIncident> incidents;
  {
    const std::lock_guard lock(incidentsMutex_);
    incidents.swap(incidents_);
  }
  for (const LockIncident& incident : incidents) {
    shell_.Say([&] { return DeadlockInWords(incident.steps); },
               [&] { return DeadlockInJson(incident.steps); });
  }
}

std::string CallerLocks::DeadlockInWords(const std::vector<LockIncident::Step>& steps) const {
  std::string words = "deadlock: ";
  for (const LockIncident::Step& step : steps) {
    words += HoldingOf(step.wait).role + " waits for " +
             LockInWords(ModeOf(step.wait), NameOf(step.wait.lock)) +
             InTheWay({HoldingOf(step.blocker)}, {}) + "; ";
  }
  return words + "`@" + HoldingOf(steps.front().wait).role + " release` ends it";
}

Json CallerLocks::DeadlockInJson(const std::vector<LockIncident::Step>& steps) const {
  Json json = Json::array();
  for (const LockIncident::Step& step : steps) {
    json.push_back({{"role", HoldingOf(step.wait).role},
                    {"mode", ModeWord(ModeOf(step.wait))},
                    {"dataset", NameOf(step.wait.lock)},
                    {"holder", HoldingInJson(HoldingOf(step.blocker))}});
  }
  return {{"event", "deadlock"}, {"steps", json}};
}

// ---------------------------------------------------------------------------------------------
// Releasing

void CallerLocks::Release(Caller& caller, const DatasetPtr& dataset) {
  const Hold* const last = caller.FindHold(*dataset);
  if (last == nullptr) {
    throw CommandError(caller.Name() + " holds no lock on " + dataset->Name());
  }
  const Place hold = std::find_if(locks_.held.begin(), locks_.held.end(),
                                  [last](const Hold& each) { return &each == last; });
  const int passCountBefore = dataset->Interpreter().PassCount();
  caller.Do([hold] {
    // If the pass fails here, the lock stays held; in the handle's destructor, the failure would
    // end the process.
    if (hold->mode == LockMode::Write) hold->Writer().Notify();
    hold->handle.reset();
  });
  std::list<Hold> released;
  released.splice(released.end(), locks_.held, hold);
  Say(shell_, "released", "releases", *hold);
  SayNotified(caller, *dataset, passCountBefore);
  Settle();
  RefuseUnfitMessages(*dataset);
}

void CallerLocks::ReleaseAll(Caller& caller) {
  while (const Hold* const hold = caller.FindLast([](const Hold&) { return true; })) {
    Release(caller, DatasetPtr(hold->dataset));
  }
}

void CallerLocks::Notify(Caller& caller, const DatasetPtr& dataset) {
  RefuseWaiting(caller);
  const Hold* const hold = caller.FindWriter(*dataset);
  if (hold == nullptr) throw CommandError(caller.Name() + " does not write " + dataset->Name());
  const int passCountBefore = dataset->Interpreter().PassCount();
  caller.Do([hold] { hold->Writer().Notify(); });
  SayNotified(caller, *dataset, passCountBefore);
  RefuseUnfitMessages(*dataset);
}

// Prints the messages to observers from the pass that the caller's thread ran, and whether the
// caller's own observer was left out.
void CallerLocks::SayNotified(const Caller& caller, const OpenDataset& dataset,
                              int passCountBefore) {
  shell_.Out().SayNotices();
  if (dataset.Interpreter().PassCount() == passCountBefore) return;
  if (!dataset.IsObservedBy(caller.Name())) return;
  shell_.Say([&] { return "  " + caller.Name() + ": not notified of its own changes"; },
             [&]() -> Json {
               return {{"event", "notTold"}, {"role", caller.Name()}, {"dataset", dataset.Name()}};
             });
}

void CallerLocks::CloseDown(const std::function<void(const std::string&)>& complain) {
  const auto succeeds = [&](const auto& work) {
    try {
      work();
      return true;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (...) {
      complain(ExceptionInWords());
      return false;
    }
  };
  succeeds([this] { Settle(); });  // the last command may have failed before it called Settle
  for (const auto& [name, caller] : callers_) {
    if (caller.IsAcquiring()) complain(name + " still waits for " + caller.AskedInWords());
  }
  while (Caller* const caller = FirstHolder()) {
    const std::size_t count = locks_.held.size();
    if (!succeeds([&] { ReleaseAll(*caller); }) && locks_.held.size() == count) return;
  }
}

// The holder that is first by name; null if no caller holds a lock.
Caller* CallerLocks::FirstHolder() const {
  const auto first = std::min_element(
      locks_.held.begin(), locks_.held.end(),
      [](const Hold& a, const Hold& b) { return a.caller.Name() < b.caller.Name(); });
  return first == locks_.held.end() ? nullptr : &first->caller;
}

// ---------------------------------------------------------------------------------------------
// Reading and writing

void CallerLocks::Read(Caller& caller, const DatasetPtr& dataset,
                       const std::function<void(SvrDMInputDataSource&)>& work) {
  if (TryRead(caller, dataset, work)) return;
  RefuseWaiting(caller);
  throw CommandError(caller.Name() + " would have to wait for " +
                     LockInWords(LockMode::Read, dataset->Name()) +
                     InTheWay(Holders(*dataset), Waiters(*dataset)));
}

bool CallerLocks::TryRead(Caller& caller, const DatasetPtr& dataset,
                          const std::function<void(SvrDMInputDataSource&)>& work) {
  if (const Hold* const hold = caller.FindHold(*dataset)) {
    caller.Do([&] { work(*hold->handle); });
    return true;
  }
  if (!Waiters(*dataset).empty()) return false;
  bool isFree = false;
  caller.Do([&] {
    auto reader = SvrDMInputDataSource::TryRead(dataset->Item(), std::chrono::milliseconds::zero());
    if (reader) work(*reader);
    isFree = reader.has_value();
  });
  return isFree;
}

void CallerLocks::Write(Caller& caller, const OpenDataset& dataset,
                        const std::function<void(SvrDMWriteableDataSource&)>& work) {
  const Hold* const hold = caller.FindWriter(dataset);
  if (hold == nullptr) {
    throw CommandError(caller.Name() + " does not hold the write lock on " + dataset.Name() +
                       "; `write " + dataset.Name() + "` takes it");
  }
  if (caller.IsAcquiring()) {
    throw CommandError(caller.Name() + " waits for " + caller.AskedInWords() +
                       " and cannot write until it has it");
  }
  caller.Do([&] { work(hold->Writer()); });
}

// ---------------------------------------------------------------------------------------------
// Holders and waiters

std::vector<Holding> CallerLocks::Holders(const OpenDataset& dataset) const {
  std::vector<Holding> holders;
  for (const LockReport::Entry& hold : HoldsOutside(dataset)) holders.push_back(HoldingOf(hold));
  for (const Hold& hold : locks_.held) {
    if (hold.dataset.get() == &dataset) holders.push_back({hold.caller.Name(), hold.mode});
  }
  return holders;
}

std::vector<Holding> CallerLocks::Waiters(const OpenDataset& dataset) const {
  std::vector<Holding> waiters;
  for (const Hold& asked : locks_.asked) {
    if (asked.dataset.get() == &dataset) waiters.push_back({asked.caller.Name(), asked.mode});
  }
  return waiters;
}

// The locks that threads other than the callers' threads hold, and locks that stayed held although
// their handle is gone.
std::vector<LockReport::Entry> CallerLocks::HoldsOutside(const OpenDataset& dataset) const {
  std::vector<LockReport::Entry> holds = registry_.GetLockReport().holds;
  std::erase_if(holds, [&](const LockReport::Entry& hold) {
    return !IsOn(hold, dataset) || (hold.handle != nullptr && CallerOf(hold) != nullptr);
  });
  return holds;
}

const Caller* CallerLocks::CallerOf(const LockReport::Entry& entry) const {
  const auto caller = std::find_if(callers_.begin(), callers_.end(), [&](const auto& each) {
    return LabelOf(each.second) == entry.thread.label;
  });
  return caller == callers_.end() ? nullptr : &caller->second;
}

Holding CallerLocks::HoldingOf(const LockReport::Entry& entry) const {
  if (entry.handle == nullptr) return {"", ModeOf(entry)};
  const Caller* const caller = CallerOf(entry);
  const std::string number = std::to_string(entry.thread.number);
  return {caller == nullptr ? "thread " + number : caller->Name(), ModeOf(entry)};
}

std::string CallerLocks::NameOf(const LockReport::Lock& lock) const {
  const auto hold = std::find_if(locks_.held.begin(), locks_.held.end(), [&](const Hold& each) {
    return each.dataset->Item().get() == lock.address;
  });
  return hold == locks_.held.end() ? lock.dataset.ToString() : hold->dataset->Name();
}

// ---------------------------------------------------------------------------------------------
// Commands

Action TakeReadLock(Call& call) {
  return [&call](CallerLocks& locks) { locks.Acquire(call.caller, call.dataset, LockMode::Read); };
}

Action TakeWriteLock(Call& call) {
  return [&call](CallerLocks& locks) { locks.Acquire(call.caller, call.dataset, LockMode::Write); };
}

Action TryWriteLock(Call& call) {
  return [&call](CallerLocks& locks) { locks.TryWrite(call.caller, call.dataset); };
}

Action ReleaseLocks(Call& call) {
  return [&call](CallerLocks& locks) {
    if (call.dataset == nullptr) return locks.ReleaseAll(call.caller);
    locks.Release(call.caller, call.dataset);
  };
}

Action ShowLocks(Call& call) {
  return [&call](const CallerLocks& locks) {
    std::vector<DatasetPtr> datasets{call.dataset};
    if (call.dataset == nullptr) {
      datasets = call.shell.Datasets();
      std::erase_if(datasets, [&](const DatasetPtr& each) {
        return locks.Holders(*each).empty() && locks.Waiters(*each).empty();
      });
    }
    const auto words = [&] {
      std::string lines;
      for (const DatasetPtr& each : datasets) {
        lines += (lines.empty() ? "" : "\n") + each->Name() + " (" + each->ID().ToString() +
                 "): " + HeldInWords(locks.Holders(*each), locks.Waiters(*each));
      }
      return lines.empty() ? "no lock is held" : lines;
    };
    const auto json = [&] {
      Json rows = Json::array();
      for (const DatasetPtr& each : datasets) {
        rows.push_back({{"dataset", each->Name()},
                        {"id", each->ID().ToString()},
                        {"holders", HoldingsInJson(locks.Holders(*each))},
                        {"waiters", HoldingsInJson(locks.Waiters(*each))}});
      }
      return Json{{"event", "locks"}, {"datasets", rows}};
    };
    call.shell.Say(words, json);
  };
}

}  // namespace sdmsh
