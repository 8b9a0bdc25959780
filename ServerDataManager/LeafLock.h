// LeafLock: the lock under which names of datasets are set and compared, and lists of datasets are
// read and changed.
//
//   const LeafLock held;

#ifndef SERVERDATAMANAGER_LEAFLOCK_H_
#define SERVERDATAMANAGER_LEAFLOCK_H_

#include <mutex>
#include <string>

namespace sdm_internal {

// Holds the one lock of the process for a scope. Nothing is called meanwhile that takes another
// lock or may destroy a dataset, so nobody waits for it for long, not even a process that exits.
// Not recursive.
//
// Threads: any; made and destroyed on one thread.
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
