// The exception of a handle that cannot acquire its lock.

#ifndef SERVERDATAMANAGER_LOCKFAILED_H_
#define SERVERDATAMANAGER_LOCKFAILED_H_

namespace sdm_internal {

// Thrown as a plain int: callers in other binaries catch an int and compare the number.
inline constexpr int kLockFailed = 55;

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_LOCKFAILED_H_
