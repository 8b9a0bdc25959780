#include "CallerLocks.h"

#include "CommandError.h"
#include "LockWords.h"

#include <ServerDataManager/LockMonitor.h>
#include <ServerDataManager/serverdatamgr.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <thread>
#include <utility>

namespace sdmsh {
namespace {

using Clock = std::chrono::steady_clock;

const Hold& HoldOf(const Caller& caller, const OpenDataset& dataset) {
  if (const Hold* const hold = caller.FindHold(dataset)) return *hold;
  throw CommandError(caller.Name() + " holds no lock on " + dataset.Name());
}

void RefuseUnfitMessages(const OpenDataset& dataset) {
  const std::string& failure = dataset.Interpreter().Failure();
  if (failure.empty()) return;
  throw CommandError("the change messages of " + dataset.Name() +
                     " do not fit together: " + failure);
}

bool IsOn(const LockReport::Entry& entry, const OpenDataset& dataset) {
  return entry.lock.kind == LockReport::Kind::Data && entry.lock.address == dataset.Item().get();
}

bool Excludes(const LockReport::Entry& hold, const OpenDataset& dataset, LockMode mode) {
  return IsOn(hold, dataset) && (mode == LockMode::Write || hold.mode == LockReport::Mode::Write);
}

LockMode ModeOf(const LockReport::Entry& entry) {
  return entry.mode == LockReport::Mode::Read ? LockMode::Read : LockMode::Write;
}

}  // namespace

CallerLocks::CallerLocks(const ServerDataManager& registry, std::function<void(const Event&)> say,
                         Bound bound)
    : registry_(registry), say_(std::move(say)), bound_(bound) {
  LockMonitor::SetHandler([this](const LockIncident& incident) {
    const std::lock_guard lock(incidentsMutex_);
    incidents_.push_back(incident);
  });
  LockMonitor::Start();
}

CallerLocks::~CallerLocks() {
  callers_.clear();
  LockMonitor::Stop();
  LockMonitor::SetHandler(nullptr);
}

Caller& CallerLocks::CallerNamed(const std::string& role) {
  auto caller = callers_.find(role);
  if (caller == callers_.end()) {
    caller = callers_.emplace(role, std::make_unique<Caller>(role)).first;
  }
  return *caller->second;
}

// ---------------------------------------------------------------------------------------------
// Acquiring

void CallerLocks::Acquire(Caller& caller, const DatasetPtr& dataset, LockMode mode) {
  RefuseWaiting(caller);
  RefuseLockHeldForGood(caller, *dataset, mode);
  std::vector<Holding> before = Waiters(*dataset);
  LockEvent acquired = Happened(LockEvent::What::Acquired, caller, *dataset, mode);
  waiting_.reserve(waiting_.size() + 1);
  caller.StartAcquiring(dataset, mode);
  waiting_.push_back(&caller);
  const auto end = Clock::now() + bound_;
  while (!WaitsOrHasFinished(caller) && Clock::now() < end) std::this_thread::yield();
  if (caller.FinishesWithin(Bound::zero())) {
    std::erase(waiting_, &caller);
    caller.FinishAcquiring();
    say_(std::move(acquired));
  } else {
    SayThatItWaits(caller, std::move(before));
    SayDeadlocks();
    Settle();
  }
}

bool CallerLocks::WaitsOrHasFinished(Caller& caller) const {
  if (caller.FinishesWithin(Bound::zero())) return true;
  const LockReport report = registry_.GetLockReport();
  return std::any_of(report.waits.begin(), report.waits.end(), [&](const LockReport::Entry& wait) {
    return wait.thread.label == caller.ThreadLabel() && IsOn(wait, *caller.Asked().dataset);
  });
}

void CallerLocks::SayThatItWaits(const Caller& caller, std::vector<Holding> before) {
  const Hold& asked = caller.Asked();
  LockEvent event = Happened(LockEvent::What::Waits, caller, *asked.dataset, asked.mode);
  event.waiters = std::move(before);
  say_(event);
}

void CallerLocks::SayDeadlocks() {
  std::vector<LockIncident> incidents;
  {
    const std::lock_guard lock(incidentsMutex_);
    incidents.swap(incidents_);
  }
  for (const LockIncident& incident : incidents) {
    Deadlock deadlock;
    for (const LockIncident::Step& step : incident.steps) {
      deadlock.steps.push_back(
          {RoleOf(step.wait), ModeOf(step.wait), NameOf(step.wait.lock), HoldingOf(step.blocker)});
    }
    say_(deadlock);
  }
}

void CallerLocks::RefuseLockHeldForGood(const Caller& caller, const OpenDataset& dataset,
                                        LockMode mode) const {
  const LockReport report = registry_.GetLockReport();
  for (const LockReport::Entry& hold : report.holds) {
    if (hold.handle != nullptr || !Excludes(hold, dataset, mode)) continue;
    throw CommandError(caller.Name() + " would wait forever for " +
                       LockInWords(mode, dataset.Name()) + InTheWay(Holders(dataset), {}));
  }
}

void CallerLocks::TryWrite(Caller& caller, const DatasetPtr& dataset) {
  RefuseWaiting(caller);
  const bool isFree = IsFree(*dataset, LockMode::Write);
  if (!isFree && !Waiters(*dataset).empty()) {
    throw CommandError("try-write would fail, and " + WaitersInWords(Waiters(*dataset)) +
                       " would wait forever for " + dataset->Name());
  }
  const LockEvent failed = Happened(LockEvent::What::TryFailed, caller, *dataset, LockMode::Write);
  caller.StartAcquiring(dataset, LockMode::Write, /*tryOnly=*/true);
  try {
    caller.FinishAcquiring();
  } catch (const CommandError&) {
    if (isFree) throw;
    say_(failed);
    return;
  }
  say_(Happened(LockEvent::What::Acquired, caller, *dataset, LockMode::Write));
}

// ---------------------------------------------------------------------------------------------
// Releasing

// What needs memory comes before the release as far as it can.
void CallerLocks::Release(Caller& caller, const DatasetPtr& dataset) {
  const LockMode mode = HoldOf(caller, *dataset).mode;
  const int passCountBefore = dataset->Interpreter().PassCount();
  LockEvent released = Happened(LockEvent::What::Released, caller, *dataset, mode);
  NotTold notTold{caller.Name(), dataset->Name()};
  caller.Release(*dataset);
  say_(std::move(released));
  NotifyObservers(std::move(notTold), *dataset, passCountBefore);
  dataset->RefuseLoss();
  Settle();
  RefuseUnfitMessages(*dataset);
}

void CallerLocks::ReleaseAll(Caller& caller) {
  while (!caller.Holds().empty()) {
    const DatasetPtr dataset = caller.Holds().back().dataset;
    Release(caller, dataset);
  }
}

void CallerLocks::Notify(Caller& caller, const DatasetPtr& dataset) {
  RefuseWaiting(caller);
  const Hold* const hold = caller.FindWriter(*dataset);
  if (hold == nullptr) throw CommandError(caller.Name() + " does not write " + dataset->Name());
  const int passCountBefore = dataset->Interpreter().PassCount();
  caller.Do([hold] { hold->Writer().Notify(); });
  NotifyObservers({caller.Name(), dataset->Name()}, *dataset, passCountBefore);
  dataset->RefuseLoss();
  RefuseUnfitMessages(*dataset);
}

// Reports what observers were notified of while the caller's thread ran a pass, and who was not.
void CallerLocks::NotifyObservers(NotTold notTold, OpenDataset& dataset, int passCountBefore) {
  for (Told& told : dataset.TakeTold()) say_(std::move(told));
  if (dataset.Interpreter().PassCount() == passCountBefore) return;
  if (dataset.IsObservedBy(notTold.role)) say_(std::move(notTold));
}

// Waits until everybody who waits is blocked by somebody who holds, then says who got a lock.
void CallerLocks::Settle() {
  const auto end = Clock::now() + bound_;
  for (;;) {
    const LockReport report = registry_.GetLockReport();
    const auto unsettled = std::find_if(waiting_.begin(), waiting_.end(), [&](Caller* caller) {
      return !caller->FinishesWithin(Bound::zero()) && !IsBlocked(*caller, report);
    });
    if (unsettled == waiting_.end()) return FinishAcquiring();
    if (Clock::now() < end) continue;
    const Hold& asked = (*unsettled)->Asked();
    throw CommandError((*unsettled)->Name() + " should have " +
                       LockInWords(asked.mode, asked.dataset->Name()) +
                       " by now: something outside this shell must hold it");
  }
}

void CallerLocks::FinishAcquiring() {
  for (std::size_t index = 0; index < waiting_.size();) {
    Caller& caller = *waiting_[index];
    if (!caller.FinishesWithin(Bound::zero())) {
      ++index;
      continue;
    }
    const Hold& asked = caller.Asked();
    LockEvent letIn = Happened(LockEvent::What::LetIn, caller, *asked.dataset, asked.mode);
    waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(index));
    caller.FinishAcquiring();
    say_(std::move(letIn));
  }
}

