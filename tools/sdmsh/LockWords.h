// How the shell speaks of locks, in events and in errors alike.

#ifndef SDMSH_LOCKWORDS_H_
#define SDMSH_LOCKWORDS_H_

#include "Event.h"

#include <string>
#include <vector>

namespace sdmsh {

// "recode waits for the write lock on survey, held by tables (reading)"
std::string InWords(const LockEvent& event);

// "deadlock: recode waits for the write lock on survey, held by tables (reading); tables ..."
std::string InWords(const Deadlock& deadlock);

}  // namespace sdmsh

#endif  // SDMSH_LOCKWORDS_H_
