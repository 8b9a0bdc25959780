// The rules of the reader/writer lock, on paper.

#include "LockLedger.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace sdmsh {
namespace {

bool AnyWrites(const std::vector<Holding>& holdings) {
  return std::any_of(holdings.begin(), holdings.end(),
                     [](const Holding& holding) { return holding.mode == LockMode::Write; });
}

bool Names(const std::vector<Holding>& holdings, const std::string& role) {
  return std::any_of(holdings.begin(), holdings.end(),
                     [&](const Holding& holding) { return holding.role == role; });
}

}  // namespace

bool LockLedger::Lock::MustWait(LockMode mode) const {
  return mode == LockMode::Write ? !held.empty() : AnyWrites(held);
}

std::vector<Holding> LockLedger::Lock::Release(const std::string& role) {
  const auto last = std::find_if(held.rbegin(), held.rend(),
                                 [&](const Holding& holding) { return holding.role == role; });
  if (last == held.rend()) return {};
  if (forGood) {
    last->role.clear();
    return {};
  }
  const LockMode released = last->mode;
  held.erase(std::next(last).base());
  return held.empty() ? AdmitAfter(released) : std::vector<Holding>();
}

// The lock is free now.
std::vector<Holding> LockLedger::Lock::AdmitAfter(LockMode released) {
  const auto reads = [](const Holding& holding) { return holding.mode == LockMode::Read; };
  if (released == LockMode::Write && std::any_of(waiting.begin(), waiting.end(), reads)) {
    std::copy_if(waiting.begin(), waiting.end(), std::back_inserter(held), reads);
    std::erase_if(waiting, reads);
  } else if (const auto writer = std::find_if_not(waiting.begin(), waiting.end(), reads);
             writer != waiting.end()) {
    held.push_back(*writer);
    waiting.erase(writer);
  }
  return held;
}

const LockLedger::Lock& LockLedger::LockOf(LocallyUniqueID dataset) const {
  static const Lock free;
  const auto found = locks_.find(dataset);
  return found == locks_.end() ? free : found->second;
}

bool LockLedger::MustWait(LocallyUniqueID dataset, LockMode mode) const {
  return LockOf(dataset).MustWait(mode);
}

bool LockLedger::Ask(LocallyUniqueID dataset, const std::string& role, LockMode mode) {
  Lock& lock = locks_[dataset];
  const bool mustWait = lock.MustWait(mode);
  (mustWait ? lock.waiting : lock.held).push_back({role, mode});
  return !mustWait;
}

std::vector<Holding> LockLedger::Release(LocallyUniqueID dataset, const std::string& role) {
  return locks_[dataset].Release(role);
}

void LockLedger::HoldForGood(LocallyUniqueID dataset) {
  locks_[dataset].forGood = true;
}

std::vector<Holding> LockLedger::Holders(LocallyUniqueID dataset) const {
  return LockOf(dataset).held;
}

std::vector<Holding> LockLedger::Waiters(LocallyUniqueID dataset) const {
  return LockOf(dataset).waiting;
}

std::vector<Holding> LockLedger::InFront(LocallyUniqueID dataset, LockMode mode) const {
  return mode == LockMode::Write ? LockOf(dataset).waiting : std::vector<Holding>();
}

bool LockLedger::IsWaiting(const std::string& role) const {
  return std::any_of(locks_.begin(), locks_.end(),
                     [&](const auto& entry) { return Names(entry.second.waiting, role); });
}

bool LockLedger::AllGetIn() const {
  LockLedger future = *this;
  while (future.ReleaseOne()) {
  }
  return std::all_of(future.locks_.begin(), future.locks_.end(),
                     [](const auto& entry) { return entry.second.waiting.empty(); });
}

// Somebody who is free to act lets go of something; false where nobody can.
bool LockLedger::ReleaseOne() {
  for (auto& [dataset, lock] : locks_) {
    for (const Holding& holding : lock.held) {
      const std::string role = holding.role;
      if (role.empty() || IsWaiting(role)) continue;
      lock.Release(role);
      return true;
    }
  }
  return false;
}

}  // namespace sdmsh
