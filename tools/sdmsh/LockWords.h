// How the shell speaks of locks, in events and in errors alike.

#ifndef SDMSH_LOCKWORDS_H_
#define SDMSH_LOCKWORDS_H_

#include "Event.h"

#include <string>
#include <vector>

namespace sdmsh {

// "the write lock on survey"
std::string LockInWords(LockMode mode, const std::string& dataset);

// ", held by tables (reading), behind recode (to write)"; empty for two empty lists.
std::string InTheWay(const std::vector<Holding>& holders, const std::vector<Holding>& waiters);

// "tables (reading), recode (writing)"
std::string HoldersInWords(const std::vector<Holding>& holders);

// "recode (to write), browse (to read)"
std::string WaitersInWords(const std::vector<Holding>& waiters);

// "held by tables (reading); waiting: recode (to write)"; "free" where nobody holds the lock.
std::string HeldInWords(const std::vector<Holding>& holders, const std::vector<Holding>& waiters);

// "recode waits for the write lock on survey, held by tables (reading)"
std::string InWords(const LockEvent& event);

// "deadlock: recode waits for the write lock on survey, held by tables (reading); tables ..."
std::string InWords(const Deadlock& deadlock);

}  // namespace sdmsh

#endif  // SDMSH_LOCKWORDS_H_
