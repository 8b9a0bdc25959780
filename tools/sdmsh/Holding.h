// Holding: a caller that holds a lock or waits for it, and the texts about locks.

#ifndef SDMSH_HOLDING_H_
#define SDMSH_HOLDING_H_

#include "Output.h"

#include <string>
#include <vector>

namespace sdmsh {

enum class LockMode { Read, Write };

struct Holding {
  std::string role;  // the caller; empty if the handle is gone, so that nobody can release the lock
  LockMode mode;

  bool operator==(const Holding&) const = default;
};

// "the write lock on survey"
std::string LockInWords(LockMode mode, const std::string& dataset);

// "tables (reading), recode (writing)"
std::string HoldersInWords(const std::vector<Holding>& holders);

// "recode (to write), browse (to read)"
std::string WaitersInWords(const std::vector<Holding>& waiters);

// ", held by tables (reading), behind recode (to write)"; empty for two empty lists.
std::string InTheWay(const std::vector<Holding>& holders, const std::vector<Holding>& waiters);

// "held by tables (reading); waiting: recode (to write)"; "free" if nobody holds the lock.
std::string HeldInWords(const std::vector<Holding>& holders, const std::vector<Holding>& waiters);

// "read" or "write"
const char* ModeWord(LockMode mode);

// {"role", "mode"}
Json HoldingInJson(const Holding& holding);
// An array with an object for each.
Json HoldingsInJson(const std::vector<Holding>& holdings);

}  // namespace sdmsh

#endif  // SDMSH_HOLDING_H_
