// InvariantFailed: the one way in which this library stops the process.

#ifndef SERVERDATAMANAGER_INVARIANT_H_
#define SERVERDATAMANAGER_INVARIANT_H_

namespace sdm_internal {

// Prints one line to standard error that names the expression, the function, the source and the
// line, and aborts. `source` is the path from the project's root without extension. What asks for
// it is part of every build type, as clients would be told something false; only a misuse that is
// no lie to clients may be looked for in builds without NDEBUG alone.
//
// Threads: any.
[[noreturn]] void InvariantFailed(const char* source, int line, const char* function,
                                  const char* expression) noexcept;

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_INVARIANT_H_
