// Holding: a role and how it holds a lock, or waits for it; and how the shell speaks of locks.

#ifndef SDMSH_HOLDING_H_
#define SDMSH_HOLDING_H_

#include "Output.h"

#include <string>
#include <vector>

namespace sdmsh {

enum class LockMode { Read, Write };

struct Holding {
  std::string role;  // empty for a role that can no longer release
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

// "held by tables (reading); waiting: recode (to write)"; "free" where nobody holds the lock.
std::string HeldInWords(const std::vector<Holding>& holders, const std::vector<Holding>& waiters);

// "read" or "write"
const char* ModeWord(LockMode mode);

// {"role", "mode"}
Json HoldingInJson(const Holding& holding);
// An array of them.
Json HoldingsInJson(const std::vector<Holding>& holdings);

}  // namespace sdmsh

#endif  // SDMSH_HOLDING_H_
