// LeafLock: guards the names of datasets, and the list of datasets of each registry.
//
//   const LeafLock held;

#ifndef SERVERDATAMANAGER_LEAFLOCK_H_
#define SERVERDATAMANAGER_LEAFLOCK_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>

#include <string>

namespace sdm_internal {

extern SDM_HIDDEN Mutex leafMutex;

// Holds the leaf lock for a scope; the process has only one leaf lock. While holding the leaf lock,
// acquire no other lock and destroy no dataset: every wait for the leaf lock must be short, because
// the thread that ends the process also acquires it. Not recursive.
//
// Threads: any; destroy the object on the thread that created it.
class SDM_SCOPED_CAPABILITY LeafLock {
 public:
  LeafLock() SDM_ACQUIRE(leafMutex) : held_(leafMutex) {}
  LeafLock(const LeafLock&) = delete;
  LeafLock& operator=(const LeafLock&) = delete;
  ~LeafLock() SDM_RELEASE() {}

 private:
  MutexLock held_;
};

inline std::string CopyOfName(const std::string& name) {
  const LeafLock held;
  return name;
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_LEAFLOCK_H_
