// A separate shared library, which the loader finalises last. It calls a function at the very end
// of a process.

#ifndef TESTS_FAULT_AFTERTHELIBRARIES_H_
#define TESTS_FAULT_AFTERTHELIBRARIES_H_

// Sets the function that is called at exit, after the static objects of the program and of the
// libraries under test are destroyed. Replaces a function that was set earlier.
void AfterTheLibraries(void (*call)());

#endif  // TESTS_FAULT_AFTERTHELIBRARIES_H_
