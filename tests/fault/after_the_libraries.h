// A call at the very end of a process. In a shared library of its own, which the loader leaves
// last.

#ifndef TESTS_FAULT_AFTERTHELIBRARIES_H_
#define TESTS_FAULT_AFTERTHELIBRARIES_H_

// Has `call` made once the static objects of the program and of the libraries under test are gone.
void AfterTheLibraries(void (*call)());

#endif  // TESTS_FAULT_AFTERTHELIBRARIES_H_
