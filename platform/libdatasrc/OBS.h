// OBS: one cell of an observation, the row of a data source as an iterator lays it out.
//
// A numeric variable takes one cell. A string of width w takes ceil(w / 8) cells that lie side by
// side, its bytes from the first cell on and blanks up to the end of the last.

#ifndef LIBDATASRC_OBS_H_
#define LIBDATASRC_OBS_H_

#include <limits>

union OBS {
  double number;
  char text[8];
};

static_assert(sizeof(OBS) == 8);

// A number that is not known is a NaN (IEEE 754): this quiet one where the platform writes it, any
// other just as well where somebody reads. Ask std::isnan, for a NaN equals nothing.
inline constexpr double kMissingNumber = std::numeric_limits<double>::quiet_NaN();

#endif  // LIBDATASRC_OBS_H_
