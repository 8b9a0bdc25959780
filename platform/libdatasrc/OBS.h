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

// A missing number is a NaN (IEEE 754). The platform writes this quiet NaN and accepts any other.
// Test with std::isnan: a NaN compares unequal to every number, itself included.
inline constexpr double kMissingNumber = std::numeric_limits<double>::quiet_NaN();

#endif  // LIBDATASRC_OBS_H_
