// The number of cells that a variable takes in a row.

#ifndef LIBDATASRC_INTERNAL_OBSCELLS_H_
#define LIBDATASRC_INTERNAL_OBSCELLS_H_

#include <libdatasrc/OBS.h>

namespace sdm_internal {

// `type`: 0 for a number, otherwise the width of a string in bytes.
inline long ObsCells(int type) {
  constexpr long kBytes = sizeof(OBS);
  return type == 0 ? 1 : (type + kBytes - 1) / kBytes;
}

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_OBSCELLS_H_
