// Locks in words.

#include "LockWords.h"

namespace sdmsh {
namespace {

template <class InWords>
std::string Listed(const std::vector<Holding>& holdings, InWords inWords) {
  std::string words;
  for (const Holding& holding : holdings) {
    if (!words.empty()) words += ", ";
    words += inWords(holding);
  }
  return words;
}

}  // namespace

std::string LockInWords(LockMode mode, const std::string& dataset) {
  return std::string("the ") + (mode == LockMode::Read ? "read" : "write") + " lock on " + dataset;
}

std::string HoldersInWords(const std::vector<Holding>& holders) {
  return Listed(holders, [](const Holding& holding) {
    const std::string how = holding.mode == LockMode::Read ? "reading" : "writing";
    if (holding.role.empty()) return "nobody who could release it (" + how + ")";
    return holding.role + " (" + how + ")";
  });
}

std::string WaitersInWords(const std::vector<Holding>& waiters) {
  return Listed(waiters, [](const Holding& holding) {
    return holding.role + (holding.mode == LockMode::Read ? " (to read)" : " (to write)");
  });
}

std::string InTheWay(const std::vector<Holding>& holders, const std::vector<Holding>& waiters) {
  std::string words;
  if (!holders.empty()) words += ", held by " + HoldersInWords(holders);
  if (!waiters.empty()) words += ", behind " + WaitersInWords(waiters);
  return words;
}

std::string HeldInWords(const std::vector<Holding>& holders, const std::vector<Holding>& waiters) {
  std::string words = holders.empty() ? "free" : "held by " + HoldersInWords(holders);
  if (!waiters.empty()) words += "; waiting: " + WaitersInWords(waiters);
  return words;
}

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
