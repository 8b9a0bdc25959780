// Formats locks in words and in JSON.

#include "Holding.h"

namespace sdmsh {

std::string LockInWords(LockMode mode, const std::string& dataset) {
  return std::string("the ") + ModeWord(mode) + " lock on " + dataset;
}

std::string HoldersInWords(const std::vector<Holding>& holders) {
  std::vector<std::string> words;
  for (const Holding& holding : holders) {
    const std::string role = holding.role.empty() ? "nobody who could release it" : holding.role;
    words.push_back(role + (holding.mode == LockMode::Read ? " (reading)" : " (writing)"));
  }
  return Joined(words);
}

std::string WaitersInWords(const std::vector<Holding>& waiters) {
  std::vector<std::string> words;
  for (const Holding& holding : waiters) {
    words.push_back(holding.role + " (to " + ModeWord(holding.mode) + ")");
  }
  return Joined(words);
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

const char* ModeWord(LockMode mode) {
  return mode == LockMode::Read ? "read" : "write";
}

Json HoldingInJson(const Holding& holding) {
  return {{"role", holding.role}, {"mode", ModeWord(holding.mode)}};
}

Json HoldingsInJson(const std::vector<Holding>& holdings) {
  Json json = Json::array();
  for (const Holding& holding : holdings) json.push_back(HoldingInJson(holding));
  return json;
}

}  // namespace sdmsh
