// Locks in JSON.

#ifndef SDMSH_LOCKJSON_H_
#define SDMSH_LOCKJSON_H_

#include "Event.h"
#include "Json.h"

#include <vector>

namespace sdmsh {

// An array of objects: who holds a lock, or waits for it, and how.
Json HoldingsInJson(const std::vector<Holding>& holdings);

// An object: what happened to the lock; who is in the way only where somebody does not get it.
Json LockInJson(const LockEvent& event);

// Objects.
Json DeadlockInJson(const Deadlock& deadlock);
Json LocksInJson(const LockTable& table);

}  // namespace sdmsh

#endif  // SDMSH_LOCKJSON_H_
