// CriticalSection: a recursive lock.
//
//   CriticalSection section;
//   {
//     CriticalSection::Lock lock(section);
//     ...
//   }

#ifndef LIBPLATDEP_CRITICALSECTION_H_
#define LIBPLATDEP_CRITICALSECTION_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/ThreadSafety.h>
#include <mutex>

// One thread at a time holds the section, until all Lock objects of that thread are destroyed. No
// thread may hold the section when the section is destroyed.
//
// Threads: any.
class SDM_EXPORT SDM_CAPABILITY("mutex") CriticalSection {
 public:
  CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  // Holds `section`, which must outlive the Lock, for a scope. Destroy the Lock on the thread that
  // created it.
  class SDM_SCOPED_CAPABILITY Lock {
   public:
    // Waits while another thread holds `section`.
    explicit Lock(CriticalSection& section) SDM_ACQUIRE(section) : held_(section.mutex_) {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() SDM_RELEASE() {}

   private:
    std::lock_guard<std::recursive_mutex> held_;
  };

 private:
  std::recursive_mutex mutex_;
};

#endif  // LIBPLATDEP_CRITICALSECTION_H_
