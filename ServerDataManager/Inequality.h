// Inequality of the data-source library's types: always the negation of that library's equality.

#ifndef SERVERDATAMANAGER_INEQUALITY_H_
#define SERVERDATAMANAGER_INEQUALITY_H_

#include <libdatasrc/ORVX_Variable.h>

inline bool operator!=(const ORVX_Variable& a, const ORVX_Variable& b) {
  return !(a == b);
}

#endif  // SERVERDATAMANAGER_INEQUALITY_H_
