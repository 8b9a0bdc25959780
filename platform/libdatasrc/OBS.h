// OBS: one cell of a row.
//
// A numeric variable takes one cell. A string of width w takes ceil(w / 8) adjacent cells: its
// bytes, then blanks up to the end of the last cell.

#ifndef LIBDATASRC_OBS_H_
#define LIBDATASRC_OBS_H_

#include <limits>

union OBS {
  double number;
  char text[8];
};

static_assert(sizeof(OBS) == 8);

// A missing number is a NaN (IEEE 754). The platform writes this quiet NaN and reads any NaN as
// missing. Test with std::isnan: a NaN equals no number, not even itself.
inline constexpr double kMissingNumber = std::numeric_limits<double>::quiet_NaN();

#endif  // LIBDATASRC_OBS_H_
