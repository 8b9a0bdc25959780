// InvariantFailed: the one way in which this library stops the process.

#ifndef SERVERDATAMANAGER_INVARIANT_H_
#define SERVERDATAMANAGER_INVARIANT_H_

// Prints one line to standard error that names the expression, the function, the source and the
// line, and aborts. `source` is the path from the project's root without extension. Part of every
// build type: a broken invariant means that clients would be told something false.
//
// Threads: any.
[[noreturn]] void InvariantFailed(const char* source, int line, const char* function,
                                  const char* expression) noexcept;

#endif  // SERVERDATAMANAGER_INVARIANT_H_