bool CallerLocks::IsBlocked(const Caller& caller, const LockReport& report) const {
  const Hold& asked = caller.Asked();
  return std::any_of(report.holds.begin(), report.holds.end(), [&](const LockReport::Entry& hold) {
    return Excludes(hold, *asked.dataset, asked.mode);
  });
}

// ---------------------------------------------------------------------------------------------
// Reading for the moment

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

// ---------------------------------------------------------------------------------------------
// Who holds and who waits

bool CallerLocks::IsFree(const OpenDataset& dataset, LockMode mode) const {
  const LockReport report = registry_.GetLockReport();
  return std::none_of(report.holds.begin(), report.holds.end(),
                      [&](const LockReport::Entry& hold) { return Excludes(hold, dataset, mode); });
}

std::vector<Holding> CallerLocks::Holders(const OpenDataset& dataset) const {
  std::vector<Holding> holders;
  LockReport report = registry_.GetLockReport();
  // The reports order holds by thread; handles of the shell know when they were acquired.
  const auto number = [this](const LockReport::Entry& hold) {
    for (const auto& [role, caller] : callers_) {
      if (const Hold* const own = caller->FindHold(hold.handle)) return own->number;
    }
    return 0U;
  };
  std::stable_sort(report.holds.begin(), report.holds.end(),
                   [&](const LockReport::Entry& one, const LockReport::Entry& other) {
                     return number(one) < number(other);
                   });
  for (const LockReport::Entry& hold : report.holds) {
    if (IsOn(hold, dataset)) holders.push_back(HoldingOf(hold));
  }
  return holders;
}

