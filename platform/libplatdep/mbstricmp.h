// Case-insensitive comparison and hashing of names.

#ifndef LIBPLATDEP_MBSTRICMP_H_
#define LIBPLATDEP_MBSTRICMP_H_

#include <cstdint>

#include <ServerDataManager/Export.h>

// Compares two zero-terminated strings, ignoring case. Returns zero if they are equal, a negative
// number if `left` sorts before `right`, otherwise a positive number.
//
// The strings are UTF-8, compared by code point after full case folding, independent of the locale:
// "Größe" equals "GRÖSSE". They are not normalised: a letter with a combining mark differs from the
// precomposed letter. An invalid byte equals only the same byte and sorts after every code point.
// The order is total, so the function can be used for sorting.
//
// Neither argument may be null. Allocates nothing.
// Threads: any.
SDM_EXPORT int _ORVXMBstricmp_A(const char* left, const char* right);

// Returns a hash of a zero-terminated string. Strings that are equal for _ORVXMBstricmp_A have the
// same hash. All bits are well distributed. Do not store the hash: it may differ in another version
// of the library.
//
// `text` is not null. Allocates nothing.
// Threads: any.
SDM_EXPORT std::uint64_t MBFoldedHash(const char* text);

#endif  // LIBPLATDEP_MBSTRICMP_H_
