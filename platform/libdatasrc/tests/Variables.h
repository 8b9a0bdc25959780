// Identifiers, variables and numbers that many tests use.

#ifndef LIBDATASRC_TESTS_VARIABLES_H_
#define LIBDATASRC_TESTS_VARIABLES_H_

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <limits>
#include <string>

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

inline LocallyUniqueID Serial(unsigned int serial) {
  return LocallyUniqueID(1, serial);
}

// A variable with a new identifier.
inline ORVX_Variable Variable(const std::string& name, int type = 0) {
  return ORVX_Variable(ORVX_Variable::NextID(), name, type);
}

#endif  // LIBDATASRC_TESTS_VARIABLES_H_