std::vector<Holding> CallerLocks::Waiters(const OpenDataset& dataset) const {
  std::vector<Holding> waiters;
  for (const Caller* const caller : waiting_) {
    const Hold& asked = caller->Asked();
    if (asked.dataset.get() == &dataset) waiters.push_back({caller->Name(), asked.mode});
  }
  return waiters;
}

// Nobody, where the handle is gone and the lock stayed held.
Holding CallerLocks::HoldingOf(const LockReport::Entry& hold) const {
  return {hold.handle == nullptr ? "" : RoleOf(hold), ModeOf(hold)};
}

std::string CallerLocks::RoleOf(const LockReport::Entry& hold) const {
  for (const auto& [role, caller] : callers_) {
    if (caller->FindHold(hold.handle) != nullptr) return role;
    if (caller->ThreadLabel() == hold.thread.label) return role;
  }
  return "thread " + std::to_string(hold.thread.number);
}

std::string CallerLocks::NameOf(const LockReport::Lock& lock) const {
  for (const auto& [role, caller] : callers_) {
    for (const Hold& hold : caller->Holds()) {
      if (hold.dataset->Item().get() == lock.address) return hold.dataset->Name();
    }
  }
  return lock.dataset.ToString();
}

// ---------------------------------------------------------------------------------------------
// The end

void CallerLocks::RefuseWaiting(const Caller& caller) const {
  if (!caller.IsAcquiring()) return;
  throw CommandError(caller.Name() + " waits for " + caller.AskedInWords() +
                     InTheWay(Holders(*caller.Asked().dataset), {}) +
                     "; it goes on once they release it, or `@ROLE` gives the command for another "
                     "caller");
}

void CallerLocks::CloseDown(const std::function<void(const std::string&)>& complain) {
  try {
    Settle();  // the last command may have failed before it did
  } catch (const std::exception& error) {
    complain(error.what());
  }
  for (const auto& [role, caller] : callers_) {
    if (caller->IsAcquiring()) complain(role + " still waits for " + caller->AskedInWords());
  }
  while (Caller* const caller = SomebodyWhoHolds()) {
    try {
      ReleaseAll(*caller);
    } catch (const CommandError& error) {
      complain(error.what());
    } catch (const std::bad_alloc&) {
      complain(NotEnoughMemoryFor("releasing what " + caller->Name() + " holds"));
      return;
    }
  }
}

Caller* CallerLocks::SomebodyWhoHolds() {
  const auto found = std::find_if(callers_.begin(), callers_.end(),
                                  [](const auto& entry) { return !entry.second->Holds().empty(); });
  return found == callers_.end() ? nullptr : found->second.get();
}

LockEvent CallerLocks::Happened(LockEvent::What what, const Caller& caller,
                                const OpenDataset& dataset, LockMode mode) const {
  LockEvent event{what, caller.Name(), dataset.Name(), mode};
  if (what == LockEvent::What::Waits || what == LockEvent::What::TryFailed) {
    event.holders = Holders(dataset);
    event.waiters = Waiters(dataset);
  }
  return event;
}

}  // namespace sdmsh
