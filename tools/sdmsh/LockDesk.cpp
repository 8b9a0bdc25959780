// Locks, asked for and released in the order of the commands.

#include "LockDesk.h"

#include "CommandError.h"
#include "LockWords.h"

#include <algorithm>
#include <new>
#include <utility>

namespace sdmsh {
namespace {

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

}  // namespace

LockDesk::LockDesk(std::function<void(const Event&)> say, Bound bound)
    : say_(std::move(say)), bound_(bound) {}

Caller& LockDesk::CallerNamed(const std::string& role) {
  auto caller = callers_.find(role);
  if (caller == callers_.end()) {
    caller = callers_.emplace(role, std::make_unique<Caller>(role)).first;
  }
  return *caller->second;
}

// ---------------------------------------------------------------------------------------------
// Taking

void LockDesk::Take(Caller& caller, const DatasetPtr& dataset, LockMode mode) {
  if (ledger_.MustWait(dataset->ID(), mode)) {
    RefuseEndlessWait(caller, *dataset, mode);
    WaitInLine(caller, dataset, mode);
  } else {
    TakeAtOnce(caller, dataset, mode, /*tryOnly=*/false);
  }
}

void LockDesk::TryWrite(Caller& caller, const DatasetPtr& dataset) {
  if (ledger_.MustWait(dataset->ID(), LockMode::Write)) {
    FailToWrite(caller, dataset);
  } else {
    TakeAtOnce(caller, dataset, LockMode::Write, /*tryOnly=*/true);
  }
}

void LockDesk::TakeAtOnce(Caller& caller, const DatasetPtr& dataset, LockMode mode, bool tryOnly) {
  ledger_.Ask(dataset->ID(), caller.Name(), mode);
  caller.StartTaking(dataset, mode, tryOnly);
  ExpectTheLock(caller, *dataset, mode);
  say_(Happened(LockEvent::What::Taken, caller, *dataset, mode));
}

void LockDesk::WaitInLine(Caller& caller, const DatasetPtr& dataset, LockMode mode) {
  LockEvent waits = Happened(LockEvent::What::Waits, caller, *dataset, mode);
  ledger_.Ask(dataset->ID(), caller.Name(), mode);
  caller.StartTaking(dataset, mode);
  // Only once the thread stands in line may the next command be carried out.
  if (!caller.MustWaitWithin(bound_)) {
    throw CommandError(caller.Name() + " should wait for " + LockInWords(mode, dataset->Name()) +
                       ", and does not");
  }
  say_(std::move(waits));
}

void LockDesk::ExpectTheLock(Caller& caller, const OpenDataset& dataset, LockMode mode) {
  if (!caller.CanFinishTakingWithin(bound_)) {
    throw CommandError(caller.Name() + " should have " + LockInWords(mode, dataset.Name()) +
                       " by now, and has not: somebody outside this shell must hold it");
  }
  caller.FinishTaking();
}

// Whether everybody who waits can still get in is found out on a copy of the ledger.
void LockDesk::RefuseEndlessWait(const Caller& caller, const OpenDataset& dataset,
                                 LockMode mode) const {
  LockLedger future = ledger_;
  future.Ask(dataset.ID(), caller.Name(), mode);
  if (future.AllGetIn()) return;
  throw CommandError(caller.Name() + " would wait for ever for " +
                     LockInWords(mode, dataset.Name()) +
                     InTheWay(ledger_.Holders(dataset.ID()), ledger_.InFront(dataset.ID(), mode)));
}

void LockDesk::FailToWrite(Caller& caller, const DatasetPtr& dataset) {
  LockLedger future = ledger_;
  future.HoldForGood(dataset->ID());
  if (!future.AllGetIn()) {
    throw CommandError("the try would fail, and " + WaitersInWords(ledger_.Waiters(dataset->ID())) +
                       " wait for ever for " + dataset->Name());
  }
  const LockEvent failed = Happened(LockEvent::What::TryFailed, caller, *dataset, LockMode::Write);
  caller.StartTaking(dataset, LockMode::Write, /*tryOnly=*/true);
  try {
    caller.FinishTaking();
  } catch (const CommandError&) {
    ledger_ = std::move(future);
    say_(failed);
    return;
  }
  throw CommandError(caller.Name() + " should not get " +
                     LockInWords(LockMode::Write, dataset->Name()) + ", and did");
}

// ---------------------------------------------------------------------------------------------
// Releasing

void LockDesk::Release(Caller& caller, const DatasetPtr& dataset) {
  const LockMode mode = HoldOf(caller, *dataset).mode;
  const int passCountBefore = dataset->Interpreter().PassCount();
  caller.Release(*dataset);
  say_(Happened(LockEvent::What::Released, caller, *dataset, mode));
  TellObservers(caller, *dataset, passCountBefore);
  for (const Holding& next : ledger_.Release(dataset->ID(), caller.Name())) LetIn(next, *dataset);
  RefuseUnfitMessages(*dataset);
}

void LockDesk::ReleaseAll(Caller& caller) {
  while (!caller.Holds().empty()) {
    const DatasetPtr dataset = caller.Holds().back().dataset;
    Release(caller, dataset);
  }
}

void LockDesk::Tell(Caller& caller, const DatasetPtr& dataset) {
  const Hold* const hold = caller.FindWriter(*dataset);
  if (hold == nullptr) throw CommandError(caller.Name() + " does not write " + dataset->Name());
  const int passCountBefore = dataset->Interpreter().PassCount();
  caller.Do([hold] { hold->Writer().Notify(); });
  TellObservers(caller, *dataset, passCountBefore);
  RefuseUnfitMessages(*dataset);
}

// Reports what observers were told while the caller's thread ran a pass.
void LockDesk::TellObservers(const Caller& caller, OpenDataset& dataset, int passCountBefore) {
  for (Told& told : dataset.TakeTold()) say_(std::move(told));
  if (dataset.Interpreter().PassCount() == passCountBefore) return;
  if (dataset.IsObservedBy(caller.Name())) say_(NotTold{caller.Name(), dataset.Name()});
}

void LockDesk::LetIn(const Holding& next, OpenDataset& dataset) {
  Caller& caller = CallerNamed(next.role);
  ExpectTheLock(caller, dataset, next.mode);
  say_(Happened(LockEvent::What::LetIn, caller, dataset, next.mode));
}

// ---------------------------------------------------------------------------------------------
// Reading for the moment

void LockDesk::Read(Caller& caller, const DatasetPtr& dataset,
                    const std::function<void(SvrDMInputDataSource&)>& work) {
  if (TryRead(caller, dataset, work)) return;
  const LocallyUniqueID id = dataset->ID();
  throw CommandError(caller.Name() + " would have to wait for " +
                     LockInWords(LockMode::Read, dataset->Name()) +
                     InTheWay(ledger_.Holders(id), ledger_.InFront(id, LockMode::Read)));
}

bool LockDesk::TryRead(Caller& caller, const DatasetPtr& dataset,
                       const std::function<void(SvrDMInputDataSource&)>& work) {
  if (const Hold* const hold = caller.FindHold(*dataset)) {
    caller.Do([&] { work(*hold->handle); });
    return true;
  }
  if (ledger_.MustWait(dataset->ID(), LockMode::Read)) return false;
  caller.Do([&] {
    SvrDMInputDataSource reader(dataset->Item(), /*tryOnly=*/false);
    work(reader);
  });
  return true;
}

// ---------------------------------------------------------------------------------------------
// The end

void LockDesk::RefuseWaiting(const Caller& caller) const {
  if (caller.IsTaking()) {
    throw CommandError(caller.Name() + " waits for " + caller.AskedInWords() +
                       " and can take no command");
  }
}

void LockDesk::CloseDown(const std::function<void(const std::string&)>& complain) {
  for (const auto& [role, caller] : callers_) {
    if (caller->IsTaking()) complain(role + " still waits for " + caller->AskedInWords());
  }
  while (Caller* const caller = SomebodyWhoCanRelease()) {
    try {
      ReleaseAll(*caller);
    } catch (const CommandError& error) {
      complain(error.what());
    } catch (const std::bad_alloc&) {
      complain(NotEnoughMemoryFor("letting go of what " + caller->Name() + " holds"));
      return;
    }
  }
}

Caller* LockDesk::SomebodyWhoCanRelease() {
  const auto found = std::find_if(callers_.begin(), callers_.end(), [](const auto& entry) {
    return !entry.second->IsTaking() && !entry.second->Holds().empty();
  });
  return found == callers_.end() ? nullptr : found->second.get();
}

bool LockDesk::IsStuck() const {
  return std::any_of(callers_.begin(), callers_.end(),
                     [](const auto& entry) { return entry.second->IsTaking(); });
}

LockEvent LockDesk::Happened(LockEvent::What what, const Caller& caller, const OpenDataset& dataset,
                             LockMode mode) const {
  LockEvent event{what, caller.Name(), dataset.Name(), mode};
  if (what == LockEvent::What::Waits || what == LockEvent::What::TryFailed) {
    event.holders = ledger_.Holders(dataset.ID());
    event.waiters = ledger_.InFront(dataset.ID(), mode);
  }
  return event;
}

}  // namespace sdmsh
