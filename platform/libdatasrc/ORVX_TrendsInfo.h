// ORVX_TrendsInfo: what a dataset knows of itself as a time series.

#ifndef LIBDATASRC_ORVX_TRENDSINFO_H_
#define LIBDATASRC_ORVX_TRENDSINFO_H_

#include <ServerDataManager/LocallyUniqueID.h>

#include <vector>

// A plain value. A fresh one says that the dataset is no time series.
//
// Threads: one object at a time on one thread, or only read.
struct ORVX_TrendsInfo {
  // The variables that say when a case was observed, in the order in which ISO 8601 writes them:
  // the year before the month. Deleting a variable leaves this list as it is.
  std::vector<LocallyUniqueID> timeVariables;

  // The seasonal period s of Box and Jenkins, "Time Series Analysis" (1970): the cases in a season,
  // 12 for monthly data; 0 for none.
  int seasonalPeriod = 0;

  bool operator==(const ORVX_TrendsInfo&) const = default;
};

#endif  // LIBDATASRC_ORVX_TRENDSINFO_H_
