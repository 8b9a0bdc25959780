// LeafLock: guards the names of datasets and the lists of datasets.
//
//   const LeafLock held;

#ifndef SERVERDATAMANAGER_LEAFLOCK_H_
#define SERVERDATAMANAGER_LEAFLOCK_H_

#include <mutex>
#include <string>

namespace sdm_internal {

// Holds the one leaf lock of the process for a scope. Under it, acquire no other lock and destroy
// no dataset: then nobody waits for it long, not even a process that exits. Not recursive.
//
// Threads: any; destroy it on the thread that created it.
class LeafLock {
 public:
  LeafLock() : held_(mutex_) {}

 private:
  // Not destroyed at exit: other threads may still run.
  static inline constinit std::mutex mutex_;

  std::lock_guard<std::mutex> held_;
};

inline std::string CopyOfName(const std::string& name) {
  const LeafLock held;
  return name;
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_LEAFLOCK_H_
