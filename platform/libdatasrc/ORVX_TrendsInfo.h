// ORVX_TrendsInfo: the time series properties of a dataset.

#ifndef LIBDATASRC_ORVX_TRENDSINFO_H_
#define LIBDATASRC_ORVX_TRENDSINFO_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <vector>

// A plain value. The default means that the dataset is not a time series.
//
// Threads: several threads may read an object, or one thread may change it.
struct ORVX_TrendsInfo {
  // The variables with the time of observation, in the order of ISO 8601: year before month.
  // Deleting a variable does not change this list.
  std::vector<LocallyUniqueID> timeVariables;

  // The number of cases in a season: 12 for monthly data, 0 for no season. This is the period s of
  // Box and Jenkins, "Time Series Analysis" (1970).
  int seasonalPeriod = 0;

  bool operator==(const ORVX_TrendsInfo&) const = default;
};

#endif  // LIBDATASRC_ORVX_TRENDSINFO_H_
