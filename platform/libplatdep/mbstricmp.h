// Comparing names without regard to case.

#ifndef LIBPLATDEP_MBSTRICMP_H_
#define LIBPLATDEP_MBSTRICMP_H_

#include <ServerDataManager/Export.h>

// Zero where the two zero-terminated strings are equal without regard to case, else negative or
// positive as `left` sorts before or after `right`.
//
// The strings are UTF-8 and are compared by code point after full case folding, independent of any
// locale: "Größe" equals "GRÖSSE". They are not normalised: a letter with a combining mark differs
// from the same letter in one code point. A byte that is part of no valid UTF-8 sequence equals the
// same byte only and sorts after every code point. The order is total: any list of strings can be
// sorted by it.
//
// Neither argument may be null. Allocates nothing. Threads: any.
SDM_EXPORT int _ORVXMBstricmp_A(const char* left, const char* right);

#endif  // LIBPLATDEP_MBSTRICMP_H_
