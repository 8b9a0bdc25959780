// Locks in words.

#include "LockWords.h"

namespace sdmsh {
std::string InWords(const LockEvent& event) {
  const std::string lock = LockInWords(event.mode, event.dataset);
  switch (event.what) {
    case LockEvent::What::Acquired:
      return event.role + " takes " + lock;
    case LockEvent::What::Waits:
      return event.role + " waits for " + lock + InTheWay(event.holders, event.waiters);
    case LockEvent::What::LetIn:
      return event.role + " gets " + lock;
    case LockEvent::What::Released:
      return event.role + " releases " + lock;
    case LockEvent::What::TryFailed:
      return event.role + " does not get " + lock + InTheWay(event.holders, event.waiters) +
             "; from here on no lock on " + event.dataset + " is ever released";
  }
  return "unknown";
}

std::string InWords(const Deadlock& deadlock) {
  std::string words = "deadlock: ";
  for (const Deadlock::Step& step : deadlock.steps) {
    words += step.role + " waits for " + LockInWords(step.mode, step.dataset) +
             InTheWay({step.holder}, {}) + "; ";
  }
  return words + "`@" + deadlock.steps.front().role + " release` ends it";
}

}  // namespace sdmsh
