// A separate shared library, which the loader finalises last. It calls a function at the very end
// of a process.

#ifndef TESTS_FAULT_AFTERTHELIBRARIES_H_
#define TESTS_FAULT_AFTERTHELIBRARIES_H_

// Calls `call` after the static objects of the program and of the libraries under test are
// destroyed.
void AfterTheLibraries(void (*call)());

#endif  // TESTS_FAULT_AFTERTHELIBRARIES_H_
