// InvariantFailed: stops the process when an invariant does not hold.

#ifndef SERVERDATAMANAGER_INVARIANT_H_
#define SERVERDATAMANAGER_INVARIANT_H_

namespace sdm_internal {

// Prints one line with the expression, the function, the source and the line to standard error, and
// aborts. `source` is the path of the source file from the project's root, without extension.
// Invariants are checked in every build type, because a violated invariant would send wrong
// messages to clients. Only a check for misuse that cannot affect clients may depend on NDEBUG.
//
// Threads: any.
[[noreturn]] void InvariantFailed(const char* source, int line, const char* function,
                                  const char* expression) noexcept;

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_INVARIANT_H_
