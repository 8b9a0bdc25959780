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
    if (holding.role.empty()) return "nobody who could let go (" + how + ")";
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

}  // namespace sdmsh
